// Buffer operations over ranges, files, surfaces and ids: digests against known values, Base64,
// zlib round trips and damaged streams, save and load, the id table with its use counts, the
// surface access and the asynchronous groups.
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/value_test_support.h"
#include "storage/buffer.h"
#include "storage/buffer_async.h"
#include "storage/fn_buffer.h"
#include "support/fixture.h"

namespace value_test {
namespace {

class BufferOpsTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    Buffer_RegisterBuiltins();
  }
  void TearDown() override {
    Buffer_SetSurfaceAccess(nullptr);
    Buffer_SetAsyncTransport(nullptr);
    BufferAsync_Reset();
    Buffer_FreeAll();
    ValueBuiltinsTest::TearDown();
  }

  // A buffer of exactly these bytes, all of them used, position 0.
  double Holding(const std::string& bytes, int type = kBufferGrow) {
    return Buffer_CreateFromBytes(bytes.data(), static_cast<int32_t>(bytes.size()), static_cast<BufferType>(type), 1);
  }
  std::string Contents(double id) {
    const IBuffer* buffer = Buffer_Get(static_cast<int64_t>(id));
    return std::string(reinterpret_cast<const char*>(buffer->data), static_cast<size_t>(buffer->size));
  }
  Val Range(const char* name, double id, double offset, double size) {
    return Call(name, Args({Val::Real(id), Val::Real(offset), Val::Real(size)}));
  }
};

