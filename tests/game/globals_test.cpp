// The game's global state as the game starts it: build/data.win is loaded with the program's
// compiled code tables on the fake window host and the null device, the global scripts run as at
// the game's start, and the tables, the run's values and the two utility scripts are read back
// through the script-visible variables.
#include <string>
#include <vector>

#include "game_fixture.h"
#include "scripts/globals.h"
#include "world/instance.h"

namespace {

using GameGlobalsTest = GameTest;

// Each kind's record: its name and the numbers of the table's fields, in the order listed.
struct Kind {
  const char* name;
  std::vector<double> numbers;
};

void ExpectKinds(const char* table_name, const std::vector<const char*>& fields, const std::vector<Kind>& kinds) {
  const tsl::Value table = Global(table_name);
  ASSERT_EQ(RV_Kind(*table), static_cast<uint32_t>(kRVObject));
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    const tsl::Value record = Member(table, kind.name);
    ASSERT_EQ(RV_Kind(*record), static_cast<uint32_t>(kRVObject));
    EXPECT_EQ(Text(Member(record, "name")), kind.name);
    for (size_t i = 0; i < fields.size(); ++i) EXPECT_EQ(Member(record, fields[i]).real(), kind.numbers[i]) << fields[i];
  }
}

TEST_F(GameGlobalsTest, TowerKindsCarryTheirTableAndHalfTheirSpritesWidth) {
  const std::vector<Kind> towers = {
      {"ballista", {25, 14, 43, 25, 15, 8, 4, 480, 100}},
      {"scorpion", {15, 5, 0, 25, 17, 7, 0, 420, 50}},
      {"catapault", {17, 8, 11, 60, 15, 5, 4, 480, 40}},
      {"onager", {26, 16, 9, 45, 15, 6, 8, 540, 80}},
  };
  ExpectKinds("tower_data",
              {"hp", "damage", "sprite", "attack_cooldown", "attack_frame", "projectile_speed", "knockback", "range",
               "cost"},
              towers);
  for (const Kind& t : towers) {
    SCOPED_TRACE(t.name);
    // The sprite at that index is the tower's firing animation, and x_offset is half its width.
    const double sprite = t.numbers[2];
    EXPECT_EQ(Text(tsl::call("sprite_get_name", nullptr, nullptr, {R(sprite)})), std::string("spr_") + t.name);
    const double width = tsl::call("sprite_get_width", nullptr, nullptr, {R(sprite)}).real();
    EXPECT_GT(width, 0);
    EXPECT_EQ(Member(Member(Global("tower_data"), t.name), "x_offset").real(), width / 2);
  }
}

TEST_F(GameGlobalsTest, EnemyKindsCarryTheirTable) {
  ExpectKinds("enemy_data", {"hp", "move_speed", "attack_speed", "damage", "gold", "score_value"},
              {{"grunt", {30, 0.5, 60, 5, 5, 1}}, {"mule", {40, 1, 45, 4, 7, 2}}, {"brute", {60, 0.33, 90, 11, 10, 3}}});
  for (const char* name : {"grunt", "mule", "brute"}) {
    EXPECT_EQ(Text(Member(Member(Global("enemy_data"), name), "sprite")), "") << name;
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
