#pragma once
// The "NineSlice" struct scripts hold: left, top, right, bottom, enabled and tilemode (an array of
// five modes) as properties of one shared prototype. A struct from sprite_get_nineslice edits its
// sprite's settings in place; one from sprite_nineslice_create holds settings of its own until
// sprite_set_nineslice copies them into a sprite. A sprite that goes leaves its struct holding a
// copy, so a script never reaches freed settings.
#include "core/rvalue.h"
#include "graphics/sprite.h"

// The struct of a sprite's settings (made on first use and held while the sprite lives).
RValue NineSlice_Value(CSprite* sprite);
// A new struct with settings of its own, all zero and disabled.
RValue NineSlice_NewValue();
// The settings of a NineSlice struct value, null for anything else.
const CNineSliceData* NineSlice_FromValue(const RValue& value);
// Copies margins, enabled and modes (not the struct link).
void NineSlice_CopySettings(CNineSliceData* to, const CNineSliceData& from);
// The sprite's settings are going: its struct keeps a copy and is let go.
void NineSlice_Release(CNineSliceData* data);
