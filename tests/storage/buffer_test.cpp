// Buffers through their builtins: typed writes and reads of every data type, alignment and its
// padding, the end of each buffer type (fixed refuses, grow doubles, wrap carries on with its
// shifted grid), seek, peek and poke, byte-only fast buffers, resize, fill and copy.
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/value_test_support.h"
#include "storage/buffer.h"
#include "storage/fn_buffer.h"

namespace value_test {
namespace {

class BufferTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    Buffer_RegisterBuiltins();
  }
  void TearDown() override {
    Buffer_FreeAll();
    ValueBuiltinsTest::TearDown();
  }

  double Create(double size, double type, double alignment) {
    return Call("buffer_create", Args({Val::Real(size), Val::Real(type), Val::Real(alignment)}))->val;
  }
  double Write(double id, int type, const Val& value) {
    return Call("buffer_write", Args({Val::Real(id), Val::Real(type), value}))->val;
  }
  Val Read(double id, int type) { return Call("buffer_read", Args({Val::Real(id), Val::Real(type)})); }
  double Tell(double id) { return Call("buffer_tell", Args({Val::Real(id)}))->val; }
  double Size(double id) { return Call("buffer_get_size", Args({Val::Real(id)}))->val; }
  void Seek(double id, int base, double offset) {
    Call("buffer_seek", Args({Val::Real(id), Val::Real(base), Val::Real(offset)}));
  }
  // The first n bytes of a buffer.
  std::vector<uint8_t> Bytes(double id, size_t n) {
    const IBuffer* buffer = Buffer_Get(static_cast<int64_t>(id));
    return std::vector<uint8_t>(buffer->data, buffer->data + n);
  }
};

// Every data type written at position 0 of an aligned buffer: its bytes, the position after it,
// and what reading it back gives (kind and text).
TEST_F(BufferTest, EveryTypeWritesItsBytesAndReadsBack) {
  struct Row {
    int type;
    Val value;
    std::vector<uint8_t> bytes;
    uint32_t read_kind;
    const char* read_text;
  };
  const Row rows[] = {
      {kBufferU8, Val::Real(300), {0x2C}, kRVInt32, "44"},
      {kBufferS8, Val::Real(-2), {0xFE}, kRVInt32, "-2"},
      {kBufferU16, Val::Real(0xBEEF), {0xEF, 0xBE}, kRVInt32, "48879"},
      {kBufferU16, Val::Real(-1), {0xFF, 0xFF}, kRVInt32, "65535"},
      {kBufferS16, Val::Real(-300), {0xD4, 0xFE}, kRVInt32, "-300"},
      {kBufferU32, Val::Real(4294967295.0), {0xFF, 0xFF, 0xFF, 0xFF}, kRVInt64, "4294967295"},
      {kBufferS32, Val::Real(-70000), {0x90, 0xEE, 0xFE, 0xFF}, kRVInt32, "-70000"},
      {kBufferF16, Val::Real(1.5), {0x00, 0x3E}, kRVReal, "1.50"},
      {kBufferF16, Val::Real(65504), {0xFF, 0x7B}, kRVReal, "65504"},
      {kBufferF16, Val::Real(1e6), {0x00, 0x7C}, kRVReal, "inf"},
      {kBufferF32, Val::Real(0.25), {0x00, 0x00, 0x80, 0x3E}, kRVReal, "0.25"},
      {kBufferF64, Val::Real(-2.5), {0, 0, 0, 0, 0, 0, 0x04, 0xC0}, kRVReal, "-2.50"},
      {kBufferBool, Val::Real(0.7), {0x01}, kRVInt32, "1"},
      {kBufferBool, Val::Real(0.2), {0x00}, kRVInt32, "0"},
      {kBufferString, Val::Str("hi"), {'h', 'i', 0}, kRVString, "hi"},
      {kBufferU64, Val::Int64(-2), {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, kRVInt64, "-2"},
      {kBufferText, Val::Str("hi"), {'h', 'i'}, kRVString, "hi"},
      {kBufferS32, Val::Str("12"), {12, 0, 0, 0}, kRVInt32, "12"},
      {kBufferString, Val::Real(7), {'7', 0}, kRVString, "7"},
  };
  for (const Row& row : rows) {
    const double id = Create(16, kBufferFixed, 8);
    EXPECT_EQ(Write(id, row.type, row.value), 0.0) << row.type;
    EXPECT_EQ(Tell(id), static_cast<double>(row.bytes.size())) << row.type;
    EXPECT_EQ(Bytes(id, row.bytes.size()), row.bytes) << row.type << " " << row.value.text();
    Seek(id, 0, 0);
    const Val back = Read(id, row.type);
    EXPECT_EQ(back.kind(), row.read_kind) << row.type;
    EXPECT_EQ(back.text(), row.read_text) << row.type;
    const Val peeked = Call("buffer_peek", Args({Val::Real(id), Val::Real(0), Val::Real(row.type)}));
    EXPECT_EQ(peeked.text(), row.read_text) << row.type;
    Call("buffer_delete", Args({Val::Real(id)}));
  }
}

TEST_F(BufferTest, HalfFloatsRoundToNearestEven) {
  struct Row {
    float in;
    uint16_t half;
    float out;
  };
  const Row rows[] = {
      {0.0f, 0x0000, 0.0f},           {-0.0f, 0x8000, -0.0f},          {1.0f, 0x3C00, 1.0f},
      {2049.0f, 0x6800, 2048.0f},     {2051.0f, 0x6802, 2052.0f},      {65520.0f, 0x7C00, INFINITY},
      {5.9604645e-8f, 0x0001, 5.9604645e-8f}, {2.9802322e-8f, 0x0000, 0.0f}, {3.0e-8f, 0x0001, 5.9604645e-8f},
      {6.1035156e-5f, 0x0400, 6.1035156e-5f}, {-INFINITY, 0xFC00, -INFINITY},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Buffer_FloatToHalf(row.in), row.half) << row.in;
    EXPECT_EQ(Buffer_HalfToFloat(row.half), row.out) << row.in;
  }
  EXPECT_TRUE(std::isnan(Buffer_HalfToFloat(Buffer_FloatToHalf(NAN))));
}

