// The game's flow and controls in the game's own data file, run frame by frame as the runner runs
// it: the window's mouse and key messages go in before each frame's input update, rooms change at
// the frame's end. Checked through the script-visible variables: the title's fade into the game,
// the controller's waves, a lost run through the loss screen into a fresh run, the shop's buttons
// and the player's bow.
#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "game_fixture.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"

namespace {

using tsl::Value;

constexpr double kRoomTitle = 0;
constexpr double kRoomGame = 1;
constexpr double kRoomLoss = 2;
constexpr int32_t kObjController = 1;
constexpr int32_t kObjPlayer = 10;
constexpr int32_t kObjArrow = 11;
constexpr int32_t kKeySpace = 32;
constexpr int32_t kLeft = 1;
constexpr int32_t kRight = 2;

CInstance* One(int32_t object) {
  const std::vector<CInstance*> all = All(object);
  EXPECT_EQ(all.size(), 1u) << "instances of object " << object;
  return all.empty() ? nullptr : all.front();
}

class FlowTest : public GameTest {
 protected:
  double Room() { return Global("room").real(); }

  // A click at (x, y): pressed in one frame, let go in the next.
  void Click(int32_t x, int32_t y, int32_t button = kLeft) {
    MoveTo(x, y);
    Press(button);
    Frames(1);
    Release(button);
    Frames(1);
  }
  void TapKey(int32_t key) {
    host_.Push(WindowMessageKind::kKeyDown, key);
    Frames(1);
    host_.Push(WindowMessageKind::kKeyUp, key);
    Frames(1);
  }

