// Builtins of text drawing and fonts.
#include <cstring>
#include <string>

#include "core/error.h"
#include "core/function_table.h"
#include "core/object.h"
#include "core/utf8.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/draw.h"
#include "graphics/fn_support.h"
#include "graphics/font.h"
#include "graphics/texture_table.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgColour;
using gfx_fn::ArgInt;
using gfx_fn::Real;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)
#define A(n) static_cast<float>(Arg(argc, argv, n))

bool g_enable_aa = true;

// A text argument: strings as they stand, anything else as the language prints it.
std::string text_arg(int argc, RValue* argv, int n) {
  if (n >= argc) return std::string();
  RValue text = RV_Undefined();
  RV_SetStringFromValue(&text, argv[n]);
  std::string out = RV_StringText(text);
  RV_FreeToUndefined(&text);
  return out;
}

TextColours colours_at(int argc, RValue* argv, int n) {
  return TextColours{ArgColour(argc, argv, n), ArgColour(argc, argv, n + 1), ArgColour(argc, argv, n + 2),
                     ArgColour(argc, argv, n + 3), Arg(argc, argv, n + 4)};
}

KV_BUILTIN(F_DrawSetFont) {
  Text_SetFont(ArgInt(argc, argv, 0));
  *result = RV_Undefined();
}
KV_BUILTIN(F_DrawGetFont) { Real(result, Text_GetFont()); }
KV_BUILTIN(F_DrawSetHalign) {
  Text_SetHAlign(ArgInt(argc, argv, 0));
  *result = RV_Undefined();
}
KV_BUILTIN(F_DrawSetValign) {
  Text_SetVAlign(ArgInt(argc, argv, 0));
  *result = RV_Undefined();
}
KV_BUILTIN(F_DrawGetHalign) { Real(result, Text_GetHAlign()); }
KV_BUILTIN(F_DrawGetValign) { Real(result, Text_GetVAlign()); }

KV_BUILTIN(F_StringWidth) { Real(result, Text_Width(text_arg(argc, argv, 0).c_str())); }
KV_BUILTIN(F_StringHeight) { Real(result, Text_Height(text_arg(argc, argv, 0).c_str())); }
KV_BUILTIN(F_StringWidthExt) { Real(result, Text_Width(text_arg(argc, argv, 0).c_str(), ArgInt(argc, argv, 2))); }
KV_BUILTIN(F_StringHeightExt) {
  Real(result, Text_Height(text_arg(argc, argv, 0).c_str(), ArgInt(argc, argv, 1), ArgInt(argc, argv, 2)));
}

KV_BUILTIN(F_DrawText) {
  *result = RV_Undefined();
  Text_Draw(A(0), A(1), text_arg(argc, argv, 2).c_str(), -1, -1);
}
KV_BUILTIN(F_DrawTextExt) {
  *result = RV_Undefined();
  Text_Draw(A(0), A(1), text_arg(argc, argv, 2).c_str(), ArgInt(argc, argv, 3), ArgInt(argc, argv, 4));
}
KV_BUILTIN(F_DrawTextTransformed) {
  *result = RV_Undefined();
  Text_DrawTransformed(A(0), A(1), text_arg(argc, argv, 2).c_str(), -1, -1, A(3), A(4), A(5), nullptr);
}
KV_BUILTIN(F_DrawTextExtTransformed) {
  *result = RV_Undefined();
  Text_DrawTransformed(A(0), A(1), text_arg(argc, argv, 2).c_str(), ArgInt(argc, argv, 3), ArgInt(argc, argv, 4),
                       A(5), A(6), A(7), nullptr);
}
KV_BUILTIN(F_DrawTextColour) {
  *result = RV_Undefined();
  Text_DrawColour(A(0), A(1), text_arg(argc, argv, 2).c_str(), -1, -1, colours_at(argc, argv, 3));
}
KV_BUILTIN(F_DrawTextExtColour) {
  *result = RV_Undefined();
  Text_DrawColour(A(0), A(1), text_arg(argc, argv, 2).c_str(), ArgInt(argc, argv, 3), ArgInt(argc, argv, 4),
                  colours_at(argc, argv, 5));
}
KV_BUILTIN(F_DrawTextTransformedColour) {
  *result = RV_Undefined();
  const TextColours colours = colours_at(argc, argv, 6);
  Text_DrawTransformed(A(0), A(1), text_arg(argc, argv, 2).c_str(), -1, -1, A(3), A(4), A(5), &colours);
}
KV_BUILTIN(F_DrawTextExtTransformedColour) {
  *result = RV_Undefined();
  const TextColours colours = colours_at(argc, argv, 8);
  Text_DrawTransformed(A(0), A(1), text_arg(argc, argv, 2).c_str(), ArgInt(argc, argv, 3), ArgInt(argc, argv, 4),
                       A(5), A(6), A(7), &colours);
}

// ---- Font queries --------------------------------------------------------------------------------