TEST_F(BufferTest, CreateChecksItsArgumentsAndRoundsTheAlignment) {
  struct Bad {
    double size, type, alignment;
    const char* message;
  };
  const Bad bad[] = {
      {-1, 0, 1, "buffer_create: Illegal size -1"},
      {8, 0, 0, "buffer_create: Illegal alignment size 0"},
      {8, 0, 1025, "buffer_create: Illegal alignment size 1025"},
      {8, 5, 1, "Unknown buffer type, should be one of buffer_fixed, buffer_grow, buffer_wrap, buffer_fast, buffer_vbuffer"},
      {8, -1, 1, "Unknown buffer type, should be one of buffer_fixed, buffer_grow, buffer_wrap, buffer_fast, buffer_vbuffer"},
  };
  for (const Bad& row : bad) {
    EXPECT_EQ(ErrorRaisedBy([&] { Create(row.size, row.type, row.alignment); }), row.message);
  }
  const std::pair<double, double> alignments[] = {{1, 1}, {3, 4}, {8, 8}, {200, 256}, {300, 512}, {512, 1}, {1024, 1}};
  for (const auto& [given, kept] : alignments) {
    const double id = Create(10, kBufferGrow, given);
    EXPECT_EQ(Call("buffer_get_alignment", Args({Val::Real(id)}))->val, kept) << given;
    const IBuffer* buffer = Buffer_Get(static_cast<int64_t>(id));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer->data) % static_cast<uintptr_t>(kept), 0u) << given;
    EXPECT_EQ(buffer->allocationSize, 10 + kept);
  }
  const double id = Create(0, kBufferWrap, 1);
  EXPECT_EQ(Call("buffer_get_type", Args({Val::Real(id)}))->val, kBufferWrap);
  EXPECT_EQ(Size(id), 0.0);
}

