// ds_map set and find with 100000 string keys against std::unordered_map, and JSON printing of a
// structure of about 1 MB: our whole json_stringify, our printer alone, and json-c's own printer of
// the same tree.
#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "core/gc.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "storage/ds_map.h"
#include "storage/json.h"

namespace {

constexpr int kKeys = 100000;

std::vector<std::string> key_texts() {
  std::vector<std::string> keys;
  keys.reserve(kKeys);
  for (int i = 0; i < kKeys; ++i) keys.push_back("key_" + std::to_string(i * 7919));
  return keys;
}

// Set every key, then find every key. Arg: bucket count (256 is ds_map_create's default).
void BM_DsMapSetFind(benchmark::State& state) {
  const std::vector<std::string> texts = key_texts();
  std::vector<RValue> keys(texts.size(), RV_Undefined());
  for (size_t i = 0; i < texts.size(); ++i) RV_SetString(&keys[i], texts[i].c_str());
  for (auto _ : state) {
    CDS_Map map(static_cast<int32_t>(state.range(0)));
    for (size_t i = 0; i < keys.size(); ++i) map.set(keys[i], RV_Real(static_cast<double>(i)));
    double sum = 0;
    for (const RValue& key : keys) sum += map.find(key)->val;
    benchmark::DoNotOptimize(sum);
  }
  for (RValue& key : keys) RV_FreeToUndefined(&key);
  state.SetItemsProcessed(state.iterations() * kKeys * 2);
}
BENCHMARK(BM_DsMapSetFind)->Arg(256)->Arg(131072)->Unit(benchmark::kMillisecond);

void BM_UnorderedMapSetFind(benchmark::State& state) {
  const std::vector<std::string> keys = key_texts();
  for (auto _ : state) {
    std::unordered_map<std::string, double> map;
    for (size_t i = 0; i < keys.size(); ++i) map[keys[i]] = static_cast<double>(i);
    double sum = 0;
    for (const std::string& key : keys) sum += map.find(key)->second;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kKeys * 2);
}
BENCHMARK(BM_UnorderedMapSetFind)->Unit(benchmark::kMillisecond);

// About 1 MB of JSON: an array of structs with numbers, a string and a small array each.
class JsonFixture {
 public:
  JsonFixture() {
    constexpr int kRows = 9000;
    RefDynamicArrayOfRValue* rows = RV_NewArray(kRows);
    value_.pArray = rows;
    value_.flags = 0;
    value_.kind = kRVArray;
    for (int i = 0; i < kRows; ++i) {
      KVObjectBase* row = Object_NewStruct();
      Object_SetReal(row, "id", i);
      Object_SetReal(row, "x", i * 0.37);
      Object_SetReal(row, "y", -i / 3.0);
      RValue name = RV_Undefined();
      RV_SetString(&name, ("enemy \"" + std::to_string(i) + "\"/grunt").c_str());
      Object_SetRValue(row, "name", &name);
      RV_FreeToUndefined(&name);
      RValue tags = RV_Undefined();
      for (int t = 0; t < 3; ++t) {
        const RValue tag = RV_Int32(t * i);
        RV_ArrayWrite(&tags, t, &tag);
      }
      Object_SetRValue(row, "tags", &tags);
      RV_FreeToUndefined(&tags);
      const RValue object = RV_Object(row);
      GC_PushSelf(rows);
      RV_CopyRef(&rows->pArray[i], &object);
      GC_PopSelf();
    }
    tree_ = Json_ValueToTree(value_);
  }
  ~JsonFixture() {
    json_object_put(tree_);
    RV_FreeToUndefined(&value_);
  }
  const RValue& value() const { return value_; }
  json_object* tree() const { return tree_; }

 private:
  RValue value_ = RV_Undefined();
  json_object* tree_ = nullptr;
};

JsonFixture& fixture() {
  static JsonFixture* data = new JsonFixture;
  return *data;
}

void BM_JsonStringify(benchmark::State& state) {
  const RValue& value = fixture().value();
  size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = Json_Stringify(value);
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.counters["text_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_JsonStringify)->Unit(benchmark::kMillisecond);

void BM_JsonPrintTree(benchmark::State& state) {
  json_object* tree = fixture().tree();
  size_t bytes = 0;
  for (auto _ : state) {
    std::string text;
    Json_PrintTree(tree, &text);
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_JsonPrintTree)->Unit(benchmark::kMillisecond);

void BM_JsonCToJsonString(benchmark::State& state) {
  json_object* tree = fixture().tree();
  size_t bytes = 0;
  for (auto _ : state) {
    const char* text = json_object_to_json_string(tree);
    bytes = std::char_traits<char>::length(text);
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_JsonCToJsonString)->Unit(benchmark::kMillisecond);

}  // namespace
