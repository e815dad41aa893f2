// EMBI: the version word, a count and {name, page entry} pairs.
#include "datawin/writer/chunk_textures.h"

namespace datawin {

Blob& add_embi(Writer& writer, const std::vector<EmbeddedImage>& images, uint32_t version) {
  Blob& blob = writer.add_chunk(kChunkEMBI);
  blob.u32(version);
  blob.u32(static_cast<uint32_t>(images.size()));
  for (const EmbeddedImage& image : images) {
    blob.string(image.name);
    blob.offset(image.entry);
  }
  return blob;
}

}  // namespace datawin
