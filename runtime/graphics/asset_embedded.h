#pragma once
// The embedded images of chunk EMBI: (name, page entry) pairs, looked up by exact name or by a
// part of the name. After the chunk load the first image whose name contains "fallbacktexture"
// becomes the fallback of last resort that Texture_Get lends while a page loads. Hooks added here
// run after each EMBI chunk (the particle system looks up its shape sprites then).
#include <cstdint>

struct EmbeddedImageAsset {
  const char* name = nullptr;  // in the image
  const uint8_t* page_entry = nullptr;
};

int32_t EmbeddedImage_Count();
const EmbeddedImageAsset* EmbeddedImage_Get(int32_t index);
// The page entry of the first image named `name` (or, with `substring`, whose name contains it).
const uint8_t* EmbeddedImage_Find(const char* name, bool substring);
// The remembered fallback page entry; null when the file has none.
const uint8_t* EmbeddedImage_Fallback();
// Looks the fallback up; installed as the loader's fallback-texture hook.
void EmbeddedImage_FindFallback();
void EmbeddedImage_AddLoadedHook(void (*hook)());

bool EmbeddedImage_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void EmbeddedImage_Clear();
