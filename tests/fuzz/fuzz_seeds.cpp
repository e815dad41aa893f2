// Writes the starting corpus of the fuzz targets into <dir>/json, <dir>/ds_read, <dir>/loader and
// <dir>/buffer: JSON texts of the shapes the JSON tests use, streams written by every structure's
// own writer (holding every kind a stream stores, nested arrays included) as bytes and as hex
// text, a few streams of the older layouts, whole data files built with the writer, the same files
// the loader tests build, and zlib streams made by buffer_compress, whole, cut short and with a
// damaged byte. `fuzz_seeds <dir> [data.win ...]` also copies the given data files in.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/gc.h"
#include "core/memory.h"
#include "core/rvalue.h"
#include "storage/buffer.h"
#include "storage/ds_serial.h"
#include "support/fixture.h"
#include "support/fixture_games.h"
#include "support/storage_inputs.h"

namespace {

namespace fs = std::filesystem;

void write_seed(const fs::path& dir, const std::string& name, const std::vector<uint8_t>& bytes) {
  std::ofstream out(dir / name, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void write_seed(const fs::path& dir, const std::string& name, const std::string& text) {
  write_seed(dir, name, std::vector<uint8_t>(text.begin(), text.end()));
}

void json_seeds(const fs::path& dir) {
  const char* const texts[] = {
      "{ \"a\": [ 1.0, { \"b\": \"c\\u0041\" }, [ ], null, true ], \"d\": -1.5e-7 }",
      "[1, 2.5, true, false, \"s\", null, [], -7, {}, 12345678901234567890]",
      "{\"n\": 3, \"inner\": {\"deep\": [\"x\"]}, \"nothing\": null}",
      "\"@i64@1000000000000001$i64$\"",
      "\"@i64@ffffffffffffffff$i64$\"",
      "\"a\\/b\\u00e9\\b\\f\\n\\r\\t\\\"\\\\\"",
      "1e+20.0",
      "[\"infinity\", \"-infinity\", \"nan\", 2147483648, -2147483649, 0.1]",
      "{\"k\":{\"k\":{\"k\":{\"k\":[null,false,'q',/*c*/NaN, Infinity,]}}}}",
      "[[[[[[[[[[1]]]]]]]]]]",
      "\xEF\xBB\xBF  { \"default\" : [1,2] }  ",
      "  [1,2]  ",
      "hello",
      "{ \"a\": 1, \"a\": 2 }",
  };
  int n = 0;
  for (const char* text : texts) write_seed(dir, "seed" + std::to_string(n++), std::string(text));
}

// The selector byte of fuzz_ds_read: kind + 6 * (legacy + 2 * hex).
std::vector<uint8_t> ds_seed(int kind, bool hex, const std::vector<uint8_t>& stream) {
  std::vector<uint8_t> seed{static_cast<uint8_t>(kind + 6 * (hex ? 2 : 0))};
  if (!hex) {
    seed.insert(seed.end(), stream.begin(), stream.end());
    return seed;
  }
  static const char kDigits[] = "0123456789ABCDEF";
  for (uint8_t byte : stream) {
    seed.push_back(static_cast<uint8_t>(kDigits[byte >> 4]));
    seed.push_back(static_cast<uint8_t>(kDigits[byte & 15]));
  }
  return seed;
}

void put_u32(std::vector<uint8_t>* out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out->push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void ds_seeds(const fs::path& dir) {
  std::vector<RValue> values(8, RV_Undefined());
  values[0] = RV_Real(1.5);
  RV_SetString(&values[1], "key");
  RV_ArrayWrite(&values[2], 2, &values[1]);
  const RValue inner = RV_Int64(-9);
  RV_ArrayWrite(&values[2], 0, &inner);
  values[3] = RV_Int32(4);
  values[4] = RV_Bool(true);
  values[5] = RV_Real(-0.0);
  values[6] = RV_Int64(1ll << 40);
  values[7] = RV_Undefined();
  // The selector's kind numbers: map, list, stack, queue, grid, priority, as the streams come.
  const std::vector<std::vector<uint8_t>> streams = DsStreamsHolding(values);
  for (int kind = 0; kind < 6; ++kind) {
    write_seed(dir, "kind" + std::to_string(kind), ds_seed(kind, false, streams[static_cast<size_t>(kind)]));
    write_seed(dir, "kind" + std::to_string(kind) + "_hex", ds_seed(kind, true, streams[static_cast<size_t>(kind)]));
  }
  // The older layout: a list of version 301 with a real (kind 0) and a string (any other kind).
  std::vector<uint8_t> old;
  put_u32(&old, kDsListVersion - 2);
  put_u32(&old, 2);
  put_u32(&old, 0);
  const double real = 2.25;
  const auto* real_bytes = reinterpret_cast<const uint8_t*>(&real);
  old.insert(old.end(), real_bytes, real_bytes + sizeof real);
  put_u32(&old, 1);
  put_u32(&old, 3);
  old.insert(old.end(), {'o', 'l', 'd'});
  write_seed(dir, "old_list", ds_seed(1, false, old));
  for (RValue& v : values) RV_FreeToUndefined(&v);
}

void loader_seeds(const fs::path& dir, const std::vector<std::string>& data_files) {
  write_seed(dir, "every_chunk", BuildImage(EveryChunkGame()));
  for (int version : {10, 14, 15}) write_seed(dir, "chains" + std::to_string(version), BuildImage(CodeChainsGame(version)));
  for (int version : {7, 13, 17}) {
    for (uint32_t generation : {1u, 2u}) {
      write_seed(dir, "minimal" + std::to_string(version) + "_" + std::to_string(generation),
                 BuildImage(MakeMinimalGame(version, generation)));
    }
  }
  int n = 0;
  for (const std::string& path : data_files) {
    if (fs::exists(path)) fs::copy_file(path, dir / ("data" + std::to_string(n++)), fs::copy_options::overwrite_existing);
  }
}

// The zlib stream buffer_compress makes of bytes.
std::vector<uint8_t> compressed(const std::vector<uint8_t>& bytes) {
  const int32_t id = Buffer_CreateFromBytes(bytes.data(), static_cast<int32_t>(bytes.size()), kBufferGrow, 1);
  int32_t size = 0;
  uint8_t* block = Buffer_Get(id)->Compress(0, -1, &size);
  std::vector<uint8_t> stream(block, block + size);
  KV_FREE(block);
  Buffer_Delete(id);
  return stream;
}

void buffer_seeds(const fs::path& dir) {
  std::string save = "{\"level\":3,\"gold\":250,\"towers\":[[1,2],[4,5]],\"name\":\"keep\"}";
  std::vector<uint8_t> bytes;
  for (int i = 0; i < 300; ++i) bytes.push_back(static_cast<uint8_t>(i * 7 % 251));
  const std::vector<std::vector<uint8_t>> plains = {{}, std::vector<uint8_t>(save.begin(), save.end()), bytes,
                                                    std::vector<uint8_t>(5000, 'a')};
  int n = 0;
  for (const std::vector<uint8_t>& plain : plains) {
    const std::vector<uint8_t> stream = compressed(plain);
    const std::string name = "stream" + std::to_string(n++);
    write_seed(dir, name, stream);
    write_seed(dir, name + "_cut", std::vector<uint8_t>(stream.begin(), stream.begin() + stream.size() / 2));
    std::vector<uint8_t> damaged = stream;
    damaged[damaged.size() / 2] ^= 0x55;
    write_seed(dir, name + "_damaged", damaged);
    std::vector<uint8_t> prefixed = {1, 64, 0, 0};  // a grow buffer for buffer_load_partial
    prefixed.insert(prefixed.end(), stream.begin(), stream.end());
    write_seed(dir, name + "_partial", prefixed);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: fuzz_seeds <corpus dir> [data.win ...]\n");
    return 2;
  }
  const fs::path root = argv[1];
  for (const char* target : {"json", "ds_read", "loader", "buffer"}) fs::create_directories(root / target);
  json_seeds(root / "json");
  ds_seeds(root / "ds_read");
  GCCollectAll();  // the arrays the structures held
  loader_seeds(root / "loader", std::vector<std::string>(argv + 2, argv + argc));
  buffer_seeds(root / "buffer");
  return 0;
}
