// CDS_Map: hashing, chains, iteration and the serial form.
#include "storage/ds_map.h"

#include <cstring>

#include "core/crc32.h"
#include "core/error.h"
#include "core/memory.h"
#include "storage/ds_serial.h"

namespace {

// CRC-32 from 0xFFFFFFFF without the final inversion.
uint32_t crc_raw(const void* data, size_t size) { return ~Crc32(data, size, 0); }

uint32_t crc_double(double d) { return crc_raw(&d, sizeof d); }

}  // namespace

CDS_Map::CDS_Map(int32_t buckets) : DsStructure(kDsMap) {
  if (buckets < 1) buckets = kDefaultBuckets;
  if (buckets > kMaxBuckets) buckets = kMaxBuckets;
  uint32_t count = 1;
  while (count < static_cast<uint32_t>(buckets)) count <<= 1;
  buckets_ = static_cast<Bucket*>(KV_CALLOC(count * sizeof(Bucket)));
  mask_ = count - 1;
}

CDS_Map::~CDS_Map() {
  clear_values();
  for (uint32_t b = 0; b <= mask_; ++b) KV_FREE(buckets_[b].entries);
  KV_FREE(buckets_);
}

bool CDS_Map::key_hash(const RValue& key, uint32_t* hash) {
  switch (RV_Kind(key)) {
    case kRVString: {
      const char* text = key.pRefString != nullptr ? key.pRefString->text : nullptr;
      *hash = text != nullptr ? crc_raw(text, std::strlen(text)) : 0xFFFFFFFFu;
      return true;
    }
    case kRVArray:
    case kRVPtr:
    case kRVObject: *hash = crc_raw(&key.v64, sizeof key.v64); return true;
    case kRVUndefined: *hash = 0; return true;
    case kRVReal:
    case kRVBool: *hash = crc_double(key.val); return true;
    case kRVInt32:
    case kRVRef: *hash = crc_double(static_cast<double>(key.v32)); return true;
    case kRVInt64: *hash = crc_double(static_cast<double>(key.v64)); return true;
    default:
      KVError("Illegal key type for ds_map");
      return false;
  }
}

bool CDS_Map::locate(const RValue& key, uint32_t hash, Place* place) const {
  const uint32_t b = hash & mask_;
  const Bucket& bucket = buckets_[b];
  for (int32_t i = 0; i < bucket.count; ++i) {
    if (bucket.entries[i].hash == hash && DS_Compare(bucket.entries[i].record->key, key) == 0) {
      *place = Place{b, i};
      return true;
    }
  }
  return false;
}

bool CDS_Map::locate(const RValue& key, Place* place) const {
  uint32_t hash = 0;
  return key_hash(key, &hash) && locate(key, hash, place);
}

RValue* CDS_Map::find(const RValue& key) const {
  Place place;
  return locate(key, &place) ? &record_at(place)->value : nullptr;
}

void CDS_Map::append(const RValue& key, uint32_t hash, const RValue& value) {
  Bucket& bucket = buckets_[hash & mask_];
  if (bucket.count == bucket.capacity) {
    const int32_t capacity = bucket.capacity < 4 ? 4 : bucket.capacity * 2;
    void* grown = KV_REALLOC(bucket.entries, static_cast<size_t>(capacity) * sizeof(Entry));
    if (grown == nullptr) {
      KVError("Out of memory: ds_map can't take another key");
      return;
    }
    bucket.entries = static_cast<Entry*>(grown);
    bucket.capacity = capacity;
  }
  auto* record = static_cast<Record*>(KV_ALLOC(sizeof(Record)));
  if (record == nullptr) {
    KVError("Out of memory: ds_map can't take another key");
    return;
  }
  store(&record->key, DS_Unmarked(key));
  store(&record->value, value);
  bucket.entries[bucket.count++] = Entry{hash, record};
  ++count_;
}

bool CDS_Map::add(const RValue& key, const RValue& value) {
  uint32_t hash = 0;
  Place place;
  if (!key_hash(key, &hash) || locate(key, hash, &place)) return false;
  append(key, hash, value);
  return true;
}

void CDS_Map::set(const RValue& key, const RValue& value, RValue* old) {
  if (old != nullptr) *old = RV_Undefined();
  uint32_t hash = 0;
  if (!key_hash(key, &hash)) return;
  Place place;
  if (!locate(key, hash, &place)) {
    append(key, hash, value);
    return;
  }
  Record* record = record_at(place);
  if (old != nullptr) RV_CopyRef(old, &record->value);
  assign(&record->value, value);
}

