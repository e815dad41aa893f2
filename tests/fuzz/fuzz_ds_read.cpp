// libFuzzer target: the serial streams of ds_*_read. The first byte chooses the structure (its
// value mod 6: map, list, stack, queue, grid, priority), the legacy flag (bit 0 of value / 6) and
// whether the rest is the stream itself or the hexadecimal text scripts pass (bit 1 of value / 6).
// Besides crashes, sanitizer reports and leaks, a stream that reads must write a stream that reads
// back and writes the same bytes again (the same number of bytes, for a map with array keys).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/console.h"
#include "core/gc.h"
#include "storage/ds_grid.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"
#include "storage/ds_priority.h"
#include "storage/ds_serial.h"
#include "storage/ds_stack_queue.h"

namespace {

// A map keeps its records in the order of their keys' hashes, and an array key hashes by its
// address, which a new reading changes: such a map writes its records in another order.
template <class T>
bool order_is_stable(const T&) {
  return true;
}
template <>
bool order_is_stable(const CDS_Map& map) {
  bool stable = true;
  map.for_each([&stable](const RValue& key, const RValue&) { stable &= RV_Kind(key) != kRVArray; });
  return stable;
}

template <class T>
void read_and_write_back(const uint8_t* data, size_t size, bool legacy, bool hex) {
  DsReader reader;
  if (hex) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (!reader.load_hex(text.c_str())) return;
  } else {
    reader.load_bytes(data, size);
  }
  DsOwned<T> structure(KV_NEW(T));
  if (!structure->read(reader, legacy)) return;
  DsWriter first;
  structure->write(first);
  DsReader back;
  back.load_bytes(first.bytes().data(), first.bytes().size());
  DsOwned<T> again(KV_NEW(T));
  if (!again->read(back, false)) std::abort();
  DsWriter second;
  again->write(second);
  if (second.bytes().size() != first.bytes().size()) std::abort();
  if (order_is_stable(*structure) && second.bytes() != first.bytes()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static ConsoleCapture* const quiet = new ConsoleCapture;  // unsupported kinds print a line each
  const int kind = data[0] % 6;
  const bool legacy = (data[0] / 6 & 1) != 0;
  const bool hex = (data[0] / 6 & 2) != 0;
  ++data;
  --size;
  switch (kind) {
    case 0: read_and_write_back<CDS_Map>(data, size, legacy, hex); break;
    case 1: read_and_write_back<CDS_List>(data, size, legacy, hex); break;
    case 2: read_and_write_back<CDS_Stack>(data, size, legacy, hex); break;
    case 3: read_and_write_back<CDS_Queue>(data, size, legacy, hex); break;
    case 4: read_and_write_back<CDS_Grid>(data, size, legacy, hex); break;
    default: read_and_write_back<CDS_Priority>(data, size, legacy, hex); break;
  }
  GCCollectAll();
  quiet->clear();
  return 0;
}
