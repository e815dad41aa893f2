#include "datawin/format/chunk_tags.h"

#include <cstring>

namespace datawin {

const char* const kChunkNames[kChunkIdCount] = {
    detail::kChunkTagChars[kChunkGEN8], detail::kChunkTagChars[kChunkOPTN], detail::kChunkTagChars[kChunkLANG],
    detail::kChunkTagChars[kChunkEXTN], detail::kChunkTagChars[kChunkSOND], detail::kChunkTagChars[kChunkAGRP],
    detail::kChunkTagChars[kChunkAUDO], detail::kChunkTagChars[kChunkSPRT], detail::kChunkTagChars[kChunkBGND],
    detail::kChunkTagChars[kChunkPATH], detail::kChunkTagChars[kChunkSCPT], detail::kChunkTagChars[kChunkGLOB],
    detail::kChunkTagChars[kChunkGMEN], detail::kChunkTagChars[kChunkSHDR], detail::kChunkTagChars[kChunkFONT],
    detail::kChunkTagChars[kChunkTMLN], detail::kChunkTagChars[kChunkOBJT], detail::kChunkTagChars[kChunkACRV],
    detail::kChunkTagChars[kChunkSEQN], detail::kChunkTagChars[kChunkTAGS], detail::kChunkTagChars[kChunkROOM],
    detail::kChunkTagChars[kChunkFEDS], detail::kChunkTagChars[kChunkTPAG], detail::kChunkTagChars[kChunkTGIN],
    detail::kChunkTagChars[kChunkTXTR], detail::kChunkTagChars[kChunkEMBI], detail::kChunkTagChars[kChunkFUNC],
    detail::kChunkTagChars[kChunkVARI], detail::kChunkTagChars[kChunkCODE], detail::kChunkTagChars[kChunkSTRG],
    detail::kChunkTagChars[kChunkFEAT], detail::kChunkTagChars[kChunkDAFL], detail::kChunkTagChars[kChunkSTAT],
    detail::kChunkTagChars[kChunkHELP], detail::kChunkTagChars[kChunkRASP], detail::kChunkTagChars[kChunkPSPS],
    detail::kChunkTagChars[kChunkNINE], detail::kChunkTagChars[kChunkGEN7], detail::kChunkTagChars[kChunkGENL],
    detail::kChunkTagChars[kChunkDBGI], detail::kChunkTagChars[kChunkINST],
};
static_assert(sizeof(kChunkNames) / sizeof(kChunkNames[0]) == kChunkIdCount);

ChunkId find_chunk(uint32_t tag) {
  for (int32_t id = 0; id < kChunkIdCount; ++id) {
    if (chunk_tag(static_cast<ChunkId>(id)) == tag) return static_cast<ChunkId>(id);
  }
  return kChunkIdCount;
}

TagText tag_text(uint32_t tag) {
  TagText out{};
  for (int i = 0; i < 4; ++i) out.text[i] = static_cast<char>((tag >> (8 * i)) & 0xFF);
  out.text[4] = '\0';
  return out;
}

}  // namespace datawin