TextFont* font_arg(int argc, RValue* argv) { return Font_At(ArgInt(argc, argv, 0)); }

KV_BUILTIN(F_FontExists) { Real(result, font_arg(argc, argv) != nullptr ? 1 : 0); }
KV_BUILTIN(F_FontGetName) {
  const char* name = Font_Name(ArgInt(argc, argv, 0));
  RV_SetString(result, name != nullptr ? name : "<undefined>");
}
KV_BUILTIN(F_FontGetFontname) {
  const TextFont* f = font_arg(argc, argv);
  RV_SetString(result, f != nullptr ? f->fontName.c_str() : "");
}
KV_BUILTIN(F_FontGetSize) {
  const TextFont* f = font_arg(argc, argv);
  Real(result, f != nullptr ? f->size : 0.0);
}
KV_BUILTIN(F_FontGetBold) {
  const TextFont* f = font_arg(argc, argv);
  Real(result, f != nullptr && f->bold ? 1 : 0);
}
KV_BUILTIN(F_FontGetItalic) {
  const TextFont* f = font_arg(argc, argv);
  Real(result, f != nullptr && f->italic ? 1 : 0);
}
KV_BUILTIN(F_FontGetFirst) {
  const TextFont* f = font_arg(argc, argv);
  Real(result, f != nullptr ? f->first : -1);
}
KV_BUILTIN(F_FontGetLast) {
  const TextFont* f = font_arg(argc, argv);
  Real(result, f != nullptr ? f->last : -1);
}
KV_BUILTIN(F_FontAddEnableAa) {
  g_enable_aa = gfx_fn::ArgBool(argc, argv, 0);
  *result = RV_Undefined();
}
KV_BUILTIN(F_FontAddGetEnableAa) { Real(result, g_enable_aa ? 1 : 0); }
KV_BUILTIN(F_FontSetCacheSize) { *result = RV_Undefined(); }

KV_BUILTIN(F_FontDelete) {
  Real(result, 0);
  if (!Font_Delete(ArgInt(argc, argv, 0))) return KVError("Trying to delete non-existing font.");
  Real(result, 1);
}

TextFont* font_or_raise(int argc, RValue* argv) {
  TextFont* f = font_arg(argc, argv);
  if (f == nullptr) KVError("trying to get texture from non-existing font");
  return f;
}

KV_BUILTIN(F_FontGetTexture) {
  *result = RV_Real(-1);
  const TextFont* f = font_or_raise(argc, argv);
  if (f == nullptr) return;
  if (f->pageEntry != nullptr) {
    *result = RV_Ptr(const_cast<uint8_t*>(f->pageEntry));
  } else {
    *result = RV_Ptr(reinterpret_cast<void*>(static_cast<intptr_t>(f->dynamicTexture)));
  }
}

KV_BUILTIN(F_FontGetUvs) {
  double uv[4] = {0, 0, 1, 1};
  const TextFont* f = font_or_raise(argc, argv);
  if (f == nullptr) return gfx_fn::RealArray(result, uv, 4);
  if (f->pageEntry != nullptr) {
    const TexturePageEntry e = PageEntry_Read(f->pageEntry);
    if (const TextureSlot* slot = Texture_Slot(e.texture)) {
      const double w = slot->origWidth, h = slot->origHeight;
      uv[0] = e.x / w;
      uv[1] = e.y / h;
      uv[2] = (e.x + e.crop_width) / w;
      uv[3] = (e.y + e.crop_height) / h;
    }
  }
  gfx_fn::RealArray(result, uv, 4);
}

void set_string(KVObjectBase* object, const char* key, const char* text) {
  RValue value = RV_Undefined();
  RV_SetString(&value, text);
  Object_SetRValue(object, key, &value);
  RV_FreeToUndefined(&value);
}

void set_bool(KVObjectBase* object, const char* key, bool b) {
  const RValue value = RV_Bool(b);
  Object_SetRValue(object, key, &value);
}

