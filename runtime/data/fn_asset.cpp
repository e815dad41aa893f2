// Builtins of asset names and asset tags: argument reading here, the work in asset_names and the
// tag maps of asset_tags.
//
// An asset is given either by name (one argument) or by index and kind (two arguments). Tags are
// a string or an array of strings. An asset that no table knows has no tags: getters give an
// empty array, the tests false, the changes false.
#include <string>
#include <vector>

#include "core/error.h"
#include "core/function_table.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "data/asset_names.h"
#include "data/asset_tags.h"

namespace {

using datawin::AssetKind;

void set_real(RValue* result, double value) {
  RV_FreeToUndefined(result);
  *result = RV_Real(value);
}

void set_bool(RValue* result, bool value) { set_real(result, value ? 1.0 : 0.0); }

void set_string_array(RValue* result, const std::vector<const char*>& texts) {
  RV_FreeToUndefined(result);
  RefDynamicArrayOfRValue* array = RV_NewArray(static_cast<int32_t>(texts.size()));
  for (size_t i = 0; i < texts.size(); ++i) RV_SetString(&array->pArray[i], texts[i]);
  result->pArray = array;
  result->flags = 0;
  result->kind = kRVArray;
}

void set_real_array(RValue* result, const std::vector<int32_t>& values) {
  RV_FreeToUndefined(result);
  RefDynamicArrayOfRValue* array = RV_NewArray(static_cast<int32_t>(values.size()));
  for (size_t i = 0; i < values.size(); ++i) array->pArray[i] = RV_Real(values[i]);
  result->pArray = array;
  result->flags = 0;
  result->kind = kRVArray;
}

const char* builtin_name() {
  const char* name = Function_CurrentName();
  return name != nullptr ? name : "asset tags";
}

// Tags from a string or an array of strings; false (after the script error) for anything else.
bool read_tags(const RValue& value, std::vector<std::string>* tags) {
  if (RV_Kind(value) == kRVString) {
    tags->emplace_back(RV_StringText(value));
    return true;
  }
  if (RV_Kind(value) == kRVArray && value.pArray != nullptr) {
    const RefDynamicArrayOfRValue* array = value.pArray;
    for (int32_t i = 0; i < array->length; ++i) {
      if (RV_Kind(array->pArray[i]) != kRVString) {
        KVError("%s() - tag %d of the array is not a string", builtin_name(), static_cast<int>(i));
        return false;
      }
      tags->emplace_back(RV_StringText(array->pArray[i]));
    }
    return true;
  }
  KVError("%s() - tags must be a string or an array of strings", builtin_name());
  return false;
}

// The TAGS key of the asset named by argv[first] (a name) or argv[first], argv[first + 1] (index,
// kind) when by_index; false when the asset can't be keyed.
bool read_asset_key(const RValue* argv, int first, bool by_index, uint32_t* key) {
  if (!by_index) {
    const AssetRef ref = Asset_Lookup(KVGetString(argv, first));
    if (ref.kind == datawin::kAssetUnknown) return false;
    *key = datawin::asset_key(ref.kind, ref.index);
    return true;
  }
  const int32_t index = KVGetInt32(argv, first);
  const int32_t kind = KVGetInt32(argv, first + 1);
  if (!Asset_IsKind(kind) || index < 0 || index > 0xFFFFFF) return false;
  *key = datawin::asset_key(static_cast<AssetKind>(kind), index);
  return true;
}

bool wrong_count(int argc, int low, int high) {
  if (argc >= low && argc <= high) return false;
  KVError("%s() - wrong number of arguments (%d)", builtin_name(), argc);
  return true;
}

void F_AssetGetIndex(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Asset_Lookup(KVGetString(argv, 0)).index);
}

void F_AssetGetType(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Asset_Lookup(KVGetString(argv, 0)).kind);
}

