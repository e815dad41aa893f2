// Towers, enemies and shots drawn by the game's own code through the OpenGL device: build/data.win
// is started on the SDL window host, the game room is entered and emptied, a scene is set up with
// the game's records, and the window's picture is read back (and written to
// build/combat_scene.png for a look).
#include <string>
#include <vector>

#include "core/script_api.h"
#include "game_gl_start.h"
#include "graphics/image_files.h"
#include "graphics/surface.h"
#include "platform/files.h"
#include "room_draw_probe.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"
#include "support/pixels.h"

namespace {

using tsl::Value;

// Words with red in the lowest byte.
constexpr uint32_t kBarRed = 0x3232AC;
constexpr uint32_t kBarOutline = 0x342022;

class CombatDrawTest : public GameGlTest {
 protected:
  CInstance* Make(int32_t object, double x, double y, const char* table, const char* kind) {
    const Value name = Value::String("Instances");
    CInstance* made = game::instance_of(
        tsl::call("instance_create_layer", nullptr, nullptr, {RV_Real(x), RV_Real(y), *name, RV_Real(object)}));
    EXPECT_NE(made, nullptr);
    const Value record = tsl::get(KV_AsInstance(tsl::get(tsl::global(), table).object()), kind);
    tsl::call_method(*tsl::get(made, "initialise"), made, made, {*record});
    return made;
  }
  void Damage(CInstance* who, std::initializer_list<RValue> args) {
    tsl::call_method(*tsl::get(who, "damage"), who, who, args);
  }
  double Num(CInstance* who, const char* name) { return tsl::get(who, name).real(); }
};

TEST_F(CombatDrawTest, TowersEnemiesAndShotsDrawWithTheirHealthBars) {
  EnterEmptiedGameRoom(&game_);

  CInstance* scorpion = Make(kObjTower, Board_ColumnX(2), Board_RowY(1), "tower_data", "scorpion");
  CInstance* ballista = Make(kObjTower, Board_ColumnX(1), Board_RowY(2), "tower_data", "ballista");
  CInstance* onager = Make(kObjTower, Board_ColumnX(0), Board_RowY(3), "tower_data", "onager");
  Make(kObjTower, Board_ColumnX(0), Board_RowY(0), "tower_data", "catapault");
  CInstance* grunt = Make(kObjEnemy, 420, Board_RowY(1), "enemy_data", "grunt");
  CInstance* brute = Make(kObjEnemy, 520, Board_RowY(2), "enemy_data", "brute");
  Make(kObjEnemy, 600, Board_RowY(3), "enemy_data", "mule");
  Make(kObjProjectile, 300, Board_RowY(0), "tower_data", "catapault");
  Damage(ballista, {RV_Real(12.5)});
  Damage(brute, {RV_Real(30), RV_Real(0)});
  Damage(onager, {RV_Real(100)});
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
    ExpectColour(game_.Pixel(fill_end - 2, y), kBarRed, std::string(bar.what) + " fill", 3);
    if (bar.filled < 1) ExpectColour(game_.Pixel(fill_end + 2, y), kBarOutline, std::string(bar.what) + " back", 3);
  }
  // The dead onager has faded halfway: its bar stays, drawn over everything; its sprite is faint.
  EXPECT_NEAR(Num(onager, "alpha"), 0.5, 1e-9);
}

}  // namespace
