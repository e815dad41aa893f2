#pragma once
// Shared by the files of the compiled Scribble library: the font store, the library's state (the
// caches, colours, macros, animation properties), the generator's grids, models and pages, and the
// element and typist objects. Layout works on native rows rather than script grids so that a
// cached text costs a hash lookup and a submit, and an uncached one no script values per glyph.
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/object.h"
#include "core/script_api.h"
#include "text/scribble.h"

class GRTexture;

// Build-time configuration (__scribble_config_*).
#define SCRIBBLE_VERBOSE false
#define SCRIBBLE_ATTEMPT_FONT_SCALING_FIX false
#define SCRIBBLE_ALLOW_TEXT_GETTER false
#define SCRIBBLE_ALLOW_GLYPH_DATA_GETTER false
#define SCRIBBLE_WARNING_LEGACY_TYPEWRITER true
#define SCRIBBLE_CACHE_TIMEOUT 10
#define SCRIBBLE_VERSION "1.0"

namespace scribble {

using tsl::Value;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// ---- Glyph classes and the script tables -------------------------------------------------------------
enum GlyphClass : int32_t {
  kClassWhitespace = 0,
  kClassSymbol = 1,
  kClassIsolated = 2,
  kClassIdeographic = 3,
  kClassL2R = 4,
  kClassDevanagari = 5,
  kClassR2L = 6,
  kClassArabic = 7,
};
// The class of a code point by its Unicode block; a fresh font's CJK ranges included.
int32_t bidi_class(uint32_t code);
// The Arabic tables: the shaped forms (0 when a letter has none) and whether a letter joins.
uint32_t arabic_form(uint32_t code, int32_t form);  // 0 isolated, 1 initial, 2 medial, 3 final
bool arabic_joins_next(uint32_t code);
bool arabic_joins_prev(uint32_t code);
// The Thai tables.
bool thai_base(uint32_t code);
bool thai_base_ascender(uint32_t code);
bool thai_base_descender(uint32_t code);
bool thai_top(uint32_t code);
bool thai_lower(uint32_t code);
bool thai_upper(uint32_t code);

// The Unicode-to-Krutidev tables: the Krutidev codes of the longest run (up to four codes) that
// starts at `codes`, null without one; *length is the run's length. The vowel signs and marks that
// stay with a consonant.
const std::vector<uint32_t>* krutidev_lookup(const uint32_t* codes, size_t n, size_t* length);
bool krutidev_matra(uint32_t code);

// ---- Fonts ---------------------------------------------------------------------------------------
// The 19 columns of a font's glyph row.
enum GlyphColumn : int32_t {
  kGlyphCharacter = 0,
  kGlyphUnicode = 1,
  kGlyphBidi = 2,
  kGlyphXOffset = 3,
  kGlyphYOffset = 4,
  kGlyphWidth = 5,
  kGlyphHeight = 6,
  kGlyphFontHeight = 7,
  kGlyphSeparation = 8,
  kGlyphLeftOffset = 9,
  kGlyphFontScale = 10,
  kGlyphTexture = 11,
  kGlyphU0 = 12,
  kGlyphU1 = 13,
  kGlyphV0 = 14,
  kGlyphV1 = 15,
  kGlyphMsdfPxRange = 16,
  kGlyphMsdfThickness = 17,
  kGlyphBilinear = 18,
  kGlyphColumnCount = 19,
};
using GlyphRow = std::array<double, kGlyphColumnCount>;

struct Font {
  std::string name;
  std::vector<GlyphRow> rows;
  std::vector<int64_t> textures;  // per row: the texture handle column 11 stands for
  std::unordered_map<uint32_t, int32_t> glyphs;  // code as the text carries it -> row
  std::unordered_map<uint64_t, double> kerning;  // (first | second << 32) -> amount
  bool is_krutidev = false;
  bool msdf = false;
  double msdf_pxrange = std::nan("");
  bool superfont = false;
  bool runtime = false;
  // The run-time sprites whose textures the glyphs draw from (a baked font's own sprite, and those
  // of the fonts its glyphs were copied or combined from). A sprite is deleted with the last font
  // that holds it, so a font made from a baked one keeps drawing after the baked one is deleted.
  std::vector<int32_t> sprites;
  double scale = 1.0;
  double height = 0.0;
  std::array<std::string, 4> styles;  // regular, bold, italic, bold italic; empty for none

