// The typist stepped over frames: the revealed count per frame and its time scale, events run at
// their characters, pauses and delays, the state, and the resets on a change of element or page.
#include <string>
#include <vector>

#include "core/call.h"
#include "core/frame_state.h"
#include "core/object.h"
#include "text/scribble_internal.h"
#include "text_fixture.h"

namespace {

std::vector<std::string> g_events;

RValue* NoteEvent(CInstance*, CInstance*, RValue* result, int argc, RValue** argv) {
  std::string entry = "event at " + scribble::value_text(argc > 2 ? *argv[2] : RV_Undefined());
  if (argc > 1 && RV_Kind(*argv[1]) == kRVArray) {
    for (int32_t i = 0; i < argv[1]->pArray->length; ++i) entry += " " + scribble::value_text(argv[1]->pArray->pArray[i]);
  }
  g_events.push_back(entry);
  return result;
}

class TypistTest : public TextLibraryTest {
 protected:
  void SetUp() override {
    TextLibraryTest::SetUp();
    g_events.clear();
    Run_DeltaTime = 16666;
    typist_ = call(tsl_Script_scribble_typist);
    tsl::set(tsl::global(), "test_typist", *typist_);
  }

  tsl::Value element(const char* text) { return call(tsl_Script_scribble, {*str(text)}); }
  // One frame of the game in which the element is drawn with the typist `draws` times.
  void frame(const tsl::Value& e, int draws = 1) {
    for (int i = 0; i < draws; ++i) method(e, "draw", {RV_Real(0), RV_Real(0), *typist_});
    game_.Frame();
  }
  double position() { return method(typist_, "get_position").real(); }
  double state() { return method(typist_, "get_state").real(); }
  scribble::Typist* native() { return dynamic_cast<scribble::Typist*>(typist_.object()); }

