// The game's global state as the game starts it: build/data.win is loaded with the program's
// compiled code tables on the fake window host and the null device, the global scripts run as at
// the game's start, and the tables, the run's values and the two utility scripts are read back
// through the script-visible variables.
#include "game_fixture.h"
#include "scripts/globals.h"
#include "world/instance.h"

namespace {

RValue R(double v) { return RV_Real(v); }

using GameGlobalsTest = GameTest;

TEST_F(GameGlobalsTest, TowerKindsCarryTheirTableAndHalfTheirSpritesWidth) {
  struct Tower {
    const char* name;
    double hp, damage, sprite, cooldown, attack_frame, projectile_speed, knockback, range, cost;
  };
  const Tower towers[] = {
      {"ballista", 25, 14, 43, 25, 15, 8, 4, 480, 100},
      {"scorpion", 15, 5, 0, 25, 17, 7, 0, 420, 50},
      {"catapault", 17, 8, 11, 60, 15, 5, 4, 480, 40},
      {"onager", 26, 16, 9, 45, 15, 6, 8, 540, 80},
  };
  const tsl::Value table = Global("tower_data");
  ASSERT_EQ(RV_Kind(*table), static_cast<uint32_t>(kRVObject));
  for (const Tower& t : towers) {
    SCOPED_TRACE(t.name);
    const tsl::Value record = Member(table, t.name);
    ASSERT_EQ(RV_Kind(*record), static_cast<uint32_t>(kRVObject));
    EXPECT_EQ(Text(Member(record, "name")), t.name);
    EXPECT_EQ(Member(record, "hp").real(), t.hp);
    EXPECT_EQ(Member(record, "damage").real(), t.damage);
    EXPECT_EQ(Member(record, "sprite").real(), t.sprite);
    EXPECT_EQ(Member(record, "attack_cooldown").real(), t.cooldown);
    EXPECT_EQ(Member(record, "attack_frame").real(), t.attack_frame);
    EXPECT_EQ(Member(record, "projectile_speed").real(), t.projectile_speed);
    EXPECT_EQ(Member(record, "knockback").real(), t.knockback);
    EXPECT_EQ(Member(record, "range").real(), t.range);
    EXPECT_EQ(Member(record, "cost").real(), t.cost);
    // The sprite at that index is the tower's firing animation, and x_offset is half its width.
    const tsl::Value sprite_name = tsl::call("sprite_get_name", nullptr, nullptr, {R(t.sprite)});
    EXPECT_EQ(Text(sprite_name), std::string("spr_") + t.name);
    const double width = tsl::call("sprite_get_width", nullptr, nullptr, {R(t.sprite)}).real();
    EXPECT_GT(width, 0);
    EXPECT_EQ(Member(record, "x_offset").real(), width / 2);
  }
}

TEST_F(GameGlobalsTest, EnemyKindsCarryTheirTable) {
  struct Enemy {
    const char* name;
    double hp, move_speed, attack_speed, damage, gold, score_value;
  };
  const Enemy enemies[] = {
      {"grunt", 30, 0.5, 60, 5, 5, 1}, {"mule", 40, 1, 45, 4, 7, 2}, {"brute", 60, 0.33, 90, 11, 10, 3}};
  const tsl::Value table = Global("enemy_data");
  for (const Enemy& e : enemies) {
    SCOPED_TRACE(e.name);
    const tsl::Value record = Member(table, e.name);
    ASSERT_EQ(RV_Kind(*record), static_cast<uint32_t>(kRVObject));
    EXPECT_EQ(Text(Member(record, "name")), e.name);
    EXPECT_EQ(Text(Member(record, "sprite")), "");
    EXPECT_EQ(Member(record, "hp").real(), e.hp);
    EXPECT_EQ(Member(record, "move_speed").real(), e.move_speed);
    EXPECT_EQ(Member(record, "attack_speed").real(), e.attack_speed);
    EXPECT_EQ(Member(record, "damage").real(), e.damage);
    EXPECT_EQ(Member(record, "gold").real(), e.gold);
    EXPECT_EQ(Member(record, "score_value").real(), e.score_value);
  }
}

TEST_F(GameGlobalsTest, ARunStartsWithGoldScoreAndTheTwoScorpionCells) {
  EXPECT_EQ(Global("gold").real(), 200);
  EXPECT_EQ(Global("score").real(), 0);
  EXPECT_EQ(RV_Kind(*Global("loss")), static_cast<uint32_t>(kRVBool));
  EXPECT_EQ(Global("loss").real(), 0);
  const tsl::Value towers = Global("towers");
  ASSERT_EQ(RV_Kind(*towers), static_cast<uint32_t>(kRVArray));
  ASSERT_EQ(towers.get()->pArray->length, kBoardRows);
  for (int32_t row = 0; row < kBoardRows; ++row) {
    const RValue& cells = towers.get()->pArray->pArray[row];
    ASSERT_EQ(RV_Kind(cells), static_cast<uint32_t>(kRVArray));
    ASSERT_EQ(cells.pArray->length, kBoardColumns);
    for (int32_t column = 0; column < kBoardColumns; ++column) {
      const RValue& cell = cells.pArray->pArray[column];
      if (column == 2 && (row == 1 || row == 2)) {
        ASSERT_EQ(RV_Kind(cell), static_cast<uint32_t>(kRVString)) << row << "," << column;
        EXPECT_STREQ(RV_StringText(cell), "scorpion");
      } else {
        EXPECT_EQ(RV_Kind(cell), static_cast<uint32_t>(kRVUndefined)) << row << "," << column;
      }
    }
  }
  EXPECT_EQ(Board_ColumnX(2), 200);
  EXPECT_EQ(Board_RowY(3), 320);
}

TEST_F(GameGlobalsTest, RoundFuncRoundsHalvesUpThroughOutput) {
  CInstance* self = Create_Instance(0, 0, 0, 0);
  ASSERT_NE(self, nullptr);
  const double cases[][2] = {{2.4, 2}, {2.5, 3}, {2.6, 3}, {7, 7}, {0.49, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(tsl::call(tsl_Script_round_func, self, self, {R(c[0])}).real(), c[1]) << c[0];
    EXPECT_EQ(tsl::get(self, "_output").real(), c[1]) << c[0];
  }
}

TEST_F(GameGlobalsTest, ScreenshakeSetsEveryCameraShaking) {
  CInstance* a = Create_Instance(kObjCamera, 0, 0, 0);
  CInstance* b = Create_Instance(kObjCamera, 10, 0, 0);
  CInstance* other = Create_Instance(0, 0, 0, 0);
  ASSERT_TRUE(a != nullptr && b != nullptr && other != nullptr);
  tsl::call(tsl_Script_screenshake, other, other, {R(30), R(4), R(0.5)});
  for (CInstance* camera : {a, b}) {
    EXPECT_EQ(tsl::get(camera, "shake").real(), 1);
    EXPECT_EQ(tsl::get(camera, "shake_time").real(), 30);
    EXPECT_EQ(tsl::get(camera, "shake_magnitude").real(), 4);
    EXPECT_EQ(tsl::get(camera, "shake_fade").real(), 0.5);
  }
  EXPECT_THROW(tsl::get(other, "shake"), KVTSLException);
}

}  // namespace
