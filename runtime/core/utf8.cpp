#include "core/utf8.h"

int utf8_lead_size(uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xF0 && lead <= 0xF7) return 4;
  if ((lead & 0x20) != 0) return 3;
  return 2;
}

size_t utf8_char_size(std::string_view text, size_t pos) {
  const size_t size = static_cast<size_t>(utf8_lead_size(static_cast<uint8_t>(text[pos])));
  const size_t left = text.size() - pos;
  return size < left ? size : left;
}

uint32_t utf8_decode(std::string_view text, size_t pos, size_t* size) {
  const int full = utf8_lead_size(static_cast<uint8_t>(text[pos]));
  const size_t have = utf8_char_size(text, pos);
  if (size != nullptr) *size = have;
  // Bytes beyond the end read as 0, as the terminator of the text would.
  auto byte = [&](size_t i) -> uint32_t { return i < have ? static_cast<uint8_t>(text[pos + i]) : 0u; };
  switch (full) {
    case 1: return byte(0);
    case 2: return ((byte(0) & 0x1F) << 6) | (byte(1) & 0x3F);
    case 3: return ((byte(0) & 0x0F) << 12) | ((byte(1) & 0x3F) << 6) | (byte(2) & 0x3F);
    default: return ((byte(0) & 0x07) << 18) | ((byte(1) & 0x3F) << 12) | ((byte(2) & 0x3F) << 6) | (byte(3) & 0x3F);
  }
}

int utf8_encode(uint32_t code_point, char out[4]) {
  if (code_point < 0x80) {
    out[0] = static_cast<char>(code_point);
    return 1;
  }
  if (code_point < 0x800) {
    out[0] = static_cast<char>(0xC0 | (code_point >> 6));
    out[1] = static_cast<char>(0x80 | (code_point & 0x3F));
    return 2;
  }
  if (code_point < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (code_point >> 12));
    out[1] = static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (code_point & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | ((code_point >> 18) & 0x07));
  out[1] = static_cast<char>(0x80 | ((code_point >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (code_point & 0x3F));
  return 4;
}

size_t utf8_count(std::string_view text) {
  size_t count = 0;
  for (size_t pos = 0; pos < text.size(); pos += utf8_char_size(text, pos)) ++count;
  return count;
}

size_t utf8_offset(std::string_view text, size_t index) {
  size_t pos = 0;
  while (index > 0 && pos < text.size()) {
    pos += utf8_char_size(text, pos);
    --index;
  }
  return pos;
}