  tsl::Value typist_;
};

TEST_F(TypistTest, RevealsOneCharacterPerFrameAtTheNominalFrameTime) {
  const tsl::Value e = element("abcdef");
  EXPECT_EQ(RV_Kind(*method(typist_, "get_position")), static_cast<uint32_t>(kRVUndefined));
  EXPECT_EQ(state(), 0);
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  std::vector<double> seen;
  for (int i = 0; i < 4; ++i) {
    frame(e);
    seen.push_back(position());
  }
  EXPECT_EQ(seen, (std::vector<double>{1, 2, 3, 4}));
  EXPECT_NEAR(state(), 4.0 / 6.0, 1e-9);
  // Two draws in one frame advance it once; twice the frame time moves it twice as far.
  frame(e, 2);
  EXPECT_EQ(position(), 5);
  Run_DeltaTime = 2 * 16666;
  frame(e);
  EXPECT_EQ(position(), 6);
  frame(e);
  EXPECT_EQ(state(), 1);
}

TEST_F(TypistTest, ADoubledFrameTimeMovesTheHeadTwiceAsFar) {
  const tsl::Value e = element("abcdefgh");
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  Run_DeltaTime = 2 * 16666;
  frame(e);
  frame(e);
  EXPECT_EQ(position(), 4);
}

TEST_F(TypistTest, APauseStopsTheHeadUntilUnpause) {
  const tsl::Value e = element("ab[pause]cd");
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  for (int i = 0; i < 6; ++i) frame(e);
  EXPECT_EQ(position(), 2);
  EXPECT_TRUE(RV_ToBool(*method(typist_, "get_paused")));
  EXPECT_LT(state(), 1);
  method(typist_, "unpause");
  frame(e);
  frame(e);
  EXPECT_EQ(position(), 4);
  EXPECT_EQ(state(), 1);
}

TEST_F(TypistTest, APauseAtTheEndOfAPageIsDroppedWithAWarning) {
  const tsl::Value e = element("ab[pause]");
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  ConsoleCapture capture;
  for (int i = 0; i < 4; ++i) frame(e);
  EXPECT_NE(capture.text().find("Warning! Ignoring [pause] command before the end of a page"), std::string::npos);
  EXPECT_FALSE(RV_ToBool(*method(typist_, "get_paused")));
  EXPECT_EQ(state(), 1);
}

TEST_F(TypistTest, DelaysWaitTheirTimeOr450Milliseconds) {
  struct Case {
    const char* text;
    double wait;
  };
  for (const Case& c : {Case{"ab[delay]cd", 450}, Case{"ab[delay,100]cd", 100}}) {
    SCOPED_TRACE(c.text);
    method(typist_, "reset");
    method(typist_, "in", {RV_Real(1), RV_Real(0)});
    const tsl::Value e = element(c.text);
    for (int i = 0; i < 4; ++i) frame(e);
    EXPECT_EQ(position(), 2);
    ASSERT_TRUE(native()->delay_paused_);
    const double left = native()->delay_end_ - scribble::current_time_ms();
    EXPECT_GT(left, c.wait - 50);
    EXPECT_LE(left, c.wait);
    EXPECT_LT(state(), 1);
  }
  // With ignore_delay the head passes at once.
  method(typist_, "reset");
  method(typist_, "ignore_delay");
  const tsl::Value e = element("x[delay,5000]yz");
  for (int i = 0; i < 4; ++i) frame(e);
  EXPECT_EQ(position(), 3);
}

TEST_F(TypistTest, EventsRunAtTheirCharactersWithTheirParameters) {
  tsl::Value callback;
  KVCreateMethod(callback.get(), NoteEvent, nullptr);
  call(tsl_Script_scribble_typists_add_event, {*str("ping"), *callback});
  const tsl::Value e = element("a[ping,1,x]bc[ping]d[speed,2]efghij");
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  frame(e);
  EXPECT_TRUE(g_events.empty());
  frame(e);
  EXPECT_EQ(g_events, (std::vector<std::string>{"event at 1 1 x"}));
  frame(e);
  frame(e);
  EXPECT_EQ(g_events.back(), "event at 3");
  // [speed,2] doubles the head's pace from its character on.
  frame(e);
  const double before = position();
  frame(e);
  EXPECT_EQ(position() - before, 2);
  ConsoleCapture capture;
  call(tsl_Script_scribble_typists_add_event, {*str("ping"), *callback});
  EXPECT_NE(capture.text().find("Warning! Overwriting event [ping] tied to"), std::string::npos);
  EXPECT_NE(error_of(tsl_Script_scribble_typists_add_event, {RV_Real(3), *callback})
                .find("Event names should be strings.\n(Input to script was \"3\")"),
            std::string::npos);
}

TEST_F(TypistTest, ChangingElementOrPageResetsAndSkipShowsTheRest) {
  const tsl::Value first = element("abcdef");
  const tsl::Value second = element("ghijkl");
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  frame(first);
  frame(first);
  EXPECT_EQ(position(), 2);
  frame(second);
  EXPECT_EQ(position(), 1);
  const tsl::Value target = method(typist_, "get_text_element");
  EXPECT_EQ(target.object(), second.object());
  method(typist_, "skip");
  frame(second);
  EXPECT_EQ(position(), 6);
  EXPECT_EQ(state(), 1);
  // Typing out runs the state from 1 to 2.
  method(typist_, "out", {RV_Real(2), RV_Real(0)});
  frame(second);
  EXPECT_NEAR(state(), 1 + 2.0 / 6.0, 1e-9);

  const tsl::Value paged = element("ab[/page]cd");
  method(typist_, "in", {RV_Real(1), RV_Real(0)});
  frame(paged);
  frame(paged);
  method(paged, "page", {RV_Real(1)});
  frame(paged);
  EXPECT_EQ(position(), 1);
}

TEST_F(TypistTest, LegacyAndRemovedFunctionsStopWithTheirTexts) {
  const tsl::Value e = element("abc");
  EXPECT_NE(ErrorRaisedBy([&] { method(e, "typewriter_in", {RV_Real(1), RV_Real(0)}); })
                .find(".typewriter_*() methods have been deprecated"),
            std::string::npos);
  EXPECT_NE(error_of(tsl_Script_scribble_typewriter_add_event)
                .find("scribble_typewriter_add_event() has been replaced by scribble_typists_add_event()"),
            std::string::npos);
  EXPECT_NE(ErrorRaisedBy([&] { method(typist_, "character_delay_add", {*str("a"), RV_Real(100)}); }).find("SCRIBBLE_ALLOW_GLYPH_DATA_GETTER must be set to <true> to use per-character delay"),
            std::string::npos);
}

}  // namespace