TEST_F(BufferTest, AFixedBufferRefusesWhatDoesNotFit) {
  const double id = Create(4, kBufferFixed, 1);
  EXPECT_EQ(Write(id, kBufferU32, Val::Real(7)), 0.0);
  EXPECT_EQ(Write(id, kBufferU8, Val::Real(1)), -2.0);
  EXPECT_EQ(Tell(id), 4.0);
  Seek(id, 0, 2);
  EXPECT_EQ(Write(id, kBufferU32, Val::Real(1)), -2.0);
  EXPECT_EQ(Write(id, kBufferString, Val::Str("ab")), -2.0);
  EXPECT_EQ(Tell(id), 2.0);
  EXPECT_EQ(Bytes(id, 4), (std::vector<uint8_t>{7, 0, 0, 0}));
  EXPECT_EQ(Write(id, 0, Val::Real(1)), -1.0);
  EXPECT_EQ(Write(id, 14, Val::Real(1)), -1.0);
  EXPECT_EQ(Write(id, kBufferString, Val::NullString()), -1.0);
  EXPECT_EQ(Write(id, kBufferText, Val::NullText()), -1.0);
}

TEST_F(BufferTest, AGrowBufferDoublesFromFour) {
  const double id = Create(0, kBufferGrow, 1);
  const double sizes[] = {4, 4, 4, 4, 8, 8, 8, 8, 16};
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(Write(id, kBufferU8, Val::Real(i)), 0.0);
    EXPECT_EQ(Size(id), sizes[i]) << i;
  }
  // A long item doubles as often as it takes; the old bytes stay and the new ones are zero.
  EXPECT_EQ(Write(id, kBufferString, Val::Str(std::string(40, 'x').c_str())), 0.0);
  EXPECT_EQ(Size(id), 64.0);
  EXPECT_EQ(Tell(id), 50.0);
  EXPECT_EQ(Bytes(id, 10), (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 'x'}));
  EXPECT_EQ(Bytes(id, 64)[50], 0);
  // A seek far past the end grows on the next write.
  Seek(id, 0, 1000);
  EXPECT_EQ(Write(id, kBufferU8, Val::Real(9)), 0.0);
  EXPECT_EQ(Size(id), 1024.0);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(id))->used, 1001);
}

TEST_F(BufferTest, AlignmentPadsEveryItem) {
  const double id = Create(32, kBufferFixed, 4);
  Write(id, kBufferU8, Val::Real(1));
  EXPECT_EQ(Tell(id), 1.0);
  Write(id, kBufferU32, Val::Real(2));
  EXPECT_EQ(Tell(id), 8.0);
  Write(id, kBufferU8, Val::Real(3));
  Write(id, kBufferU8, Val::Real(4));
  EXPECT_EQ(Tell(id), 13.0);
  EXPECT_EQ(Bytes(id, 13), (std::vector<uint8_t>{1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4}));
  Seek(id, 0, 1);
  EXPECT_EQ(Read(id, kBufferU32)->v64, 2);
  EXPECT_EQ(Read(id, kBufferU8)->v32, 3);
  EXPECT_EQ(Read(id, kBufferU8)->v32, 4);
}

TEST_F(BufferTest, AWrapBufferCarriesOnFromItsStartOnAShiftedGrid) {
  const double id = Create(5, kBufferWrap, 4);
  const IBuffer* buffer = Buffer_Get(static_cast<int64_t>(id));
  Write(id, kBufferU32, Val::Real(0x11111111));
  EXPECT_EQ(Tell(id), 4.0);
  // The second item starts at 4, its last three bytes wrap, and the grid moves by 5 mod 4 = 1.
  Write(id, kBufferU32, Val::Real(0x44332211));
  EXPECT_EQ(Tell(id), 3.0);
  EXPECT_EQ(buffer->wrapOffset, 1);
  // So the third starts at 3, not 4: (3 + 1) is on the grid.
  Write(id, kBufferU32, Val::Real(0xDDCCBBAA));
  EXPECT_EQ(Tell(id), 2.0);
  EXPECT_EQ(buffer->wrapOffset, 2);
  EXPECT_EQ(Bytes(id, 5), (std::vector<uint8_t>{0xCC, 0xDD, 0x44, 0xAA, 0xBB}));
  EXPECT_EQ(buffer->used, 5);
  // Reads follow the same grid: back at 3 with the grid at 1 the item wraps byte by byte.
  Seek(id, 0, 3);
  EXPECT_EQ(buffer->wrapOffset, 0);
  Call("buffer_seek", Args({Val::Real(id), Val::Real(1), Val::Real(5)}));
  EXPECT_EQ(Tell(id), 3.0);
  EXPECT_EQ(buffer->wrapOffset, 1);
  EXPECT_EQ(Read(id, kBufferU32)->v64, 0xDDCCBBAA);
  // A string read stops at the end of the buffer instead of wrapping.
  Seek(id, 0, 4);
  EXPECT_EQ(Read(id, kBufferText).text(), std::string("\xBB"));
  EXPECT_EQ(Tell(id), 5.0);
}

