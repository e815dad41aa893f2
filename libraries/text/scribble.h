#pragma once
// Scribble, the game's text library, compiled from its scripts. It reads the project's fonts into
// glyph tables of its own, parses strings with command tags ([c_red], [fnt_title], [fa_center],
// [scale,2], [pause], ...) into glyphs, lays them out into words, lines and pages, and writes glyph
// quads into vertex buffers that its own text shader draws. `scribble(text)` returns a text element
// (a struct whose methods are rows `tsl_Script___scribble_class_element_<name>`); `draw_text_scribble`
// draws with the engine's current font, alignment, colour and alpha. A typist (`scribble_typist()`)
// reveals an element's text over frames and runs the events stored at its characters.
//
// Costs: the first draw of a text builds its model (layout and vertex buffers); later draws of the
// same text and layout settings find the model by name and submit one buffer per texture. Elements
// not drawn for 10 frames leave the cache, and models and their buffers go with their last element.
// The library starts at its first use (or with its start-up script) and lives until the game ends.
// Errors stop the game through show_error; warnings go to the debug output. Main thread only.
#include "core/code_tables.h"

#define SCRIBBLE_SCRIPT_DECLARE(name) \
  RValue* tsl_Script_##name(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

// Fonts and glyph data.
#define SCRIBBLE_FONT_SCRIPTS(X)                                                                        \
  X(scribble_font_add) X(scribble_font_add_all) X(scribble_font_delete) X(scribble_font_duplicate)      \
  X(scribble_font_exists) X(scribble_font_force_bilinear_filtering) X(scribble_font_get_default)        \
  X(scribble_font_get_glyph_ranges) X(scribble_font_has_character) X(scribble_font_rename)              \
  X(scribble_font_scale) X(scribble_font_set_default) X(scribble_font_set_style_family)                 \
  X(scribble_glyph_get) X(scribble_glyph_set) X(scribble_kerning_pair_get) X(scribble_kerning_pair_set) \
  X(scribble_msdf_thickness_offset) X(scribble_super_create) X(scribble_super_clear)                    \
  X(scribble_super_glyph_copy) X(scribble_super_glyph_copy_all) X(scribble_super_glyph_delete)          \
  X(scribble_external_sound_add) X(scribble_external_sound_remove) X(scribble_external_sound_exists)

// The library's state, colours and global animation.
#define SCRIBBLE_LIBRARY_SCRIPTS(X)                                                                  \
  X(__scribble_initialize) X(__scribble_tick) X(__scribble_random) X(__scribble_process_colour)      \
  X(scribble_rgb_to_bgr) X(scribble_add_macro) X(scribble_anim_wave) X(scribble_anim_shake)          \
  X(scribble_anim_rainbow) X(scribble_anim_wobble) X(scribble_anim_pulse) X(scribble_anim_wheel)     \
  X(scribble_anim_cycle) X(scribble_anim_jitter) X(scribble_anim_blink) X(scribble_anim_reset)

SCRIBBLE_FONT_SCRIPTS(SCRIBBLE_SCRIPT_DECLARE)
SCRIBBLE_LIBRARY_SCRIPTS(SCRIBBLE_SCRIPT_DECLARE)

// The library's start-up, a global script: it sets the library up before the game's first room.
RValue* tsl_GlobalScript___scribble_system(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