  const GlyphRow* find(uint32_t code) const {
    const auto it = glyphs.find(code);
    return it == glyphs.end() ? nullptr : &rows[static_cast<size_t>(it->second)];
  }
  int32_t row_of(uint32_t code) const {
    const auto it = glyphs.find(code);
    return it == glyphs.end() ? -1 : it->second;
  }
  void calculate_height();
  // Takes on the sprites of a font whose glyphs this one now uses.
  void share_sprites(const Font& source);
};
inline uint64_t kerning_key(uint32_t first, uint32_t second) {
  return static_cast<uint64_t>(first) | (static_cast<uint64_t>(second) << 32);
}

// The font map: null for a name that isn't there.
Font* find_font(const std::string& name);
// __scribble_get_font_data: the font or the error "Font \"name\" not recognised".
Font* font_data(const std::string& name);
Font* add_font(std::unique_ptr<Font> font);
// Removes the font; the sprites it held that no other font holds are deleted.
void destroy_font(const std::string& name);
// Deletes each of the sprites that no font holds any more.
void release_sprites(const std::vector<int32_t>& sprites);
void font_add_all_from_project();
// A distance-field font from a sprite and its metrics file; the tagged sprites of the project.
void font_add_msdf(const std::string& name, const RValue& sprite, const std::string& json_name);
void font_add_all_msdf_from_project();
// font_get_name of a font index.
std::string project_font_name(int32_t index);
// The default font's name; empty when none is set.
const std::string& default_font();

// ---- Messages ------------------------------------------------------------------------------------
// __scribble_error: "Scribble <version>:\n" and the message through show_error (abort); raises.
[[noreturn]] void error(const std::string& message);
// __scribble_trace: "Scribble: " and the message to the debug output.
void trace(const std::string& message);
std::string number_text(double value);
// The code points of UTF-8 text.
std::u32string decode_utf8(const std::string& text);
// The text of a value as string() gives it.
std::string value_text(const RValue& value);

// ---- Library state --------------------------------------------------------------------------------
struct Event {
  std::string name;
  std::vector<Value> data;
  int32_t position = -1;
};
using EventPtr = std::shared_ptr<Event>;

struct Model;
class Element;
class Typist;

// The 21 animation properties, with the blink durations and offset held beside them.
constexpr int32_t kAnimPropertyCount = 21;

struct Macro {
  Value function;
};

struct LibraryState {
  int64_t frames = 0;
  std::string default_font;
  double blink_on_duration = 50, blink_off_duration = 50, blink_time_offset = 0;
  bool standard_anim_desync = true, standard_anim_desync_to_default = true;
  bool msdf_anim_desync = true, msdf_anim_desync_to_default = true;
  double msdf_thickness_offset = 0;
  std::array<double, kAnimPropertyCount> anim{};
  bool last_paused = false;

  std::unordered_map<std::string, std::unique_ptr<Font>> fonts;
  std::unordered_map<std::string, uint32_t> colours;
  std::unordered_map<std::string, Macro> macros;
  std::unordered_map<std::string, Value> typewriter_events;  // undefined for the built-in ones
  std::unordered_map<std::string, Value> external_sounds;

  // Caches: names of live elements (the collector frees an element that leaves the list and that
  // the game doesn't hold) and of models (held by their elements).
  std::unordered_map<std::string, Element*> ecache_dict;
  std::vector<Element*> ecache_array;
  std::vector<std::string> ecache_name_array;
  size_t ecache_list_index = 0;
  size_t ecache_name_index = 0;
  std::unordered_map<std::string, std::weak_ptr<Model>> mcache_dict;
  std::vector<std::string> mcache_name_array;
  size_t mcache_name_index = 0;

  // The prototypes that carry the methods of elements and typists, and the null element: rooted
  // objects of this game, made on first use.
  KVObjectBase* element_prototype = nullptr;
  KVObjectBase* typist_prototype = nullptr;
  Element* null_element = nullptr;

