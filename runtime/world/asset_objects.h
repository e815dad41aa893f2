#pragma once
// The OBJT reader: fills the object table (world/object_type.h) in place from the chunk, in every
// record form (physics block from DataVersion 6, its last three words from 9), binds each event to
// the code index of its first action, runs Object_PrepareEvents (parents, inherited and collision events),
// appends the internal object and builds the event object lists. A null record offset leaves that
// index without an object.
#include <cstdint>

#include "world/object_type.h"

bool Object_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Object_ClearAssets();

// The name of an object, null for an unknown index (asset name look-ups).
const char* Object_NameOrNull(int32_t index);

// Bit 31 of sprite words that had none of bits 28..30 set, ORed together.
extern uint32_t Object_SpriteFlagWord;
