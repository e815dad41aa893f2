// Multi-channel signed distance fonts: a sprite holding the distance-field atlas, and a JSON file
// beside the game with its metrics as the atlas generator writes them:
//   "atlas": {"distanceRange", "size" (pixels per em), "width", "height", "yOrigin" ("bottom" or "top")},
//   "metrics": {"lineHeight", "ascender"} in ems,
//   "glyphs": [{"unicode", "advance", "planeBounds" and "atlasBounds": {"left", "bottom", "right", "top"}}],
//   "kerning": [{"unicode1", "unicode2", "advance"}].
// The font's rows are drawn by the distance-field text shader; __msdf_pxrange is the range.
#include <algorithm>
#include <cmath>

#include "data/asset_names.h"
#include "data/asset_tags.h"
#include "datawin/format/asset_kind.h"
#include "platform/files.h"
#include "text/scribble_internal.h"
#include "world/builtin_var_rows.h"

namespace scribble {

namespace {

bool is_struct(const Value& v) { return RV_Kind(*v.get()) == kRVObject; }
bool is_array(const Value& v) { return RV_Kind(*v.get()) == kRVArray && v.get()->pArray != nullptr; }

// member of a parsed JSON struct; undefined when it isn't one or lacks the name.
Value member(const Value& object, const char* name) {
  if (!is_struct(object)) return Value();
  return tsl::call("variable_struct_get", nullptr, nullptr, {*object.get(), *Value::String(name).get()});
}

double number(const Value& object, const char* name, double fallback = 0) {
  const Value v = member(object, name);
  const int kind = RV_Kind(*v.get());
  return kind == kRVReal || kind == kRVInt32 || kind == kRVInt64 ? RV_ToDouble(*v.get()) : fallback;
}

std::string read_metrics(const std::string& json_name) {
  std::vector<uint8_t> bytes;
  for (const std::string& dir : {g_GameDirectories.working, g_GameDirectories.save, std::string()}) {
    if (Platform_ReadWholeFile(dir + json_name, &bytes)) return std::string(bytes.begin(), bytes.end());
  }
  error("Could not find \"" + json_name + "\" (the metrics of an MSDF font, beside the game)");
}

}  // namespace

void font_add_msdf(const std::string& name, const RValue& sprite, const std::string& json_name) {
  LibraryState& s = initialize();
  if (!RV_ToBool(*tsl::call("sprite_exists", nullptr, nullptr, {sprite}).get())) {
    error("Sprite \"" + value_text(sprite) + "\" doesn't exist");
  }
  const std::string text = read_metrics(json_name);
  const Value json = tsl::call("json_parse", nullptr, nullptr, {*Value::String(text.c_str()).get()});
  const Value atlas = member(json, "atlas");
  const Value metrics = member(json, "metrics");
  const Value glyphs = member(json, "glyphs");
  if (!is_struct(atlas) || !is_array(glyphs)) error("\"" + json_name + "\" holds no MSDF atlas and glyphs");
  const double range = number(atlas, "distanceRange", 4);
  const double em = number(atlas, "size", 32);
  const double atlas_w = std::max(number(atlas, "width", 1), 1.0);
  const double atlas_h = std::max(number(atlas, "height", 1), 1.0);
  const Value origin = member(atlas, "yOrigin");
  const bool bottom_origin = RV_Kind(*origin.get()) == kRVString && std::string(RV_StringText(*origin.get())) == "bottom";
  const double ascender = number(metrics, "ascender", bottom_origin ? 1 : -1);
  const double line_height = number(metrics, "lineHeight", 1);

  const Value texture = tsl::call("sprite_get_texture", nullptr, nullptr, {sprite, RV_Real(0)});
  const Value uvs = tsl::call("sprite_get_uvs", nullptr, nullptr, {sprite, RV_Real(0)});
  double uv[4] = {0, 0, 1, 1};
  if (is_array(uvs) && uvs.get()->pArray->length >= 4) {
    for (int k = 0; k < 4; ++k) uv[k] = RV_ToDouble(uvs.get()->pArray->pArray[k]);
  }
  const int64_t handle = RV_Kind(*texture.get()) == kRVPtr
                             ? static_cast<int64_t>(reinterpret_cast<intptr_t>(texture.get()->ptr))
                             : static_cast<int64_t>(RV_ToDouble(*texture.get()));
  if (find_font(name) != nullptr) {
    trace("Warning! A font for \"" + name + "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(name);
  }
  auto font = std::make_unique<Font>();
  font->name = name;
  font->msdf = true;
  font->msdf_pxrange = range;
  const RefDynamicArrayOfRValue* list = glyphs.get()->pArray;
  for (int32_t i = 0; i < list->length; ++i) {
    const Value glyph = Value::Copy(list->pArray[i]);
    const auto code = static_cast<uint32_t>(number(glyph, "unicode", -1));
    if (!is_struct(glyph) || code == 0xFFFFFFFFu) continue;
    GlyphRow row{};
    row[kGlyphCharacter] = code;
    row[kGlyphUnicode] = code;
    row[kGlyphBidi] = bidi_class(code);
    row[kGlyphSeparation] = number(glyph, "advance") * em;
    row[kGlyphFontHeight] = line_height * em;
    row[kGlyphFontScale] = 1;
    row[kGlyphTexture] = -1;
    row[kGlyphMsdfPxRange] = range;
    row[kGlyphMsdfThickness] = 0;
    row[kGlyphBilinear] = std::nan("");
    int64_t row_texture = -1;
    const Value plane = member(glyph, "planeBounds");
    const Value box = member(glyph, "atlasBounds");
    if (is_struct(plane) && is_struct(box)) {
      const double pl = number(plane, "left"), pr = number(plane, "right");
      const double pt = number(plane, "top"), pb = number(plane, "bottom");
      const double al = number(box, "left"), ar = number(box, "right");
      const double at = number(box, "top"), ab = number(box, "bottom");
      // Down from the line's top in pixels, and the atlas rectangle from the atlas's top.
      const double y_offset = bottom_origin ? (ascender - pt) * em : (pt - ascender) * em;
      const double top_px = bottom_origin ? atlas_h - at : at;
      const double bottom_px = bottom_origin ? atlas_h - ab : ab;
      row[kGlyphXOffset] = pl * em;
      row[kGlyphYOffset] = y_offset;
      row[kGlyphWidth] = (pr - pl) * em;
      row[kGlyphHeight] = std::fabs(pt - pb) * em;
      row[kGlyphLeftOffset] = -pl * em;
      row[kGlyphU0] = uv[0] + al / atlas_w * (uv[2] - uv[0]);
      row[kGlyphU1] = uv[0] + ar / atlas_w * (uv[2] - uv[0]);
      row[kGlyphV0] = uv[1] + top_px / atlas_h * (uv[3] - uv[1]);
      row[kGlyphV1] = uv[1] + bottom_px / atlas_h * (uv[3] - uv[1]);
      row[kGlyphTexture] = static_cast<double>(handle);
      row_texture = handle;
    } else {
      row[kGlyphWidth] = row[kGlyphSeparation];
      row[kGlyphHeight] = line_height * em;
    }
    if (font->glyphs.count(code) != 0) continue;
    font->glyphs[code] = static_cast<int32_t>(font->rows.size());
    font->rows.push_back(row);
    font->textures.push_back(row_texture);
  }
  const Value kerning = member(json, "kerning");
  if (is_array(kerning)) {
    const RefDynamicArrayOfRValue* pairs = kerning.get()->pArray;
    for (int32_t i = 0; i < pairs->length; ++i) {
      const Value pair = Value::Copy(pairs->pArray[i]);
      const double first = number(pair, "unicode1", -1), second = number(pair, "unicode2", -1);
      if (first < 0 || second < 0) continue;
      font->kerning[kerning_key(static_cast<uint32_t>(first), static_cast<uint32_t>(second))] =
          number(pair, "advance") * em;
    }
  }
  font->calculate_height();
  add_font(std::move(font));
  if (s.default_font.empty()) s.default_font = name;
}

// Sprites tagged as MSDF fonts, each with "<sprite name>.json" beside the game.
void font_add_all_msdf_from_project() {
  const std::vector<std::string> tags = {"Scribble MSDF", "scribble MSDF", "Scribble msdf", "scribble msdf",
                                         "scribblemsdf"};
  for (const uint32_t key : Tags_AssetsWithAny(tags)) {
    const auto kind = static_cast<int32_t>(key >> 24);
    const auto index = static_cast<int32_t>(key & 0xFFFFFFu);
    const char* asset = Asset_NameOf(static_cast<datawin::AssetKind>(kind), index);
    const std::string name = asset != nullptr ? asset : "";
    if (kind != datawin::kAssetSprite) {
      error("\"scribble msdf\" tag should only be applied to sprite assets (\"" + name + "\" had the tag)");
    }
    font_add_msdf(name, RV_Real(index), name + ".json");
  }
}

}  // namespace scribble

using namespace scribble;

// scribble_font_add_msdf(name, sprite, json_name = name + ".json")
SCRIBBLE_SCRIPT(scribble_font_add_msdf) {
  tsl::ScriptScope scope("scribble_font_add_msdf", self, result);
  initialize();
  if (RV_Kind(ARG(0)) != kRVString) {
    error("Fonts should be specified using their name as a string.\n(Input was an invalid datatype)");
  }
  const std::string name = RV_StringText(ARG(0));
  const std::string json = RV_Kind(ARG(2)) == kRVString ? std::string(RV_StringText(ARG(2))) : name + ".json";
  font_add_msdf(name, ARG(1), json);
  return result;
}
