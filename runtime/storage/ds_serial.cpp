// Writer and reader of the structures' serial stream and its hex text.
#include "storage/ds_serial.h"

#include <algorithm>
#include <cstring>

#include "core/console.h"
#include "core/gc.h"
#include "core/object.h"

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

const char* string_bytes(const RValue& v, int32_t* length) {
  if (v.pRefString == nullptr || v.pRefString->text == nullptr) {
    *length = 0;
    return "";
  }
  *length = static_cast<int32_t>(std::strlen(v.pRefString->text));
  return v.pRefString->text;
}

}  // namespace

// ---- Writer ---------------------------------------------------------------------------------------

void DsWriter::put_bytes(const void* data, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  bytes_.insert(bytes_.end(), bytes, bytes + size);
}

// The stream is little-endian; so is every machine this runs on, so values go out as they lie.
void DsWriter::put_i32(int32_t v) { put_bytes(&v, sizeof v); }
void DsWriter::put_i64(int64_t v) { put_bytes(&v, sizeof v); }
void DsWriter::put_f64(double v) { put_bytes(&v, sizeof v); }

void DsWriter::put_value(const RValue& v) { put_value_at(v, 0); }

void DsWriter::put_value_at(const RValue& v, int depth) {
  const uint32_t kind = RV_Kind(v);
  switch (kind) {
    case kRVReal:
    case kRVBool:
      put_i32(static_cast<int32_t>(kind));
      put_f64(v.val);
      return;
    case kRVString: {
      int32_t length = 0;
      const char* text = string_bytes(v, &length);
      put_i32(kRVString);
      put_i32(length);
      put_bytes(text, static_cast<size_t>(length));
      return;
    }
    case kRVArray: {
      const RefDynamicArrayOfRValue* array = v.pArray;
      const bool reentered = std::find(open_arrays_.begin(), open_arrays_.end(), array) != open_arrays_.end();
      if (array != nullptr && (reentered || depth >= kDsSerialMaxDepth)) {
        put_i32(kRVUndefined);
        return;
      }
      put_i32(kRVArray);
      if (array == nullptr) {
        put_i32(0);
        return;
      }
      put_i32(array->length);
      open_arrays_.push_back(array);
      for (int32_t i = 0; i < array->length; ++i) put_value_at(array->pArray[i], depth + 1);
      open_arrays_.pop_back();
      return;
    }
    case kRVPtr:
    case kRVInt64:
    case kRVRef:
      put_i32(static_cast<int32_t>(kind));
      put_i64(v.v64);
      return;
    case kRVUndefined:
      put_i32(kRVUndefined);
      return;
    case kRVInt32:
      put_i32(kRVInt32);
      put_i32(v.v32);
      return;
    default:
      g_ReleaseConsole->Output("Attempting to WriteValue for unsupported type %d\n", static_cast<int>(kind));
      put_i32(static_cast<int32_t>(kind));
      return;
  }
}

std::string DsWriter::hex() const {
  std::string text(bytes_.size() * 2, '0');
  for (size_t i = 0; i < bytes_.size(); ++i) {
    text[2 * i] = kHexDigits[bytes_[i] >> 4];
    text[2 * i + 1] = kHexDigits[bytes_[i] & 15];
  }
  return text;
}

void DsWriter::to_value(RValue* out) const {
  const std::string text = hex();
  RV_SetStringLen(out, text.data(), static_cast<int32_t>(text.size()));
}

// ---- Reader ---------------------------------------------------------------------------------------

bool DsReader::load_hex(const char* text) {
  bytes_.clear();
  offset_ = 0;
  if (text == nullptr) return false;
  const size_t length = std::strlen(text);
  if (length % 2 != 0) return false;
  bytes_.resize(length / 2);
  for (size_t i = 0; i < bytes_.size(); ++i) {
    const int high = hex_value(text[2 * i]);
    const int low = hex_value(text[2 * i + 1]);
    if (high < 0 || low < 0) {
      bytes_.clear();
      return false;
    }
    bytes_[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return true;
}

void DsReader::load_bytes(const uint8_t* data, size_t size) {
  bytes_.assign(data, data + size);
  offset_ = 0;
}

bool DsReader::get_bytes(void* out, size_t size) {
  if (remaining() < size) return false;
  std::memcpy(out, bytes_.data() + offset_, size);
  offset_ += size;
  return true;
}

bool DsReader::get_i32(int32_t* v) { return get_bytes(v, sizeof *v); }
bool DsReader::get_i64(int64_t* v) { return get_bytes(v, sizeof *v); }
bool DsReader::get_f64(double* v) { return get_bytes(v, sizeof *v); }

bool DsReader::count_fits(int32_t count, size_t min_bytes) const {
  return count >= 0 && static_cast<size_t>(count) <= remaining() / min_bytes;
}

bool DsReader::get_version(int32_t current, bool legacy, bool* old_layout) {
  int32_t version = 0;
  if (!get_i32(&version)) return false;
  if (version > current || version < current - kDsOlderVersions) return false;
  *old_layout = legacy || version < current;
  return true;
}

bool DsReader::get_value(RValue* out, bool old_layout) { return get_value_at(out, old_layout, 0); }

bool DsReader::get_value_at(RValue* out, bool old_layout, int depth) {
  *out = RV_Undefined();
  int32_t kind = 0;
  if (!get_i32(&kind)) return false;
  if (old_layout) {
    if (kind == kRVReal) {
      out->kind = kRVReal;
      return get_f64(&out->val);
    }
    kind = kRVString;
  }
  switch (kind) {
    case kRVReal:
    case kRVBool:
      if (!get_f64(&out->val)) return false;
      out->kind = static_cast<uint32_t>(kind);
      return true;
    case kRVString: {
      int32_t length = 0;
      if (!get_i32(&length) || !count_fits(length, 1)) return false;
      RV_SetStringLen(out, reinterpret_cast<const char*>(bytes_.data() + offset_), length);
      offset_ += static_cast<size_t>(length);
      return true;
    }
    case kRVArray: {
      int32_t length = 0;
      if (depth >= kDsSerialMaxDepth || !get_i32(&length) || !count_fits(length, sizeof(int32_t))) return false;
      RefDynamicArrayOfRValue* array = RV_NewArray(length);
      out->pArray = array;
      out->kind = kRVArray;
      GC_PushSelf(array);
      bool ok = true;
      for (int32_t i = 0; ok && i < length; ++i) ok = get_value_at(&array->pArray[i], false, depth + 1);
      GC_PopSelf();
      if (!ok) RV_FreeToUndefined(out);
      return ok;
    }
    case kRVPtr:
    case kRVInt64:
    case kRVRef:
      if (!get_i64(&out->v64)) return false;
      out->kind = static_cast<uint32_t>(kind);
      return true;
    case kRVUndefined:
      return true;
    case kRVInt32:
      out->v64 = 0;
      if (!get_i32(&out->v32)) return false;
      out->kind = kRVInt32;
      return true;
    default:
      g_ReleaseConsole->Output("Attempting to ReadValue for unsupported type %d\n", kind);
      return true;
  }
}