  int32_t tick_source = -1;
  int32_t vertex_format = -1;
  uint64_t lcg = 0;
};
// The state, made with the library's start-up at first use; null before.
LibraryState* state();
// Runs __scribble_initialize when it hasn't run in this game.
LibraryState& initialize();
// The per-frame upkeep (__scribble_tick).
void tick();
// The vertex format of every page, built on first use.
int32_t vertex_format();
// __scribble_process_colour: a number as it stands, a name from the colour table; -1 unknown.
bool process_colour(const RValue& value, uint32_t* out);
inline uint32_t rgb_to_bgr(uint32_t colour) {
  return ((colour & 0xFFu) << 16) | (colour & 0xFF00u) | ((colour >> 16) & 0xFFu);
}
double random01();
void anim_reset();

// ---- Generator ------------------------------------------------------------------------------------
// A glyph of the generator's glyph grid.
struct Glyph {
  int32_t code = 0;  // negative: -1 in-line sprite, -2 in-line surface
  int32_t cls = kClassL2R;
  double x = 0, y = 0;  // pen position within word, then on the page
  double xoff = 0, yoff = 0;
  double width = 0, height = 0, font_height = 0;
  double separation = 0;
  double left_offset = 0;
  double font_scale = 1;
  double span_scale = 1;  // the [scale] the parser applied to the row
  int64_t texture = -1;  // a texture handle as vertex_submit takes it
  double texel_w = 0, texel_h = 0;
  double u0 = 0, u1 = 0, v0 = 0, v1 = 0;
  bool msdf = false;
  double msdf_pxrange = 0, msdf_thickness = 0;
  int32_t control_count = 0;
  double animation_index = 0;
  int32_t sprite = -1, sprite_image = 0, sprite_frames = 1, surface = -1;
  double sprite_speed = 0;
};

enum ControlType : int32_t {
  kControlEvent = 0,
  kControlHalign = 1,
  kControlColour = 2,
  kControlEffects = 3,
  kControlCycle = 4,
  kControlRegion = 5,
  kControlFont = 6,
};
struct Control {
  int32_t type = 0;
  double number = 0;
  bool defined = true;  // false: undefined data (cycle off, region end)
  std::string text;
  EventPtr event;
  std::array<uint32_t, 4> cycle{};
  int32_t glyph_count = 0;
};

struct Word {
  int32_t cls = 0;
  int32_t resolved = 0;
  int32_t first = 0, last = 0;
  double width = 0, height = 0;
};
struct Line {
  double y = 0;
  int32_t first_word = 0, last_word = 0;
  double width = 0, height = 0;
  int32_t halign = 0;
  bool page_break = false;
};

// The text shaders of the game data file: standard glyphs and in-line images, and distance-field glyphs.
constexpr int32_t kShaderStandard = 1;
constexpr int32_t kShaderMsdf = 6;

// A vertex buffer of a page: one per texture and shader.
struct VertexRecord {
  int32_t buffer = -1;
  int32_t shader = kShaderStandard;
  int64_t texture = -1;
  double texel_w = 0, texel_h = 0;  // of the texture
  double msdf_range = 0;            // distance range of the field in texels
  double msdf_thickness = 0;        // the glyphs' own thickness offset
  bool frozen = false;
};

struct Region {
  std::string name;
  int32_t start = 0, end = 0;
  std::vector<std::array<double, 4>> bboxes;
};

struct Page {
  int64_t created_frame = 0;
  bool frozen = false;
  int32_t character_count = 0;
  int32_t glyph_start = 0, glyph_end = 0, glyph_count = 0;
  int32_t line_start = 0, line_end = 0, line_count = 0;
  double width = 0, height = 0;
  double min_x = 0, min_y = 0, max_x = 0, max_y = 0;
  std::vector<VertexRecord> buffers;
  std::unordered_map<int64_t, size_t> texture_to_buffer;
  std::unordered_map<int32_t, std::vector<EventPtr>> events;
  std::vector<Region> regions;
  std::vector<uint32_t> glyph_codes;  // the page's characters in reveal order

  VertexRecord& vertex_buffer(const Glyph& glyph);
  // Draws the page's buffers, each through its shader; a distance-field buffer with bilinear
  // filtering, and twice with double_draw (a border or shadow): the second pass lays the fills
  // again over every glyph's border and shadow. Ends with no shader set.
  void submit(double msdf_feather, bool double_draw);
  void freeze();
  void flush();
  ~Page() { flush(); }
};

struct Model {
  std::string cache_name;
  int64_t last_drawn = 0;
  bool frozen = false;
  bool flushed = false;
  bool uses_standard_font = false, uses_msdf_font = false;
  double width = 0, height = 0;
  double min_x = 0, min_y = 0, max_x = 0, max_y = 0;
  int32_t valign = -1;  // -1 undefined
  double fit_scale = 1;
  bool wrapped = false;
  bool pad_bbox_l = false, pad_bbox_t = false, pad_bbox_r = false, pad_bbox_b = false;
  bool has_r2l = false, has_arabic = false, has_thai = false, has_hebrew = false, has_devanagari = false;
  bool has_animation = false;
  std::vector<std::unique_ptr<Page>> pages;
  int32_t glyph_count = 0, line_count = 0;

