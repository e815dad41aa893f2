// Baked fonts: a new font whose glyphs are an existing font's glyphs drawn once through a shader
// (outlines, shadows, or the game's own effect) onto a sprite. The glyphs are first copied into
// cells of a clear surface, each with an empty border and the padding the effect spreads into,
// then the whole surface is drawn through the shader onto a second surface, which becomes the
// new font's sprite. The new font's rows cover the padded cells; separation grows by the delta.
#include <algorithm>
#include <cmath>
#include <functional>

#include "graphics/texture_table.h"
#include "text/scribble_internal.h"

using namespace scribble;

namespace {

struct BakeSettings {
  int32_t shader = -1;
  int32_t border = 0;
  int32_t left = 0, top = 0, right = 0, bottom = 0;
  double separation = 0;
  bool smooth = false;
  int32_t surface_size = 2048;
};

std::string name_arg(const RValue& value) {
  if (RV_Kind(value) != kRVString) {
    error("Fonts should be specified using their name as a string.\n(Input was an invalid datatype)");
  }
  return RV_StringText(value);
}

// The texture slot of a glyph's handle (a page entry or a slot): the primitive draw then takes
// the glyph's uvs as they stand, in the page's space.
RValue texture_value(int64_t handle) { return RV_Real(Texture_SlotOfHandle(handle)); }

bool missing(const RValue& value) { return RV_Kind(value) == kRVUndefined || RV_Kind(value) == kRVUnset; }

void quad(const RValue& texture, double x0, double y0, double x1, double y1, double u0, double v0, double u1,
          double v1) {
  tsl::call("draw_primitive_begin_texture", nullptr, nullptr, {RV_Real(5), texture});
  const double corners[4][4] = {{x0, y0, u0, v0}, {x1, y0, u1, v0}, {x0, y1, u0, v1}, {x1, y1, u1, v1}};
  for (const auto& c : corners) {
    tsl::call("draw_vertex_texture_colour", nullptr, nullptr,
              {RV_Real(c[0]), RV_Real(c[1]), RV_Real(c[2]), RV_Real(c[3]), RV_Real(0xFFFFFF), RV_Real(1)});
  }
  tsl::call("draw_primitive_end", nullptr, nullptr);
}

struct Cell {
  size_t row = 0;
  int32_t x = 0, y = 0;  // the cell's corner, its border included
  int32_t w = 0, h = 0;  // the glyph
};

// __scribble_font_bake_shader: `uniforms` sets the effect's own uniforms while its shader is set.
void bake(const std::string& source_name, const std::string& new_name, const BakeSettings& b,
          const std::function<void()>& uniforms) {
  initialize();
  if (source_name == new_name) error("Source font and new font cannot share the same name");
  const Font* source = font_data(source_name);
  if (source->msdf) error("Font \"" + source_name + "\" is an MSDF font and cannot be baked");
  const int32_t size = b.surface_size;
  // Shelf packing of the cells: glyph, padding and the empty border on every side.
  std::vector<Cell> cells;
  int32_t x = 0, y = 0, shelf = 0;
  for (size_t i = 0; i < source->rows.size(); ++i) {
    const GlyphRow& row = source->rows[i];
    const int32_t w = static_cast<int32_t>(std::ceil(row[kGlyphWidth]));
    const int32_t h = static_cast<int32_t>(std::ceil(row[kGlyphHeight]));
    if (source->textures[i] < 0 || w <= 0 || h <= 0) continue;
    const int32_t cw = w + b.left + b.right + 2 * b.border, ch = h + b.top + b.bottom + 2 * b.border;
    if (x + cw > size) {
      x = 0;
      y += shelf;
      shelf = 0;
    }
    if (cw > size || y + ch > size) {
      error("Glyphs of font \"" + source_name + "\" don't fit on a " + number_text(size) + " x " + number_text(size) +
            " surface; give a larger surface size");
    }
    cells.push_back(Cell{i, x, y, w, h});
    x += cw;
    shelf = std::max(shelf, ch);
  }
  const Value plain = tsl::call("surface_create", nullptr, nullptr, {RV_Real(size), RV_Real(size)});
  const Value baked = tsl::call("surface_create", nullptr, nullptr, {RV_Real(size), RV_Real(size)});
  tsl::call("gpu_set_blendenable", nullptr, nullptr, {RV_Bool(false)});
  tsl::call("surface_set_target", nullptr, nullptr, {*plain.get()});
  tsl::call("draw_clear_alpha", nullptr, nullptr, {RV_Real(0xFFFFFF), RV_Real(0)});
  for (const Cell& c : cells) {
    const GlyphRow& row = source->rows[c.row];
    const RValue texture = texture_value(source->textures[c.row]);
    const double gx = c.x + b.border + b.left, gy = c.y + b.border + b.top;
    quad(texture, gx, gy, gx + c.w, gy + c.h, row[kGlyphU0], row[kGlyphV0], row[kGlyphU1], row[kGlyphV1]);
  }
  tsl::call("surface_reset_target", nullptr, nullptr);
  tsl::call("surface_set_target", nullptr, nullptr, {*baked.get()});
  tsl::call("draw_clear_alpha", nullptr, nullptr, {RV_Real(0xFFFFFF), RV_Real(0)});
  tsl::call("shader_set", nullptr, nullptr, {RV_Real(b.shader)});
  set_uniform_f(b.shader, "u_vTexel", {1.0f / static_cast<float>(size), 1.0f / static_cast<float>(size)});
  uniforms();
  const Value plain_texture = tsl::call("surface_get_texture", nullptr, nullptr, {*plain.get()});
  quad(*plain_texture.get(), 0, 0, size, size, 0, 0, 1, 1);
  tsl::call("shader_reset", nullptr, nullptr);
  tsl::call("surface_reset_target", nullptr, nullptr);
  tsl::call("gpu_set_blendenable", nullptr, nullptr, {RV_Bool(true)});
  const Value sprite = tsl::call("sprite_create_from_surface", nullptr, nullptr,
                                 {*baked.get(), RV_Real(0), RV_Real(0), RV_Real(size), RV_Real(size), RV_Bool(false),
                                  RV_Bool(false), RV_Real(0), RV_Real(0)});
  tsl::call("surface_free", nullptr, nullptr, {*plain.get()});
  tsl::call("surface_free", nullptr, nullptr, {*baked.get()});
  const RValue sprite_index = *sprite.get();
  const Value texture = tsl::call("sprite_get_texture", nullptr, nullptr, {sprite_index, RV_Real(0)});
  const Value uvs = tsl::call("sprite_get_uvs", nullptr, nullptr, {sprite_index, RV_Real(0)});
  double uv[4] = {0, 0, 1, 1};
  if (RV_Kind(*uvs.get()) == kRVArray && uvs.get()->pArray->length >= 4) {
    for (int k = 0; k < 4; ++k) uv[k] = RV_ToDouble(uvs.get()->pArray->pArray[k]);
  }
  const int64_t handle = RV_Kind(*texture.get()) == kRVPtr
                             ? static_cast<int64_t>(reinterpret_cast<intptr_t>(texture.get()->ptr))
                             : static_cast<int64_t>(RV_ToDouble(*texture.get()));

  if (find_font(new_name) != nullptr) {
    trace("Warning! A font for \"" + new_name +
          "\" has already been added. Destroying the old font and creating a new one");
    destroy_font(new_name);
  }
  auto font = std::make_unique<Font>(*source);
  font->name = new_name;
  font->styles = {};
  font->runtime = true;
  font->superfont = false;
  // Glyphs left out of the cells (empty ones) keep the source's texture: its sprites stay held too.
  font->sprites.push_back(static_cast<int32_t>(RV_ToDouble(sprite_index)));
  for (GlyphRow& row : font->rows) row[kGlyphSeparation] += b.separation;
  const double su = (uv[2] - uv[0]) / size, sv = (uv[3] - uv[1]) / size;
  for (const Cell& c : cells) {
    GlyphRow& row = font->rows[c.row];
    const double x0 = c.x + b.border, y0 = c.y + b.border;
    const double w = c.w + b.left + b.right, h = c.h + b.top + b.bottom;
    row[kGlyphXOffset] -= b.left;
    row[kGlyphYOffset] -= b.top;
    row[kGlyphWidth] = w;
    row[kGlyphHeight] = h;
    row[kGlyphTexture] = static_cast<double>(handle);
    row[kGlyphU0] = uv[0] + x0 * su;
    row[kGlyphV0] = uv[1] + y0 * sv;
    row[kGlyphU1] = uv[0] + (x0 + w) * su;
    row[kGlyphV1] = uv[1] + (y0 + h) * sv;
    row[kGlyphBilinear] = b.smooth ? 1 : 0;
    font->textures[c.row] = handle;
  }
  font->calculate_height();
  add_font(std::move(font));
}

// A colour argument: a number, or a name of the library's colour table.
uint32_t colour_arg(const RValue& value) {
  uint32_t colour = 0;
  if (!process_colour(value, &colour)) error("Colour \"" + value_text(value) + "\" not recognised");
  return colour;
}

int32_t shader_index(const char* name) {
  const Value index = tsl::call("asset_get_index", nullptr, nullptr, {*Value::String(name).get()});
  return static_cast<int32_t>(RV_ToDouble(*index.get()));
}

// The outline bakes: (source, new, colour, smooth, surfaceSize = 2048) from argument `at`, a ring of
// `thickness` pixels through `shader`; the shader of any thickness is told it.
void bake_outline(int argc, RValue** argv, int at, const char* shader, double thickness) {
  BakeSettings b;
  const std::string source = name_arg(ARG(0));
  const std::string target = name_arg(ARG(1));
  const uint32_t colour = colour_arg(ARG(at));
  const auto padding = static_cast<int32_t>(std::ceil(thickness));
  b.shader = shader_index(shader);
  b.border = 4;
  b.left = b.top = b.right = b.bottom = padding;
  b.separation = 2 * padding;
  b.smooth = RV_ToBool(ARG(at + 1));
  if (!missing(ARG(at + 2))) b.surface_size = static_cast<int32_t>(RV_ToDouble(ARG(at + 2)));
  bake(source, target, b, [&] {
    set_uniform_colour(b.shader, "u_vOutlineColor", colour, 1);
    set_uniform_f(b.shader, "u_fOutlineThickness", {static_cast<float>(thickness)});
  });
}

// The thickest outline the round bake draws: its shader reads (2t + 1)^2 texels a pixel.
constexpr double kMaxOutlineThickness = 16;

}  // namespace

