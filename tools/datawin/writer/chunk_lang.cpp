// LANG: a head of counts, the entry keys, then per language its name, region and values.
#include "datawin/writer/chunk_options.h"

namespace datawin {

Blob& add_lang(Writer& writer, const std::vector<std::string>& keys, const std::vector<LangLanguage>& languages) {
  for (const LangLanguage& language : languages) {
    if (language.values.size() != keys.size()) throw WriteError("LANG: language " + language.name + " has " +
                                                                std::to_string(language.values.size()) +
                                                                " values for " + std::to_string(keys.size()) + " keys");
  }
  Blob& blob = writer.add_chunk(kChunkLANG);
  blob.u32(0);
  blob.i32(static_cast<int32_t>(languages.size()));
  blob.i32(static_cast<int32_t>(keys.size()));
  for (const std::string& key : keys) blob.string(key);
  for (const LangLanguage& language : languages) {
    blob.string(language.name);
    blob.string(language.region);
    for (const std::string& value : language.values) blob.string(value);
  }
  return blob;
}

}  // namespace datawin
