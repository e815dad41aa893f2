#pragma once
// Asset tags (chunk TAGS) and effect descriptions (chunk FEDS).
// Tags: the set of every tag name, and per asset key ((index & 0xFFFFFF) | kind << 24, the kinds
// of datawin/format/asset_kind.h) its list of tags in the order given. A TAGS chunk of another
// version than 1 prints "unknown TAGS_VERSION:%d expected:%d\n" and leaves both maps empty; the
// load goes on. Tag comparisons are exact. The operations here are what the tag builtins do once
// they have resolved an asset to its key.
// Effects: name -> description text (in the image), the source of layer effects.
#include <cstdint>
#include <string>
#include <vector>

const std::vector<std::string>& Tags_ForAsset(uint32_t key);  // empty when the asset has none
bool Tags_IsKnownTag(const std::string& tag);
// Every asset key carrying any of `tags`, in ascending key order.
std::vector<uint32_t> Tags_AssetsWithAny(const std::vector<std::string>& tags);
// Adds the tags the asset lacks (new names join the tag set); false when nothing was added.
bool Tags_Add(uint32_t key, const std::vector<std::string>& tags);
// Removes the given tags from the asset; false when it had none of them.
bool Tags_Remove(uint32_t key, const std::vector<std::string>& tags);
bool Tags_HasAll(uint32_t key, const std::vector<std::string>& tags);
bool Tags_HasAny(uint32_t key, const std::vector<std::string>& tags);
// Removes every tag of the asset; false when it had none.
bool Tags_ClearAsset(uint32_t key);

// The description of an effect, null when unknown.
const char* Effects_Description(const std::string& name);
int32_t Effects_Count();

bool Tags_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
bool Effects_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Tags_Clear();