TEST_F(BufferOpsTest, DigestsOfRanges) {
  struct Row {
    const char* name;
    const char* bytes;
    int type;
    double offset, size;
    const char* expected;
  };
  const Row rows[] = {
      {"buffer_md5", "abc", kBufferGrow, 0, -1, "900150983cd24fb0d6963f7d28e17f72"},
      {"buffer_md5", "", kBufferGrow, 0, -1, "d41d8cd98f00b204e9800998ecf8427e"},
      {"buffer_sha1", "abc", kBufferGrow, 0, -1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"buffer_sha1", "xxabcyy", kBufferFixed, 2, 3, "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"buffer_base64_encode", "hello", kBufferFixed, 0, -1, "aGVsbG8="},
      {"buffer_base64_encode", "hello", kBufferFixed, -5, 2, "aGU="},
      {"buffer_base64_encode", "hello", kBufferFixed, 9, -1, "bw=="},
      {"buffer_base64_encode", "hello", kBufferFixed, 1, 99, "ZWxsbw=="},
      {"buffer_base64_encode", "hello", kBufferWrap, 3, 4, "bG9oZQ=="},
      {"buffer_base64_encode", "hello", kBufferWrap, -1, -1, "bw=="},
      {"buffer_base64_encode", "ab", kBufferWrap, 1, 5, "YmFiYWI="},
  };
  for (const Row& row : rows) {
    const double id = Holding(row.bytes, row.type);
    EXPECT_EQ(Range(row.name, id, row.offset, row.size).text(), row.expected)
        << row.name << " " << row.bytes << " " << row.offset << " " << row.size;
  }
  const Val crc = Range("buffer_crc32", Holding("123456789"), 0, -1);
  EXPECT_EQ(crc.kind(), kRVReal);
  EXPECT_EQ(crc->val, 3421780262.0);
}

TEST_F(BufferOpsTest, Base64DecodeMakesOrFillsABuffer) {
  struct Row {
    const char* text;
    double result;  // -1 for text that isn't Base64
    const char* bytes;
  };
  const Row rows[] = {
      {"aGVsbG8=", 0, "hello"}, {"aGVsbG8", 0, "hello"},   {"aGVs\nbG8=", 0, "hello"}, {"", 0, ""},
      {"a", -1, ""},            {"aGV*bG8=", -1, ""},      {"aGVsbG8=x", -1, ""},
  };
  for (const Row& row : rows) {
    const double id = Call("buffer_base64_decode", Args({Val::Str(row.text)}))->val;
    if (row.result < 0) {
      EXPECT_EQ(id, -1.0) << row.text;
      continue;
    }
    ASSERT_GE(id, 0.0) << row.text;
    EXPECT_EQ(Contents(id), row.bytes) << row.text;
    EXPECT_EQ(Call("buffer_get_type", Args({Val::Real(id)}))->val, kBufferGrow);
    EXPECT_EQ(Call("buffer_tell", Args({Val::Real(id)}))->val, 0.0);
  }
  const double fixed = Holding("........", kBufferFixed);
  Call("buffer_base64_decode_ext", Args({Val::Real(fixed), Val::Str("aGVsbG8="), Val::Real(5)}));
  EXPECT_EQ(Contents(fixed), ".....hel");
  const double wrap = Holding("........", kBufferWrap);
  Call("buffer_base64_decode_ext", Args({Val::Real(wrap), Val::Str("aGVsbG8="), Val::Real(5)}));
  EXPECT_EQ(Contents(wrap), "lo...hel");
}

TEST_F(BufferOpsTest, CompressAndDecompressRoundTrip) {
  std::mt19937 random(7);
  std::vector<std::string> samples = {"", "a", std::string(100000, 'z'), "the quick brown fox"};
  std::string noise(40000, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  samples.push_back(noise);
  for (const std::string& sample : samples) {
    const double source = Call("buffer_create", Args({Val::Real(static_cast<double>(sample.size())), Val::Real(kBufferFixed), Val::Real(1)}))->val;
    if (!sample.empty()) std::memcpy(Buffer_Get(static_cast<int64_t>(source))->data, sample.data(), sample.size());
    const double packed = Range("buffer_compress", source, 0, -1)->val;
    ASSERT_GE(packed, 0.0) << sample.size();
    EXPECT_EQ(Call("buffer_get_type", Args({Val::Real(packed)}))->val, kBufferGrow);
    const double unpacked = Call("buffer_decompress", Args({Val::Real(packed)}))->val;
    ASSERT_GE(unpacked, 0.0) << sample.size();
    EXPECT_EQ(Contents(unpacked), sample.size() == 0 ? std::string() : sample) << sample.size();
    EXPECT_EQ(Call("buffer_get_size", Args({Val::Real(unpacked)}))->val, static_cast<double>(sample.size()));
  }
  // A part of a buffer, and a wrap buffer's range that runs on from the start.
  const double wrap = Holding("0123456789", kBufferWrap);
  const double part = Range("buffer_compress", wrap, 8, 5)->val;
  EXPECT_EQ(Contents(Call("buffer_decompress", Args({Val::Real(part)}))->val), "89012");
  EXPECT_EQ(ErrorRaisedBy([&] { Range("buffer_compress", 55, 0, -1); }),
            "Error in buffer_compress(): Illegal Buffer Index 55");
}

TEST_F(BufferOpsTest, DamagedStreamsGiveMinusOne) {
  const std::string text(5000, 'q');
  const double source = Holding(text + "tail");
  const double packed = Range("buffer_compress", source, 0, -1)->val;
  const std::string stream = Contents(packed);
  std::vector<std::string> damaged = {"", "not a zlib stream at all", stream.substr(0, stream.size() - 3),
                                      stream.substr(0, 2), std::string(64, '\0')};
  std::string flipped = stream;
  flipped[stream.size() / 2] = static_cast<char>(flipped[stream.size() / 2] ^ 0x55);
  damaged.push_back(flipped);
  std::string bad_check = stream;
  bad_check.back() = static_cast<char>(bad_check.back() ^ 1);
  damaged.push_back(bad_check);
  for (const std::string& bytes : damaged) {
    const double id = Call("buffer_create", Args({Val::Real(static_cast<double>(bytes.size())), Val::Real(kBufferFixed), Val::Real(1)}))->val;
    if (!bytes.empty()) std::memcpy(Buffer_Get(static_cast<int64_t>(id))->data, bytes.data(), bytes.size());
    EXPECT_EQ(Call("buffer_decompress", Args({Val::Real(id)}))->val, -1.0) << bytes.size();
  }
  // Bytes after a whole stream are left alone.
  const double padded = Holding(stream + "trailing");
  EXPECT_EQ(Contents(Call("buffer_decompress", Args({Val::Real(padded)}))->val), text + "tail");
}

// Mutated and random streams through inflate and random text through Base64, with a fixed seed and
// a bounded number of rounds: whatever the input, a result is -1 or a buffer, and a stream that
// does inflate re-compresses to the same bytes.
TEST_F(BufferOpsTest, AnyInputToDecompressOrBase64DecodeIsSafe) {
  std::mt19937 random(20240612);
  std::vector<std::string> seeds;
  for (const char* text : {"hello hello hello hello", "", "0123456789abcdefghijklmnopqrstuvwxyz"}) {
    const double packed = Range("buffer_compress", Holding(text), 0, -1)->val;
    seeds.push_back(Contents(packed));
  }
  for (int round = 0; round < 3000; ++round) {
    std::string bytes = seeds[random() % seeds.size()];
    if (round % 4 == 0) {
      bytes.assign(random() % 64, '\0');
      for (char& c : bytes) c = static_cast<char>(random());
    } else {
      for (int edits = 1 + static_cast<int>(random() % 3); edits > 0 && !bytes.empty(); --edits) {
        const size_t at = random() % bytes.size();
        switch (random() % 3) {
          case 0: bytes[at] = static_cast<char>(random()); break;
          case 1: bytes.resize(at); break;
          default: bytes.insert(at, 1, static_cast<char>(random())); break;
        }
      }
    }
    const double id = Holding(bytes);
    const double out = Call("buffer_decompress", Args({Val::Real(id)}))->val;
    if (out >= 0) {
      const double again = Range("buffer_compress", out, 0, -1)->val;
      EXPECT_EQ(Contents(Call("buffer_decompress", Args({Val::Real(again)}))->val), Contents(out));
      Buffer_Delete(static_cast<int64_t>(out));
      Buffer_Delete(static_cast<int64_t>(again));
    }
    Buffer_Delete(static_cast<int64_t>(id));
    std::string text(random() % 24, 'A');
    for (char& c : text) c = "AZaz09+/= \n*"[random() % 13];
    const double decoded = Call("buffer_base64_decode", Args({Val::Str(text.c_str())}))->val;
    if (decoded >= 0) Buffer_Delete(static_cast<int64_t>(decoded));
  }
  EXPECT_LE(Buffer_TableLength(), 64);
}

TEST_F(BufferOpsTest, SaveAndLoadFiles) {
  TempDir dir;
  const std::string path = dir.file("data.bin");
  const double id = Holding("hello world");
  Call("buffer_resize", Args({Val::Real(id), Val::Real(64)}));
  // The whole used area, then a part of it.
  Call("buffer_save", Args({Val::Real(id), Val::Str(path.c_str())}));
  const double loaded = Call("buffer_load", Args({Val::Str(path.c_str())}))->val;
  EXPECT_EQ(Contents(loaded), "hello world");
  EXPECT_EQ(Call("buffer_get_type", Args({Val::Real(loaded)}))->val, kBufferGrow);
  EXPECT_EQ(Call("buffer_get_alignment", Args({Val::Real(loaded)}))->val, 1.0);
  EXPECT_EQ(Call("buffer_tell", Args({Val::Real(loaded)}))->val, 0.0);
  Call("buffer_save_ext", Args({Val::Real(id), Val::Str(path.c_str()), Val::Real(6), Val::Real(3)}));
  EXPECT_EQ(Contents(Call("buffer_load", Args({Val::Str(path.c_str())}))->val), "wor");

  Call("buffer_save", Args({Val::Real(id), Val::Str(path.c_str())}));
  struct Row {
    const char* name;
    int type;
    double offset, src_offset, size;
    const char* expected;
  };
  // Into "........" (a fixed buffer unless the row says otherwise).
  const Row rows[] = {
      {"buffer_load_ext", kBufferFixed, 2, 0, 0, "..hello "},
      {"buffer_load_partial", kBufferFixed, 1, 6, 3, ".wor...."},
      {"buffer_load_partial", kBufferFixed, 0, 9, -1, "ld......"},
      {"buffer_load_partial", kBufferFixed, 0, 40, 4, "........"},
      {"buffer_load_ext", kBufferWrap, 4, 0, 0, "o worldl"},
      {"buffer_load_ext", kBufferGrow, 6, 0, 0, "......hello world"},
  };
  for (const Row& row : rows) {
    const double into = Holding("........", row.type);
    if (std::string(row.name) == "buffer_load_ext") {
      Call(row.name, Args({Val::Real(into), Val::Str(path.c_str()), Val::Real(row.offset)}));
    } else {
      Call(row.name, Args({Val::Real(into), Val::Str(path.c_str()), Val::Real(row.offset), Val::Real(row.src_offset),
                           Val::Real(row.size)}));
    }
    EXPECT_EQ(Contents(into).substr(0, std::strlen(row.expected)), row.expected) << row.name << " " << row.offset;
  }

  ConsoleCapture console;
  const std::string missing = dir.file("missing.bin");
  EXPECT_EQ(Call("buffer_load", Args({Val::Str(missing.c_str())}))->val, -1.0);
  EXPECT_EQ(console.text(), "ERROR!!! :: Failed to open file: " + missing + " for buffer_load()\n");
  console.clear();
  EXPECT_EQ(Call("buffer_load", Args({Val::Str("https://example.invalid/x")}))->val, -1.0);
  EXPECT_NE(console.text().find("Failed to open file"), std::string::npos);
}

TEST_F(BufferOpsTest, IdsAreReusedAndHeldBuffersCannotBeDeleted) {
  std::vector<double> ids;
  for (int i = 0; i < 40; ++i) ids.push_back(Call("buffer_create", Args({Val::Real(1), Val::Real(0), Val::Real(1)}))->val);
  EXPECT_EQ(ids[39], 39.0);
  EXPECT_EQ(Buffer_TableLength(), 64);
  Call("buffer_delete", Args({Val::Real(5)}));
  Call("buffer_delete", Args({Val::Real(3)}));
  Call("buffer_delete", Args({Val::Real(500)}));
  EXPECT_FALSE(Call("buffer_exists", Args({Val::Real(3)}))->val != 0);
  EXPECT_EQ(Call("buffer_exists", Args({Val::Real(4)})).kind(), kRVBool);
  EXPECT_TRUE(Call("buffer_exists", Args({Val::Real(4)}))->val != 0);
  EXPECT_FALSE(Call("buffer_exists", Args({Val::Undefined()}))->val != 0);
  EXPECT_EQ(Call("buffer_create", Args({Val::Real(1), Val::Real(0), Val::Real(1)}))->val, 3.0);
  EXPECT_EQ(Call("buffer_create", Args({Val::Real(1), Val::Real(0), Val::Real(1)}))->val, 5.0);

  Buffer_AddRef(4);
  Buffer_AddRef(4);
  EXPECT_EQ(Raised("buffer_delete", {Val::Real(4)}), "Cannot delete buffer, it's in use by 2 others");
  ConsoleCapture console;
  Buffer_Release(4);
  Buffer_Release(4);
  Buffer_Release(4);
  Buffer_Release(-1);
  Buffer_Release(60);
  EXPECT_EQ(console.text(),
            "Decrementing buffer ref count to less than zero\n"
            "Attempting to dec buffer ref count on buffer with invalid index -1\n"
            "Attempting to dec buffer ref count on buffer that doesn't exist index: 60\n");
  Call("buffer_delete", Args({Val::Real(4)}));
  EXPECT_EQ(Buffer_Get(4), nullptr);
  const char* by_id[] = {"buffer_write", "buffer_read", "buffer_tell", "buffer_get_size", "buffer_md5", "buffer_seek",
                         "buffer_resize", "buffer_decompress", "buffer_get_address"};
  for (const char* name : by_id) {
    EXPECT_EQ(Raised(name, {Val::Real(4), Val::Real(1), Val::Real(1)}), "Illegal Buffer Index 4")
        << name;
  }
}

TEST_F(BufferOpsTest, UsedSizeAndAddress) {
  const double id = Holding("abcdef", kBufferFixed);
  EXPECT_EQ(Raised("buffer_set_used_size", {Val::Real(id), Val::Real(7)}),
            "Illegal size passed to buffer_set_used_size 7");
  EXPECT_EQ(Raised("buffer_set_used_size", {Val::Real(id), Val::Real(-1)}),
            "Illegal size passed to buffer_set_used_size -1");
  Call("buffer_set_used_size", Args({Val::Real(id), Val::Real(2)}));
  TempDir dir;
  Call("buffer_save", Args({Val::Real(id), Val::Str(dir.file("u").c_str())}));
  EXPECT_EQ(std::filesystem::file_size(dir / "u"), 2u);
  const Val address = Call("buffer_get_address", Args({Val::Real(id)}));
  EXPECT_EQ(address.kind(), kRVPtr);
  EXPECT_EQ(address->ptr, Buffer_Get(static_cast<int64_t>(id))->data);
}

// A 2 x 1 surface 7 whose pixels a test can see.
uint8_t g_pixels[8] = {1, 2, 3, 4, 5, 6, 7, 8};
bool fake_size(int32_t surface, int32_t* width, int32_t* height) {
  *width = 2;
  *height = 1;
  return surface == 7;
}
void fake_read(int32_t, uint8_t* pixels) { std::memcpy(pixels, g_pixels, 8); }
void fake_write(int32_t, const uint8_t* pixels) { std::memcpy(g_pixels, pixels, 8); }
const BufferSurfaceAccess kFakeSurfaces = {fake_size, fake_read, fake_write};

TEST_F(BufferOpsTest, SurfacesGoThroughTheInstalledAccess) {
  const double id = Holding("..........", kBufferFixed);
  EXPECT_EQ(Raised("buffer_get_surface", {Val::Real(id), Val::Real(7), Val::Real(0)}), "surface does not exist 7");
  Buffer_SetSurfaceAccess(&kFakeSurfaces);
  EXPECT_EQ(Raised("buffer_set_surface", {Val::Real(id), Val::Real(3), Val::Real(0)}), "surface does not exist 3");
  Call("buffer_get_surface", Args({Val::Real(id), Val::Real(7), Val::Real(1)}));
  EXPECT_EQ(Contents(id), std::string(".\x01\x02\x03\x04\x05\x06\x07\x08.", 10));
  Call("buffer_set_surface", Args({Val::Real(id), Val::Real(7), Val::Real(4)}));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(g_pixels), 8), std::string("\x04\x05\x06\x07\x08.\0\0", 8));
}

