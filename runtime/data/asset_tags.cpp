// TAGS and FEDS readers and the tag maps.
#include "data/asset_tags.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "core/console.h"
#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/options_layout.h"

namespace {

std::unordered_set<std::string> g_tag_names;
std::unordered_map<uint32_t, std::vector<std::string>> g_asset_tags;
std::unordered_map<std::string, const char*> g_effects;

bool contains(const std::vector<std::string>& list, const std::string& tag) {
  return std::find(list.begin(), list.end(), tag) != list.end();
}

bool read_strings(ByteCursor& cur, int32_t count, std::vector<std::string>* out) {
  if (count < 0 || !cur.fits(static_cast<uint32_t>(count), 4)) {
    return Asset_LoadError("TAGS", "tag count passes the end of the file", cur.offset());
  }
  for (int32_t i = 0; i < count; ++i) {
    const char* text = nullptr;
    if (!cur.read_string(&text)) return Asset_LoadError("TAGS", "bad tag string", cur.offset());
    out->emplace_back(text != nullptr ? text : "");
  }
  return true;
}

}  // namespace

const std::vector<std::string>& Tags_ForAsset(uint32_t key) {
  static const std::vector<std::string> kNone;
  const auto it = g_asset_tags.find(key);
  return it != g_asset_tags.end() ? it->second : kNone;
}

bool Tags_IsKnownTag(const std::string& tag) { return g_tag_names.count(tag) != 0; }

std::vector<uint32_t> Tags_AssetsWithAny(const std::vector<std::string>& tags) {
  std::vector<uint32_t> keys;
  for (const auto& [key, list] : g_asset_tags) {
    if (Tags_HasAny(key, tags)) keys.push_back(key);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

bool Tags_Add(uint32_t key, const std::vector<std::string>& tags) {
  bool added = false;
  for (const std::string& tag : tags) {
    std::vector<std::string>& list = g_asset_tags[key];
    if (contains(list, tag)) continue;
    list.push_back(tag);
    g_tag_names.insert(tag);
    added = true;
  }
  return added;
}

bool Tags_Remove(uint32_t key, const std::vector<std::string>& tags) {
  const auto it = g_asset_tags.find(key);
  if (it == g_asset_tags.end()) return false;
  const size_t before = it->second.size();
  std::erase_if(it->second, [&tags](const std::string& tag) { return contains(tags, tag); });
  const bool removed = it->second.size() != before;
  if (it->second.empty()) g_asset_tags.erase(it);
  return removed;
}

bool Tags_HasAll(uint32_t key, const std::vector<std::string>& tags) {
  const std::vector<std::string>& list = Tags_ForAsset(key);
  return std::all_of(tags.begin(), tags.end(), [&list](const std::string& tag) { return contains(list, tag); });
}

bool Tags_HasAny(uint32_t key, const std::vector<std::string>& tags) {
  const std::vector<std::string>& list = Tags_ForAsset(key);
  return std::any_of(tags.begin(), tags.end(), [&list](const std::string& tag) { return contains(list, tag); });
}

bool Tags_ClearAsset(uint32_t key) { return g_asset_tags.erase(key) != 0; }

const char* Effects_Description(const std::string& name) {
  const auto it = g_effects.find(name);
  return it != g_effects.end() ? it->second : nullptr;
}

int32_t Effects_Count() { return static_cast<int32_t>(g_effects.size()); }

void Tags_Clear() {
  g_tag_names.clear();
  g_asset_tags.clear();
  g_effects.clear();
}

bool Tags_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  using datawin::tags::kVersion;
  ByteCursor cur = GameData_Cursor(payload, size);
  g_tag_names.clear();
  g_asset_tags.clear();
  uint32_t version = 0;
  int32_t name_count = 0;
  if (!cur.read_u32(&version)) return Asset_LoadError("TAGS", "version cut off", cur.offset());
  if (version != kVersion) {
    g_ReleaseConsole->Output("unknown TAGS_VERSION:%d expected:%d\n", static_cast<int>(version), static_cast<int>(kVersion));
    return true;
  }
  std::vector<std::string> names;
  if (!cur.read_i32(&name_count)) return Asset_LoadError("TAGS", "tag count cut off", cur.offset());
  if (!read_strings(cur, name_count, &names)) return false;
  g_tag_names.insert(names.begin(), names.end());
  std::vector<uint32_t> offsets;
  if (!Asset_ReadPointerList(cur, "TAGS", &offsets)) return false;
  for (uint32_t offset : offsets) {
    if (offset == 0) continue;
    ByteCursor record = Asset_RecordCursor(offset);
    uint32_t key = 0;
    int32_t count = 0;
    if (!record.read_u32(&key) || !record.read_i32(&count)) return Asset_LoadError("TAGS", "asset record cut off", offset);
    std::vector<std::string> tags;
    if (!read_strings(record, count, &tags)) return false;
    Tags_Add(key, tags);
  }
  return true;
}

bool Effects_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  using namespace datawin::feds;
  ByteCursor cur = GameData_Cursor(payload, size);
  g_effects.clear();
  std::vector<uint32_t> offsets;
  if (!cur.skip(kCount)) return Asset_LoadError("FEDS", "head cut off", cur.offset());
  if (!Asset_ReadPointerList(cur, "FEDS", &offsets)) return false;
  for (uint32_t offset : offsets) {
    if (offset == 0) continue;
    ByteCursor record = Asset_RecordCursor(offset);
    const char* name = nullptr;
    const char* description = nullptr;
    if (!record.read_string(&name) || !record.read_string(&description) || name == nullptr) {
      return Asset_LoadError("FEDS", "effect record cut off or bad string", offset);
    }
    g_effects[name] = description != nullptr ? description : "";
  }
  return true;
}