  void submit(int32_t page, double msdf_feather, bool double_draw);
  void flush();
};

// Builds a model for the element (the ten stages).
std::shared_ptr<Model> build_model(Element& element, const std::string& cache_name);

// ---- Elements -------------------------------------------------------------------------------------
class Element final : public KVObjectBase {
 public:
  Element();
  void Free(bool free_now) override;

  bool null_ = false;
  std::string text_;
  Value unique_id_;
  std::string cache_name_;
  bool flushed_ = false;
  bool model_cache_name_dirty_ = true;
  std::string model_cache_name_;
  std::shared_ptr<Model> model_;
  int64_t last_drawn_ = 0;
  bool freeze_ = false;
  std::string starting_font_;
  uint32_t starting_colour_ = 0xFFFFFF;
  int32_t starting_halign_ = 0, starting_valign_ = 0;
  uint32_t blend_colour_ = 0xFFFFFF;
  double blend_alpha_ = 1;
  double skew_x_ = 0, skew_y_ = 0;
  uint32_t gradient_colour_ = 0;
  double gradient_alpha_ = 0;
  uint32_t flash_colour_ = 0;
  double flash_alpha_ = 0;
  double origin_x_ = 0, origin_y_ = 0;
  double xscale_ = 1, yscale_ = 1, angle_ = 0;
  bool matrix_dirty_ = true;
  std::array<float, 16> matrix_{};
  double matrix_x_ = std::nan(""), matrix_y_ = std::nan("");
  double wrap_max_width_ = -1, wrap_max_height_ = -1;
  bool wrap_per_char_ = false, wrap_no_pages_ = false;
  double wrap_max_scale_ = 1;
  bool scale_to_box_dirty_ = true;
  double scale_to_box_max_width_ = 0, scale_to_box_max_height_ = 0, scale_to_box_scale_ = 1;
  double line_height_min_ = -1, line_height_max_ = -1;
  Value line_spacing_;
  int32_t page_ = 0;
  bool ignore_command_tags_ = false;
  Value template_;
  std::array<double, 6> bezier_array_{};
  bool bezier_using_ = false;
  bool tw_reveal_defined_ = false;
  double tw_reveal_ = 0;
  std::array<float, 6> tw_reveal_window_array_{};
  double animation_time_ = 0;
  double animation_speed_ = 1;
  bool animation_blink_state_ = true;
  double padding_l_ = 0, padding_t_ = 0, padding_r_ = 0, padding_b_ = 0;
  uint32_t msdf_shadow_colour_ = 0;
  double msdf_shadow_alpha_ = 0, msdf_shadow_xoffset_ = 0, msdf_shadow_yoffset_ = 0, msdf_shadow_softness_ = 0.1;
  uint32_t msdf_border_colour_ = 0;
  double msdf_border_thickness_ = 0;
  double msdf_feather_thickness_ = 1;
  int32_t bidi_hint_ = -1;  // -1 undefined
  double z_ = 0;
  std::string region_active_;
  bool region_active_defined_ = false;
  int32_t region_glyph_start_ = 0, region_glyph_end_ = 0;
  uint32_t region_colour_ = 0;
  double region_blend_ = 0;
  bool bbox_dirty_ = true;
  Value tw_legacy_typist_;
  bool tw_legacy_typist_use_ = false;

