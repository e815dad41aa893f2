#pragma once
// The game's options (chunk OPTN) and language tables (chunk LANG).
// OPTN sets the option flags, a few kept values and the constants. Three settings take effect at
// once: bit 29 sets g_CopyOnWrite, "@@SleepMargin" sets SleepMargin and "@@DrawColour" becomes the
// initial draw colour (held here for the drawing code). "@@"-constants are consumed, not kept.
// The defaults stand until the chunk is read and return at the start of every load. A new-form
// chunk whose form version isn't 2 fails the load.
#include <cstdint>
#include <string>
#include <vector>

#include "datawin/format/options_layout.h"

struct GameOptions {
  uint32_t flags = datawin::optn::kDefaultFlags;
  int32_t value16 = static_cast<int32_t>(datawin::optn::kDefaultValue16);
  uint32_t window_colour = 0;  // RGB as stored
  int32_t value36 = 0;
  int32_t value40 = 0;
  const char* string52 = nullptr;  // in the image
  bool byte56 = false;
  int32_t version_major = 0;
  int32_t version_minor = 0;
  bool draw_colour_set = false;
  uint32_t draw_colour = 0;
  std::vector<std::string> constant_names;  // kept constants, parallel to the values
  std::vector<std::string> constant_values;
};

const GameOptions& Options_Get();
bool Options_Flag(uint32_t mask);  // any of the bits in `mask` set
// The window's clear colour: the stored RGB with an opaque alpha byte.
uint32_t Options_WindowClearColour();

// Language tables. With no languages or no entries the tables stay empty and the current
// language is -1; otherwise it is 0. Texts point into the image.
struct LanguageTable {
  const char* name = nullptr;
  const char* region = nullptr;
  std::vector<const char*> values;  // one per key
};
struct LanguageTables {
  std::vector<const char*> keys;
  std::vector<LanguageTable> languages;
  int32_t current = -1;
};
const LanguageTables& Language_Get();

// Chunk readers and the reset at the start of a load.
bool Options_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
bool Language_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Options_Clear();
