// The font store: project fonts read from the runtime's font table into glyph rows, the default
// font, and the script functions that query and edit fonts, glyphs and kerning, with superfonts
// built from other fonts' glyphs and fonts combined from whole fonts.
#include <algorithm>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "core/error.h"
#include "data/asset_names.h"
#include "data/asset_tags.h"
#include "datawin/format/asset_kind.h"
#include "graphics/font.h"
#include "text/scribble_internal.h"

namespace scribble {

void Font::calculate_height() {
  const GlyphRow* space = find(32);
  height = space != nullptr ? (*space)[kGlyphHeight] : 0.0;
}

Font* find_font(const std::string& name) {
  LibraryState* s = state();
  if (s == nullptr) return nullptr;
  const auto it = s->fonts.find(name);
  return it == s->fonts.end() ? nullptr : it->second.get();
}

Font* font_data(const std::string& name) {
  Font* font = find_font(name);
  if (font == nullptr) error("Font \"" + name + "\" not recognised");
  return font;
}

Font* add_font(std::unique_ptr<Font> font) {
  LibraryState& s = *state();
  Font* raw = font.get();
  s.fonts[raw->name] = std::move(font);
  return raw;
}

void Font::share_sprites(const Font& source) {
  for (const int32_t sprite : source.sprites) {
    if (std::find(sprites.begin(), sprites.end(), sprite) == sprites.end()) sprites.push_back(sprite);
  }
}

void release_sprites(const std::vector<int32_t>& sprites) {
  const LibraryState* s = state();
  const auto held = [s](int32_t sprite) {
    if (s == nullptr) return false;
    for (const auto& [name, font] : s->fonts) {
      if (std::find(font->sprites.begin(), font->sprites.end(), sprite) != font->sprites.end()) return true;
    }
    return false;
  };
  for (const int32_t sprite : sprites) {
    if (!held(sprite)) tsl::call("sprite_delete", nullptr, nullptr, {RV_Real(sprite)});
  }
}

void destroy_font(const std::string& name) {
  LibraryState* s = state();
  if (s == nullptr) return;
  const auto it = s->fonts.find(name);
  if (it == s->fonts.end()) return;
  const std::vector<int32_t> sprites = std::move(it->second->sprites);
  s->fonts.erase(it);
  release_sprites(sprites);
}

const std::string& default_font() { return initialize().default_font; }

// font_get_name: the asset's name, or the name a run-time font was given.
std::string project_font_name(int32_t index) {
  if (const char* name = Asset_NameOf(datawin::kAssetFont, index)) return name;
  const char* name = Font_Name(index);
  return name != nullptr ? name : "";
}

namespace {

bool tagged(int32_t index, const char* wanted) {
  const uint32_t key = (static_cast<uint32_t>(index) & 0xFFFFFFu) | (static_cast<uint32_t>(datawin::kAssetFont) << 24);
  for (std::string tag : Tags_ForAsset(key)) {
    std::transform(tag.begin(), tag.end(), tag.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (tag == wanted) return true;
  }
  return false;
}

// __scribble_font_add_from_project(index)
void font_add_from_project(int32_t index) {
  LibraryState& s = *state();
  const TextFont* source = Font_At(index);
  if (source == nullptr) return;
  const std::string name = project_font_name(index);
  if (find_font(name) != nullptr) {
    trace("Warning! A font for \"" + name + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(name);
  }
  if (s.default_font.empty()) s.default_font = name;
  const bool krutidev = tagged(index, "scribble krutidev") || tagged(index, "krutidev");

  float texel_w = 0, texel_h = 0;
  const bool has_texture = Font_Texture(*source, &texel_w, &texel_h) != nullptr;
  int64_t texture = -1;
  if (has_texture) {
    texture = source->pageEntry != nullptr ? static_cast<int64_t>(reinterpret_cast<uintptr_t>(source->pageEntry))
                                           : source->dynamicTexture;
  }
  auto font = std::make_unique<Font>();
  font->name = name;
  font->is_krutidev = krutidev;
  font->rows.reserve(source->glyphs.size());
  const double ascender_offset = source->ascenderOffset;
  for (const FontGlyph& g : source->glyphs) {
    const uint32_t code = g.character;
    int32_t cls = bidi_class(code);
    uint32_t text_code = code;
    if (krutidev && cls != kClassWhitespace) {
      cls = kClassDevanagari;
      text_code = code + 65535;
    }
    int32_t px = 0, py = 0;
    Font_GlyphPagePosition(*source, g, &px, &py);
    GlyphRow row{};
    row[kGlyphCharacter] = code;
    row[kGlyphUnicode] = text_code;
    row[kGlyphBidi] = cls;
    row[kGlyphXOffset] = g.offset;
    row[kGlyphYOffset] = -ascender_offset;
    row[kGlyphWidth] = g.w;
    row[kGlyphHeight] = g.h;
    row[kGlyphFontHeight] = g.h;
    row[kGlyphSeparation] = g.shift;
    row[kGlyphLeftOffset] = -g.offset;
    row[kGlyphFontScale] = 1;
    row[kGlyphTexture] = static_cast<double>(texture);
    row[kGlyphU0] = px * static_cast<double>(texel_w);
    row[kGlyphV0] = py * static_cast<double>(texel_h);
    row[kGlyphU1] = row[kGlyphU0] + g.w * static_cast<double>(texel_w);
    row[kGlyphV1] = row[kGlyphV0] + g.h * static_cast<double>(texel_h);
    row[kGlyphMsdfPxRange] = std::nan("");
    row[kGlyphMsdfThickness] = std::nan("");
    row[kGlyphBilinear] = std::nan("");
    font->glyphs[text_code] = static_cast<int32_t>(font->rows.size());
    font->rows.push_back(row);
    font->textures.push_back(texture);
    for (int16_t k = 0; k < g.kerning_count; ++k) {
      const uint8_t* pair = g.kerning + 4 * k;
      const uint32_t other = static_cast<uint16_t>(pair[0] | (pair[1] << 8));
      const int16_t amount = static_cast<int16_t>(pair[2] | (pair[3] << 8));
      font->kerning[kerning_key(other, code)] = amount;
    }
  }
  font->calculate_height();
  Font* added = add_font(std::move(font));
  const double size = source->size;
  if (added->height > 0 && size > 0) {
    const double factor = added->height / size;
    if (std::fabs(factor - 1.0) > 0.0 && SCRIBBLE_VERBOSE) {
      trace("Warning! Font \"" + name + "\" may have been scaled during compilation (font size = " + number_text(size) +
            ", space height = " + number_text(added->height) + ", scaling factor = " + number_text(factor) +
            "). Check that the font is rendering correctly. If it is not, try setting "
            "SCRIBBLE_ATTEMPT_FONT_SCALING_FIX to <true>");
    }
  }
}

}  // namespace

void font_add_all_from_project() {
  for (int32_t index = 0; index < Font_Count(); ++index) {
    const TextFont* font = Font_At(index);
    if (font == nullptr || !font->valid) continue;
    if (tagged(index, "scribble skip")) continue;
    if (project_font_name(index).rfind("__newfont", 0) == 0) continue;
    font_add_from_project(index);
  }
  font_add_all_msdf_from_project();
}

// Adds one project font by index; used by scribble_font_add.
void font_add_project_index(int32_t index) { font_add_from_project(index); }

}  // namespace scribble

using namespace scribble;

namespace {

// A font given by name: a string, else the script error of the function.
std::string font_name_arg(const RValue& value) {
  if (RV_Kind(value) != kRVString) {
    error("Fonts should be specified using their name as a string.\n(Input was an invalid datatype)");
  }
  return RV_StringText(value);
}

// A character argument: a number as it stands, or the code of the first character of a string.
uint32_t character_arg(const RValue& value) {
  if (RV_Kind(value) == kRVString) {
    const std::u32string codes = decode_utf8(RV_StringText(value));
    return codes.empty() ? 0 : static_cast<uint32_t>(codes[0]);
  }
  return static_cast<uint32_t>(RV_ToDouble(value));
}

std::string character_text(const RValue& value) {
  return RV_Kind(value) == kRVString ? std::string(RV_StringText(value)) : number_text(RV_ToDouble(value));
}

bool all_characters(const RValue& value) {
  if (RV_Kind(value) == kRVString) return std::string(RV_StringText(value)) == "all";
  return RV_ToDouble(value) == -3;
}

void scale_font(Font& font, double factor) {
  for (GlyphRow& row : font.rows) {
    for (int c = kGlyphXOffset; c <= kGlyphFontScale; ++c) row[c] *= factor;
  }
  font.scale *= factor;
  font.calculate_height();
}


}  // namespace

SCRIBBLE_SCRIPT(scribble_font_exists) {
  tsl::ScriptScope scope("scribble_font_exists", self, result);
  initialize();
  return scope.give(Value::Bool(RV_Kind(ARG(0)) == kRVString && find_font(RV_StringText(ARG(0))) != nullptr));
}

SCRIBBLE_SCRIPT(scribble_font_get_default) {
  tsl::ScriptScope scope("scribble_font_get_default", self, result);
  const std::string& name = default_font();
  return scope.give(name.empty() ? Value() : Value::String(name.c_str()));
}

SCRIBBLE_SCRIPT(scribble_font_set_default) {
  tsl::ScriptScope scope("scribble_font_set_default", self, result);
  LibraryState& s = initialize();
  if (RV_Kind(ARG(0)) != kRVString) {
    error("The default font should be defined using its name as a string.\n(Input was an invalid datatype)");
  }
  const std::string name = RV_StringText(ARG(0));
  trace("Setting default font to \"" + name + "\"");
  s.default_font = name;
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_add) {
  tsl::ScriptScope scope("scribble_font_add", self, result);
  initialize();
  // A project font by index or by name.
  int32_t index = -1;
  if (RV_Kind(ARG(0)) == kRVString) {
    for (int32_t i = 0; i < Font_Count(); ++i) {
      if (project_font_name(i) == RV_StringText(ARG(0))) index = i;
    }
  } else {
    index = RV_ToInt32(ARG(0));
  }
  if (!Font_Valid(index)) error("Font \"" + character_text(ARG(0)) + "\" not recognised");
  font_add_project_index(index);
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_add_all) {
  tsl::ScriptScope scope("scribble_font_add_all", self, result);
  initialize();
  font_add_all_from_project();
  return result;
}

// scribble_font_add_from_sprite(name, sprite, mapstring, separation, space_width = undefined,
// proportional = true): frame i of the sprite is the i-th character of the mapping string. A
// proportional glyph is as wide as its frame's visible pixels; otherwise every glyph advances by
// the sprite's width. Glyph rows stand on the frame's cell: the visible rectangle is offset by its
// trim, and the font height is the sprite's height.
SCRIBBLE_SCRIPT(scribble_font_add_from_sprite) {
  tsl::ScriptScope scope("scribble_font_add_from_sprite", self, result);
  LibraryState& s = initialize();
  const std::string name = font_name_arg(ARG(0));
  const RValue& sprite = ARG(1);
  if (!RV_ToBool(*tsl::call("sprite_exists", nullptr, nullptr, {sprite}))) {
    error("Sprite \"" + value_text(sprite) + "\" doesn't exist");
  }
  if (RV_Kind(ARG(2)) != kRVString) error("The mapping string should be a string");
  std::vector<uint32_t> codes;
  for (const std::string text = RV_StringText(ARG(2)); const char32_t c : decode_utf8(text)) codes.push_back(c);
  const auto frames = static_cast<size_t>(RV_ToDouble(*tsl::call("sprite_get_number", nullptr, nullptr, {sprite})));
  if (codes.size() > frames) {
    error("Sprite \"" + value_text(*tsl::call("sprite_get_name", nullptr, nullptr, {sprite})) + "\" has " +
          number_text(static_cast<double>(frames)) + " frames, fewer than the " + number_text(static_cast<double>(codes.size())) +
          " characters of the mapping string");
  }
  const double separation = RV_ToDouble(ARG(3));
  const bool proportional = RV_Kind(ARG(5)) == kRVUndefined || RV_Kind(ARG(5)) == kRVUnset || RV_ToBool(ARG(5));
  const double sprite_w = RV_ToDouble(*tsl::call("sprite_get_width", nullptr, nullptr, {sprite}));
  const double sprite_h = RV_ToDouble(*tsl::call("sprite_get_height", nullptr, nullptr, {sprite}));
  if (find_font(name) != nullptr) {
    trace("Warning! A font for \"" + name + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(name);
  }
  auto font = std::make_unique<Font>();
  font->name = name;
  for (size_t i = 0; i < codes.size(); ++i) {
    const RValue frame = RV_Real(static_cast<double>(i));
    const Value uvs = tsl::call("sprite_get_uvs", nullptr, nullptr, {sprite, frame});
    const Value texture = tsl::call("sprite_get_texture", nullptr, nullptr, {sprite, frame});
    double uv[8] = {0, 0, 1, 1, 0, 0, 1, 1};
    if (RV_Kind(*uvs) == kRVArray && uvs.get()->pArray->length >= 8) {
      for (int k = 0; k < 8; ++k) uv[k] = RV_ToDouble(uvs.get()->pArray->pArray[k]);
    }
    const double w = sprite_w * uv[6], h = sprite_h * uv[7];
    const uint32_t code = codes[i];
    GlyphRow row{};
    row[kGlyphCharacter] = code;
    row[kGlyphUnicode] = code;
    row[kGlyphBidi] = bidi_class(code);
    row[kGlyphXOffset] = proportional ? 0 : uv[4];
    row[kGlyphYOffset] = uv[5];
    row[kGlyphWidth] = w;
    row[kGlyphHeight] = h;
    row[kGlyphFontHeight] = sprite_h;
    row[kGlyphSeparation] = (proportional ? w : sprite_w) + separation;
    row[kGlyphFontScale] = 1;
    row[kGlyphU0] = uv[0];
    row[kGlyphV0] = uv[1];
    row[kGlyphU1] = uv[2];
    row[kGlyphV1] = uv[3];
    row[kGlyphMsdfPxRange] = row[kGlyphMsdfThickness] = row[kGlyphBilinear] = std::nan("");
    const int64_t handle = RV_Kind(*texture) == kRVPtr ? static_cast<int64_t>(reinterpret_cast<intptr_t>(texture.get()->ptr))
                                                       : static_cast<int64_t>(RV_ToDouble(*texture));
    row[kGlyphTexture] = static_cast<double>(handle);
    font->glyphs[code] = static_cast<int32_t>(font->rows.size());
    font->rows.push_back(row);
    font->textures.push_back(w > 0 && h > 0 ? handle : -1);
  }
  // A space, unless the mapping string brought one: as wide as asked, else as the sprite.
  if (font->find(32) == nullptr) {
    GlyphRow space{};
    space[kGlyphCharacter] = space[kGlyphUnicode] = 32;
    space[kGlyphBidi] = kClassWhitespace;
    const double space_w = RV_Kind(ARG(4)) == kRVUndefined || RV_Kind(ARG(4)) == kRVUnset ? sprite_w : RV_ToDouble(ARG(4));
    space[kGlyphWidth] = space_w;
    space[kGlyphHeight] = space[kGlyphFontHeight] = sprite_h;
    space[kGlyphSeparation] = space_w + separation;
    space[kGlyphFontScale] = 1;
    space[kGlyphTexture] = -1;
    space[kGlyphMsdfPxRange] = space[kGlyphMsdfThickness] = space[kGlyphBilinear] = std::nan("");
    font->glyphs[32] = static_cast<int32_t>(font->rows.size());
    font->rows.push_back(space);
    font->textures.push_back(-1);
  }
  font->calculate_height();
  add_font(std::move(font));
  if (s.default_font.empty()) s.default_font = name;
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_has_character) {
  tsl::ScriptScope scope("scribble_font_has_character", self, result);
  initialize();
  Font* font = font_data(font_name_arg(ARG(0)));
  return scope.give(Value::Bool(font->find(character_arg(ARG(1))) != nullptr));
}

SCRIBBLE_SCRIPT(scribble_font_scale) {
  tsl::ScriptScope scope("scribble_font_scale", self, result);
  initialize();
  scale_font(*font_data(font_name_arg(ARG(0))), RV_ToDouble(ARG(1)));
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_rename) {
  tsl::ScriptScope scope("scribble_font_rename", self, result);
  LibraryState& s = initialize();
  const std::string old_name = font_name_arg(ARG(0));
  const std::string new_name = font_name_arg(ARG(1));
  font_data(old_name);
  if (find_font(new_name) != nullptr) {
    trace("Warning! A font for \"" + new_name + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(new_name);
  }
  auto node = s.fonts.extract(old_name);
  node.key() = new_name;
  node.mapped()->name = new_name;
  s.fonts.insert(std::move(node));
  if (s.default_font == old_name) s.default_font = new_name;
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_duplicate) {
  tsl::ScriptScope scope("scribble_font_duplicate", self, result);
  initialize();
  const std::string from = font_name_arg(ARG(0));
  const std::string to = font_name_arg(ARG(1));
  Font* source = font_data(from);
  if (find_font(to) != nullptr) {
    trace("Warning! A font for \"" + to + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(to);
  }
  // __copy_to(target, copy_name = false): everything but the name and the style family.
  auto copy = std::make_unique<Font>(*source);
  copy->name = to;
  copy->styles = {};
  copy->runtime = true;
  add_font(std::move(copy));
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_delete) {
  tsl::ScriptScope scope("scribble_font_delete", self, result);
  LibraryState& s = initialize();
  const std::string name = font_name_arg(ARG(0));
  font_data(name);
  destroy_font(name);
  if (s.default_font == name) s.default_font.clear();
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_set_style_family) {
  tsl::ScriptScope scope("scribble_font_set_style_family", self, result);
  initialize();
  std::array<std::string, 4> names;
  for (int i = 0; i < 4; ++i) {
    if (RV_Kind(ARG(i)) == kRVString) names[static_cast<size_t>(i)] = RV_StringText(ARG(i));
  }
  for (const std::string& name : names) {
    if (name.empty()) continue;
    font_data(name)->styles = names;
  }
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_get_glyph_ranges) {
  tsl::ScriptScope scope("scribble_font_get_glyph_ranges", self, result);
  initialize();
  Font* font = font_data(font_name_arg(ARG(0)));
  std::vector<uint32_t> codes;
  for (const auto& [code, row] : font->glyphs) codes.push_back(code);
  std::sort(codes.begin(), codes.end());
  // [[first, last], ...] over runs of consecutive codes.
  Value ranges = tsl::call("@@NewTSLArray@@", nullptr, nullptr);
  for (size_t i = 0; i < codes.size();) {
    size_t j = i;
    while (j + 1 < codes.size() && codes[j + 1] == codes[j] + 1) ++j;
    Value pair = tsl::call("@@NewTSLArray@@", nullptr, nullptr, {RV_Real(codes[i]), RV_Real(codes[j])});
    tsl::call("array_push", nullptr, nullptr, {*ranges, *pair});
    i = j + 1;
  }
  return scope.give(ranges);
}

SCRIBBLE_SCRIPT(scribble_glyph_get) {
  tsl::ScriptScope scope("scribble_glyph_get", self, result);
  initialize();
  const std::string name = font_name_arg(ARG(0));
  Font* font = font_data(name);
  const uint32_t code = character_arg(ARG(1));
  const GlyphRow* row = font->find(code);
  if (row == nullptr) error("Character \"" + character_text(ARG(1)) + "\" not found for font \"" + name + "\"");
  const int32_t property = RV_ToInt32(ARG(2));
  if (property < 0 || property >= kGlyphColumnCount) return result;
  return scope.give(Value::Real((*row)[static_cast<size_t>(property)]));
}

SCRIBBLE_SCRIPT(scribble_glyph_set) {
  tsl::ScriptScope scope("scribble_glyph_set", self, result);
  initialize();
  const std::string name = font_name_arg(ARG(0));
  Font* font = font_data(name);
  const int32_t property = RV_ToInt32(ARG(2));
  const double value = RV_ToDouble(ARG(3));
  const bool relative = RV_ToBool(ARG(4));
  if (property < 0 || property >= kGlyphColumnCount) return result;
  const auto column = static_cast<size_t>(property);
  if (all_characters(ARG(1))) {
    for (GlyphRow& row : font->rows) row[column] = relative ? row[column] + value : value;
    if (property == kGlyphHeight || property == kGlyphFontHeight) font->calculate_height();
    return result;
  }
  const uint32_t code = character_arg(ARG(1));
  const int32_t at = font->row_of(code);
  if (at < 0) error("Character \"" + character_text(ARG(1)) + "\" not found for font \"" + name + "\"");
  GlyphRow& row = font->rows[static_cast<size_t>(at)];
  const double set = relative ? row[column] + value : value;
  if (code == 32 && property == kGlyphFontHeight) {
    // The space's font height is the font's: every glyph follows it.
    for (GlyphRow& each : font->rows) each[column] = set;
  } else {
    row[column] = set;
  }
  font->calculate_height();
  return scope.give(Value::Real(row[column]));
}

SCRIBBLE_SCRIPT(scribble_kerning_pair_get) {
  tsl::ScriptScope scope("scribble_kerning_pair_get", self, result);
  initialize();
  Font* font = font_data(font_name_arg(ARG(0)));
  const auto it = font->kerning.find(kerning_key(character_arg(ARG(1)), character_arg(ARG(2))));
  return scope.give(Value::Real(it == font->kerning.end() ? 0.0 : it->second));
}

SCRIBBLE_SCRIPT(scribble_kerning_pair_set) {
  tsl::ScriptScope scope("scribble_kerning_pair_set", self, result);
  initialize();
  Font* font = font_data(font_name_arg(ARG(0)));
  const uint64_t key = kerning_key(character_arg(ARG(1)), character_arg(ARG(2)));
  double value = RV_ToDouble(ARG(3));
  if (RV_ToBool(ARG(4))) value += font->kerning.count(key) != 0 ? font->kerning[key] : 0.0;
  font->kerning[key] = value;
  return scope.give(Value::Real(value));
}

SCRIBBLE_SCRIPT(scribble_msdf_thickness_offset) {
  tsl::ScriptScope scope("scribble_msdf_thickness_offset", self, result);
  initialize().msdf_thickness_offset = RV_ToDouble(ARG(0));
  return result;
}

SCRIBBLE_SCRIPT(scribble_font_force_bilinear_filtering) {
  tsl::ScriptScope scope("scribble_font_force_bilinear_filtering", self, result);
  initialize();
  Font* font = font_data(font_name_arg(ARG(0)));
  const RValue& state = ARG(1);
  const double value = RV_Kind(state) == kRVUndefined ? std::nan("") : (RV_ToBool(state) ? 1.0 : 0.0);
  for (GlyphRow& row : font->rows) row[kGlyphBilinear] = value;
  return result;
}

SCRIBBLE_SCRIPT(scribble_super_create) {
  tsl::ScriptScope scope("scribble_super_create", self, result);
  initialize();
  const std::string name = font_name_arg(ARG(0));
  if (find_font(name) != nullptr) {
    trace("Warning! A font for \"" + name + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(name);
  }
  auto font = std::make_unique<Font>();
  font->name = name;
  font->runtime = true;
  font->superfont = true;
  add_font(std::move(font));
  if (default_font().empty()) initialize().default_font = name;
  return scope.give(Value::String(name.c_str()));
}

SCRIBBLE_SCRIPT(scribble_super_clear) {
  tsl::ScriptScope scope("scribble_super_clear", self, result);
  initialize();
  Font* font = font_data(font_name_arg(ARG(0)));
  if (!font->superfont) error("Cannot clear non-superfont fonts");
  font->rows.clear();
  font->textures.clear();
  font->glyphs.clear();
  font->kerning.clear();
  font->msdf = false;
  font->height = 0;
  release_sprites(std::exchange(font->sprites, {}));
  return result;
}

namespace {

[[noreturn]] void refuse_mixed_kinds(const std::string& source, const std::string& target) {
  error("Cannot mix standard and MSDF glyphs in the same superfont (source font \"" + source + "\", target font \"" +
        target + "\")");
}

// Copies glyph `code` of source into target (replacing it when overwrite); __scribble_glyph_duplicate.
void glyph_duplicate(const Font& source, Font& target, uint32_t code, bool overwrite) {
  const int32_t from = source.row_of(code);
  if (from < 0) return;
  if (target.rows.empty() && target.glyphs.empty()) target.msdf = source.msdf;
  if (source.msdf != target.msdf) refuse_mixed_kinds(source.name, target.name);
  const int32_t existing = target.row_of(code);
  if (existing >= 0) {
    if (!overwrite) return;
    target.rows[static_cast<size_t>(existing)] = source.rows[static_cast<size_t>(from)];
    target.textures[static_cast<size_t>(existing)] = source.textures[static_cast<size_t>(from)];
  } else {
    target.glyphs[code] = static_cast<int32_t>(target.rows.size());
    target.rows.push_back(source.rows[static_cast<size_t>(from)]);
    target.textures.push_back(source.textures[static_cast<size_t>(from)]);
  }
  if (source.msdf) target.msdf_pxrange = source.msdf_pxrange;
  target.share_sprites(source);
}

// The glyph ranges of a copy: single codes or strings of characters, [first, last] arrays, or "all".
std::vector<uint32_t> gather_codes(const Font& source, int argc, RValue** argv, int first) {
  std::vector<uint32_t> codes;
  for (int i = first; i < argc; ++i) {
    const RValue& range = *argv[i];
    if (RV_Kind(range) == kRVArray && range.pArray != nullptr && range.pArray->length >= 2) {
      const uint32_t lo = character_arg(range.pArray->pArray[0]);
      const uint32_t hi = character_arg(range.pArray->pArray[1]);
      for (uint32_t c = lo; c <= hi; ++c) codes.push_back(c);
    } else if (all_characters(range)) {
      for (const auto& [code, row] : source.glyphs) codes.push_back(code);
    } else if (RV_Kind(range) == kRVString) {
      for (const char32_t c : decode_utf8(RV_StringText(range))) codes.push_back(static_cast<uint32_t>(c));
    } else {
      codes.push_back(character_arg(range));
    }
  }
  return codes;
}

}  // namespace

SCRIBBLE_SCRIPT(scribble_super_glyph_copy) {
  tsl::ScriptScope scope("scribble_super_glyph_copy", self, result);
  initialize();
  Font* target = font_data(font_name_arg(ARG(0)));
  const Font* source = font_data(font_name_arg(ARG(1)));
  const bool overwrite = RV_ToBool(ARG(2));
  for (const uint32_t code : gather_codes(*source, argc, argv, 3)) glyph_duplicate(*source, *target, code, overwrite);
  for (const auto& [key, amount] : source->kerning) target->kerning.emplace(key, amount);
  target->calculate_height();
  return result;
}

SCRIBBLE_SCRIPT(scribble_super_glyph_copy_all) {
  tsl::ScriptScope scope("scribble_super_glyph_copy_all", self, result);
  initialize();
  Font* target = font_data(font_name_arg(ARG(0)));
  const Font* source = font_data(font_name_arg(ARG(1)));
  const bool overwrite = RV_ToBool(ARG(2));
  for (const auto& [code, row] : source->glyphs) glyph_duplicate(*source, *target, code, overwrite);
  for (const auto& [key, amount] : source->kerning) target->kerning.emplace(key, amount);
  target->calculate_height();
  return result;
}

// scribble_font_combine(new, font, font...): a new run-time font holding the glyphs of all the
// given fonts. Where several hold a character, the first font given wins; a kerning pair comes
// along when both of its glyphs came from the font that holds the pair. Standard and distance-field
// fonts can't be combined; the new font owns no texture of its own.
SCRIBBLE_SCRIPT(scribble_font_combine) {
  tsl::ScriptScope scope("scribble_font_combine", self, result);
  LibraryState& s = initialize();
  const std::string name = font_name_arg(ARG(0));
  if (argc < 2) error("No fonts given to combine into \"" + name + "\"");
  std::vector<const Font*> sources;
  for (int i = 1; i < argc; ++i) {
    const std::string source = font_name_arg(*argv[i]);
    if (source == name) error("Source font and new font cannot share the same name");
    sources.push_back(font_data(source));
    if (sources.back()->msdf != sources.front()->msdf) refuse_mixed_kinds(source, name);
  }
  auto font = std::make_unique<Font>();
  font->name = name;
  font->runtime = true;
  font->superfont = true;
  for (const Font* source : sources) {
    font->is_krutidev = font->is_krutidev || source->is_krutidev;
    // The font's own codes of the glyphs this source gave, for its kerning pairs.
    std::unordered_set<uint32_t> given;
    for (const auto& [code, row] : source->glyphs) {
      if (font->row_of(code) >= 0) continue;
      glyph_duplicate(*source, *font, code, false);
      given.insert(static_cast<uint32_t>(source->rows[static_cast<size_t>(row)][kGlyphCharacter]));
    }
    for (const auto& [key, amount] : source->kerning) {
      const auto first = static_cast<uint32_t>(key), second = static_cast<uint32_t>(key >> 32);
      if (given.count(first) != 0 && given.count(second) != 0) font->kerning.emplace(key, amount);
    }
  }
  font->calculate_height();
  if (find_font(name) != nullptr) {
    trace("Warning! A font for \"" + name + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(name);
  }
  add_font(std::move(font));
  if (s.default_font.empty()) s.default_font = name;
  return result;
}

SCRIBBLE_SCRIPT(scribble_super_glyph_delete) {
  tsl::ScriptScope scope("scribble_super_glyph_delete", self, result);
  initialize();
  Font* target = font_data(font_name_arg(ARG(0)));
  for (const uint32_t code : gather_codes(*target, argc, argv, 1)) {
    const int32_t at = target->row_of(code);
    if (at < 0) continue;
    // The last row moves into the hole.
    const auto last = static_cast<int32_t>(target->rows.size()) - 1;
    if (at != last) {
      target->rows[static_cast<size_t>(at)] = target->rows[static_cast<size_t>(last)];
      target->textures[static_cast<size_t>(at)] = target->textures[static_cast<size_t>(last)];
      target->glyphs[static_cast<uint32_t>(target->rows[static_cast<size_t>(at)][kGlyphUnicode])] = at;
    }
    target->rows.pop_back();
    target->textures.pop_back();
    target->glyphs.erase(code);
  }
  target->calculate_height();
  return result;
}

SCRIBBLE_SCRIPT(scribble_external_sound_add) {
  tsl::ScriptScope scope("scribble_external_sound_add", self, result);
  LibraryState& s = initialize();
  if (RV_Kind(ARG(1)) != kRVString) error("Sound names should be strings");
  s.external_sounds[RV_StringText(ARG(1))] = Value::Copy(ARG(0));
  return result;
}

SCRIBBLE_SCRIPT(scribble_external_sound_remove) {
  tsl::ScriptScope scope("scribble_external_sound_remove", self, result);
  LibraryState& s = initialize();
  if (RV_Kind(ARG(0)) == kRVString) s.external_sounds.erase(RV_StringText(ARG(0)));
  return result;
}

SCRIBBLE_SCRIPT(scribble_external_sound_exists) {
  tsl::ScriptScope scope("scribble_external_sound_exists", self, result);
  LibraryState& s = initialize();
  return scope.give(Value::Bool(RV_Kind(ARG(0)) == kRVString && s.external_sounds.count(RV_StringText(ARG(0))) != 0));
}
