#pragma once
// Layouts of the chunks that link a data file with code: VARI and FUNC (records plus reference
// chains threaded through the bytecode) and CODE (a pointer list of bytecode records).
//
// A reference chain starts at a record's first-reference offset. Each reference has one 4-byte
// word that holds, before loading, the distance to the next reference:
//   VARI: the word at reference + 4; its low 28 bits (version 15 on) or 29 bits (before) are a
//         signed distance; loading puts the id into the low 27 bits and keeps the top 5.
//   FUNC: the word at the reference itself (version 15 on) or at reference + 4 (before); the
//         whole word is the signed distance and loading replaces it with the id.
#include <cstdint>

namespace datawin::link {

constexpr int kVersionNewForm = 15;

// VARI: chunks of at most this many bytes carry no variables.
constexpr uint32_t kVariMaxEmptySize = 31;
constexpr uint32_t kVariHeadBytes = 12;  // version 15: global count, instance count, max locals
constexpr uint32_t kVariRecordBytes = 20;  // version 15: name, instance kind, id, count, first
constexpr uint32_t kVariOldRecordBytes = 12;  // before: name, count, first
constexpr uint32_t kVariReferenceWord = 4;
constexpr uint32_t kVariIdMask = 0x07FFFFFF;

constexpr uint32_t vari_distance_mask(int version) { return version >= kVersionNewForm ? 0x0FFFFFFFu : 0x1FFFFFFFu; }

// The signed distance held in a VARI reference word.
constexpr int32_t vari_distance(uint32_t word, int version) {
  const int bits = version >= kVersionNewForm ? 28 : 29;
  const uint32_t field = word & vari_distance_mask(version);
  const uint32_t sign = 1u << (bits - 1);
  return static_cast<int32_t>((field ^ sign) - sign);
}

// The word after loading: the id in the low 27 bits, the top 5 bits kept.
constexpr uint32_t vari_bind(uint32_t word, int32_t id) {
  return (word & ~kVariIdMask) | (static_cast<uint32_t>(id) & kVariIdMask);
}

// FUNC records: name, reference count, first reference. Version 15 puts a count in front and the
// local-variable tables behind.
constexpr uint32_t kFuncRecordBytes = 12;
constexpr uint32_t func_reference_word(int version) { return version >= kVersionNewForm ? 0 : 4; }

// CODE records. Version 15: name, length, u16 locals, u16 arguments (flags in the top 3 bits),
// i32 code offset relative to its own field, u32 shared-code flag. Before: name, length, then the
// bytecode itself.
constexpr uint32_t kCodeRecordBytes = 20;
constexpr uint32_t kCodeOldRecordBytes = 8;
constexpr uint32_t kCodeOffsetField = 12;

static_assert(vari_distance(0x0FFFFFFFu, 15) == -1 && vari_distance(0x07FFFFFFu, 15) == 0x07FFFFFF);
static_assert(vari_distance(0xF0000010u, 15) == 16 && vari_distance(0x1FFFFFF0u, 14) == -16);
static_assert(vari_bind(0xFFFFFFFFu, 5) == 0xF8000005u);

}  // namespace datawin::link
