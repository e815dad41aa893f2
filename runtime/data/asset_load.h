#pragma once
// What the asset readers share: cursors over records anywhere in the image, the checked reading of
// pointer lists and page-entry offsets, and the one form of a load failure message. Records of a
// pointer-list chunk may lie anywhere in the file, so a record cursor spans from the record to
// the image's end; every count is checked against what is left before anything is sized from it.
// A failed check prints "Error loading game data: <chunk>: <what> (offset <n>)" on the release
// console, and the reader returns false.
#include <cstdint>
#include <vector>

#include "data/cursor.h"

// Prints the load failure line and returns false.
bool Asset_LoadError(const char* chunk, const char* what, uint32_t offset);

// A cursor from `offset` to the end of the current image (empty past it).
ByteCursor Asset_RecordCursor(uint32_t offset);

// Reads a u32 count and that many u32 offsets at the cursor; each offset must be 0 or lie inside
// the image. Prints the failure line for `chunk` and returns false otherwise.
bool Asset_ReadPointerList(ByteCursor& cur, const char* chunk, std::vector<uint32_t>* offsets);
// The same for a count already read.
bool Asset_ReadOffsets(ByteCursor& cur, const char* chunk, uint32_t count, std::vector<uint32_t>* offsets);

// A page-entry field: 0 gives null, otherwise the 22 bytes must lie inside the image.
bool Asset_ReadPageEntry(ByteCursor& cur, const uint8_t** entry);
const uint8_t* Asset_PageEntryAt(uint32_t offset);  // null for 0 or an entry past the image

// Whether [offset, offset + size) lies inside the image.
bool Asset_SpanInImage(uint32_t offset, uint64_t size);

// The image as the one writable block it is: the texture-page pass rewrites entries in place.
uint8_t* Asset_WritableImage();