  // From the title into the game room: a key starts the fade-out, which ends in the game room.
  void EnterGame() {
    TapKey(kKeySpace);
    for (int i = 0; i < 120 && Room() != kRoomGame; ++i) Frames(1);
    ASSERT_EQ(Room(), kRoomGame);
  }
};

TEST_F(FlowTest, TheTitleFadesInAndAKeyFadesItOutIntoTheGame) {
  EXPECT_EQ(Room(), kRoomTitle);
  CInstance* title = One(8);
  ASSERT_NE(title, nullptr);
  EXPECT_EQ(Num(title, "alpha"), 1);
  Frames(40);
  EXPECT_NEAR(Num(title, "alpha"), 0.6, 1e-9);
  EXPECT_EQ(Num(title, "fadeout"), 0);
  // Input during the fade-in turns it round from where it stands: 40 frames back up to black.
  MoveTo(300, 300);
  Press(kLeft);
  Frames(1);
  Release(kLeft);
  EXPECT_EQ(Num(title, "fadeout"), 1);
  int frames = 1;
  while (Room() == kRoomTitle && frames < 200) {
    Frames(1);
    ++frames;
  }
  EXPECT_EQ(Room(), kRoomGame);
  EXPECT_NEAR(frames, 41, 1);
  // The game room starts a run: one controller, the shop row, the two starting scorpions.
  CInstance* controller = One(kObjController);
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(Num(controller, "level"), 1);
  EXPECT_EQ(Num(controller, "fade_alpha"), 0);
  std::set<std::pair<double, double>> towers;
  for (CInstance* tower : All(kObjTower)) towers.insert({Num(tower, "x"), Num(tower, "y")});
  EXPECT_EQ(towers, (std::set<std::pair<double, double>>{{200, 160}, {200, 240}}));
  EXPECT_EQ(All(kObjButton).size(), 4u);
}

// Spawns of a level: where they appear, which kinds, and the delays drawn between them.
struct Level {
  int level;
  std::set<std::string> kinds;
  double low, high;
};

TEST_F(FlowTest, TheControllerSpawnsByItsLevelTable) {
  EnterGame();
  CInstance* controller = One(kObjController);
  ASSERT_NE(controller, nullptr);
  // The first spawn of a run comes at its 30th frame.
  EXPECT_EQ(Num(controller, "timer"), 30);
  Frames(29);
  EXPECT_TRUE(All(kObjEnemy).empty());
  Frames(1);
  ASSERT_EQ(All(kObjEnemy).size(), 1u);

  const Level levels[] = {
      {1, {"grunt"}, 180, 240},          {2, {"grunt", "mule"}, 175, 235}, {3, {"grunt", "mule"}, 170, 230},
      {4, {"grunt", "mule", "brute"}, 165, 225}, {5, {"grunt", "mule", "brute"}, 160, 220},
      {6, {"grunt", "mule", "brute"}, 150, 210}, {7, {"grunt", "mule", "brute"}, 140, 200},
      {8, {"mule", "brute"}, 115, 175},  {9, {"mule", "brute"}, 90, 150},  {10, {"mule", "brute"}, 50, 100},
  };
  for (const Level& level : levels) {
    SCOPED_TRACE(level.level);
    tsl::set(controller, "level", RV_Real(level.level));
    std::set<std::string> kinds;
    std::set<double> lanes;
    double lowest = 1e9, highest = -1e9;
    for (int spawn = 0; spawn < 60; ++spawn) {
      // The spawn that is due comes when the timer counts down to 0.
      tsl::set(controller, "timer", RV_Real(1));
      tsl::set(controller, "level_timer", RV_Real(0));
      const std::vector<CInstance*> before = All(kObjEnemy);
      Frames(1);
      const std::vector<CInstance*> after = All(kObjEnemy);
      CInstance* made = nullptr;
      for (CInstance* enemy : after) {
        if (std::find(before.begin(), before.end(), enemy) == before.end()) made = enemy;
      }
      ASSERT_NE(made, nullptr);
      EXPECT_NEAR(Num(made, "x"), kEnemySpawnX, 1.0);
      lanes.insert(Num(made, "y"));
      kinds.insert(Text(tsl::get(made, "name")));
      const double timer = Num(controller, "timer");
      lowest = std::min(lowest, timer);
      highest = std::max(highest, timer);
      EXPECT_EQ(timer, std::floor(timer));
      // Clear the lanes so no enemy gets through while the table is sampled.
      for (CInstance* enemy : All(kObjEnemy)) tsl::call("instance_destroy", enemy, enemy);
    }
    EXPECT_EQ(kinds, level.kinds);
    EXPECT_GE(lowest, level.low);
    EXPECT_LE(highest, level.high);
    EXPECT_EQ(lanes, (std::set<double>{80, 160, 240, 320}));
  }
}

TEST_F(FlowTest, TheLevelRisesEvery1200FramesUpTo10) {
  EnterGame();
  CInstance* controller = One(kObjController);
  ASSERT_NE(controller, nullptr);
  tsl::set(controller, "level_timer", RV_Real(1198));
  Frames(1);
  EXPECT_EQ(Num(controller, "level"), 1);
  const double timer = Num(controller, "timer");
  Frames(1);
  EXPECT_EQ(Num(controller, "level"), 2);
  EXPECT_EQ(Num(controller, "level_timer"), 0);
  // The level-up leaves the spawn that is due alone.
  EXPECT_EQ(Num(controller, "timer"), timer - 1);
  tsl::set(controller, "level", RV_Real(10));
  tsl::set(controller, "level_timer", RV_Real(1199));
  Frames(1);
  EXPECT_EQ(Num(controller, "level"), 10);
}

TEST_F(FlowTest, ALostRunFadesToTheLossScreenAndAKeyStartsAFreshRun) {
  EnterGame();
  CInstance* controller = One(kObjController);
  ASSERT_NE(controller, nullptr);
  // Nothing guards the top and bottom lanes: sooner or later an enemy gets through.
  int frames = 0;
  while (!RV_ToBool(*Global("loss")) && frames < 6000) {
    Frames(1);
    ++frames;
  }
  ASSERT_TRUE(RV_ToBool(*Global("loss")));
  // The fade to black takes 100 frames, and spawning goes on meanwhile.
  Frames(50);
  EXPECT_NEAR(Num(controller, "fade_alpha"), 0.5, 0.011);
  int fade = 50;
  while (Room() == kRoomGame && fade < 200) {
    Frames(1);
    ++fade;
  }
  EXPECT_EQ(Room(), kRoomLoss);
  EXPECT_NEAR(fade, 100, 1);
  const double score = Global("score").real();
  EXPECT_TRUE(RV_ToBool(*Global("loss")));

  // The loss screen keeps the run's values until it is left.
  Frames(30);
  EXPECT_EQ(Global("score").real(), score);
  MoveTo(10, 10);
  Press(kRight);
  Frames(1);
  Release(kRight);
  for (int i = 0; i < 120 && Room() != kRoomGame; ++i) Frames(1);
  EXPECT_EQ(Room(), kRoomGame);
  EXPECT_EQ(Global("gold").real(), kStartingGold);
  EXPECT_EQ(Global("score").real(), 0);
  EXPECT_FALSE(RV_ToBool(*Global("loss")));
  const Value towers = Global("towers");
  for (int32_t row = 0; row < kBoardRows; ++row) {
    for (int32_t column = 0; column < kBoardColumns; ++column) {
      const RValue& cell = towers.get()->pArray->pArray[row].pArray->pArray[column];
      const bool scorpion = column == 2 && (row == 1 || row == 2);
      EXPECT_EQ(RV_Kind(cell), scorpion ? kRVString : kRVUndefined) << row << "," << column;
    }
  }
  // A fresh controller starts the new run at level 1.
  EXPECT_EQ(Num(One(kObjController), "level"), 1);
}

// The shop row: x of each kind's button and its price.
struct Ware {
  const char* type;
  int32_t x;
  double cost;
};
const Ware kWares[] = {{"scorpion", 160, 50}, {"ballista", 224, 100}, {"catapault", 288, 40}, {"onager", 352, 80}};

CInstance* Button(const char* type) {
  for (CInstance* button : All(kObjButton)) {
    if (Text(tsl::get(button, "type")) == type) return button;
  }
  ADD_FAILURE() << "no button " << type;
  return nullptr;
}

TEST_F(FlowTest, ButtonsSellWhatTheGoldAffordsOneTowerAtATime) {
  EnterGame();
  for (const Ware& ware : kWares) {
    CInstance* button = Button(ware.type);
    ASSERT_NE(button, nullptr);
    EXPECT_EQ(Num(button, "x"), ware.x);
    EXPECT_EQ(Num(button, "y"), 20);
    EXPECT_EQ(Num(button, "cost"), ware.cost);
    EXPECT_EQ(Num(button, "available"), 1);
  }
  CInstance* ballista = Button("ballista");
  // Hovering grows the button and lights it white.
  MoveTo(224, 20);
  Frames(10);
  EXPECT_GT(Num(ballista, "scale"), 1.04);
  EXPECT_EQ(Num(ballista, "colour"), 16777215);
  EXPECT_EQ(RV_Kind(*tsl::get(Button("onager"), "colour")), kRVUndefined);

  // A click buys: the gold goes at once, a tower follows the cursor, and no button takes clicks.
  const size_t towers = All(kObjTower).size();
  Click(224, 20);
  EXPECT_EQ(Global("gold").real(), 100);
  ASSERT_EQ(All(kObjTower).size(), towers + 1);
  int placing = 0;
  for (CInstance* tower : All(kObjTower)) placing += StateOf(tower) == "placing" ? 1 : 0;
  EXPECT_EQ(placing, 1);
  for (CInstance* button : All(kObjButton)) EXPECT_EQ(Num(button, "available"), 0);
  Click(160, 20);
  EXPECT_EQ(Global("gold").real(), 100);
  EXPECT_EQ(All(kObjTower).size(), towers + 1);
  // While placing, hovering lights nothing.
  EXPECT_EQ(RV_Kind(*tsl::get(Button("scorpion"), "colour")), kRVUndefined);

  // A refund gives it all back.
  Click(400, 200, kRight);
  EXPECT_EQ(Global("gold").real(), 200);
  EXPECT_EQ(All(kObjTower).size(), towers);
  for (CInstance* button : All(kObjButton)) EXPECT_EQ(Num(button, "available"), 1);

  // Two ballistas spend the gold to exactly 0; then every button is out of reach.
  Click(224, 20);
  Click(40, 80);
  Click(224, 20);
  Click(40, 160);
  EXPECT_EQ(Global("gold").real(), 0);
  EXPECT_EQ(All(kObjTower).size(), towers + 2);
  for (CInstance* tower : All(kObjTower)) EXPECT_NE(StateOf(tower), "placing");
  for (const Ware& ware : kWares) {
    MoveTo(ware.x, 20);
    Click(ware.x, 20);
    EXPECT_EQ(Num(Button(ware.type), "colour"), 255) << ware.type;
  }
  EXPECT_EQ(All(kObjTower).size(), towers + 2);
  EXPECT_EQ(Global("gold").real(), 0);
}

TEST_F(FlowTest, TheBowAimsWithinItsClampDrawsWhileHeldAndShootsOnceOnRelease) {
  EnterGame();
  CInstance* bow = One(kObjPlayer);
  ASSERT_NE(bow, nullptr);
  const double x = Num(bow, "x");
  const double y = Num(bow, "y");
  EXPECT_EQ(StateOf(bow), "idle");
  struct Aim {
    double dx, dy, angle;
  };
  // Screen y points down: a cursor above the bow turns it anticlockwise, to a positive angle.
  const Aim aims[] = {{100, 0, 0}, {100, -100, 45}, {100, 50, -26.565}, {30, -300, 45}, {50, 400, -45}};
  for (const Aim& aim : aims) {
    MoveTo(static_cast<int32_t>(x + aim.dx), static_cast<int32_t>(y + aim.dy));
    Frames(1);
    EXPECT_NEAR(Num(bow, "image_angle"), aim.angle, 1e-3) << aim.dx << "," << aim.dy;
  }
  // Aim up and to the right, away from the shop and the board, and draw for 12 frames.
  MoveTo(static_cast<int32_t>(x + 100), static_cast<int32_t>(y - 100));
  Frames(1);
  Press(kLeft);
  Frames(1);
  EXPECT_EQ(StateOf(bow), "retracting");
  Frames(12);
  EXPECT_EQ(Num(bow, "retraction"), 12);
  const double frames = Num(bow, "image_number");
  EXPECT_EQ(Num(bow, "frame"), std::round(12.0 / 30.0 * (frames - 1)));
  EXPECT_TRUE(All(kObjArrow).empty());
  // Let go: the string eases forward a frame at a time, then one arrow leaves 43 pixels out.
  Release(kLeft);
  Frames(1);
  EXPECT_EQ(StateOf(bow), "firing");
  for (int i = 0; i < 40 && StateOf(bow) != "fire"; ++i) Frames(1);
  EXPECT_EQ(StateOf(bow), "fire");
  const std::vector<CInstance*> arrows = All(kObjArrow);
  ASSERT_EQ(arrows.size(), 1u);
  EXPECT_NEAR(Num(arrows[0], "x"), x + 43 * std::cos(M_PI / 4), 1e-3);
  EXPECT_NEAR(Num(arrows[0], "y"), y - 43 * std::sin(M_PI / 4), 1e-3);
  // One shot ends its use: another draw does nothing.
  Press(kLeft);
  Frames(40);
  Release(kLeft);
  Frames(40);
  EXPECT_EQ(StateOf(bow), "fire");
  EXPECT_EQ(All(kObjArrow).size(), 1u);
}

TEST_F(FlowTest, AFullDrawStaysArmed) {
  EnterGame();
  CInstance* bow = One(kObjPlayer);
  ASSERT_NE(bow, nullptr);
  MoveTo(static_cast<int32_t>(Num(bow, "x") + 100), static_cast<int32_t>(Num(bow, "y")));
  Press(kLeft);
  Frames(31);
  EXPECT_EQ(StateOf(bow), "armed");
  EXPECT_EQ(Num(bow, "frame"), Num(bow, "image_number") - 1);
  Release(kLeft);
  Frames(40);
  EXPECT_EQ(StateOf(bow), "armed");
  EXPECT_TRUE(All(kObjArrow).empty());
}

}  // namespace
