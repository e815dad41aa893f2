#pragma once
// Files of the graphics builtins (surface_save, screen_save, sprite_add, sprite_save): whole-file
// reads and writes of script-named files go through a replaceable access, which the file subsystem
// points at its save-area and bundle resolvers; the default takes a name as a path from the
// working directory. PNG writing goes through libpng: 8-bit RGBA rows from the top.
#include <cstddef>
#include <cstdint>
#include <vector>

struct GraphicsFileAccess {
  bool (*read_whole)(const char* name, std::vector<uint8_t>* out);
  bool (*write_whole)(const char* name, const void* bytes, size_t size);
};
// Null restores the default.
void Graphics_SetFileAccess(const GraphicsFileAccess* access);
bool Graphics_ReadFile(const char* name, std::vector<uint8_t>* out);
bool Graphics_WriteFile(const char* name, const void* bytes, size_t size);

// A PNG image of w x h RGBA pixels (red in the lowest byte); false when libpng fails.
bool Image_EncodePng(const uint8_t* rgba, int32_t width, int32_t height, std::vector<uint8_t>* out);
// Encodes and writes through the file access.
bool Image_SavePng(const char* name, const uint8_t* rgba, int32_t width, int32_t height);