// tag_get_asset_ids(tags, kind): indices of the assets of a kind carrying any of the tags.
void F_TagGetAssetIds(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  std::vector<std::string> tags;
  if (wrong_count(argc, 2, 2) || !read_tags(argv[0], &tags)) return;
  const int32_t kind = KVGetInt32(argv, 1);
  std::vector<int32_t> indices;
  for (uint32_t key : Tags_AssetsWithAny(tags)) {
    if (datawin::asset_key_kind(key) == kind) indices.push_back(datawin::asset_key_index(key));
  }
  set_real_array(result, indices);
}

// tag_get_assets(tags): names of the assets carrying any of the tags, in kind then index order;
// assets no table can name are left out.
void F_TagGetAssets(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  std::vector<std::string> tags;
  if (wrong_count(argc, 1, 1) || !read_tags(argv[0], &tags)) return;
  std::vector<const char*> names;
  for (uint32_t key : Tags_AssetsWithAny(tags)) {
    const char* name = Asset_NameOf(datawin::asset_key_kind(key), datawin::asset_key_index(key));
    if (name != nullptr) names.push_back(name);
  }
  set_string_array(result, names);
}

// asset_get_tags(name) or (index, kind).
void F_AssetGetTags(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (wrong_count(argc, 1, 2)) return;
  uint32_t key = 0;
  std::vector<const char*> texts;
  if (read_asset_key(argv, 0, argc == 2, &key)) {
    for (const std::string& tag : Tags_ForAsset(key)) texts.push_back(tag.c_str());
  }
  set_string_array(result, texts);
}

// The shape of asset_add_tags, asset_remove_tags, asset_has_tags, asset_has_any_tag: (name, tags)
// or (index, tags, kind). False without looking further when the asset can't be keyed.
using TagOperation = bool (*)(uint32_t key, const std::vector<std::string>& tags);

void run_tag_operation(RValue* result, int argc, RValue* argv, TagOperation operation) {
  std::vector<std::string> tags;
  if (wrong_count(argc, 2, 3) || !read_tags(argv[1], &tags)) return;
  uint32_t key = 0;
  bool found = false;
  if (argc == 2) {
    found = read_asset_key(argv, 0, false, &key);
  } else {
    const RValue pair[2] = {argv[0], argv[2]};
    found = read_asset_key(pair, 0, true, &key);
  }
  set_bool(result, found && operation(key, tags));
}

void F_AssetAddTags(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  run_tag_operation(result, argc, argv, Tags_Add);
}

void F_AssetRemoveTags(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  run_tag_operation(result, argc, argv, Tags_Remove);
}

void F_AssetHasTags(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  run_tag_operation(result, argc, argv, Tags_HasAll);
}

void F_AssetHasAnyTag(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  run_tag_operation(result, argc, argv, Tags_HasAny);
}

// asset_clear_tags(name) or (index, kind).
void F_AssetClearTags(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (wrong_count(argc, 1, 2)) return;
  uint32_t key = 0;
  set_bool(result, read_asset_key(argv, 0, argc == 2, &key) && Tags_ClearAsset(key));
}

}  // namespace

void Asset_RegisterBuiltins() {
  Function_Add("asset_get_index", F_AssetGetIndex, 1, 0);
  Function_Add("asset_get_type", F_AssetGetType, 1, 0);
  Function_Add("tag_get_asset_ids", F_TagGetAssetIds, -1, 0);
  Function_Add("tag_get_assets", F_TagGetAssets, -1, 0);
  Function_Add("asset_get_tags", F_AssetGetTags, -1, 0);
  Function_Add("asset_add_tags", F_AssetAddTags, -1, 0);
  Function_Add("asset_remove_tags", F_AssetRemoveTags, -1, 0);
  Function_Add("asset_has_tags", F_AssetHasTags, -1, 0);
  Function_Add("asset_has_any_tag", F_AssetHasAnyTag, -1, 0);
  Function_Add("asset_clear_tags", F_AssetClearTags, -1, 0);
}
