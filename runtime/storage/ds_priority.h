#pragma once
// CDS_Priority: a priority queue as two parallel runs, values and their priorities. It is no heap:
// every query is one linear scan by the value comparison, and the earliest entry wins a tie.
// Deleting an entry moves the last entry into its place, so the order of entries changes.
// Serial form: version, count, then value and priority per entry in storage order.
#include <cstdint>

#include "storage/ds_core.h"

class DsReader;
class DsWriter;

class CDS_Priority final : public DsStructure {
 public:
  static constexpr DsKind kKind = kDsPriority;

  CDS_Priority() : DsStructure(kDsPriority) {}
  ~CDS_Priority() override = default;

  int32_t size() const { return values_.length; }
  void add(const RValue& value, const RValue& priority);
  // Finds the first entry whose value compares equal; -1 when none.
  int32_t find(const RValue& value) const;
  // The entry with the lowest (or highest) priority; -1 when empty.
  int32_t find_min() const;
  int32_t find_max() const;
  const RValue& value_at(int32_t index) const { return values_.data[index]; }
  const RValue& priority_at(int32_t index) const { return priorities_.data[index]; }
  void set_priority(int32_t index, const RValue& priority);
  // Moves the entry's value into out (which holds nothing, or null to drop it) and moves the last
  // entry into its place.
  void take(int32_t index, RValue* out);

  void copy_from(const CDS_Priority& src);
  void clear_values() override;
  void for_each_value(DsValueVisitor visit, void* context) const override;

  void write(DsWriter& out) const;
  bool read(DsReader& in, bool legacy);

 private:
  int32_t find_extreme(int sign) const;
  DsValueBlock values_;
  DsValueBlock priorities_;
};
