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
  X(scribble_font_add) X(scribble_font_add_all) X(scribble_font_add_from_sprite) X(scribble_font_delete) X(scribble_font_duplicate)      \
  X(scribble_font_exists) X(scribble_font_force_bilinear_filtering) X(scribble_font_get_default)        \
  X(scribble_font_get_glyph_ranges) X(scribble_font_has_character) X(scribble_font_rename)              \
  X(scribble_font_scale) X(scribble_font_set_default) X(scribble_font_set_style_family)                 \
  X(scribble_glyph_get) X(scribble_glyph_set) X(scribble_kerning_pair_get) X(scribble_kerning_pair_set) \
  X(scribble_msdf_thickness_offset) X(scribble_super_create) X(scribble_super_clear)                    \
  X(scribble_super_glyph_copy) X(scribble_super_glyph_copy_all) X(scribble_super_glyph_delete)          \
  X(scribble_external_sound_add) X(scribble_external_sound_remove) X(scribble_external_sound_exists)    \
  X(scribble_font_add_msdf) X(scribble_font_bake_shader) X(scribble_font_bake_outline_4dir)             \
  X(scribble_font_bake_outline_8dir) X(scribble_font_bake_outline_8dir_2px) X(scribble_font_bake_shadow)      \
  X(scribble_font_bake_outline) X(scribble_font_combine)

// The library's state, colours and global animation.
#define SCRIBBLE_LIBRARY_SCRIPTS(X)                                                                  \
  X(__scribble_initialize) X(__scribble_tick) X(__scribble_random) X(__scribble_process_colour)      \
  X(scribble_rgb_to_bgr) X(scribble_add_macro) X(scribble_anim_wave) X(scribble_anim_shake)          \
  X(scribble_anim_rainbow) X(scribble_anim_wobble) X(scribble_anim_pulse) X(scribble_anim_wheel)     \
  X(scribble_anim_cycle) X(scribble_anim_jitter) X(scribble_anim_blink) X(scribble_anim_reset)

// Text elements and drawing.
#define SCRIBBLE_ELEMENT_SCRIPTS(X)                                                                      \
  X(scribble) X(draw_text_scribble) X(draw_text_scribble_ext) X(string_width_scribble)                  \
  X(string_height_scribble) X(string_width_scribble_ext) X(string_height_scribble_ext)                  \
  X(scribble_flush_everything) X(scribble_is_text_element)

// The methods of every element (rows tsl_Script___scribble_class_element_<name>).
#define SCRIBBLE_ELEMENT_METHODS(X)                                                                      \
  X(draw) X(starting_format) X(align) X(blend) X(gradient) X(fog) X(flash) X(origin) X(transform)        \
  X(skew) X(scale_to_box) X(wrap) X(fit_to_box) X(line_height) X(line_spacing) X(padding) X(bezier)      \
  X(right_to_left) X(region_detect) X(region_set_active) X(region_get_active) X(__update_bbox_matrix)    \
  X(get_left) X(get_top) X(get_right) X(get_bottom) X(get_width) X(get_height) X(get_bbox)               \
  X(get_bbox_revealed) X(page) X(get_page) X(get_pages) X(get_page_count) X(on_last_page)                \
  X(get_wrapped) X(get_text) X(get_glyph_data) X(get_glyph_count) X(get_line_count) X(reveal)            \
  X(get_reveal) X(animation_tick_speed) X(animation_speed) X(get_animation_speed) X(is_animated)         \
  X(animation_sync) X(animation_wave) X(animation_shake) X(animation_rainbow) X(animation_wobble)        \
  X(animation_pulse) X(animation_wheel) X(animation_cycle) X(animation_jitter) X(animation_blink)        \
  X(msdf_shadow) X(msdf_border) X(msdf_feather) X(build) X(flush) X(get_events) X(template)              \
  X(ignore_command_tags) X(z) X(get_z) X(overwrite) X(debug_draw_bbox) X(__get_model)                    \
  X(__set_standard_uniforms) X(__set_msdf_uniforms) X(__update_scale_to_box_scale) X(__update_matrix)    \
  X(typewriter_off) X(typewriter_reset) X(typewriter_in) X(typewriter_out) X(typewriter_skip)            \
  X(typewriter_sound) X(typewriter_sound_per_char) X(typewriter_function) X(typewriter_pause)            \
  X(typewriter_unpause) X(typewriter_ease) X(get_typewriter_state) X(get_typewriter_paused)              \
  X(get_typewriter_pos)

// Typists.
#define SCRIBBLE_TYPIST_SCRIPTS(X) \
  X(scribble_typist) X(scribble_typists_add_event) X(scribble_typewriter_add_event) X(scribble_typewriter_add_character_delay)

// The methods of every typist (rows tsl_Script___scribble_class_typist_<name>).
#define SCRIBBLE_TYPIST_METHODS(X)                                                                       \
  X(reset) X(in) X(out) X(skip) X(ignore_delay) X(sound) X(sound_per_char) X(function_per_char) X(pause) \
  X(unpause) X(ease) X(execution_scope) X(character_delay_add) X(character_delay_remove)                 \
  X(character_delay_clear) X(get_skip) X(get_ignore_delay) X(get_paused) X(get_text_element)             \
  X(get_execution_scope) X(get_state) X(get_position) X(__associate) X(__process_event_stack)            \
  X(__play_sound) X(__execute_function_per_character) X(__tick) X(__set_shader_uniforms)                 \
  X(__set_msdf_shader_uniforms)

#define SCRIBBLE_ELEMENT_METHOD_DECLARE(name) SCRIBBLE_SCRIPT_DECLARE(__scribble_class_element_##name)
#define SCRIBBLE_TYPIST_METHOD_DECLARE(name) SCRIBBLE_SCRIPT_DECLARE(__scribble_class_typist_##name)

SCRIBBLE_FONT_SCRIPTS(SCRIBBLE_SCRIPT_DECLARE)
SCRIBBLE_ELEMENT_SCRIPTS(SCRIBBLE_SCRIPT_DECLARE)
SCRIBBLE_ELEMENT_METHODS(SCRIBBLE_ELEMENT_METHOD_DECLARE)
SCRIBBLE_TYPIST_SCRIPTS(SCRIBBLE_SCRIPT_DECLARE)
SCRIBBLE_TYPIST_METHODS(SCRIBBLE_TYPIST_METHOD_DECLARE)
SCRIBBLE_LIBRARY_SCRIPTS(SCRIBBLE_SCRIPT_DECLARE)

// The library's start-up, a global script: it sets the library up before the game's first room.
RValue* tsl_GlobalScript___scribble_system(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