TEST_F(BufferTest, ReadingPastTheEndGivesMinusThreeAndSaysSo) {
  const double id = Create(6, kBufferGrow, 1);
  Write(id, kBufferU32, Val::Real(1));
  ConsoleCapture console;
  const Val past = Read(id, kBufferU32);
  EXPECT_EQ(past.kind(), kRVReal);
  EXPECT_EQ(past->val, -3.0);
  EXPECT_EQ(console.text(), "Attempting to read from outside the buffer, returning 0\n");
  EXPECT_EQ(Tell(id), 4.0);
  EXPECT_EQ(Read(id, kBufferU16)->v32, 0);
  EXPECT_EQ(Read(id, kBufferU8)->val, -3.0);
  console.clear();
  // An unknown type is no read past the end.
  Seek(id, 0, 0);
  EXPECT_EQ(Read(id, 99).kind(), kRVUndefined);
  EXPECT_EQ(console.text(), "");
}

TEST_F(BufferTest, StringsReadToTheirNulOrTheEnd) {
  const double id = Create(8, kBufferFixed, 1);
  Write(id, kBufferString, Val::Str("ab"));
  Write(id, kBufferText, Val::Str("cdefg"));
  Seek(id, 0, 0);
  EXPECT_EQ(Read(id, kBufferString).text(), "ab");
  EXPECT_EQ(Tell(id), 3.0);
  EXPECT_EQ(Read(id, kBufferString).text(), "cdefg");
  EXPECT_EQ(Tell(id), 8.0);
  EXPECT_EQ(Call("buffer_sizeof", Args({Val::Real(kBufferString)}))->val, 0.0);
  EXPECT_EQ(Call("buffer_sizeof", Args({Val::Real(kBufferF64)}))->val, 8.0);
  EXPECT_EQ(Call("buffer_sizeof", Args({Val::Real(40)}))->val, 0.0);
}

TEST_F(BufferTest, SeekBases) {
  struct Row {
    int type;
    int base;
    double offset;
    double position;
  };
  // Each row starts from position 3 of a 10-byte buffer.
  const Row rows[] = {
      {kBufferFixed, 0, 7, 7},   {kBufferFixed, 0, -4, 0},  {kBufferFixed, 0, 40, 40},   {kBufferFixed, 2, 2, 8},
      {kBufferFixed, 2, -5, 10}, {kBufferFixed, 2, 30, 0},  {kBufferFixed, 1, 4, 7},     {kBufferFixed, 1, -9, 0},
      {kBufferFixed, 1, 90, 93}, {kBufferFixed, 7, 5, 3},   {kBufferWrap, 1, 9, 2},      {kBufferWrap, 1, -4, 9},
      {kBufferWrap, 1, -25, 8},  {kBufferWrap, 1, 27, 0},
  };
  for (const Row& row : rows) {
    const double id = Create(10, row.type, 1);
    Seek(id, 0, 3);
    Seek(id, row.base, row.offset);
    EXPECT_EQ(Tell(id), row.position) << row.type << " " << row.base << " " << row.offset;
  }
  // A relative seek across the end of a wrap buffer moves the grid with the turns.
  const double id = Create(10, kBufferWrap, 4);
  Seek(id, 1, 25);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(id))->wrapOffset, 0);
  Seek(id, 1, -10);
  EXPECT_EQ(Tell(id), 5.0);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(id))->wrapOffset, 2);
}

