#pragma once
// The contact sheet of a data file: every frame of every sprite at 1:1 on a dark checkerboard
// (which shows transparency), each sprite under a label with its index, name and size. Sprites
// flow left to right in rows of at most kSheetWidth pixels; a sprite whose frames don't fit a row
// wraps them. Labels are drawn with FreeType from `label_font`.
#include <string>

#include "datawin/builder/inspect.h"
#include "image/image.h"

namespace datawin {

constexpr int kSheetWidth = 1280;

// Throws std::runtime_error when a page can't be decoded or the label font can't be read.
kimage::Image contact_sheet(const Inspection& file, const std::string& label_font);

}  // namespace datawin
