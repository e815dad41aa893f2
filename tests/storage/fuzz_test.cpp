// Random and mutated input for json_parse, json_decode and every ds_*_read, with a fixed seed and a
// bounded number of rounds. Nothing is expected of the results beyond their shape; the point is
// that no input crashes, hangs or touches memory it shouldn't (run under AddressSanitizer).
#include <random>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/value_test_support.h"
#include "storage/ds_grid.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"
#include "storage/ds_priority.h"
#include "storage/ds_serial.h"
#include "storage/ds_stack_queue.h"
#include "storage/json.h"
#include "support/storage_inputs.h"

namespace value_test {
namespace {

class FuzzTest : public ValueTest {
 protected:
  void TearDown() override {
    DS_FreeAll();
    ValueTest::TearDown();
  }

  std::string Mutate(std::string text) {
    const int edits = 1 + static_cast<int>(random_() % 4);
    for (int i = 0; i < edits; ++i) {
      const size_t at = text.empty() ? 0 : random_() % text.size();
      switch (random_() % 5) {
        case 0:
          if (!text.empty()) text[at] = static_cast<char>(random_() % 256);
          break;
        case 1: text.insert(at, 1, static_cast<char>(random_() % 256)); break;
        case 2:
          if (!text.empty()) text.erase(at, 1 + random_() % 4);
          break;
        case 3: text.resize(at); break;
        default: text.insert(at, text.substr(at, random_() % 16)); break;  // repeat a piece
      }
    }
    return text;
  }

  std::string RandomBytes(size_t max_length, const char* alphabet = nullptr) {
    std::string text(random_() % (max_length + 1), '\0');
    const size_t choices = alphabet != nullptr ? std::char_traits<char>::length(alphabet) : 0;
    for (char& c : text) c = choices > 0 ? alphabet[random_() % choices] : static_cast<char>(1 + random_() % 255);
    return text;
  }

  std::mt19937 random_{20240611};
};

TEST_F(FuzzTest, JsonParseAndDecodeSurviveAnyText) {
  const std::vector<std::string> seeds = {
      "{ \"a\": [ 1.0, { \"b\": \"c\\u0041\" }, [ ], null, true ], \"d\": -1.5e-7 }",
      "[[[[[[[[[[1]]]]]]]]]]",
      "\"@i64@ffffffffffffffff$i64$\"",
      "{\"k\":{\"k\":{\"k\":{\"k\":[null,false,'q',/*c*/NaN]}}}}",
  };
  ConsoleCapture quiet;
  for (int round = 0; round < 8000; ++round) {
    std::string text;
    switch (round % 3) {
      case 0: text = RandomBytes(96, "{}[]\",:0123456789.eE+-tfnul\\/ ab'*"); break;
      case 1: text = RandomBytes(64); break;
      default: text = Mutate(seeds[random_() % seeds.size()]); break;
    }
    EXPECT_TRUE(JsonRoundTrip(text.c_str())) << text;
    quiet.clear();
    if (round % 500 == 499) GCCollectAll();
  }
  // Deep nesting beyond the tokener's limit fails cleanly.
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  RValue value = RV_Undefined();
  EXPECT_FALSE(Json_Parse(deep.c_str(), &value));
}

// Each kind's read over random hex, random streams and mutated valid streams.
template <class T>
void ReadAll(T& structure, const std::string& bytes) {
  DsReader reader;
  reader.load_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  structure.read(reader, false);
  DsReader legacy;
  legacy.load_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  structure.read(legacy, true);
  DsWriter writer;
  structure.write(writer);
}

TEST_F(FuzzTest, SerialReadsSurviveAnyStream) {
  CDS_Map map;
  CDS_List list;
  CDS_Stack stack;
  CDS_Queue queue;
  CDS_Priority priority;
  CDS_Grid grid;
  // Valid streams of every kind to mutate, holding nested arrays and all the stored kinds.
  std::vector<std::string> seeds;
  {
    RValue nested = RV_Undefined();
    RV_ArrayWrite(&nested, 2, Val::Str("s").get());
    RV_ArrayWrite(&nested, 0, Val::Int64(-9).get());
    const Val values[] = {Val::Real(1.5), Val::Str("key"), Val(nested), Val::Int32(4), Val::Bool(true), Val::Ref(2),
                          Val::Undefined()};
    std::vector<RValue> held;
    for (const Val& v : values) held.push_back(*v);
    for (const std::vector<uint8_t>& stream : DsStreamsHolding(held)) seeds.emplace_back(stream.begin(), stream.end());
  }
  ConsoleCapture quiet;
  for (int round = 0; round < 6000; ++round) {
    std::string bytes = round % 2 == 0 ? Mutate(seeds[random_() % seeds.size()]) : RandomBytes(80);
    if (round % 7 == 0) {
      // Random streams that start with a believable version word.
      const int32_t versions[] = {kDsMapVersion, kDsListVersion, kDsStackVersion,  kDsQueueVersion,
                                  kDsGridVersion, kDsPriorityVersion, kDsListVersion - 2};
      const int32_t version = versions[random_() % 7];
      bytes = std::string(reinterpret_cast<const char*>(&version), 4) + bytes;
    }
    ReadAll(map, bytes);
    ReadAll(list, bytes);
    ReadAll(stack, bytes);
    ReadAll(queue, bytes);
    ReadAll(priority, bytes);
    ReadAll(grid, bytes);
    DsReader hex;
    hex.load_hex(RandomBytes(40, "0123456789abcdefABCDEFxz").c_str());
    list.read(hex, false);
    quiet.clear();
  }
}

}  // namespace
}  // namespace value_test
