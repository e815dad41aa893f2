// Fonts, shaders and embedded images through the chunk load: both font record versions with their
// glyphs and kerning, shader programs, attributes and blob blocks, and the embedded-image lookups
// with the fallback texture found after the walk.
#include <string>
#include <vector>

#include "data/game_data.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_shdr.h"
#include "datawin/writer/chunk_textures.h"
#include "graphics/asset_embedded.h"
#include "graphics/asset_fonts.h"
#include "graphics/asset_shaders.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"

using namespace datawin;

namespace {

class AssetFonts : public AssetLoaderTest {};

int g_loaded_hook_calls = 0;
void count_loaded_hook() { ++g_loaded_hook_calls; }

}  // namespace

TEST_F(AssetFonts, BothRecordVersionsWithGlyphsAndKerning) {
  for (int version : {17, 16}) {
    SCOPED_TRACE(version);
    Writer writer = MakeMinimalGame(version);
    const std::vector<Label> atlas = add_tpag(writer, {TpagEntry{0, 0, 128, 64, 0, 0, 128, 64, 256, 256, 0}});
    FontRecord font;
    font.name = "fnt_main";
    font.display_name = "DejaVu Sans";
    font.size = -14.0f;
    font.bold = true;
    font.first_char = 32;
    font.charset = 1;
    font.antialias = 3;
    font.last_char = 126;
    font.page_entry = atlas[0] + 0;
    font.scale_x = 2.0f;
    font.ascender_offset = 3;
    font.ascender = 11;
    font.glyphs = {{'A', 1, 2, 8, 12, 9, 1, {{'V', -2}, {'W', -1}}}, {'g', 10, 2, 7, 15, 8, 0, {}}};
    add_font(writer, version, {std::nullopt, font});
    ASSERT_TRUE(load(writer));
    const FontAsset* read = Font_Get(1);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(Font_Get(0), nullptr);
    EXPECT_STREQ(Font_Table().name(1), "fnt_main");
    EXPECT_STREQ(read->display_name, "DejaVu Sans");
    EXPECT_FLOAT_EQ(read->size, 14.0f);
    EXPECT_TRUE(read->bold);
    EXPECT_FALSE(read->italic);
    EXPECT_EQ(read->first_char, 32u);
    EXPECT_EQ(read->charset, 1u);
    EXPECT_EQ(read->antialias, 3u);
    EXPECT_EQ(read->last_char, 126);
    EXPECT_EQ(read->atlas_width, 128);  // the entry's on-page size
    EXPECT_EQ(read->atlas_height, 64);
    EXPECT_FLOAT_EQ(read->scale_x, 2.0f);
    EXPECT_EQ(read->ascender, version >= 17 ? 11 : 0);
    EXPECT_EQ(read->height, 15);
    ASSERT_EQ(read->glyphs.size(), 2u);
    const FontGlyph a = Glyph_Read(read->glyphs[0]);
    EXPECT_EQ(a.character, 'A');
    EXPECT_EQ(a.h, 12);
    EXPECT_EQ(a.shift, 9);
    EXPECT_EQ(Glyph_Kerning(a, 'V'), -2);
    EXPECT_EQ(Glyph_Kerning(a, 'W'), -1);
    EXPECT_EQ(Glyph_Kerning(a, 'X'), 0);
  }
}

TEST_F(AssetFonts, AGlyphPastTheEndFailsTheChunk) {
  Writer writer = MakeMinimalGame();
  FontRecord font;
  font.name = "fnt";
  font.glyphs = {{'A', 0, 0, 1, 1, 1, 0, {{'B', 1}}}};
  add_font(writer, 17, {font});
  image_ = BuildImage(writer);
  const auto size = static_cast<uint32_t>(image_.size());
  const uint32_t record = WordAt(image_, FindPayload(image_, "FONT") + 4);
  const uint32_t glyph = WordAt(image_, record + 52);
  store_u16(image_.data() + glyph + 14, 0x7FFF);  // kerning pairs far past the end
  LoaderConsole console;
  HeaderScan(image_.data(), size);
  EXPECT_FALSE(LoadGameData(image_.data(), size));
  EXPECT_NE(console.text().find("Error loading game data: FONT: glyph passes the end of the file"), std::string::npos);
}

