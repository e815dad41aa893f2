// CDS_Priority: the scanning priority queue.
#include "storage/ds_priority.h"

#include <cstring>

#include "storage/ds_serial.h"

void CDS_Priority::add(const RValue& value, const RValue& priority) {
  DsHeldValue held_value;
  DsHeldValue held_priority;
  store(held_value.slot(), value);  // either may live in this queue, which growth moves
  store(held_priority.slot(), priority);
  const int64_t needed = static_cast<int64_t>(values_.length) + 1;
  if (!values_.reserve(needed) || !priorities_.reserve(needed)) return;
  values_.data[values_.length++] = held_value.release();
  priorities_.data[priorities_.length++] = held_priority.release();
}

int32_t CDS_Priority::find(const RValue& value) const {
  for (int32_t i = 0; i < values_.length; ++i) {
    if (DS_Compare(values_.data[i], value) == 0) return i;
  }
  return -1;
}

// sign 1 finds the maximum: a later entry replaces the best so far when comparing the best with it
// gives below 0 (the minimum: above 0), so ties keep the earliest entry.
int32_t CDS_Priority::find_extreme(int sign) const {
  if (priorities_.length == 0) return -1;
  int32_t best = 0;
  for (int32_t i = 1; i < priorities_.length; ++i) {
    const int c = DS_Compare(priorities_.data[best], priorities_.data[i]);
    if (sign > 0 ? c < 0 : c > 0) best = i;
  }
  return best;
}

int32_t CDS_Priority::find_min() const { return find_extreme(-1); }
int32_t CDS_Priority::find_max() const { return find_extreme(1); }

void CDS_Priority::set_priority(int32_t index, const RValue& priority) { assign(&priorities_.data[index], priority); }

void CDS_Priority::take(int32_t index, RValue* out) {
  const int32_t last = values_.length - 1;
  if (out != nullptr) {
    *out = values_.data[index];
  } else {
    RV_FreeToUndefined(&values_.data[index]);
  }
  RV_FreeToUndefined(&priorities_.data[index]);
  values_.data[index] = values_.data[last];
  priorities_.data[index] = priorities_.data[last];
  std::memset(static_cast<void*>(&values_.data[last]), 0, sizeof(RValue));
  std::memset(static_cast<void*>(&priorities_.data[last]), 0, sizeof(RValue));
  values_.length = last;
  priorities_.length = last;
}

void CDS_Priority::copy_from(const CDS_Priority& src) {
  if (&src == this) return;
  clear_values();
  const int32_t count = src.values_.length;
  if (!values_.reserve(count) || !priorities_.reserve(count)) return;
  for (int32_t i = 0; i < count; ++i) {
    store(&values_.data[i], src.values_.data[i]);
    store(&priorities_.data[i], src.priorities_.data[i]);
  }
  values_.length = count;
  priorities_.length = count;
}

void CDS_Priority::clear_values() {
  values_.truncate(0);
  priorities_.truncate(0);
}

void CDS_Priority::for_each_value(DsValueVisitor visit, void* context) const {
  for (int32_t i = 0; i < values_.length; ++i) {
    visit(values_.data[i], context);
    visit(priorities_.data[i], context);
  }
}

void CDS_Priority::write(DsWriter& out) const {
  out.put_i32(kDsPriorityVersion);
  out.put_i32(values_.length);
  for (int32_t i = 0; i < values_.length; ++i) {
    out.put_value(values_.data[i]);
    out.put_value(priorities_.data[i]);
  }
}

bool CDS_Priority::read(DsReader& in, bool legacy) {
  clear_values();
  bool old_layout = false;
  int32_t count = 0;
  bool ok = in.get_version(kDsPriorityVersion, legacy, &old_layout) && in.get_i32(&count) &&
            in.count_fits(count, 2 * sizeof(int32_t));
  for (int32_t i = 0; ok && i < count; ++i) {
    RValue value = RV_Undefined();
    RValue priority = RV_Undefined();
    ok = in.get_value(&value, old_layout) && in.get_value(&priority, old_layout);
    if (ok) add(value, priority);
    RV_FreeToUndefined(&value);
    RV_FreeToUndefined(&priority);
  }
  if (!ok) clear_values();
  return ok;
}
