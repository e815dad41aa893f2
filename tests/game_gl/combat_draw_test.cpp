// Towers, enemies and shots drawn by the game's own code through the OpenGL device: build/data.win
// is started on the SDL window host, the game room is entered and emptied, a scene is set up with
// the game's records, and the window's picture is read back (and written to
// build/combat_scene.png for a look).
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/script_api.h"
#include "graphics/image_files.h"
#include "graphics/surface.h"
#include "graphics/window.h"
#include "platform/files.h"
#include "platform/process.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"
#include "game_gl_start.h"
#include "support/draw_game.h"

namespace {

using tsl::Value;

RValue R(double v) { return RV_Real(v); }

std::string hex(uint32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, "%06X", word & 0xFFFFFF);
  return text;
}

// Words with red in the lowest byte.
constexpr uint32_t kBarRed = 0x3232AC;
constexpr uint32_t kBarOutline = 0x342022;

void ExpectColour(uint32_t got, uint32_t want, const std::string& what) {
  for (int shift = 0; shift < 24; shift += 8) {
    const int g = static_cast<int>((got >> shift) & 0xFF), w = static_cast<int>((want >> shift) & 0xFF);
    EXPECT_NEAR(g, w, 3) << what << ": got " << hex(got) << ", want " << hex(want);
  }
}

class CombatDrawTest : public ::testing::Test {
 protected:
  void SetUp() override {
    StartGameOnGl(&game_);
  }
  void TearDown() override {
    game_.Stop();
    Platform_TakeQuitSignal();
  }

  CInstance* Make(int32_t object, double x, double y, const char* table, const char* kind) {
    const Value name = Value::String("Instances");
    CInstance* made =
        game::instance_of(tsl::call("instance_create_layer", nullptr, nullptr, {R(x), R(y), *name, R(object)}));
    EXPECT_NE(made, nullptr);
    const Value record = tsl::get(KV_AsInstance(tsl::get(tsl::global(), table).object()), kind);
    tsl::call_method(*tsl::get(made, "initialise"), made, made, {*record});
    return made;
  }
  void Damage(CInstance* who, std::initializer_list<RValue> args) {
    tsl::call_method(*tsl::get(who, "damage"), who, who, args);
  }
  double Num(CInstance* who, const char* name) { return tsl::get(who, name).real(); }

  DrawGame game_;
};

TEST_F(CombatDrawTest, TowersEnemiesAndShotsDrawWithTheirHealthBars) {
  if (!Window_State().real_display) GTEST_SKIP() << "no display";
  // The game room, emptied of its own instances, with its backdrop.
  tsl::call("room_goto", nullptr, nullptr, {R(1)});
  game_.Frame();
  tsl::call("instance_destroy", nullptr, nullptr, {R(-3)});
  game_.Frame();

  CInstance* scorpion = Make(kObjTower, Board_ColumnX(2), Board_RowY(1), "tower_data", "scorpion");
  CInstance* ballista = Make(kObjTower, Board_ColumnX(1), Board_RowY(2), "tower_data", "ballista");
  CInstance* onager = Make(kObjTower, Board_ColumnX(0), Board_RowY(3), "tower_data", "onager");
  Make(kObjTower, Board_ColumnX(0), Board_RowY(0), "tower_data", "catapault");
  CInstance* grunt = Make(kObjEnemy, 420, Board_RowY(1), "enemy_data", "grunt");
  CInstance* brute = Make(kObjEnemy, 520, Board_RowY(2), "enemy_data", "brute");
  Make(kObjEnemy, 600, Board_RowY(3), "enemy_data", "mule");
  Make(kObjProjectile, 300, Board_RowY(0), "tower_data", "catapault");
  Damage(ballista, {R(12.5)});
  Damage(brute, {R(30), R(0)});
  Damage(onager, {R(100)});
  for (int i = 0; i < 10; ++i) game_.Frame();

  SpriteBitmap picture;
  ASSERT_TRUE(Screen_Read_Rect(0, 0, 640, 360, &picture));
  std::vector<uint8_t> png;
  if (Image_EncodePng(picture.pixels.data(), picture.width, picture.height, &png)) {
    Platform_WriteWholeFile(std::string(KOVA_BINARY_DIR) + "/combat_scene.png", png.data(), png.size());
  }

  // Full bars end at x + 15, a half bar at x; the back shows past the fill.
  struct Bar {
    CInstance* who;
    double above;  // pixels from the sprite's top edge to the bar
    double filled;
    const char* what;
  };
  const Bar bars[] = {{scorpion, 4, 1, "scorpion"}, {ballista, 4, 0.5, "ballista"}, {grunt, 6, 1, "grunt"},
                      {brute, 6, 0.5, "brute"}};
  for (const Bar& bar : bars) {
    const double x = Num(bar.who, "x");
    const auto y = static_cast<int32_t>(Num(bar.who, "y") - Num(bar.who, "sprite_height") / 2 - bar.above);
    const auto fill_end = static_cast<int32_t>(x - 15 + 30 * bar.filled);
    ExpectColour(game_.Pixel(fill_end - 2, y), kBarRed, std::string(bar.what) + " fill");
    if (bar.filled < 1) ExpectColour(game_.Pixel(fill_end + 2, y), kBarOutline, std::string(bar.what) + " back");
  }
  // The dead onager has faded halfway: its bar stays, drawn over everything; its sprite is faint.
  EXPECT_NEAR(Num(onager, "alpha"), 0.5, 1e-9);
}

}  // namespace