void CDS_Map::free_record(Record* record) {
  if (RV_NeedsFree(record->key)) RV_Free(&record->key);
  if (RV_NeedsFree(record->value)) RV_Free(&record->value);
  KV_FREE(record);
}

bool CDS_Map::remove(const RValue& key) {
  Place place;
  if (!locate(key, &place)) return false;
  Bucket& bucket = buckets_[place.bucket];
  Record* record = bucket.entries[place.index].record;
  std::memmove(static_cast<void*>(&bucket.entries[place.index]), &bucket.entries[place.index + 1],
               static_cast<size_t>(bucket.count - place.index - 1) * sizeof(Entry));
  --bucket.count;
  --count_;
  free_record(record);
  return true;
}

const CDS_Map::Record* CDS_Map::first_from(uint32_t b) const {
  for (; b <= mask_; ++b) {
    if (buckets_[b].count > 0) return buckets_[b].entries[0].record;
  }
  return nullptr;
}

const CDS_Map::Record* CDS_Map::last_before(uint32_t b) const {
  while (b-- > 0) {
    if (buckets_[b].count > 0) return buckets_[b].entries[buckets_[b].count - 1].record;
  }
  return nullptr;
}

const RValue* CDS_Map::first_key() const {
  const Record* record = first_from(0);
  return record != nullptr ? &record->key : nullptr;
}

const RValue* CDS_Map::last_key() const {
  const Record* record = last_before(mask_ + 1);
  return record != nullptr ? &record->key : nullptr;
}

const RValue* CDS_Map::next_key(const RValue& key) const {
  Place place;
  if (!locate(key, &place)) return nullptr;
  const Bucket& bucket = buckets_[place.bucket];
  const Record* next = place.index + 1 < bucket.count ? bucket.entries[place.index + 1].record : first_from(place.bucket + 1);
  return next != nullptr ? &next->key : nullptr;
}

const RValue* CDS_Map::previous_key(const RValue& key) const {
  Place place;
  if (!locate(key, &place)) return nullptr;
  const Bucket& bucket = buckets_[place.bucket];
  const Record* previous = place.index > 0 ? bucket.entries[place.index - 1].record : last_before(place.bucket);
  return previous != nullptr ? &previous->key : nullptr;
}

void CDS_Map::copy_from(const CDS_Map& src) {
  if (&src == this) return;
  clear_values();
  src.for_each([this](const RValue& key, const RValue& value) {
    uint32_t hash = 0;
    if (key_hash(key, &hash)) append(key, hash, value);
  });
}

void CDS_Map::clear_values() {
  for (uint32_t b = 0; b <= mask_; ++b) {
    Bucket& bucket = buckets_[b];
    const int32_t n = bucket.count;
    bucket.count = 0;  // freeing a value never reaches back into the map, but keep it consistent
    for (int32_t i = 0; i < n; ++i) free_record(bucket.entries[i].record);
  }
  count_ = 0;
}

void CDS_Map::for_each_value(DsValueVisitor visit, void* context) const {
  for_each([visit, context](const RValue& key, const RValue& value) {
    visit(key, context);
    visit(value, context);
  });
}

void CDS_Map::write(DsWriter& out) const {
  out.put_i32(kDsMapVersion);
  out.put_i32(count_);
  for_each([&out](const RValue& key, const RValue& value) {
    out.put_value(key);
    out.put_value(value);
  });
}

bool CDS_Map::read(DsReader& in, bool legacy) {
  clear_values();
  bool old_layout = false;
  int32_t count = 0;
  bool ok = in.get_version(kDsMapVersion, legacy, &old_layout) && in.get_i32(&count) &&
            in.count_fits(count, 2 * sizeof(int32_t));
  for (int32_t i = 0; ok && i < count; ++i) {
    RValue key = RV_Undefined();
    RValue value = RV_Undefined();
    ok = in.get_value(&key, old_layout);
    ok = ok && in.get_value(&value, old_layout);
    uint32_t hash = 0;
    // A key the map can't hold (a stream may name any kind) is dropped with its value.
    const uint32_t kind = RV_Kind(key);
    const bool legal = kind <= kRVRef && kind != kRVVec3 && kind != kRVVec4 && kind != kRVMatrix &&
                       kind != kRVAccessor && kind != kRVNull && kind != kRVIterator;
    if (ok && legal && key_hash(key, &hash)) set(key, value);
    RV_FreeToUndefined(&key);
    RV_FreeToUndefined(&value);
  }
  if (!ok) clear_values();
  return ok;
}
