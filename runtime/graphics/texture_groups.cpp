// TGIN reader, the page-to-slot link of the groups and their status.
#include "graphics/texture_groups.h"

#include <cstring>

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/texture_layout.h"
#include "graphics/texture_table.h"

using namespace datawin;

namespace {

std::vector<TextureGroup> g_groups;

bool read_list(uint32_t offset, std::vector<int32_t>* out) {
  if (offset == 0) return true;
  ByteCursor cur = Asset_RecordCursor(offset);
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return Asset_LoadError("TGIN", "list passes the end of the file", offset);
  out->resize(count);
  for (int32_t& index : *out) cur.read_i32(&index);
  return true;
}

bool read_group(uint32_t offset, TextureGroup* group) {
  ByteCursor cur = Asset_RecordCursor(offset);
  const char* name = nullptr;
  const char* directory = nullptr;
  const char* extension = nullptr;
  uint32_t lists[tgin::kGroupListCount] = {};
  if (!cur.read_string(&name) || !cur.read_string(&directory) || !cur.read_string(&extension) ||
      !cur.read_i32(&group->loadType)) {
    return Asset_LoadError("TGIN", "group record cut off or bad string", cur.offset());
  }
  for (uint32_t& list : lists) {
    if (!cur.read_u32(&list)) return Asset_LoadError("TGIN", "group record cut off", cur.offset());
  }
  group->name = name != nullptr ? name : "";
  group->directory = directory != nullptr ? directory : "";
  group->extension = extension != nullptr ? extension : "";
  group->loaded = group->loadType == tgin::kLoadWithDataFile ? 1 : 0;
  std::vector<int32_t>* targets[tgin::kGroupListCount] = {&group->pages, &group->sprites, &group->spineSprites,
                                                          &group->fonts, &group->tilesets};
  for (uint32_t l = 0; l < tgin::kGroupListCount; ++l) {
    if (!read_list(lists[l], targets[l])) return false;
  }
  return true;
}

}  // namespace

int32_t TextureGroup_Count() { return static_cast<int32_t>(g_groups.size()); }

TextureGroup* TextureGroup_Get(int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < g_groups.size() ? &g_groups[index] : nullptr;
}

int32_t TextureGroup_Find(const char* name) {
  if (name == nullptr) return -1;
  for (size_t i = 0; i < g_groups.size(); ++i) {
    if (g_groups[i].name == name) return static_cast<int32_t>(i);
  }
  return -1;
}

void TextureGroup_UpdateStatus(int32_t index) {
  TextureGroup* group = TextureGroup_Get(index);
  if (group == nullptr) return;
  group->loaded = 1;
  group->fetched = 1;
  group->failed = 0;
  for (int32_t slot_index : group->textures) {
    const TextureSlot* slot = Texture_Slot(slot_index);
    if (slot == nullptr || slot->inUse == 0) {
      group->loaded = group->fetched = 0;
      break;
    }
    if (slot->loadFailed != 0) group->failed = 1;
    if (slot->texture == nullptr || slot->borrowed != 0) {
      group->loaded = group->fetched = 0;
      break;
    }
    if ((slot->texture->flags & kTextureDeviceBuilt) == 0) group->fetched = 0;
  }
}

void TextureGroup_UpdateStatusOfSlot(int32_t slot_index) {
  const TextureSlot* slot = Texture_Slot(slot_index);
  if (slot != nullptr) TextureGroup_UpdateStatus(slot->groupIndex);
}

void TextureGroup_LinkPages() {
  if (Texture_PageCount() == 0) return;
  for (size_t g = 0; g < g_groups.size(); ++g) {
    TextureGroup& group = g_groups[g];
    group.textures.clear();
    const bool internal = group.name.rfind(kInternalGroupPrefix, 0) == 0;
    for (int32_t page : group.pages) {
      const int32_t slot_index = Texture_PageToSlot(page);
      TextureSlot* slot = Texture_Slot(slot_index);
      if (slot == nullptr) continue;
      group.textures.push_back(slot_index);
      slot->groupIndex = static_cast<int32_t>(g);
      slot->internal = internal ? 1 : 0;
    }
  }
}

void TextureGroup_Clear() { g_groups.clear(); }

bool TextureGroup_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  uint64_t head = 0;
  g_groups.clear();
  if (!cur.read_u64(&head)) return Asset_LoadError("TGIN", "head cut off", cur.offset());
  const auto version = static_cast<uint32_t>(head);
  if (version > tgin::kMaxVersion) return Asset_LoadError("TGIN", "version above 1", cur.offset() - 8);
  std::vector<uint32_t> offsets;
  if (!Asset_ReadOffsets(cur, "TGIN", static_cast<uint32_t>(head >> 32), &offsets)) return false;
  g_groups.resize(offsets.size());
  for (size_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] != 0 && !read_group(offsets[i], &g_groups[i])) return false;
  }
  TextureGroup_LinkPages();
  return true;
}
