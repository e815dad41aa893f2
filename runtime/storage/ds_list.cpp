// CDS_List: positions, growth, search, ordering and the serial form.
#include "storage/ds_list.h"

#include <cstring>
#include <utility>

#include "storage/ds_serial.h"

RValue* CDS_List::at(int64_t pos) const {
  return pos >= 0 && pos < values_.length ? &values_.data[pos] : nullptr;
}

// The value may live in this list's own storage, which growth moves: the reference is taken first.
bool CDS_List::grow_holding(int64_t length, const RValue& value, DsHeldValue* held) {
  store(held->slot(), value);
  return values_.reserve(length);
}

void CDS_List::add(const RValue& value) {
  DsHeldValue held;
  if (!grow_holding(static_cast<int64_t>(values_.length) + 1, value, &held)) return;
  values_.data[values_.length++] = held.release();
}

bool CDS_List::insert(int64_t pos, const RValue& value) {
  if (pos < 0 || pos > values_.length) return false;
  DsHeldValue held;
  if (!grow_holding(static_cast<int64_t>(values_.length) + 1, value, &held)) return false;
  RValue* slot = &values_.data[pos];
  std::memmove(static_cast<void*>(slot + 1), slot, static_cast<size_t>(values_.length - pos) * sizeof(RValue));
  *slot = held.release();
  ++values_.length;
  return true;
}

bool CDS_List::replace(int64_t pos, const RValue& value) {
  RValue* slot = at(pos);
  if (slot == nullptr) return false;
  assign(slot, value);
  return true;
}

bool CDS_List::set(int64_t pos, const RValue& value, RValue* old) {
  if (old != nullptr) *old = RV_Undefined();
  if (pos < 0) return false;
  if (pos >= values_.length) {
    DsHeldValue held;
    if (!grow_holding(pos + 1, value, &held)) return false;
    values_.length = static_cast<int32_t>(pos + 1);  // the gap is already real 0
    values_.data[pos] = held.release();
    return true;
  }
  if (old != nullptr) RV_CopyRef(old, &values_.data[pos]);
  assign(&values_.data[pos], value);
  return true;
}

bool CDS_List::remove(int64_t pos) {
  RValue* slot = at(pos);
  if (slot == nullptr) return false;
  RV_FreeToUndefined(slot);
  std::memmove(static_cast<void*>(slot), slot + 1, static_cast<size_t>(values_.length - pos - 1) * sizeof(RValue));
  --values_.length;
  std::memset(static_cast<void*>(&values_.data[values_.length]), 0, sizeof(RValue));
  return true;
}

int32_t CDS_List::find_index(const RValue& value) const {
  for (int32_t i = 0; i < values_.length; ++i) {
    if (DS_Compare(values_.data[i], value) == 0) return i;
  }
  return -1;
}

void CDS_List::sort(bool ascending) {
  const int sign = ascending ? 1 : -1;
  DS_MergeSort(values_.data, static_cast<size_t>(values_.length),
               [sign](const RValue& x, const RValue& y) { return DS_Compare(x, y) * sign > 0; });
}

void CDS_List::shuffle() {
  const int64_t n = values_.length;
  for (int64_t i = 0; i < n * 8; ++i) {
    const int64_t a = DS_Random(n);
    const int64_t b = DS_Random(n);
    std::swap(values_.data[a], values_.data[b]);
  }
}

bool CDS_List::mark(int64_t pos, uint32_t mark_bits) {
  RValue* slot = at(pos);
  if (slot == nullptr) return false;
  slot->kind |= mark_bits;
  return true;
}

void CDS_List::copy_from(const CDS_List& src) {
  if (&src == this) return;
  clear_values();
  if (!values_.reserve(src.values_.length)) return;
  for (int32_t i = 0; i < src.values_.length; ++i) store(&values_.data[i], src.values_.data[i]);
  values_.length = src.values_.length;
}

void CDS_List::clear_values() { values_.truncate(0); }

void CDS_List::for_each_value(DsValueVisitor visit, void* context) const {
  for (int32_t i = 0; i < values_.length; ++i) visit(values_.data[i], context);
}

void CDS_List::write(DsWriter& out) const {
  out.put_i32(kDsListVersion);
  out.put_i32(values_.length);
  for (int32_t i = 0; i < values_.length; ++i) out.put_value(values_.data[i]);
}

bool CDS_List::read(DsReader& in, bool legacy) {
  clear_values();
  bool old_layout = false;
  int32_t count = 0;
  bool ok = in.get_version(kDsListVersion, legacy, &old_layout) && in.get_i32(&count) &&
            in.count_fits(count, sizeof(int32_t)) && values_.reserve(count);
  for (int32_t i = 0; ok && i < count; ++i) {
    RValue value = RV_Undefined();
    ok = in.get_value(&value, old_layout);
    if (ok) add(value);
    RV_FreeToUndefined(&value);
  }
  if (!ok) clear_values();
  return ok;
}
