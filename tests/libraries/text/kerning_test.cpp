// Kerning at layout time, on a data file of two fonts: a Latin one and one tagged "krutidev",
// whose glyphs stand at the Krutidev codes that Devanagari is rewritten into. Pairs are kept
// under the font's own codes and must apply between the glyphs as drawn: Latin pairs, pairs of a
// rewritten syllable, and Latin pairs of a text that also holds Devanagari.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "datawin/format/asset_kind.h"
#include "datawin/format/page_image.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_textures.h"
#include "graphics/vertex_buffer.h"
#include "support/fixture.h"
#include "text/scribble_internal.h"
#include "text_fixture.h"

namespace {

constexpr int16_t kShift = 10;  // every glyph's advance

// fnt_latin: A and V, with V after A drawn 2 pixels closer. fnt_kruti: d (ka) and k (the aa
// sign), with k after d drawn 3 pixels closer, as the font's pairs hold them.
datawin::Writer KerningGame() {
  using namespace datawin;
  Writer writer = MakeMinimalGame(17, 2);
  const std::vector<Label> entries = new_labels(writer, 1);
  auto font = [&](const char* name, std::vector<GlyphRecord> glyphs) {
    FontRecord f;
    f.name = name;
    f.page_entry = entries[0] + 0;
    f.glyphs = std::move(glyphs);
    return f;
  };
  const GlyphRecord space{' ', 0, 0, 4, 8, 4, 0, {}};
  add_font(writer, 17,
           {font("fnt_latin", {space, {'A', 0, 0, 8, 8, kShift, 0, {}}, {'V', 8, 0, 8, 8, kShift, 0, {{'A', -2}}}}),
            font("fnt_kruti", {space, {'d', 0, 8, 8, 8, kShift, 0, {}}, {'k', 8, 8, 8, 8, kShift, 0, {{'d', -3}}}})});
  add_tags(writer, {"krutidev"}, {{asset_key(kAssetFont, 1), {"krutidev"}}});
  RoomRecord room;
  room.name = "rm_text";
  add_room(writer, {room});
  add_tpag(writer, {TpagEntry{0, 0, 16, 16, 0, 0, 16, 16, 16, 16, 0}}, entries);
  const std::vector<uint8_t> pixels(16 * 16 * 4, 255);
  add_txtr(writer, {TxtrRecord{0, 1, 16, 16, 0, page::encode_qoi(pixels.data(), 16, 16)}});
  writer.add_strings_chunk();
  return writer;
}

class KerningTest : public TextLibraryTest {
 protected:
  void SetUp() override {
    Window_UsePlatform(&host_, &device_);
    ASSERT_TRUE(game_.StartImage(BuildImage(KerningGame()), Compiled_CodeTables()));
  }
  // The left edges of the quads of the text's first page, in the order they were written.
  std::vector<float> lefts(const char* text) {
    const tsl::Value e = call(tsl_Script_scribble, {*str(text)});
    const scribble::Model* m = dynamic_cast<scribble::Element*>(e.object())->get_model(true);
    std::vector<float> out;
    for (const scribble::VertexRecord& record : m->pages[0]->buffers) {
      const VertexBuffer* b = VertexBuffer_Get(record.buffer);
      for (uint32_t v = 0; v + 6 <= b->vertexCount; v += 6) {
        float x = 0;
        std::memcpy(&x, b->data + v * b->formatPtr->stride, 4);
        out.push_back(x);
      }
    }
    return out;
  }
};

TEST_F(KerningTest, PairsApplyBetweenTheGlyphsAsDrawn) {
  struct Case {
    const char* text;
    std::vector<float> steps;  // from each quad's left edge to the next one's
  };
  const Case cases[] = {
      {"[fnt_latin]AVA", {kShift - 2, kShift}},
      {"[fnt_latin]VA A", {kShift, kShift + 4}},
      {"[fnt_kruti]\u0915\u093E", {kShift - 3}},                  // ka, aa: "dk"
      {"[fnt_kruti]\u0915\u093E\u0915", {kShift - 3, kShift}},    // "dkd": no pair (k, d)
      {"[fnt_latin]AV[fnt_kruti]\u0915\u093E", {kShift - 2, kShift, kShift - 3}},
      {"[fnt_latin]A[fnt_kruti]\u0915", {kShift}},               // no pair across fonts
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const std::vector<float> x = lefts(c.text);
    ASSERT_EQ(x.size(), c.steps.size() + 1);
    for (size_t i = 0; i < c.steps.size(); ++i) EXPECT_FLOAT_EQ(x[i + 1] - x[i], c.steps[i]) << i;
  }
}

}  // namespace
