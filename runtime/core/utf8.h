#pragma once
// UTF-8 over byte ranges, as the string builtins count it. A character's size comes from its lead
// byte alone: below 0x80 one byte, 0xF0 to 0xF7 four, any other with bit 5 set three, the rest
// two. Continuation bytes are never checked, so malformed text still walks in whole steps; a
// character cut short by the end of the range is clipped to the bytes left (its missing bytes
// decode as 0), so no routine reads past the range. Everything is linear in the text and
// allocation-free; positions are byte offsets and character indexes counted from 0.
#include <cstddef>
#include <cstdint>
#include <string_view>

// 1 to 4, from the lead byte alone.
int utf8_lead_size(uint8_t lead);

// Size of the character starting at byte pos (pos < text.size()), clipped to the bytes left.
size_t utf8_char_size(std::string_view text, size_t pos);

// The code point of the character starting at byte pos (pos < text.size()); *size, when given,
// receives its size as utf8_char_size gives it.
uint32_t utf8_decode(std::string_view text, size_t pos, size_t* size = nullptr);

// Writes code_point as one to four bytes into out: below 0x80 one, below 0x800 two, below 0x10000
// three, else four (bits above 21 are dropped). Returns the byte count.
int utf8_encode(uint32_t code_point, char out[4]);

// Number of characters in text.
size_t utf8_count(std::string_view text);

// Byte offset of character index (from 0); text.size() when the text has no such character.
size_t utf8_offset(std::string_view text, size_t index);
