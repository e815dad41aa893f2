// Elements, the tag parser and layout: tags, colours, alignment, scale, wrapping and pages read
// back from the built model (its pages, their glyph codes and the quads in their vertex buffers),
// the element cache and its lifetime, and the draw-state functions.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/gc.h"
#include "core/object.h"
#include "graphics/draw.h"
#include "graphics/font.h"
#include "graphics/vertex_buffer.h"
#include "text/scribble_internal.h"
#include "text_fixture.h"

namespace {

using scribble::Element;
using scribble::Model;
using scribble::Page;

struct Quad {
  float left, top, right, bottom;
  uint32_t colour;
  float z;
  float half_width_tl, sprite, half_width_br;  // the normal's x at the top-left and bottom-right corners, its y
};

class LayoutTest : public TextLibraryTest {
 protected:
  // scribble(text) with the test's settings applied through its methods.
  tsl::Value element(const char* text) { return call(tsl_Script_scribble, {*str(text)}); }
  static Element* native(const tsl::Value& v) { return dynamic_cast<Element*>(v.object()); }
  Model* model(const tsl::Value& e) { return native(e)->get_model(true); }
  static std::u32string codes(const Page& page) {
    std::u32string out;
    for (const uint32_t c : page.glyph_codes) out.push_back(c);
    return out;
  }
  // The page's quads in the order they were written (one texture: one buffer).
  static std::vector<Quad> quads(const Page& page) {
    std::vector<Quad> out;
    for (const scribble::VertexRecord& record : page.buffers) {
      const VertexBuffer* b = VertexBuffer_Get(record.buffer);
      const uint32_t stride = b->formatPtr->stride;
      for (uint32_t v = 0; v + 6 <= b->vertexCount; v += 6) {
        float tl[6], br[6];
        uint32_t colour = 0;
        std::memcpy(tl, b->data + v * stride, 24);
        std::memcpy(br, b->data + (v + 4) * stride, 24);
        std::memcpy(&colour, b->data + v * stride + 24, 4);
        out.push_back({tl[0], tl[1], br[0], br[1], colour, tl[2], tl[3], tl[4], br[3]});
      }
    }
    return out;
  }
  double separation(const char* font, char c) {
    return (*scribble::find_font(font)->find(static_cast<uint32_t>(c)))[scribble::kGlyphSeparation];
  }
  double space_height(const char* font) { return scribble::find_font(font)->height; }
};

TEST_F(LayoutTest, FontAndBothAlignmentsFromTags) {
  const tsl::Value e = element("[fnt_title][fa_left][fa_middle]123");
  Model* m = model(e);
  ASSERT_NE(m, nullptr);
  ASSERT_EQ(m->pages.size(), 1u);
  const Page& page = *m->pages[0];
  EXPECT_EQ(codes(page), U"123");
  EXPECT_EQ(m->valign, 1);
  EXPECT_DOUBLE_EQ(page.min_y, -page.height / 2);
  EXPECT_DOUBLE_EQ(page.height, space_height("fnt_title"));
  // Glyphs stand one after another by their advances.
  const std::vector<Quad> q = quads(page);
  ASSERT_EQ(q.size(), 3u);
  const auto& title = *scribble::find_font("fnt_title");
  EXPECT_NEAR(q[1].left - q[0].left,
              separation("fnt_title", '1') + (*title.find('2'))[scribble::kGlyphXOffset] -
                  (*title.find('1'))[scribble::kGlyphXOffset],
              1e-4);
}

TEST_F(LayoutTest, TagsWriteTheGlyphsTheyStandFor) {
  struct Case {
    const char* text;
    std::u32string glyphs;
  };
  const Case cases[] = {
      {"[[a]", U"[a]"},
      {"a[nbsp]b", U"a\u00A0b"},
      {"a[nbsp,3]b", U"a\u00A0\u00A0\u00A0b"},
      {"a[zwsp]b", U"a\u200Bb"},
      {"a\tb", U"a\tb"},
      {"[c_red]x[/c]y[]z", U"xyz"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Model* m = model(element(c.text));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(codes(*m->pages[0]), c.glyphs);
  }
}

TEST_F(LayoutTest, AnUnknownTagWritesNothingAndWarns) {
  ConsoleCapture capture;
  Model* m = model(element("a[wibble,1,2]b"));
  EXPECT_EQ(codes(*m->pages[0]), U"ab");
  EXPECT_NE(capture.text().find("Warning! Unrecognised command tag [wibble,1,2]"), std::string::npos);
}

TEST_F(LayoutTest, ColoursAndAlphaReachTheVertices) {
  const tsl::Value e = element("[c_red]a[/c]b[#00ff80]c[d#255]d[alpha,0.5]e[/a]f");
  const std::vector<Quad> q = quads(*model(e)->pages[0]);
  ASSERT_EQ(q.size(), 6u);
  EXPECT_EQ(q[0].colour, 0xFF0000FFu);  // c_red: red in the low byte
  EXPECT_EQ(q[1].colour, 0xFFFFFFFFu);  // back to the starting colour
  EXPECT_EQ(q[2].colour, 0xFF80FF00u);  // hexadecimal RGB, stored with red low
  EXPECT_EQ(q[3].colour, 0xFF0000FFu);  // a decimal colour as it stands
  EXPECT_EQ(q[4].colour, 0x800000FFu);
  EXPECT_EQ(q[5].colour, 0xFF0000FFu);
  // The starting colour of the element's format.
  const tsl::Value blue = element("g");
  method(blue, "starting_format", {*str("fnt_regular"), RV_Real(16711680)});
  EXPECT_EQ(quads(*model(blue)->pages[0])[0].colour, 0xFFFF0000u);
}

TEST_F(LayoutTest, HorizontalAlignmentInMidLineStartsANewLine) {
  EXPECT_EQ(model(element("ab[fa_center]cd"))->pages[0]->line_count, 2);
  EXPECT_EQ(model(element("[fa_center]ab"))->pages[0]->line_count, 1);
  EXPECT_EQ(model(element("ab\n[fa_right]cd"))->pages[0]->line_count, 2);
  // Centred lines straddle x = 0; right lines end at it.
  const Page& page = *model(element("[fa_center]ab\n[fa_right]cd"))->pages[0];
  const std::vector<Quad> q = quads(page);
  ASSERT_EQ(q.size(), 4u);
  const double ab = separation("fnt_regular", 'a') + separation("fnt_regular", 'b');
  const double cd = separation("fnt_regular", 'c') + separation("fnt_regular", 'd');
  EXPECT_DOUBLE_EQ(page.min_x, std::min(std::trunc(-ab / 2), -cd));
  EXPECT_LT(q[0].left, 0);
  EXPECT_GT(q[1].right, 0);
  EXPECT_LT(q[3].right, 1.5);
}

TEST_F(LayoutTest, ASecondDifferentVerticalAlignmentIsAnError) {
  const tsl::Value e = element("[fa_middle]a[fa_bottom]b");
  EXPECT_NE(ErrorRaisedBy([&] { model(e); }).find("In-line vertical alignment cannot be set more than once"), std::string::npos);
  EXPECT_EQ(model(element("[fa_bottom]a[fa_bottom]b"))->valign, 2);
}

TEST_F(LayoutTest, ScaleTagsScaleTheirSpanOnly) {
  const double a = separation("fnt_regular", 'a');
  const std::vector<Quad> q = quads(*model(element("[scale,2][scale,3]a[/s]a[scale,2][scaleStack,2]a"))->pages[0]);
  ASSERT_EQ(q.size(), 3u);
  const double w = q[1].right - q[1].left;
  EXPECT_NEAR(q[0].right - q[0].left, 3 * w, 1e-4);
  EXPECT_NEAR(q[2].right - q[2].left, 4 * w, 1e-4);
  const double xoff = (*scribble::find_font("fnt_regular")->find('a'))[scribble::kGlyphXOffset];
  EXPECT_NEAR(q[1].left - q[0].left, 3 * a - 2 * xoff, 1e-4);
  ConsoleCapture capture;
  model(element("[scale]x"));
  EXPECT_NE(capture.text().find("Not enough parameters for [scale] tag!"), std::string::npos);
}

TEST_F(LayoutTest, WrappingBreaksBetweenWordsAndInsideLongWords) {
  const double word = 3 * separation("fnt_regular", 'a');
  const double space = separation("fnt_regular", ' ');
  const tsl::Value e = element("aaa aaa aaa");
  method(e, "wrap", {RV_Real(2 * word + space + 1)});
  Model* m = model(e);
  EXPECT_EQ(m->pages[0]->line_count, 2);
  EXPECT_TRUE(m->wrapped);
  EXPECT_TRUE(RV_ToBool(*method(e, "get_wrapped")));

  const tsl::Value longword = element("aaaaaaaaaaaa");
  method(longword, "wrap", {RV_Real(word + 1)});
  Model* lm = model(longword);
  EXPECT_EQ(lm->pages[0]->line_count, 4);
  for (const Quad& q : quads(*lm->pages[0])) EXPECT_LE(q.right, word + 2);
}

TEST_F(LayoutTest, PagesBreakAtTheTagAndAtTheHeightLimit) {
  const tsl::Value forced = element("a[/page]b");
  Model* m = model(forced);
  ASSERT_EQ(m->pages.size(), 2u);
  EXPECT_EQ(codes(*m->pages[0]), std::u32string(U"a") + char32_t(0));
  EXPECT_EQ(codes(*m->pages[1]), U"b");
  EXPECT_EQ(method(forced, "get_page_count").real(), 2);

  const double line = space_height("fnt_regular");
  const tsl::Value tall = element("a\nb\nc\nd\ne");
  method(tall, "wrap", {RV_Real(-1), RV_Real(2 * line + 1)});
  EXPECT_EQ(model(tall)->pages.size(), 3u);
  ConsoleCapture capture;
  method(tall, "page", {RV_Real(7)});
  EXPECT_NE(capture.text().find("Warning! Page 7 is too big. Valid pages are from 0 to 2 (pages are 0-indexed)"),
            std::string::npos);
  EXPECT_EQ(method(tall, "get_page").real(), 2);
  EXPECT_TRUE(RV_ToBool(*method(tall, "on_last_page")));
}

TEST_F(LayoutTest, RightAlignedLinesEndAtTheTextNotAtATrailingSpace) {
  const tsl::Value e = element("ab ");
  method(e, "align", {RV_Real(2), RV_Real(0)});
  const Page& page = *model(e)->pages[0];
  const double ab = separation("fnt_regular", 'a') + separation("fnt_regular", 'b');
  EXPECT_DOUBLE_EQ(page.min_x, -ab);
  EXPECT_DOUBLE_EQ(page.max_x, 0);
}

TEST_F(LayoutTest, FitToBoxKeepsAFittingTextAtScaleOneAndShrinksOneThatDoesNot) {
  const double word = 3 * separation("fnt_regular", 'a');
  const tsl::Value small = element("aaa");
  method(small, "fit_to_box", {RV_Real(100 * word), RV_Real(1000)});
  EXPECT_EQ(model(small)->fit_scale, 1);
  const tsl::Value big = element("aaa aaa aaa aaa aaa aaa");
  const double box_w = word + 2, box_h = space_height("fnt_regular") * 2;
  method(big, "fit_to_box", {RV_Real(box_w), RV_Real(box_h)});
  Model* m = model(big);
  EXPECT_LT(m->fit_scale, 0.75);
  EXPECT_GT(m->fit_scale, 0.25);
  ASSERT_EQ(m->pages.size(), 1u);
  // At the scale found the text fits the box, with no word broken.
  EXPECT_LE(m->pages[0]->height * m->fit_scale, box_h);
  for (const Quad& q : quads(*m->pages[0])) EXPECT_LE(q.right * m->fit_scale, box_w);
}

TEST_F(LayoutTest, EventsAreStoredAtTheirCharacters) {
  const tsl::Value e = element("ab[pause]c[delay,100]");
  const Page& page = *model(e)->pages[0];
  ASSERT_EQ(page.events.count(2), 1u);
  EXPECT_EQ(page.events.at(2)[0]->name, "pause");
  ASSERT_EQ(page.events.count(3), 1u);
  EXPECT_EQ(page.events.at(3)[0]->name, "delay");
  const tsl::Value events = method(e, "get_events", {RV_Real(3)});
  ASSERT_EQ(RV_Kind(*events), static_cast<uint32_t>(kRVArray));
  ASSERT_EQ(events.get()->pArray->length, 1);
  const tsl::Value record = tsl::Value::Copy(events.get()->pArray->pArray[0]);
  EXPECT_STREQ(RV_StringText(*tsl::get(KV_AsInstance(record.object()), "name")), "delay");
  const tsl::Value data = tsl::get(KV_AsInstance(record.object()), "data");
  EXPECT_STREQ(RV_StringText(data.get()->pArray->pArray[0]), "100");
}

TEST_F(LayoutTest, ElementsAreSharedByNameAndSettingsPersist) {
  const tsl::Value a = element("shared");
  method(a, "blend", {RV_Real(255), RV_Real(0.5)});
  const tsl::Value b = element("shared");
  EXPECT_EQ(a.object(), b.object());
  EXPECT_EQ(native(b)->blend_alpha_, 0.5);
  const tsl::Value other = call(tsl_Script_scribble, {*str("shared"), *str("id")});
  EXPECT_NE(other.object(), a.object());
  // Elements of one text and layout share a model even when blend and transform differ.
  method(other, "transform", {RV_Real(2), RV_Real(2), RV_Real(30)});
  EXPECT_EQ(model(a), model(other));
  method(other, "wrap", {RV_Real(5)});
  EXPECT_NE(model(a), model(other));
  EXPECT_NE(error_of(tsl_Script_scribble, {*a}).find("scribble() should not be used to access/draw text elements"),
            std::string::npos);
}

TEST_F(LayoutTest, AnEmptyStringDrawsNothingAndGivesTheNullElement) {
  const tsl::Value e = element("");
  EXPECT_EQ(model(e), nullptr);
  const tsl::Value drawn = method(e, "draw", {RV_Real(0), RV_Real(0)});
  ASSERT_NE(native(drawn), nullptr);
  EXPECT_TRUE(native(drawn)->null_);
  // The null element answers every method with itself.
  EXPECT_EQ(method(drawn, "wrap", {RV_Real(10)}).object(), drawn.object());
}

TEST_F(LayoutTest, UndrawnElementsLeaveTheCacheAndTheirModelsGoWithThem) {
  // The game holds "kept" in a global variable.
  tsl::set(tsl::global(), "held_element", *element("kept"));
  const tsl::Value held = tsl::get(tsl::global(), "held_element");
  method(held, "draw", {RV_Real(0), RV_Real(0)});
  const std::weak_ptr<Model> kept_model = native(held)->model_;
  {
    const tsl::Value dropped = element("dropped");
    method(dropped, "draw", {RV_Real(0), RV_Real(0)});
  }
  const std::weak_ptr<Model> dropped_model = native(element("dropped"))->model_;
  ASSERT_FALSE(dropped_model.expired());
  for (int i = 0; i < 12; ++i) game_.Frame();
  GCCollectAll();
  EXPECT_TRUE(dropped_model.expired());
  // The game still holds "kept": a new scribble() call makes a new element, which finds the old
  // element's model.
  const tsl::Value again = element("kept");
  EXPECT_NE(again.object(), held.object());
  EXPECT_EQ(model(again), kept_model.lock().get());
  // An element drawn every frame stays.
  const tsl::Value busy = element("busy");
  for (int i = 0; i < 15; ++i) {
    method(element("busy"), "draw", {RV_Real(0), RV_Real(0)});
    game_.Frame();
  }
  EXPECT_EQ(element("busy").object(), busy.object());
}

TEST_F(LayoutTest, DrawTextScribbleTakesTheDrawState) {
  Text_SetHAlign(1);
  Draw_SetColour(0x00FF00);
  Draw_SetAlpha(0.25);
  call(tsl_Script_draw_text_scribble, {RV_Real(10), RV_Real(20), *str("mid")});
  Element* e = native(element("mid"));
  EXPECT_EQ(e->starting_halign_, 1);
  EXPECT_EQ(e->starting_font_, "fnt_regular");
  EXPECT_EQ(e->blend_colour_, 0x00FF00u);
  EXPECT_DOUBLE_EQ(e->blend_alpha_, Draw_GetAlpha());
  const Page& page = *e->get_model(true)->pages[0];
  EXPECT_LT(page.min_x, 0);
  EXPECT_GT(page.max_x, 0);
  const double width = call(tsl_Script_string_width_scribble, {*str("mid")}).real();
  EXPECT_DOUBLE_EQ(width, e->get_model(true)->width);
  Text_SetHAlign(0);
  Draw_SetColour(0xFFFFFF);
  Draw_SetAlpha(1);
}

// The game draws its words with the draw state it starts with: the data file makes that white, so a
// word's tag colour reaches the screen unchanged (a black start would blend every word to black).
TEST_F(LayoutTest, TheGamesWordsKeepTheirTagColourOverTheStartingDrawColour) {
  EXPECT_EQ(Draw_GetColour(), 0xFFFFFFu);
  EXPECT_DOUBLE_EQ(Draw_GetAlpha(), 1.0);
  const char* text = "[fnt_title][fa_center][fa_middle][#cdbeac]PRESS ANY BUTTON TO CONTINUE";
  call(tsl_Script_draw_text_scribble, {RV_Real(320), RV_Real(330), *str(text)});
  Element* e = native(element(text));
  EXPECT_EQ(e->blend_colour_, 0xFFFFFFu);
  EXPECT_DOUBLE_EQ(e->blend_alpha_, 1.0);
  for (const Quad& q : quads(*e->get_model(true)->pages[0])) EXPECT_EQ(q.colour, 0xFFACBECDu);
}

// A still in-line sprite is one quad of its image; an animated one a quad per frame, each with its
// place in the cycle packed beside the speed and the frame count. Corners carry signed half sizes.
TEST_F(LayoutTest, InlineSpritesAnimateThroughAQuadPerFrame) {
  const std::vector<Quad> still = quads(*model(element("[spr_scorpion_projectile,2]"))->pages[0]);
  ASSERT_EQ(still.size(), 1u);
  EXPECT_EQ(still[0].sprite, 64 * 4 + 2);
  EXPECT_FLOAT_EQ(still[0].half_width_tl, -0.5f * (still[0].right - still[0].left));
  EXPECT_FLOAT_EQ(still[0].half_width_br, 0.5f * (still[0].right - still[0].left));
  const std::vector<Quad> animated = quads(*model(element("a[spr_scorpion_projectile,1,0.5]"))->pages[0]);
  ASSERT_EQ(animated.size(), 5u);
  for (int k = 0; k < 4; ++k) {
    const Quad& q = animated[static_cast<size_t>(k + 1)];
    EXPECT_EQ(q.sprite, 4096 * 512 + 64 * 4 + k) << k;
    EXPECT_EQ(q.left, animated[1].left);
    EXPECT_EQ(q.z, animated[1].z) << "one character";
  }
  const std::string message = ErrorRaisedBy([&] { model(element("[spr_scorpion_projectile,0,5]")); });
  EXPECT_NE(message.find("Image speed cannot be more than 4.0 (5)"), std::string::npos) << message;
}

// region_detect takes the element's transform and its skew back off the pointer.
TEST_F(LayoutTest, RegionDetectFindsRegionsUnderAScaledAndSkewedText) {
  const tsl::Value e = element("[region,first]AB[/region] CD");
  const Page& page = *model(e)->pages[0];
  ASSERT_EQ(page.regions.size(), 1u);
  double right = -1e9, bottom = -1e9, top = 1e9;
  for (const auto& b : page.regions[0].bboxes) {
    right = std::max(right, b[2]);
    top = std::min(top, b[1]);
    bottom = std::max(bottom, b[3]);
  }
  const double lx = right - 1, ly = bottom - 1;
  auto detect = [&](double px, double py) {
    const tsl::Value found = method(e, "region_detect", {RV_Real(100), RV_Real(50), RV_Real(px), RV_Real(py)});
    return RV_Kind(*found) == kRVString ? std::string(RV_StringText(*found)) : std::string("-");
  };
  EXPECT_EQ(detect(100 + lx, 50 + ly), "first");
  EXPECT_EQ(detect(100 + right + 8, 50 + ly), "-");
  method(e, "transform", {RV_Real(2), RV_Real(2), RV_Real(0)});
  EXPECT_EQ(detect(100 + 2 * lx, 50 + 2 * ly), "first");
  method(e, "transform", {RV_Real(1), RV_Real(1), RV_Real(0)});
  method(e, "skew", {RV_Real(1), RV_Real(0)});
  // The sheared corner lies ly further right, outside the unsheared box.
  EXPECT_EQ(detect(100 + lx + ly, 50 + ly), "first");
  EXPECT_EQ(detect(100 + lx, 50 + top + 1), "first") << "the top edge moves less";
}

// Devanagari is rewritten into the Krutidev encoding before layout; a font without those glyphs
// shows the missing-glyph mark for each, at the span's scale, and the tags around the text still
// take effect at their characters.
TEST_F(LayoutTest, DevanagariIsRewrittenBeforeLayout) {
  ConsoleCapture capture;
  const tsl::Value e = element("a[c_red]\u0915\u093E\u0930\u094D\u092F[/c]b");  // ka aa ra virama ya: dk;Z
  Model* m = model(e);
  ASSERT_NE(m, nullptr);
  EXPECT_TRUE(m->has_devanagari);
  EXPECT_EQ(codes(*m->pages[0]), U"a????b");
  EXPECT_NE(capture.text().find("Couldn't find glyph data for character code 65635"), std::string::npos);
  const std::vector<Quad> q = quads(*m->pages[0]);
  ASSERT_EQ(q.size(), 6u);
  const uint32_t expected[] = {0xFFFFFFFFu, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, 0xFFFFFFFFu};
  for (size_t i = 0; i < q.size(); ++i) EXPECT_EQ(q[i].colour, expected[i]) << i;
  const std::vector<Quad> scaled = quads(*model(element("[scale,2]\u0915"))->pages[0]);
  ASSERT_EQ(scaled.size(), 1u);
  const double mark = (*scribble::find_font("fnt_regular")->find('?'))[scribble::kGlyphWidth];
  EXPECT_NEAR(scaled[0].right - scaled[0].left, 2 * mark, 1e-4);
}

// A cycle of fewer than four hues repeats them in order through the four bytes of the colour.
TEST_F(LayoutTest, CycleTagsFillFourHues) {
  struct Case {
    const char* text;
    uint32_t colour;
  };
  const Case cases[] = {
      {"[cycle,1,2,3,4]a", 0x04030201u},
      {"[cycle,1,2,3]a", 0x01030201u},
      {"[cycle,10,20]a", 0x140A140Au},
      {"[cycle,7]a", 0x07070707u},
      {"[cycle]a", 0xFFFFFFFFu},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const std::vector<Quad> q = quads(*model(element(c.text))->pages[0]);
    ASSERT_EQ(q.size(), 1u);
    EXPECT_EQ(q[0].colour, c.colour);
  }
}

// The bounding box follows the shear the shader applies: corners move x by y and y by x about
// the text's origin, and the axis-aligned box holds them.
TEST_F(LayoutTest, BoundingBoxesFollowTheSkew) {
  struct Case {
    double skew_x, skew_y;
  };
  const Case cases[] = {{0, 0}, {0.5, 0}, {0, 0.25}, {-0.5, 0.3}};
  const tsl::Value e = element("[fa_middle]AB CD");
  const Page& page = *model(e)->pages[0];
  const double left = page.min_x, top = page.min_y, right = page.max_x, bottom = page.max_y;
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.skew_x << "," << c.skew_y);
    method(e, "skew", {RV_Real(c.skew_x), RV_Real(c.skew_y)});
    const tsl::Value box = method(e, "get_bbox", {RV_Real(10), RV_Real(20)});
    auto field = [&](const char* name) { return tsl::get(KV_AsInstance(box.object()), name).real(); };
    const double corners[4][2] = {{left, top}, {right, top}, {left, bottom}, {right, bottom}};
    double min_x = 1e9, min_y = 1e9, max_x = -1e9, max_y = -1e9;
    const char* names[4][2] = {{"x0", "y0"}, {"x1", "y1"}, {"x2", "y2"}, {"x3", "y3"}};
    for (int i = 0; i < 4; ++i) {
      const double x = 10 + corners[i][0] + c.skew_x * corners[i][1];
      const double y = 20 + corners[i][1] + c.skew_y * corners[i][0];
      EXPECT_NEAR(field(names[i][0]), x, 1e-3);
      EXPECT_NEAR(field(names[i][1]), y, 1e-3);
      min_x = std::min(min_x, x);
      max_x = std::max(max_x, x);
      min_y = std::min(min_y, y);
      max_y = std::max(max_y, y);
    }
    EXPECT_NEAR(field("left"), min_x, 1e-3);
    EXPECT_NEAR(field("right"), max_x, 1e-3);
    EXPECT_NEAR(field("top"), min_y, 1e-3);
    EXPECT_NEAR(field("bottom"), max_y, 1e-3);
    EXPECT_NEAR(method(e, "get_width").real(), max_x - min_x, 1e-3);
    EXPECT_NEAR(method(e, "get_height").real(), max_y - min_y, 1e-3);
    EXPECT_NEAR(method(e, "get_left", {RV_Real(10), RV_Real(20)}).real(), min_x, 1e-3);
    EXPECT_NEAR(method(e, "get_bottom", {RV_Real(10), RV_Real(20)}).real(), max_y, 1e-3);
  }
}

}  // namespace
