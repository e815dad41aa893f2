#pragma once
// Chunk tags of the data-file container, shared by the writer and the runtime's loader.
// A tag is four ASCII characters stored in file order; read as a little-endian u32 the first
// character lands in the low byte, and tags are compared as that one 32-bit value, so "GEN8" and
// "gen8" are different tags. ChunkId numbers every tag the loader knows; the name table beside it
// gives the four characters. Lookups by value are a linear scan of a few dozen entries.
#include <cstddef>
#include <cstdint>

namespace datawin {

// The container magic, "FORM"; a file may also carry it byte-reversed.
constexpr uint32_t make_tag(char a, char b, char c, char d) {
  return static_cast<uint32_t>(static_cast<uint8_t>(a)) | static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}
constexpr uint32_t make_tag(const char (&text)[5]) { return make_tag(text[0], text[1], text[2], text[3]); }

constexpr uint32_t kFormTag = make_tag("FORM");
constexpr uint32_t kFormTagReversed = make_tag("MROF");

enum ChunkId : int32_t {
  // The chunk load's dispatch table, in its order.
  kChunkGEN8,
  kChunkOPTN,
  kChunkLANG,
  kChunkEXTN,
  kChunkSOND,
  kChunkAGRP,
  kChunkAUDO,
  kChunkSPRT,
  kChunkBGND,
  kChunkPATH,
  kChunkSCPT,
  kChunkGLOB,
  kChunkGMEN,
  kChunkSHDR,
  kChunkFONT,
  kChunkTMLN,
  kChunkOBJT,
  kChunkACRV,
  kChunkSEQN,
  kChunkTAGS,
  kChunkROOM,
  kChunkFEDS,
  kChunkTPAG,
  kChunkTGIN,
  kChunkTXTR,
  kChunkEMBI,
  kChunkFUNC,
  kChunkVARI,
  kChunkCODE,
  kChunkSTRG,
  kChunkFEAT,
  kChunkDAFL,
  kChunkSTAT,
  kChunkHELP,
  kChunkRASP,
  kChunkPSPS,
  kChunkNINE,
  // Known outside the dispatch table: the header scan also takes the older header tags, and the
  // debug side file has two chunks of its own (its SCPT shares the tag above).
  kChunkGEN7,
  kChunkGENL,
  kChunkDBGI,
  kChunkINST,
  kChunkIdCount,
};

// The last id of the chunk load's dispatch table; ids after it are header-scan or side-file tags.
constexpr ChunkId kLastDispatchChunk = kChunkNINE;

extern const char* const kChunkNames[kChunkIdCount];

// The id of a tag value, or kChunkIdCount when no known tag has this value.
ChunkId find_chunk(uint32_t tag);

// The tag's four characters and a NUL; bytes are copied as they are, whatever their value.
struct TagText {
  char text[5];
};
TagText tag_text(uint32_t tag);

namespace detail {
// Kept here so chunk_tag can be constexpr; must match kChunkNames.
inline constexpr char kChunkTagChars[kChunkIdCount][5] = {
    "GEN8", "OPTN", "LANG", "EXTN", "SOND", "AGRP", "AUDO", "SPRT", "BGND", "PATH", "SCPT",
    "GLOB", "GMEN", "SHDR", "FONT", "TMLN", "OBJT", "ACRV", "SEQN", "TAGS", "ROOM", "FEDS",
    "TPAG", "TGIN", "TXTR", "EMBI", "FUNC", "VARI", "CODE", "STRG", "FEAT", "DAFL", "STAT",
    "HELP", "RASP", "PSPS", "NINE", "GEN7", "GENL", "DBGI", "INST",
};
static_assert(sizeof(kChunkTagChars) / sizeof(kChunkTagChars[0]) == kChunkIdCount);
}  // namespace detail

// The tag value of a known chunk.
constexpr uint32_t chunk_tag(ChunkId id) {
  const char* t = detail::kChunkTagChars[id];
  return make_tag(t[0], t[1], t[2], t[3]);
}

}  // namespace datawin
