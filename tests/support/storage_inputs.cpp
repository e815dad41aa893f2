#include "support/storage_inputs.h"

#include <string>

#include "storage/ds_core.h"
#include "storage/ds_grid.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"
#include "storage/ds_priority.h"
#include "storage/ds_serial.h"
#include "storage/ds_stack_queue.h"
#include "storage/json.h"

std::vector<std::vector<uint8_t>> DsStreamsHolding(const std::vector<RValue>& values) {
  CDS_Map map;
  CDS_List list;
  CDS_Stack stack;
  CDS_Queue queue;
  CDS_Grid grid;
  CDS_Priority priority;
  for (size_t i = 0; i < values.size(); ++i) {
    const RValue& key = values[(i + values.size() - 1) % values.size()];
    if (RV_Kind(key) != kRVArray) map.set(key, values[i]);
    list.add(values[i]);
    stack.push(values[i]);
    queue.enqueue(values[i]);
    priority.add(values[i], RV_Real(static_cast<double>(i)));
  }
  grid.resize(3, 2);
  if (values.size() > 2) {
    grid.apply(kDsCellSet, 1, 1, values[2]);
    grid.apply(kDsCellSet, 2, 0, values[1]);
  }
  DsWriter writers[6];
  map.write(writers[0]);
  list.write(writers[1]);
  stack.write(writers[2]);
  queue.write(writers[3]);
  grid.write(writers[4]);
  priority.write(writers[5]);
  std::vector<std::vector<uint8_t>> streams;
  for (const DsWriter& writer : writers) streams.push_back(writer.bytes());
  return streams;
}

bool JsonRoundTrip(const char* text) {
  bool printed_parses = true;
  RValue value = RV_Undefined();
  if (Json_Parse(text, &value)) {
    const std::string printed = Json_Stringify(value);
    RValue again = RV_Undefined();
    printed_parses = Json_Parse(printed.c_str(), &again);
    RV_FreeToUndefined(&again);
  }
  RV_FreeToUndefined(&value);
  const int32_t map = Json_Decode(text);
  if (map >= 0) {
    Json_Encode(map);
    DS_Destroy(kDsMap, map);
  }
  return printed_parses;
}