SCRIBBLE_SCRIPT(scribble_font_bake_shader) {
  tsl::ScriptScope scope("scribble_font_bake_shader", self, result);
  BakeSettings b;
  const std::string source = name_arg(ARG(0));
  const std::string target = name_arg(ARG(1));
  b.shader = static_cast<int32_t>(RV_ToDouble(ARG(2)));
  b.border = static_cast<int32_t>(RV_ToDouble(ARG(3)));
  b.left = static_cast<int32_t>(RV_ToDouble(ARG(4)));
  b.top = static_cast<int32_t>(RV_ToDouble(ARG(5)));
  b.right = static_cast<int32_t>(RV_ToDouble(ARG(6)));
  b.bottom = static_cast<int32_t>(RV_ToDouble(ARG(7)));
  b.separation = RV_ToDouble(ARG(8));
  b.smooth = RV_ToBool(ARG(9));
  if (!missing(ARG(10))) b.surface_size = static_cast<int32_t>(RV_ToDouble(ARG(10)));
  bake(source, target, b, [] {});
  return result;
}

// The fixed outline bakes, each through its own shader: (source, new, colour, smooth, surfaceSize =
// 2048); the 1-pixel rings in four or eight directions, and the 2-pixel ring.
#define SCRIBBLE_OUTLINE_BAKE(name, padding)                                \
  SCRIBBLE_SCRIPT(scribble_font_bake_##name) {                              \
    tsl::ScriptScope scope("scribble_font_bake_" #name, self, result);     \
    bake_outline(argc, argv, 2, "shd_text_bake_" #name, padding);           \
    return result;                                                          \
  }
SCRIBBLE_OUTLINE_BAKE(outline_4dir, 1)
SCRIBBLE_OUTLINE_BAKE(outline_8dir, 1)
SCRIBBLE_OUTLINE_BAKE(outline_8dir_2px, 2)
#undef SCRIBBLE_OUTLINE_BAKE

// scribble_font_bake_outline(source, new, thickness, colour, smooth, surfaceSize = 2048): a round
// ring of `thickness` pixels (fractions round the ring's edge; the cells grow by whole pixels).
SCRIBBLE_SCRIPT(scribble_font_bake_outline) {
  tsl::ScriptScope scope("scribble_font_bake_outline", self, result);
  const RValue& thickness = ARG(2);
  const uint32_t kind = RV_Kind(thickness);
  const bool number = kind == kRVReal || kind == kRVInt32 || kind == kRVInt64;
  if (!number || !(RV_ToDouble(thickness) > 0) || RV_ToDouble(thickness) > kMaxOutlineThickness) {
    error("Outline thickness should be a number greater than 0 and at most " + number_text(kMaxOutlineThickness) +
          " (was " + value_text(thickness) + ")");
  }
  bake_outline(argc, argv, 3, "shd_text_bake_outline", RV_ToDouble(thickness));
  return result;
}

// scribble_font_bake_shadow(source, new, dx, dy, colour, alpha, separation, smooth, surfaceSize =
// 2048): the glyph over its shape moved by (dx, dy) in the shadow colour; the padding takes the
// offset on its side.
SCRIBBLE_SCRIPT(scribble_font_bake_shadow) {
  tsl::ScriptScope scope("scribble_font_bake_shadow", self, result);
  BakeSettings b;
  const std::string source = name_arg(ARG(0));
  const std::string target = name_arg(ARG(1));
  const double dx = RV_ToDouble(ARG(2)), dy = RV_ToDouble(ARG(3));
  const uint32_t colour = colour_arg(ARG(4));
  const double alpha = missing(ARG(5)) ? 1.0 : RV_ToDouble(ARG(5));
  b.shader = shader_index("shd_text_bake_shadow");
  b.border = 4;
  b.left = static_cast<int32_t>(std::ceil(std::max(0.0, -dx)));
  b.right = static_cast<int32_t>(std::ceil(std::max(0.0, dx)));
  b.top = static_cast<int32_t>(std::ceil(std::max(0.0, -dy)));
  b.bottom = static_cast<int32_t>(std::ceil(std::max(0.0, dy)));
  b.separation = RV_ToDouble(ARG(6));
  b.smooth = RV_ToBool(ARG(7));
  if (!missing(ARG(8))) b.surface_size = static_cast<int32_t>(RV_ToDouble(ARG(8)));
  bake(source, target, b, [&] {
    set_uniform_colour(b.shader, "u_vShadowColour", colour, alpha);
    set_uniform_f(b.shader, "u_vShadowOffset", {static_cast<float>(dx), static_cast<float>(dy)});
  });
  return result;
}