TEST_F(BufferTest, PeekAndPokeLeaveThePositionAndRespectTheEnd) {
  struct Row {
    int type;
    double offset;
    bool lands;
  };
  // A u16 poked into an 8-byte buffer at the offset, then peeked.
  const Row rows[] = {
      {kBufferFixed, 0, true},  {kBufferFixed, 6, true},  {kBufferFixed, 7, false}, {kBufferFixed, -1, false},
      {kBufferGrow, 7, false},  {kBufferWrap, 7, true},   {kBufferWrap, 13, true},  {kBufferWrap, -1, false},
  };
  for (const Row& row : rows) {
    const double id = Create(8, row.type, 1);
    Seek(id, 0, 2);
    Call("buffer_poke", Args({Val::Real(id), Val::Real(row.offset), Val::Real(kBufferU16), Val::Real(0x0201)}));
    const Val back = Call("buffer_peek", Args({Val::Real(id), Val::Real(row.offset), Val::Real(kBufferU16)}));
    EXPECT_EQ(Tell(id), 2.0);
    if (row.lands) {
      EXPECT_EQ(back->v32, 0x0201) << row.type << " " << row.offset;
    } else {
      EXPECT_EQ(back.kind(), kRVUndefined) << row.type << " " << row.offset;
    }
    EXPECT_EQ(Size(id), 8.0);
  }
  // Wrapped bytes land at the end and the start.
  const double id = Create(8, kBufferWrap, 1);
  Call("buffer_poke", Args({Val::Real(id), Val::Real(7), Val::Real(kBufferU16), Val::Real(0x0201)}));
  EXPECT_EQ(Bytes(id, 8), (std::vector<uint8_t>{2, 0, 0, 0, 0, 0, 0, 1}));
  // Poke raises the used size, so a save keeps what was poked.
  const double fixed = Create(8, kBufferFixed, 1);
  Call("buffer_poke", Args({Val::Real(fixed), Val::Real(4), Val::Real(kBufferString), Val::Str("ab")}));
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(fixed))->used, 7);
  EXPECT_EQ(Call("buffer_peek", Args({Val::Real(fixed), Val::Real(4), Val::Real(kBufferString)})).text(), "ab");
}

TEST_F(BufferTest, AFastBufferKnowsOnlyBytes) {
  const double id = Create(2, kBufferFast, 1);
  EXPECT_EQ(Write(id, kBufferU16, Val::Real(0x0102)), 0.0);
  EXPECT_EQ(Tell(id), 0.0);
  EXPECT_EQ(Write(id, kBufferU8, Val::Real(7)), 0.0);
  EXPECT_EQ(Write(id, kBufferU8, Val::Real(8)), 0.0);
  EXPECT_EQ(Write(id, kBufferU8, Val::Real(9)), -2.0);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(id))->used, 2);
  Seek(id, 0, 0);
  const Val byte = Read(id, kBufferU8);
  EXPECT_EQ(byte.kind(), kRVReal);
  EXPECT_EQ(byte->val, 7.0);
  const Val other = Read(id, kBufferS32);
  EXPECT_EQ(other.kind(), kRVReal);
  EXPECT_EQ(other->val, 0.0);
  EXPECT_EQ(Tell(id), 1.0);
  Call("buffer_poke", Args({Val::Real(id), Val::Real(1), Val::Real(kBufferU8), Val::Real(5)}));
  EXPECT_EQ(Call("buffer_peek", Args({Val::Real(id), Val::Real(1), Val::Real(kBufferU8)}))->val, 5.0);
  EXPECT_EQ(Call("buffer_peek", Args({Val::Real(id), Val::Real(1), Val::Real(kBufferU16)}))->val, 0.0);
}

