// CDS_Stack and CDS_Queue.
#include "storage/ds_stack_queue.h"

#include <cstring>

#include "storage/ds_serial.h"

namespace {

// Reads count values after the version word and hands each to put; false when damaged.
template <class Put>
bool read_values(DsReader& in, int32_t version, bool legacy, Put put) {
  bool old_layout = false;
  int32_t count = 0;
  bool ok = in.get_version(version, legacy, &old_layout) && in.get_i32(&count) && in.count_fits(count, sizeof(int32_t));
  for (int32_t i = 0; ok && i < count; ++i) {
    RValue value = RV_Undefined();
    ok = in.get_value(&value, old_layout);
    if (ok) put(value);
    RV_FreeToUndefined(&value);
  }
  return ok;
}

}  // namespace

// ---- Stack ----------------------------------------------------------------------------------------

void CDS_Stack::push(const RValue& value) {
  DsHeldValue held;
  store(held.slot(), value);  // value may live in this stack, which growth moves
  if (!values_.reserve(static_cast<int64_t>(values_.length) + 1)) return;
  values_.data[values_.length++] = held.release();
}

bool CDS_Stack::pop(RValue* out) {
  if (values_.length == 0) return false;
  RValue* slot = &values_.data[--values_.length];
  *out = *slot;
  std::memset(static_cast<void*>(slot), 0, sizeof *slot);
  return true;
}

const RValue* CDS_Stack::top() const { return values_.length > 0 ? &values_.data[values_.length - 1] : nullptr; }

void CDS_Stack::copy_from(const CDS_Stack& src) {
  if (&src == this) return;
  clear_values();
  if (!values_.reserve(src.values_.length)) return;
  for (int32_t i = 0; i < src.values_.length; ++i) store(&values_.data[i], src.values_.data[i]);
  values_.length = src.values_.length;
}

void CDS_Stack::for_each_value(DsValueVisitor visit, void* context) const {
  for (int32_t i = 0; i < values_.length; ++i) visit(values_.data[i], context);
}

void CDS_Stack::write(DsWriter& out) const {
  out.put_i32(kDsStackVersion);
  out.put_i32(values_.length);
  for (int32_t i = 0; i < values_.length; ++i) out.put_value(values_.data[i]);
}

bool CDS_Stack::read(DsReader& in, bool legacy) {
  clear_values();
  const bool ok = read_values(in, kDsStackVersion, legacy, [this](const RValue& v) { push(v); });
  if (!ok) clear_values();
  return ok;
}

// ---- Queue ----------------------------------------------------------------------------------------

void CDS_Queue::enqueue(const RValue& value) {
  DsHeldValue held;
  store(held.slot(), value);
  if (values_.length == values_.capacity && head_ > 0) {
    // Move the live entries to the front instead of growing; the vacated tail is zeroed.
    const int32_t live = values_.length - head_;
    std::memmove(static_cast<void*>(values_.data), values_.data + head_, static_cast<size_t>(live) * sizeof(RValue));
    std::memset(static_cast<void*>(values_.data + live), 0, static_cast<size_t>(head_) * sizeof(RValue));
    values_.length = live;
    head_ = 0;
  }
  if (!values_.reserve(static_cast<int64_t>(values_.length) + 1)) return;
  values_.data[values_.length++] = held.release();
}

bool CDS_Queue::dequeue(RValue* out) {
  if (size() == 0) return false;
  RValue* slot = &values_.data[head_++];
  *out = *slot;
  *slot = RV_Real(0.0);
  if (head_ == values_.length) {
    std::memset(static_cast<void*>(values_.data), 0, static_cast<size_t>(values_.length) * sizeof(RValue));
    values_.length = 0;
    head_ = 0;
  }
  return true;
}

const RValue* CDS_Queue::head() const { return size() > 0 ? &values_.data[head_] : nullptr; }

const RValue* CDS_Queue::tail() const { return size() > 0 ? &values_.data[values_.length - 1] : nullptr; }

void CDS_Queue::copy_from(const CDS_Queue& src) {
  if (&src == this) return;
  clear_values();
  const int32_t count = src.size();
  if (!values_.reserve(count)) return;
  for (int32_t i = 0; i < count; ++i) store(&values_.data[i], src.values_.data[src.head_ + i]);
  values_.length = count;
}

void CDS_Queue::clear_values() {
  // Dequeued entries below head_ already hold real 0, so truncating frees only live values.
  values_.truncate(0);
  head_ = 0;
}

void CDS_Queue::for_each_value(DsValueVisitor visit, void* context) const {
  for (int32_t i = head_; i < values_.length; ++i) visit(values_.data[i], context);
}

void CDS_Queue::write(DsWriter& out) const {
  out.put_i32(kDsQueueVersion);
  out.put_i32(size());
  for (int32_t i = head_; i < values_.length; ++i) out.put_value(values_.data[i]);
}

bool CDS_Queue::read(DsReader& in, bool legacy) {
  clear_values();
  const bool ok = read_values(in, kDsQueueVersion, legacy, [this](const RValue& v) { enqueue(v); });
  if (!ok) clear_values();
  return ok;
}