TEST_F(AssetFonts, ShadersWithProgramsAttributesAndBlobs) {
  Writer writer = MakeMinimalGame();
  ShaderRecord plain;
  plain.name = "shd_plain";
  plain.kind = 2;
  plain.programs[0] = "#version 330 core\nvoid main() {}\n";
  plain.programs[1] = "void main() {}";
  plain.attributes = {"in_Position", "in_Colour"};
  ShaderRecord extended = plain;
  extended.name = "shd_blobs";
  ShaderBlocks blocks;
  blocks.sized[0] = {1, 2, 3};
  blocks.sized[3] = {9};
  blocks.blob6 = {7, 7};
  extended.blocks = blocks;
  ShaderRecord first_block = extended;
  first_block.name = "shd_v1";
  first_block.blocks->version = 1;
  add_shdr(writer, {plain, std::nullopt, extended, first_block});
  ASSERT_TRUE(load(writer));
  ASSERT_EQ(Shader_Table().count(), 4);
  const ShaderAsset* p = Shader_Get(0);
  EXPECT_EQ(p->kind, 2u);
  EXPECT_FALSE(p->extended);
  EXPECT_STREQ(p->programs[1], "void main() {}");
  EXPECT_EQ(p->programs[6], nullptr);
  ASSERT_EQ(p->attributes.size(), 2u);
  EXPECT_STREQ(p->attributes[1], "in_Colour");
  const ShaderAsset* e = Shader_Get(2);
  EXPECT_TRUE(e->extended);
  EXPECT_EQ(e->kind, 2u);  // top bit cleared
  EXPECT_EQ(e->block_version, 2);
  EXPECT_EQ(e->blobs[0].size, 3u);
  EXPECT_EQ(e->blobs[0].data[2], 3);
  EXPECT_EQ(e->blobs[1].data, nullptr);
  EXPECT_EQ(e->blobs[3].data[0], 9);
  EXPECT_EQ(e->blobs[5].data[1], 7);
  EXPECT_EQ(Shader_Get(3)->blobs[5].data, nullptr);  // block version 1 has no blobs 5 and 6
  EXPECT_EQ(Shader_Find("shd_v1"), 3);

  LoaderConsole console;
  Shader_MarkInvalid(0, "");
  EXPECT_FALSE(Shader_Get(0)->valid);
  EXPECT_EQ(Shader_Get(0)->error_text, "Invalid shader");
  EXPECT_EQ(console.text(), "Invalid shader (is it marked as incompatible type for this target?) \"shd_plain\":\n");
  Shader_MarkInvalid(2, "0:1: syntax error");
  EXPECT_EQ(Shader_Get(2)->error_text, "0:1: syntax error");
}

TEST_F(AssetFonts, EmbeddedImagesAndTheFallbackTexture) {
  Writer writer = MakeMinimalGame();
  const std::vector<Label> entries = add_tpag(writer, {TpagEntry{}, TpagEntry{1, 1, 2, 2, 0, 0, 2, 2, 2, 2, 0}});
  add_embi(writer, {{"pt_shape_pixel", entries[0] + 0}, {"__kv_fallbacktexture_1", entries[1] + 0}});
  g_loaded_hook_calls = 0;
  EmbeddedImage_AddLoadedHook(count_loaded_hook);
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(g_loaded_hook_calls, 1);
  ASSERT_EQ(EmbeddedImage_Count(), 2);
  EXPECT_STREQ(EmbeddedImage_Get(0)->name, "pt_shape_pixel");
  const uint8_t* second = EmbeddedImage_Get(1)->page_entry;
  EXPECT_EQ(EmbeddedImage_Find("pt_shape_pixel", false), EmbeddedImage_Get(0)->page_entry);
  EXPECT_EQ(EmbeddedImage_Find("shape", false), nullptr);
  EXPECT_EQ(EmbeddedImage_Find("shape", true), EmbeddedImage_Get(0)->page_entry);
  EXPECT_EQ(EmbeddedImage_Fallback(), second);

  Writer bad = MakeMinimalGame();
  add_embi(bad, {}, 2);
  LoaderConsole console;
  EXPECT_FALSE(load(bad));
  EXPECT_NE(console.text().find("EMBI: version is not 1"), std::string::npos);
  EXPECT_EQ(EmbeddedImage_Fallback(), nullptr);
}
