#pragma once
// Writers of the game-wide chunks: OPTN (both forms), LANG, EXTN, SCPT, TAGS and FEDS
// (datawin/format/options_layout.h). Pointer-list chunks take std::optional records: an empty
// one leaves its slot at offset 0, so later records keep their numbers.
// Records are written behind the list in the same chunk; strings go to the pool.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/format/options_layout.h"
#include "datawin/writer/writer.h"

namespace datawin {

struct OptnConstant {
  std::string name;
  std::string value;
};

struct OptnRecord {
  bool old_form = false;
  uint32_t form_version = optn::kNewFormVersion;  // new form only; other values make a bad file
  uint32_t flags = optn::kDefaultFlags;
  int32_t value16 = static_cast<int32_t>(optn::kDefaultValue16);
  uint32_t window_colour = 0;
  int32_t value36 = 0;
  int32_t value40 = 0;
  std::string string52;
  bool byte56 = false;
  std::vector<OptnConstant> constants;
};
Blob& add_optn(Writer& writer, const OptnRecord& record);

struct LangLanguage {
  std::string name;
  std::string region;
  std::vector<std::string> values;  // one per key
};
// Throws WriteError when a language has a value count other than the key count.
Blob& add_lang(Writer& writer, const std::vector<std::string>& keys, const std::vector<LangLanguage>& languages);

struct ExtnFunction {
  std::string name;
  int32_t id = 0;
  int32_t kind = 0;
  int32_t return_type = 0;
  std::string external_name;
  std::vector<int32_t> argument_types;
};
struct ExtnFile {
  std::string file_name;
  std::string init;
  std::string final;
  int32_t kind = 0;
  std::vector<ExtnFunction> functions;
};
struct ExtnOption {
  std::string name;
  std::string value;
  int32_t kind = 0;
};
struct ExtnPackage {
  std::string name;
  std::string setter1;
  std::string setter2;
  std::vector<ExtnFile> files;
  std::vector<ExtnOption> options;
};
Blob& add_extn(Writer& writer, const std::vector<std::optional<ExtnPackage>>& packages);

struct ScriptRecord {
  std::string name;
  uint32_t code_index = 0;  // written as given; the reader masks the top bit off
};
Blob& add_scpt(Writer& writer, const std::vector<std::optional<ScriptRecord>>& scripts);

struct TagsAsset {
  uint32_t key = 0;  // asset_key(kind, index)
  std::vector<std::string> tags;
};
Blob& add_tags(Writer& writer, const std::vector<std::string>& names, const std::vector<TagsAsset>& assets,
               uint32_t version = tags::kVersion);

struct EffectDescription {
  std::string name;
  std::string description;
};
Blob& add_feds(Writer& writer, const std::vector<std::optional<EffectDescription>>& effects);

}  // namespace datawin
