#include "core/string_list.h"

#include <cstring>

#include "core/memory.h"

namespace {

// The byte length of the character that starts with lead.
int32_t sequence_length(uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xF0 && lead <= 0xF7) return 4;
  if ((lead & 0x20) != 0) return 3;
  return 2;
}

// Decodes one character at text; returns the bytes used, 0 when a terminator cuts it short.
int32_t decode_one(const uint8_t* text, uint32_t* code) {
  const int32_t length = sequence_length(text[0]);
  for (int32_t i = 1; i < length; ++i) {
    if (text[i] == 0) return 0;
  }
  switch (length) {
    case 1: *code = text[0]; break;
    case 2: *code = (static_cast<uint32_t>(text[0] & 0x1F) << 6) | (text[1] & 0x3Fu); break;
    case 3:
      *code = (static_cast<uint32_t>(text[0] & 0x0F) << 12) | (static_cast<uint32_t>(text[1] & 0x3F) << 6) |
              (text[2] & 0x3Fu);
      break;
    default:
      *code = (static_cast<uint32_t>(text[0] & 0x07) << 18) | (static_cast<uint32_t>(text[1] & 0x3F) << 12) |
              (static_cast<uint32_t>(text[2] & 0x3F) << 6) | (text[3] & 0x3Fu);
      break;
  }
  return length;
}

}  // namespace

int32_t Utf8_Encode(uint32_t c, char* out) {
  auto* o = reinterpret_cast<uint8_t*>(out);
  if (c > 0x10FFFF) c = 0xFFFD;
  if (c < 0x80) {
    o[0] = static_cast<uint8_t>(c);
    return 1;
  }
  if (c < 0x800) {
    o[0] = static_cast<uint8_t>(0xC0 | (c >> 6));
    o[1] = static_cast<uint8_t>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    o[0] = static_cast<uint8_t>(0xE0 | (c >> 12));
    o[1] = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
    o[2] = static_cast<uint8_t>(0x80 | (c & 0x3F));
    return 3;
  }
  o[0] = static_cast<uint8_t>(0xF0 | (c >> 18));
  o[1] = static_cast<uint8_t>(0x80 | ((c >> 12) & 0x3F));
  o[2] = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
  o[3] = static_cast<uint8_t>(0x80 | (c & 0x3F));
  return 4;
}

TStringList::~TStringList() { Clear(); }

int32_t TStringList::SetText(const char* utf8) {
  Clear();
  const auto* text = reinterpret_cast<const uint8_t*>(utf8 != nullptr ? utf8 : "");
  int32_t count = 0;
  uint32_t code = 0;
  for (const uint8_t* p = text; *p != 0 && count < INT32_MAX - 1;) {
    const int32_t used = decode_one(p, &code);
    if (used == 0) break;
    p += used;
    ++count;
  }
  codes_ = static_cast<uint32_t*>(KV_ALLOC(sizeof(uint32_t) * (static_cast<size_t>(count) + 1)));
  if (codes_ == nullptr) return -1;
  const uint8_t* p = text;
  for (int32_t i = 0; i < count; ++i) p += decode_one(p, &codes_[i]);
  codes_[count] = 0;
  code_count_ = count;
  return count;
}

int32_t TStringList::SetCodes(const uint32_t* codes, int32_t count) {
  Clear();
  if (count < 0 || count == INT32_MAX) count = 0;
  codes_ = static_cast<uint32_t*>(KV_ALLOC(sizeof(uint32_t) * (static_cast<size_t>(count) + 1)));
  if (codes_ == nullptr) return -1;
  if (count > 0) std::memcpy(codes_, codes, sizeof(uint32_t) * static_cast<size_t>(count));
  codes_[count] = 0;
  code_count_ = count;
  return count;
}

bool TStringList::AddLine(int32_t start) {
  if (codes_ == nullptr || start < 0 || start > code_count_) return false;
  Node* node = KV_NEW(Node);
  if (node == nullptr) return false;
  node->text = codes_ + start;
  node->next = nullptr;
  if (last_ != nullptr) {
    last_->next = node;
  } else {
    first_ = node;
  }
  last_ = node;
  ++count_;
  return true;
}

int32_t TStringList::LineLength(const Node* line) {
  int32_t length = 0;
  while (line->text[length] != 0) ++length;
  return length;
}

char* TStringList::LineToUtf8(const Node* line) {
  const int32_t length = LineLength(line);
  auto* out = static_cast<char*>(KV_ALLOC(static_cast<size_t>(length) * 4 + 1));
  if (out == nullptr) return nullptr;
  char* at = out;
  for (int32_t i = 0; i < length; ++i) at += Utf8_Encode(line->text[i], at);
  *at = '\0';
  return out;
}

void TStringList::ClearLines() {
  Node* node = first_;
  while (node != nullptr) {
    Node* next = node->next;
    KV_Delete(node);
    node = next;
  }
  first_ = nullptr;
  last_ = nullptr;
  count_ = 0;
}

void TStringList::Clear() {
  ClearLines();
  KV_FREE(codes_);
  codes_ = nullptr;
  code_count_ = 0;
}