KV_BUILTIN(F_FontGetInfo) {
  const TextFont* f = font_arg(argc, argv);
  if (f == nullptr) return;
  KVObjectBase* info = Object_NewStruct();
  *result = RV_Object(info);
  Object_SetReal(info, "ascenderOffset", f->ascenderOffset);
  Object_SetReal(info, "ascender", f->ascender);
  Object_SetReal(info, "size", f->size);
  Object_SetReal(info, "spriteIndex", f->spriteIndex);
  int32_t texture = f->dynamicTexture;
  if (f->pageEntry != nullptr) texture = PageEntry_Read(f->pageEntry).texture;
  Object_SetReal(info, "texture", texture);
  set_string(info, "name", f->fontName.c_str());
  set_bool(info, "bold", f->bold);
  set_bool(info, "italic", f->italic);
  KVObjectBase* glyphs = Object_NewStruct();
  Object_SetObject(info, "glyphs", glyphs);
  for (const FontGlyph& g : f->glyphs) {
    char key[5] = {};
    utf8_encode(g.character, key);
    KVObjectBase* entry = Object_NewStruct();
    Object_SetObject(glyphs, key, entry);
    if (f->spriteIndex >= 0) {
      Object_SetReal(entry, "char", g.w);
      continue;
    }
    int32_t x = 0, y = 0;
    Font_GlyphPagePosition(*f, g, &x, &y);
    Object_SetReal(entry, "char", g.character);
    Object_SetReal(entry, "x", x);
    Object_SetReal(entry, "y", y);
    Object_SetReal(entry, "w", g.w);
    Object_SetReal(entry, "h", g.h);
    Object_SetReal(entry, "shift", g.shift);
    Object_SetReal(entry, "offset", g.offset);
    if (g.kerning_count > 0) {
      std::vector<double> pairs;
      for (int16_t i = 0; i < g.kerning_count; ++i) {
        const uint8_t* pair = g.kerning + 4 * i;
        pairs.push_back(static_cast<uint16_t>(pair[0] | (pair[1] << 8)));
        pairs.push_back(static_cast<int16_t>(pair[2] | (pair[3] << 8)));
      }
      RValue array = RV_Undefined();
      gfx_fn::RealArray(&array, pairs.data(), static_cast<int32_t>(pairs.size()));
      Object_SetRValue(entry, "kerning", &array);
      RV_FreeToUndefined(&array);
    }
  }
}

KV_BUILTIN(F_FontCacheGlyph) {
  *result = RV_Undefined();
  const TextFont* f = font_or_raise(argc, argv);
  if (f == nullptr) return;
  const FontGlyph* g = f->GetGlyph(static_cast<uint32_t>(ArgInt(argc, argv, 1)));
  if (g == nullptr) return;
  int32_t x = 0, y = 0;
  Font_GlyphPagePosition(*f, *g, &x, &y);
  KVObjectBase* out = Object_NewStruct();
  *result = RV_Object(out);
  Object_SetReal(out, "x", x);
  Object_SetReal(out, "y", y);
}

struct Row {
  const char* name;
  TSL_Builtin handler;
  int argc;
};

const Row kRows[] = {
    {"draw_set_font", F_DrawSetFont, 1},
    {"draw_get_font", F_DrawGetFont, 0},
    {"draw_set_halign", F_DrawSetHalign, 1},
    {"draw_get_halign", F_DrawGetHalign, 0},
    {"draw_set_valign", F_DrawSetValign, 1},
    {"draw_get_valign", F_DrawGetValign, 0},
    {"string_width", F_StringWidth, 1},
    {"string_height", F_StringHeight, 1},
    {"string_width_ext", F_StringWidthExt, 3},
    {"string_height_ext", F_StringHeightExt, 3},
    {"draw_text", F_DrawText, 3},
    {"draw_text_ext", F_DrawTextExt, 5},
    {"draw_text_transformed", F_DrawTextTransformed, 6},
    {"draw_text_ext_transformed", F_DrawTextExtTransformed, 8},
    {"draw_text_colour", F_DrawTextColour, 8},
    {"draw_text_color", F_DrawTextColour, 8},
    {"draw_text_ext_colour", F_DrawTextExtColour, 10},
    {"draw_text_ext_color", F_DrawTextExtColour, 10},
    {"draw_text_transformed_colour", F_DrawTextTransformedColour, 11},
    {"draw_text_transformed_color", F_DrawTextTransformedColour, 11},
    {"draw_text_ext_transformed_colour", F_DrawTextExtTransformedColour, 13},
    {"draw_text_ext_transformed_color", F_DrawTextExtTransformedColour, 13},
    {"font_exists", F_FontExists, 1},
    {"font_get_name", F_FontGetName, 1},
    {"font_get_fontname", F_FontGetFontname, 1},
    {"font_get_size", F_FontGetSize, 1},
    {"font_get_bold", F_FontGetBold, 1},
    {"font_get_italic", F_FontGetItalic, 1},
    {"font_get_first", F_FontGetFirst, 1},
    {"font_get_last", F_FontGetLast, 1},
    {"font_add_enable_aa", F_FontAddEnableAa, 1},
    {"font_add_get_enable_aa", F_FontAddGetEnableAa, 0},
    {"font_delete", F_FontDelete, 1},
    {"font_set_cache_size", F_FontSetCacheSize, 2},
    {"font_get_texture", F_FontGetTexture, 1},
    {"font_get_uvs", F_FontGetUvs, 1},
    {"font_get_info", F_FontGetInfo, 1},
    {"font_cache_glyph", F_FontCacheGlyph, 2},
};

}  // namespace

bool Font_AddEnableAA() { return g_enable_aa; }

void Font_RegisterBuiltins() {
  Font_RegisterFreeTypeBuiltins();
  Font_RegisterSpriteBuiltins();
  for (const Row& row : kRows) {
    int32_t id = 0;
    if (!Function_Find(row.name, &id)) Function_Add(row.name, row.handler, row.argc, 0);
  }
}