std::vector<BufferAsyncRequest> g_requests;
bool accept_request(const BufferAsyncRequest& request) {
  g_requests.push_back(request);
  return true;
}

TEST_F(BufferOpsTest, AsyncGroupsCollectFilesAndHoldTheirBuffers) {
  const double a = Holding("a");
  const double b = Holding("b");
  ConsoleCapture console;
  EXPECT_EQ(Call("buffer_save_async", Args({Val::Real(a), Val::Str("f"), Val::Real(0), Val::Real(1)}))->val, -1.0);
  EXPECT_EQ(console.text(), "buffer_save_async: asynchronous file transfer is not available\n");
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(a))->refCount, 0);

  g_requests.clear();
  Buffer_SetAsyncTransport(accept_request);
  const double single = Call("buffer_load_async", Args({Val::Real(a), Val::Str("one"), Val::Real(0), Val::Real(-1)}))->val;
  ASSERT_EQ(g_requests.size(), 1u);
  EXPECT_EQ(g_requests[0].id, single);
  EXPECT_FALSE(g_requests[0].save);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(a))->refCount, 1);

  EXPECT_EQ(Raised("buffer_async_group_end"), "no matching buffer_group_begin");
  EXPECT_EQ(Raised("buffer_async_group_begin", {Val::Str("my saves")}),
            "Group name should not contain whitespace or slash characters.");
  EXPECT_EQ(Raised("buffer_async_group_begin", {Val::Str("a/b")}),
            "Group name should not contain whitespace or slash characters.");
  Call("buffer_async_group_begin", Args({Val::Str("slot1")}));
  EXPECT_EQ(Raised("buffer_async_group_begin", {Val::Str("slot2")}), "only one buffer group at a time");
  console.clear();
  Call("buffer_async_group_option", Args({Val::Str("showdialog"), Val::Real(0)}));
  Call("buffer_async_group_option", Args({Val::Str("colour"), Val::Real(1)}));
  EXPECT_EQ(console.text(), "unknown option colour passed to F_BUFFER_Async_Group_Option\n");
  const double in_group = Call("buffer_save_async", Args({Val::Real(a), Val::Str("x"), Val::Real(0), Val::Real(1)}))->val;
  Call("buffer_save_async", Args({Val::Real(b), Val::Str("y"), Val::Real(0), Val::Real(1)}));
  EXPECT_EQ(Raised("buffer_load_async", {Val::Real(b), Val::Str("z"), Val::Real(0), Val::Real(1)}),
            "mixing async save and loads in the same group");
  EXPECT_EQ(g_requests.size(), 1u);
  const double ended = Call("buffer_async_group_end")->val;
  EXPECT_EQ(ended, in_group);
  ASSERT_EQ(g_requests.size(), 2u);
  const BufferAsyncRequest& group = g_requests[1];
  EXPECT_TRUE(group.save);
  EXPECT_EQ(group.group, "slot1");
  ASSERT_EQ(group.files.size(), 2u);
  EXPECT_EQ(group.files[1].filename, "y");
  ASSERT_EQ(group.options.size(), 1u);
  EXPECT_EQ(group.options[0].first, "showdialog");
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(a))->refCount, 2);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(b))->refCount, 1);

  Call("buffer_async_group_begin", Args({Val::Str("")}));
  EXPECT_EQ(Raised("buffer_async_group_end"), "no content in group to save");
  Call("buffer_async_group_begin", Args({Val::Undefined()}));
  Call("buffer_load_async", Args({Val::Real(b), Val::Str("z"), Val::Real(0), Val::Real(1)}));
  Call("buffer_async_group_end");
  EXPECT_EQ(g_requests.back().group, "default");
}

}  // namespace
}  // namespace value_test