  // __get_model: null when flushed or empty.
  Model* get_model(bool allow_create);
  // The element's drawing at (x, y) with an optional typist (a Typist or null).
  void draw(double x, double y, Typist* typist);
  void update_scale_to_box_scale();
  void update_matrix(double x, double y);
  void flush();
  // Marks the layout name out of date (and with it the bbox and the fit scale).
  void layout_changed() {
    model_cache_name_dirty_ = true;
    bbox_dirty_ = true;
    scale_to_box_dirty_ = true;
  }
};
// The element self is, or null when self is another object.
Element* element_of(CInstance* self);
// A new element for text and id (registered with the collector, in the caches).
Element* new_element(const std::string& text, const RValue& unique_id);
// The shared null element.
Element* null_element();
// The element for a name as scribble() finds or makes it.
Element* scribble_element(const std::string& text, const RValue& unique_id);
// An element as a script value (its methods reached through the element prototype).
Value element_value(Element* element);

// Sets the element's uniforms on the standard or the distance-field text shader, leaving it set
// (a typist ticks and feeds its reveal); false, with nothing done, when the shader isn't compiled.
bool set_standard_uniforms(Element& e, Typist* typist);
bool set_msdf_uniforms(Element& e, Typist* typist);

// ---- Typists --------------------------------------------------------------------------------------
class Typist final : public KVObjectBase {
 public:
  Typist();
  void Free(bool free_now) override;
  bool Mark(uint32_t* bitmap, int32_t bits) override;

  CWeakRef* last_element_ = nullptr;
  double speed_ = 1, smoothness_ = 0;
  int32_t in_ = -1;  // -1 undefined, 1 in, 0 out
  bool backwards_ = false;
  bool skip_ = false, drawn_since_skip_ = false;
  std::vector<Value> sound_array_;
  bool has_sounds_ = false;
  double sound_overlap_ = 0, sound_pitch_min_ = 1, sound_pitch_max_ = 1;
  bool sound_per_char_ = false;
  double sound_finish_time_ = 0;
  bool sound_per_char_exception_ = false;
  std::unordered_map<uint32_t, bool> sound_per_char_exception_dict_;
  bool ignore_delay_ = false;
  Value function_, function_scope_;
  int32_t ease_method_ = 1;
  double ease_dx_ = 0, ease_dy_ = 0, ease_xscale_ = 1, ease_yscale_ = 1, ease_rotation_ = 0, ease_alpha_duration_ = 1;
  bool character_delay_ = false;
  std::unordered_map<uint64_t, double> character_delay_dict_;

  bool reset_done_ = false;
  int32_t last_page_ = 0;
  int32_t last_character_ = 0;
  double last_audio_character_ = 0;
  double last_tick_frame_ = -kInfinity;
  int32_t window_index_ = 0;
  std::array<double, 6> window_array_{};
  bool paused_ = false, delay_paused_ = false;
  double delay_end_ = -1;
  double inline_speed_ = 1;
  std::vector<EventPtr> event_stack_;

  void reset();
  void associate(Element* element);
  bool process_event_stack(int32_t count, Element* element, const Value& scope);
  void play_sound(double head);
  void execute_function_per_character(Element* element);
  void tick_for(Element* element, const Value& scope);
  void set_shader_uniforms(Element* element, int32_t shader);
  double get_state();
  Element* target();
};
Typist* typist_of(const RValue& value);
Value typist_value(Typist* typist);

// ---- Script-visible objects ---------------------------------------------------------------------------
// A method of an element or typist: a property of the shared prototype whose getter binds the
// object it is read from.
template <KVScriptFunction F>
void bound_method_getter(RValue* result, CInstance* self, CInstance*, int, RValue*, int32_t) {
  KVCreateMethod(result, F, self);
}
struct MethodRow {
  const char* name;
  KVPropertyFn getter;
};
// A rooted prototype holding the rows' methods.
KVObjectBase* make_method_prototype(const MethodRow* rows, size_t count);
// Registers a new object with the collector as a struct of the class, on the prototype.
void adopt_object(KVObjectBase* object, const char* class_name, KVObjectBase* prototype);

// ---- Shader uniforms -------------------------------------------------------------------------------
// Uniform handles of a shader by name, fetched once per compiled program.
int32_t uniform(int32_t shader, const char* name);
void set_uniform_f(int32_t shader, const char* name, std::initializer_list<float> values);
void set_uniform_fv(int32_t shader, const char* name, const float* values, int32_t count);
void set_uniform_i(int32_t shader, const char* name, int32_t value);
// A colour (red in the lowest byte) and alpha as a vec4 of 0..1.
void set_uniform_colour(int32_t shader, const char* name, uint32_t colour, double alpha);
double current_time_ms();
double delta_time_us();

}  // namespace scribble

// The library's public scripts and their arguments.
#define SCRIBBLE_SCRIPT(name)                                                                        \
  RValue* tsl_Script_##name([[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
                            RValue* result, [[maybe_unused]] int argc, [[maybe_unused]] RValue** argv)
#define ARG(n) tsl::arg(argc, argv, n)
