// UTF-8 by the lead byte: sizes, decoding, encoding, counting and character offsets, including
// malformed and truncated text.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "core/utf8.h"

namespace {

TEST(Utf8Test, LeadByteSizes) {
  const std::pair<uint8_t, int> rows[] = {
      {0x00, 1}, {0x41, 1}, {0x7F, 1}, {0x80, 2}, {0x9F, 2}, {0xA0, 3}, {0xBF, 3}, {0xC3, 2}, {0xDF, 2},
      {0xE0, 3}, {0xEF, 3}, {0xF0, 4}, {0xF7, 4}, {0xF8, 3}, {0xFF, 3},
  };
  for (const auto& [lead, size] : rows) EXPECT_EQ(utf8_lead_size(lead), size) << std::hex << int{lead};
}

TEST(Utf8Test, EncodeAndDecodeRoundTrip) {
  struct Row {
    uint32_t code_point;
    std::string bytes;
  };
  const Row rows[] = {
      {0x41, "A"},
      {0x7F, "\x7F"},
      {0x80, "\xC2\x80"},
      {0xE9, "\xC3\xA9"},
      {0x7FF, "\xDF\xBF"},
      {0x800, "\xE0\xA0\x80"},
      {0x20AC, "\xE2\x82\xAC"},
      {0xFFFF, "\xEF\xBF\xBF"},
      {0x10000, "\xF0\x90\x80\x80"},
      {0x1F600, "\xF0\x9F\x98\x80"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF"},
  };
  for (const Row& row : rows) {
    char out[4];
    const int size = utf8_encode(row.code_point, out);
    EXPECT_EQ(std::string(out, static_cast<size_t>(size)), row.bytes) << std::hex << row.code_point;
    size_t decoded_size = 0;
    EXPECT_EQ(utf8_decode(row.bytes, 0, &decoded_size), row.code_point);
    EXPECT_EQ(decoded_size, row.bytes.size());
  }
}

TEST(Utf8Test, MalformedTextStillWalksByLeadByte) {
  // Continuation bytes are not checked: their low six bits are taken as they are.
  EXPECT_EQ(utf8_decode("\xC3\x29", 0), 0xE9u);
  // A stray continuation byte with bit 5 set counts as a three-byte lead.
  EXPECT_EQ(utf8_count("\xA9xyz"), 2u);
  EXPECT_EQ(utf8_char_size("\xA9xyz", 0), 3u);
}

TEST(Utf8Test, TruncatedCharacterIsClippedToTheText) {
  const std::string_view cut("a\xE2\x82", 3);
  EXPECT_EQ(utf8_count(cut), 2u);
  EXPECT_EQ(utf8_char_size(cut, 1), 2u);
  size_t size = 0;
  // The missing byte reads as 0.
  EXPECT_EQ(utf8_decode(cut, 1, &size), (0x2u << 12) | (0x02u << 6));
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(utf8_offset(cut, 2), 3u);
}

TEST(Utf8Test, CountAndOffsets) {
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // a é € 😀 z
  EXPECT_EQ(utf8_count(text), 5u);
  EXPECT_EQ(utf8_count(""), 0u);
  const size_t offsets[] = {0, 1, 3, 6, 10, 11, 11};
  for (size_t i = 0; i < std::size(offsets); ++i) EXPECT_EQ(utf8_offset(text, i), offsets[i]) << i;
}

}  // namespace
