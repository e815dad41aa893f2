#pragma once
// CDS_Stack and CDS_Queue: last-in-first-out and first-in-first-out runs of values. The queue keeps
// a head index into its block and moves its entries down only when the tail meets the block's end,
// so enqueue and dequeue cost O(1) amortised. Pop, top, dequeue, head and tail of an empty
// structure report absence (the builtins give undefined). Serial forms: version, count, then the
// values bottom to top (stack) or head to tail (queue).
#include <cstdint>

#include "storage/ds_core.h"

class DsReader;
class DsWriter;

class CDS_Stack final : public DsStructure {
 public:
  static constexpr DsKind kKind = kDsStack;

  CDS_Stack() : DsStructure(kDsStack) {}
  ~CDS_Stack() override = default;

  int32_t size() const { return values_.length; }
  void push(const RValue& value);
  // Moves the top value into out (which holds nothing); false when empty.
  bool pop(RValue* out);
  const RValue* top() const;

  void copy_from(const CDS_Stack& src);
  void clear_values() override { values_.truncate(0); }
  void for_each_value(DsValueVisitor visit, void* context) const override;

  void write(DsWriter& out) const;
  bool read(DsReader& in, bool legacy);

 private:
  DsValueBlock values_;
};

class CDS_Queue final : public DsStructure {
 public:
  static constexpr DsKind kKind = kDsQueue;

  CDS_Queue() : DsStructure(kDsQueue) {}
  ~CDS_Queue() override = default;

  int32_t size() const { return values_.length - head_; }
  void enqueue(const RValue& value);
  // Moves the head value into out (which holds nothing); false when empty.
  bool dequeue(RValue* out);
  const RValue* head() const;
  const RValue* tail() const;

  void copy_from(const CDS_Queue& src);
  void clear_values() override;
  void for_each_value(DsValueVisitor visit, void* context) const override;

  void write(DsWriter& out) const;
  bool read(DsReader& in, bool legacy);

 private:
  DsValueBlock values_;  // live entries are [head_, values_.length)
  int32_t head_ = 0;
};
