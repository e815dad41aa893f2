#pragma once
// CDS_List: the script list, a growable array of values (growth max(capacity / 8, 16)).
// Positions outside the list are ignored by insert, replace and remove and read as absent; set
// grows the list, the gap reading as real 0. Values keep their nesting marks inside; the accessors
// that hand values out clear them. find_index compares under g_DsPrecision. sort is a merge sort
// over the value comparison (ascending, or mirrored), stable, safe with the mixed-kind order.
#include <cstdint>

#include "storage/ds_core.h"

class DsReader;
class DsWriter;

class CDS_List final : public DsStructure {
 public:
  static constexpr DsKind kKind = kDsList;

  CDS_List() : DsStructure(kDsList) {}
  ~CDS_List() override = default;

  int32_t size() const { return values_.length; }
  // The stored value at pos (marks kept), or null outside the list.
  RValue* at(int64_t pos) const;

  void add(const RValue& value);
  // Inserts before pos, 0 <= pos <= size; false outside.
  bool insert(int64_t pos, const RValue& value);
  // Overwrites an existing entry; false outside.
  bool replace(int64_t pos, const RValue& value);
  // Overwrites, growing the list to pos + 1 when pos is past the end; pos must not be negative.
  // old, when given, receives the previous value (undefined for a new entry) and must hold nothing.
  bool set(int64_t pos, const RValue& value, RValue* old = nullptr);
  // Removes the entry at pos, moving the later ones down; false outside.
  bool remove(int64_t pos);
  // The first position whose value compares equal, or -1.
  int32_t find_index(const RValue& value) const;
  void sort(bool ascending);
  // size x 8 swaps of two random positions.
  void shuffle();
  // Sets the mark bits (kDsMarkMap or kDsMarkList) on the entry at pos; false outside.
  bool mark(int64_t pos, uint32_t mark_bits);

  void copy_from(const CDS_List& src);
  void clear_values() override;
  void for_each_value(DsValueVisitor visit, void* context) const override;

  void write(DsWriter& out) const;
  bool read(DsReader& in, bool legacy);

 private:
  bool grow_holding(int64_t length, const RValue& value, DsHeldValue* held);
  DsValueBlock values_;
};
