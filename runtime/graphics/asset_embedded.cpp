// EMBI reader and the embedded-image lookups.
#include "graphics/asset_embedded.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/texture_layout.h"

using namespace datawin;

namespace {

std::vector<EmbeddedImageAsset> g_images;
const uint8_t* g_fallback = nullptr;
std::vector<void (*)()> g_loaded_hooks;

}  // namespace

int32_t EmbeddedImage_Count() { return static_cast<int32_t>(g_images.size()); }

const EmbeddedImageAsset* EmbeddedImage_Get(int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < g_images.size() ? &g_images[index] : nullptr;
}

const uint8_t* EmbeddedImage_Find(const char* name, bool substring) {
  if (name == nullptr) return nullptr;
  for (const EmbeddedImageAsset& image : g_images) {
    if (image.name == nullptr) continue;
    const bool match = substring ? std::strstr(image.name, name) != nullptr : std::strcmp(image.name, name) == 0;
    if (match) return image.page_entry;
  }
  return nullptr;
}

const uint8_t* EmbeddedImage_Fallback() { return g_fallback; }

void EmbeddedImage_FindFallback() { g_fallback = EmbeddedImage_Find("fallbacktexture", true); }

void EmbeddedImage_AddLoadedHook(void (*hook)()) {
  if (std::find(g_loaded_hooks.begin(), g_loaded_hooks.end(), hook) == g_loaded_hooks.end()) g_loaded_hooks.push_back(hook);
}

void EmbeddedImage_Clear() {
  g_images.clear();
  g_fallback = nullptr;
}

bool EmbeddedImage_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  uint32_t version = 0, count = 0;
  g_images.clear();
  if (!cur.read_u32(&version) || !cur.read_u32(&count)) return Asset_LoadError("EMBI", "head cut off", cur.offset());
  if (version != embi::kVersion) return Asset_LoadError("EMBI", "version is not 1", cur.offset() - 8);
  if (!cur.fits(count, embi::kPairBytes)) return Asset_LoadError("EMBI", "image list passes the end of the chunk", cur.offset());
  g_images.resize(count);
  for (EmbeddedImageAsset& image : g_images) {
    if (!cur.read_string(&image.name) || !Asset_ReadPageEntry(cur, &image.page_entry)) {
      return Asset_LoadError("EMBI", "bad name or page entry", cur.offset());
    }
  }
  for (void (*hook)() : g_loaded_hooks) hook();
  return true;
}
