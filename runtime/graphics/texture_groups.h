#pragma once
// Texture groups (chunk TGIN): named sets of pages with the assets drawn from them. A group of
// load type 0 has its pages in the data file and counts as loaded from the start; a dynamic group
// (1) has them in files "<directory>/<name>_<file index><extension>" that the load manager reads
// on demand. The record's page numbers become slot indices once the pages are registered (TXTR),
// whichever of the two chunks comes first; each slot then learns its group, and pages of a group
// whose name begins with "__KV__" are internal. Status (loaded, fetched, failed) is recomputed
// after every page that loads, builds or is freed.
#include <cstdint>
#include <string>
#include <vector>

struct TextureGroup {
  std::string name;
  std::string directory;
  std::string extension;
  int32_t loadType = 0;
  uint8_t loaded = 0;
  uint8_t fetched = 0;
  uint8_t failed = 0;
  std::vector<int32_t> textures;  // slots
  std::vector<int32_t> sprites;
  std::vector<int32_t> spineSprites;
  std::vector<int32_t> fonts;
  std::vector<int32_t> tilesets;
  std::vector<int32_t> pages;  // the record's page numbers
};

constexpr const char* kInternalGroupPrefix = "__KV__";

int32_t TextureGroup_Count();
TextureGroup* TextureGroup_Get(int32_t index);
int32_t TextureGroup_Find(const char* name);  // -1 when unknown
// Recomputes loaded, fetched and failed from the group's slots.
void TextureGroup_UpdateStatus(int32_t index);
void TextureGroup_UpdateStatusOfSlot(int32_t slot);
// Maps page numbers to slots and tells each slot its group; a no-op until both chunks are read.
void TextureGroup_LinkPages();
void TextureGroup_Clear();

bool TextureGroup_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