TEST_F(BufferTest, ResizeKeepsTheBytesItCan) {
  const double id = Create(8, kBufferFixed, 16);
  Write(id, kBufferU64, Val::Int64(0x0807060504030201));
  Call("buffer_resize", Args({Val::Real(id), Val::Real(20)}));
  EXPECT_EQ(Size(id), 20.0);
  EXPECT_EQ(Tell(id), 8.0);
  EXPECT_EQ(Bytes(id, 20), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(Buffer_Get(static_cast<int64_t>(id))->data) % 16, 0u);
  Call("buffer_resize", Args({Val::Real(id), Val::Real(4)}));
  EXPECT_EQ(Tell(id), 0.0);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(id))->used, 4);
  Call("buffer_resize", Args({Val::Real(id), Val::Real(-3)}));
  EXPECT_EQ(Size(id), 4.0);
}

TEST_F(BufferTest, FillRepeatsTheItemOnTheGrid) {
  const double id = Create(12, kBufferFixed, 4);
  Call("buffer_fill", Args({Val::Real(id), Val::Real(1), Val::Real(kBufferU16), Val::Real(0xABCD), Val::Real(9)}));
  // The grid puts items at 4 and 8; the one at 8 ends exactly at offset 1 + 9 bytes.
  EXPECT_EQ(Bytes(id, 12), (std::vector<uint8_t>{0, 0, 0, 0, 0xCD, 0xAB, 0, 0, 0xCD, 0xAB, 0, 0}));
  EXPECT_EQ(Tell(id), 0.0);
  EXPECT_EQ(Buffer_Get(static_cast<int64_t>(id))->used, 10);
  Call("buffer_fill", Args({Val::Real(id), Val::Real(0), Val::Real(kBufferText), Val::Str("xyz"), Val::Real(-1)}));
  EXPECT_EQ(Bytes(id, 12), (std::vector<uint8_t>{'x', 'y', 'z', 0, 'x', 'y', 'z', 0, 'x', 'y', 'z', 0}));
}

TEST_F(BufferTest, CopyFollowsTheDestinationsType) {
  struct Row {
    int dest_type;
    double src_offset, size, dest_offset;
    std::vector<uint8_t> dest;
  };
  // The source holds 1..6; each destination is 4 bytes.
  const Row rows[] = {
      {kBufferFixed, 0, 6, 1, {0, 1, 2, 3}},
      {kBufferFixed, 4, -1, 0, {5, 6, 0, 0}},
      {kBufferFixed, -3, 2, 0, {1, 2, 0, 0}},
      {kBufferFixed, 0, 3, 9, {0, 0, 0, 0}},
      {kBufferWrap, 0, 3, 3, {2, 3, 0, 1}},
      {kBufferWrap, 0, 6, 10, {3, 4, 5, 6}},
      {kBufferGrow, 1, 4, 2, {0, 0, 2, 3, 4, 5, 0, 0}},
  };
  for (const Row& row : rows) {
    const double src = Create(6, kBufferFixed, 1);
    for (int i = 1; i <= 6; ++i) Write(src, kBufferU8, Val::Real(i));
    const double dest = Create(4, row.dest_type, 1);
    Call("buffer_copy", Args({Val::Real(src), Val::Real(row.src_offset), Val::Real(row.size), Val::Real(dest),
                              Val::Real(row.dest_offset)}));
    EXPECT_EQ(Size(dest), static_cast<double>(row.dest.size())) << row.dest_type << " " << row.src_offset;
    EXPECT_EQ(Bytes(dest, row.dest.size()), row.dest) << row.dest_type << " " << row.src_offset;
    EXPECT_EQ(Tell(src), 6.0);
  }
  const double a = Create(4, kBufferFixed, 1);
  EXPECT_EQ(Raised("buffer_copy", {Val::Real(a), Val::Real(0), Val::Real(1), Val::Real(a), Val::Real(0)}),
            "Source and Destination buffers can't be the same");
  EXPECT_EQ(Raised("buffer_copy", {Val::Real(77), Val::Real(0), Val::Real(1), Val::Real(a), Val::Real(0)}),
            "Illegal Source Buffer Index 77");
  EXPECT_EQ(Raised("buffer_copy", {Val::Real(a), Val::Real(0), Val::Real(1), Val::Real(78), Val::Real(0)}),
            "Illegal Destination Buffer Index 78");
}

}  // namespace
}  // namespace value_test
