// Towers, enemies and shots in a room of the game's own data file: instances are made with
// instance_create_layer and initialised with the game's records, as the game's controller and
// buttons make them, and the game runs frame by frame as the runner runs it; what is checked is read
// back through the script-visible variables and the sounds the game starts.
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "game_fixture.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"

namespace {

constexpr int32_t kObjTitleController = 8;

using tsl::Value;

Value Str(const char* s) { return Value::String(s); }

CInstance* Live(int32_t id) { return game::instance_of(R(id)); }
int32_t IdOf(CInstance* instance) { return RV_ToInt32(*tsl::get(instance, "id")); }

double Num(int32_t id, const char* name) {
  CInstance* instance = Live(id);
  return instance != nullptr ? tsl::get(instance, name).real() : NAN;
}

// who.method(args...)
Value Call(int32_t id, const char* method, std::initializer_list<RValue> args) {
  CInstance* who = Live(id);
  return tsl::call_method(*tsl::get(who, method), who, who, args);
}

std::string State(int32_t id) {
  CInstance* who = Live(id);
  return who != nullptr ? StateOf(who) : "<gone>";
}

double Asset(const std::string& name) { return tsl::call("asset_get_index", nullptr, nullptr, {*Str(name.c_str())}).real(); }

class CombatTest : public GameTest {
 protected:
  void SetUp() override {
    with_audio_ = true;
    GameTest::SetUp();
    // The tests play in the title room: its controller is set aside, so their clicks and keys
    // don't fade it out into the game room.
    tsl::call("instance_deactivate_object", nullptr, nullptr, {R(kObjTitleController)});
  }

  // instance_create_layer(x, y, "Instances", object) in the room the game started in.
  int32_t Create(int32_t object, double x, double y) {
    const Value made = tsl::call("instance_create_layer", nullptr, nullptr, {R(x), R(y), *Str("Instances"), R(object)});
    CInstance* instance = game::instance_of(made);
    EXPECT_NE(instance, nullptr);
    return instance != nullptr ? IdOf(instance) : -1;
  }
  // An instance made and initialised with the record of a kind from a table of the game.
  int32_t Made(int32_t object, double x, double y, const char* table, const char* kind) {
    const int32_t id = Create(object, x, y);
    Call(id, "initialise", {*Member(Global(table), kind)});
    return id;
  }
  int32_t Tower(const char* kind, double x, double y) { return Made(kObjTower, x, y, "tower_data", kind); }
  int32_t Enemy(const char* kind, double x, double y) { return Made(kObjEnemy, x, y, "enemy_data", kind); }
  // A shot as the tower of that kind fires it.
  int32_t Shot(const char* tower_kind, double x, double y) {
    return Made(kObjProjectile, x, y, "tower_data", tower_kind);
  }
  // The shots alive on a lane.
  std::vector<int32_t> ShotsOn(double lane) {
    std::vector<int32_t> out;
    for (CInstance* shot : All(kObjProjectile)) {
      if (tsl::get(shot, "y").real() == lane) out.push_back(IdOf(shot));
    }
    return out;
  }
  bool Playing(double sound) { return RV_ToBool(*tsl::call("audio_is_playing", nullptr, nullptr, {R(sound)})); }
};

struct TowerKind {
  const char* name;
  double hp, cooldown, attack_frame, range, cost;
};
const TowerKind kTowerKinds[] = {
    {"ballista", 25, 25, 15, 480, 100},
    {"scorpion", 15, 25, 17, 420, 50},
    {"catapault", 17, 60, 15, 480, 40},
    {"onager", 26, 45, 15, 540, 80},
};

TEST_F(CombatTest, TowersStartIdleWithTheirKindsValues) {
  for (const TowerKind& kind : kTowerKinds) {
    SCOPED_TRACE(kind.name);
    const int32_t tower = Tower(kind.name, 120, 80);
    EXPECT_EQ(State(tower), "idle");
    EXPECT_EQ(Text(tsl::get(Live(tower), "name")), kind.name);
    EXPECT_EQ(Num(tower, "hp"), kind.hp);
    EXPECT_EQ(Num(tower, "maxhp"), kind.hp);
    EXPECT_EQ(Num(tower, "range"), kind.range);
    EXPECT_EQ(Num(tower, "cost"), kind.cost);
    // idle's enter ran: the rest pose and the full cooldown.
    EXPECT_EQ(Num(tower, "sprite_index"), Asset(std::string("spr_") + kind.name + "_idle"));
    EXPECT_EQ(Num(tower, "attack_cooldown"), kind.cooldown);
    EXPECT_EQ(Num(tower, "x_offset"), Num(tower, "sprite_width") / 2);
    EXPECT_EQ(Num(tower, "draw_scale"), 1);
    EXPECT_EQ(Num(tower, "alpha"), 1);
  }
}

// Each kind on its own lane, a brute far up the lane: the tower cools down, fires one shot on the
// frame its animation shows attack_frame, goes back to idle at the animation's end and cools down
// again. The scorpion, ballista and catapault sound when the shot leaves, the onager as it winds up.
TEST_F(CombatTest, TowersFireAtTheirAttackFrameAndWaitTheirCooldown) {
  struct Lane {
    const TowerKind* kind;
    double y;
    int32_t tower;
    double fire_sound;
    int enter1 = 0, shot1 = 0, back1 = 0, enter2 = 0, shots = 0;
    int first_attack_image = 0;  // the first frame of the firing whose image is attack_frame
    bool sound_before_shot = false, sound_at_enter = false;
  };
  std::vector<Lane> lanes;
  for (int32_t row = 0; row < 4; ++row) {
    const TowerKind& kind = kTowerKinds[row];
    const double y = Board_RowY(row);
    Lane lane{&kind, y, Tower(kind.name, Board_ColumnX(2), y),
              Asset(std::string("sound_") + kind.name + "_fire")};
    Enemy("brute", 560, y);
    lanes.push_back(lane);
  }
  for (int frame = 1; frame <= 260; ++frame) {
    Frames(1);
    for (Lane& lane : lanes) {
      const std::string state = State(lane.tower);
      const double image = std::floor(Num(lane.tower, "image_index"));
      const double muzzle = Num(lane.tower, "x") + Num(lane.tower, "sprite_width") / 2;
      int fresh = 0;
      for (int32_t shot : ShotsOn(lane.y)) {
        if (Num(shot, "x") == muzzle && State(shot) == "normal") {
          ++fresh;
          EXPECT_EQ(Num(shot, "sprite_index"), Asset(std::string("spr_") + lane.kind->name + "_projectile"));
        }
      }
      if (lane.enter1 == 0 && state == "attacking") {
        lane.enter1 = frame;
        lane.sound_at_enter = Playing(lane.fire_sound);
      }
      if (lane.enter1 != 0 && lane.back1 == 0) {
        if (lane.first_attack_image == 0 && frame > lane.enter1 && image == lane.kind->attack_frame) {
          lane.first_attack_image = frame;
        }
        if (fresh > 0 && lane.shot1 == 0) lane.shot1 = frame;
        if (lane.shot1 == 0 && frame > lane.enter1 && lane.kind->name != std::string("onager")) {
          lane.sound_before_shot = lane.sound_before_shot || Playing(lane.fire_sound);
        }
        lane.shots += fresh;
        if (state == "idle") {
          lane.back1 = frame;
          EXPECT_EQ(Num(lane.tower, "attack_cooldown"), lane.kind->cooldown) << lane.kind->name;
          EXPECT_EQ(Num(lane.tower, "sprite_index"), Asset(std::string("spr_") + lane.kind->name + "_idle"));
        } else {
          EXPECT_EQ(Num(lane.tower, "sprite_index"), Asset(std::string("spr_") + lane.kind->name));
        }
      }
      if (lane.back1 != 0 && lane.enter2 == 0 && state == "attacking") lane.enter2 = frame;
    }
  }
  for (const Lane& lane : lanes) {
    SCOPED_TRACE(lane.kind->name);
    EXPECT_EQ(lane.enter1, lane.kind->cooldown);
    ASSERT_NE(lane.shot1, 0);
    EXPECT_EQ(lane.shot1, lane.first_attack_image);
    EXPECT_EQ(lane.shots, 1);
    ASSERT_NE(lane.back1, 0);
    EXPECT_GT(lane.back1, lane.shot1);
    EXPECT_EQ(lane.enter2 - lane.back1, lane.kind->cooldown);
    EXPECT_FALSE(lane.sound_before_shot);
    EXPECT_EQ(lane.sound_at_enter, lane.kind->name == std::string("onager"));
    EXPECT_TRUE(Playing(lane.fire_sound));
  }
}

TEST_F(CombatTest, DamageLowersHpToZeroAndATowerAtZeroFadesOutIn20Frames) {
  struct Case {
    const char* kind;
    std::vector<double> hits;
    double hp;
    const char* state;
  };
  const Case cases[] = {
      {"scorpion", {5}, 10, "idle"},     {"scorpion", {10, 5}, 0, "dead"}, {"onager", {30}, 0, "dead"},
      {"ballista", {0}, 25, "idle"},     {"catapault", {16.5}, 0.5, "idle"},
  };
  std::vector<int32_t> towers;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind);
    const int32_t tower = Tower(c.kind, Board_ColumnX(0), Board_RowY(0));
    for (double hit : c.hits) Call(tower, "damage", {R(hit)});
    EXPECT_EQ(Num(tower, "hp"), c.hp);
    EXPECT_EQ(State(tower), c.state);
    EXPECT_EQ(Num(tower, "draw_scale"), 1.1);
    EXPECT_EQ(Num(tower, "damage_timer"), 5);
    if (std::string(c.state) == "dead") {
      EXPECT_EQ(Num(tower, "sprite_index"), Asset(std::string("spr_") + c.kind));
    }
    towers.push_back(tower);
  }
  Frames(19);
  for (size_t i = 0; i < towers.size(); ++i) {
    SCOPED_TRACE(cases[i].kind);
    ASSERT_NE(Live(towers[i]), nullptr);
    EXPECT_EQ(Num(towers[i], "damage_timer"), 0);
    // A hit tower stays drawn larger.
    EXPECT_EQ(Num(towers[i], "draw_scale"), 1.1);
    if (std::string(cases[i].state) == "dead") {
      EXPECT_NEAR(Num(towers[i], "alpha"), 0.05, 1e-9);
    }
  }
  Frames(1);
  for (size_t i = 0; i < towers.size(); ++i) {
    EXPECT_EQ(Live(towers[i]) == nullptr, std::string(cases[i].state) == "dead") << cases[i].kind;
  }
}

TEST_F(CombatTest, ATowerKilledWhileWindingUpNeverShoots) {
  const double lane = Board_RowY(1);
  const int32_t tower = Tower("catapault", Board_ColumnX(2), lane);
  Enemy("brute", 560, lane);
  Frames(60);
  ASSERT_EQ(State(tower), "attacking");
  Call(tower, "damage", {R(17)});
  EXPECT_EQ(State(tower), "dead");
  for (int frame = 0; frame < 20; ++frame) {
    Frames(1);
    EXPECT_TRUE(ShotsOn(lane).empty()) << frame;
  }
  EXPECT_EQ(Live(tower), nullptr);
}

// Each enemy kind against a scorpion (whose shots don't push back): it stops with its left edge on
// the tower's right edge, hits at once and then every attack_speed frames, stays while the dead tower
// fades, and walks on once the tower is gone.
TEST_F(CombatTest, EnemiesStopAtATowerAndHitItAtTheirAttackSpeed) {
  struct Kind {
    const char* name;
    double damage, attack_speed, move_speed;
  };
  const Kind kinds[] = {{"grunt", 5, 60, 0.5}, {"mule", 4, 45, 1}, {"brute", 11, 90, 0.33}};
  struct Lane {
    const Kind* kind;
    int32_t tower, enemy;
    double contact_x;
    std::vector<int> blows;
    int tower_gone = 0;
  };
  std::vector<Lane> lanes;
  for (int32_t row = 0; row < 3; ++row) {
    const double y = Board_RowY(row);
    Lane lane{&kinds[row], Tower("scorpion", Board_ColumnX(2), y), 0, 0, {}, 0};
    // Probe the enemy's width, then start it 10 pixels short of contact.
    lane.enemy = Enemy(kinds[row].name, 600, y);
    lane.contact_x = Board_ColumnX(2) + Num(lane.tower, "x_offset") + Num(lane.enemy, "sprite_width") / 2;
    tsl::set(Live(lane.enemy), "x", R(lane.contact_x + 10));
    lanes.push_back(lane);
  }
  for (int frame = 1; frame <= 400; ++frame) {
    std::vector<double> hp_before;
    for (const Lane& lane : lanes) hp_before.push_back(Num(lane.tower, "hp"));
    Frames(1);
    for (size_t i = 0; i < lanes.size(); ++i) {
      Lane& lane = lanes[i];
      const double x = Num(lane.enemy, "x");
      if (Live(lane.tower) != nullptr) {
        const double hp = Num(lane.tower, "hp");
        if (hp < hp_before[i]) {
          lane.blows.push_back(frame);
          EXPECT_NEAR(x, lane.contact_x, 1e-3) << lane.kind->name;
          EXPECT_EQ(hp, std::fmax(0, hp_before[i] - lane.kind->damage)) << lane.kind->name;
          EXPECT_EQ(Num(lane.enemy, "target"), lane.tower);
          EXPECT_EQ(Num(lane.enemy, "attack_cooldown"), lane.kind->attack_speed - 1);
        }
        // Never nearer than contact.
        EXPECT_GE(x, lane.contact_x - 1e-3) << lane.kind->name << " frame " << frame;
      } else if (lane.tower_gone == 0) {
        lane.tower_gone = frame;
        EXPECT_NEAR(x, lane.contact_x, 1e-3) << lane.kind->name;
      } else if (frame == lane.tower_gone + 1) {
        EXPECT_NEAR(x, lane.contact_x - lane.kind->move_speed, 1e-3) << lane.kind->name;
      }
    }
  }
  for (const Lane& lane : lanes) {
    SCOPED_TRACE(lane.kind->name);
    const size_t blows_to_kill = static_cast<size_t>(std::ceil(15 / lane.kind->damage));
    ASSERT_EQ(lane.blows.size(), blows_to_kill);
    EXPECT_NEAR(lane.blows[0], 10 / lane.kind->move_speed, 1.0);
    for (size_t b = 1; b < lane.blows.size(); ++b) EXPECT_EQ(lane.blows[b] - lane.blows[b - 1], lane.kind->attack_speed);
    // The dead tower fades for 20 steps, blocking all the while. Enemies (object 4) step before
    // towers (object 6), so the first of those steps is in the frame of the last blow.
    EXPECT_EQ(lane.tower_gone, lane.blows.back() + 19);
  }
}

TEST_F(CombatTest, DamagePushesAnEnemyBackAndItWalksBackToTheTower) {
  struct Case {
    double amount, knockback;
  };
  const Case cases[] = {{5, 0}, {5, 8}, {12, 4}};
  const double lane = Board_RowY(3);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.knockback);
    const int32_t enemy = Enemy("mule", 400, lane);
    Call(enemy, "damage", {R(c.amount), R(c.knockback)});
    EXPECT_EQ(Num(enemy, "x"), 400 + c.knockback);
    EXPECT_EQ(Num(enemy, "hp"), 40 - c.amount);
    EXPECT_EQ(Num(enemy, "draw_scale"), 1.1);
    EXPECT_EQ(Num(enemy, "damage_timer"), 5);
    EXPECT_EQ(State(enemy), "normal");
    // The flash and the larger scale settle back.
    Frames(5);
    EXPECT_EQ(Num(enemy, "damage_timer"), 0);
    EXPECT_NEAR(Num(enemy, "draw_scale"), 1 + 0.1 * std::pow(0.85, 5), 1e-6);
    Call(enemy, "damage", {R(100), R(0)});
  }
  // Against a tower, a push walks back into contact.
  const int32_t tower = Tower("scorpion", Board_ColumnX(0), lane);
  const int32_t mule = Enemy("mule", 300, lane);
  const double contact = Board_ColumnX(0) + Num(tower, "x_offset") + Num(mule, "sprite_width") / 2;
  tsl::set(Live(mule), "x", R(contact + 0.5));
  Frames(1);
  ASSERT_EQ(Num(mule, "x"), contact);
  Call(mule, "damage", {R(0), R(8)});
  Frames(7);
  EXPECT_EQ(Num(mule, "x"), contact + 1);
  Frames(1);
  EXPECT_EQ(Num(mule, "x"), contact);
}

// Two enemies overlap the shot's path: the one with the lower x is struck, whatever the order they
// were made in, unless it is dead, when the shot passes through it to the other.
TEST_F(CombatTest, AShotStrikesOnlyTheNearestLivingEnemyOnItsPath) {
  for (bool nearer_dead : {false, true}) {
    SCOPED_TRACE(nearer_dead);
    const double lane = nearer_dead ? Board_RowY(2) : Board_RowY(1);
    const int32_t farther = Enemy("mule", 308, lane);
    const int32_t nearer = Enemy("mule", 302, lane);
    if (nearer_dead) Call(nearer, "damage", {R(40), R(0)});
    const double nearer_x = Num(nearer, "x");
    const int32_t shot = Shot("ballista", 290, lane);
    const double gold = Global("gold").real();
    Frames(1);
    const int32_t struck = nearer_dead ? farther : nearer;
    const int32_t spared = nearer_dead ? nearer : farther;
    EXPECT_EQ(Num(struck, "hp"), 40 - 14);
    EXPECT_EQ(Num(spared, "hp"), nearer_dead ? 0 : 40);
    // Shots (object 5) step after enemies (object 4): the flash is whole at the frame's end.
    EXPECT_EQ(Num(struck, "damage_timer"), 5);
    EXPECT_EQ(State(shot), "dead");
    EXPECT_EQ(Num(shot, "x"), 298);
    EXPECT_EQ(Global("gold").real(), gold);
    if (nearer_dead) {
      EXPECT_EQ(Num(nearer, "x"), nearer_x);
    }
    EXPECT_TRUE(Playing(2) || Playing(3) || Playing(11));
    // It stays where it struck until its animation ends, striking nothing more.
    int frames = 0;
    while (Live(shot) != nullptr && frames < 60) {
      EXPECT_EQ(Num(shot, "x"), 298);
      Frames(1);
      ++frames;
    }
    EXPECT_LE(frames, 13);
    EXPECT_EQ(Num(struck, "hp"), 40 - 14);
    Call(struck, "damage", {R(100), R(0)});
    Call(spared, "damage", {R(100), R(0)});
  }
}

TEST_F(CombatTest, AKillPaysGoldAndScoreOnceAndLaterShotsPassThrough) {
  const double lane = Board_RowY(0);
  const int32_t grunt = Enemy("grunt", 320, lane);
  Call(grunt, "damage", {R(20), R(0)});
  EXPECT_EQ(Global("gold").real(), 200);
  Shot("onager", 310, lane);
  Frames(1);
  EXPECT_EQ(State(grunt), "dead");
  EXPECT_EQ(Global("gold").real(), 205);
  EXPECT_EQ(Global("score").real(), 1);
  // A dead enemy neither moves nor is struck again.
  const double x = Num(grunt, "x");
  const int32_t second = Shot("onager", 310, lane);
  Frames(1);
  EXPECT_EQ(State(second), "normal");
  EXPECT_EQ(Num(grunt, "x"), x);
  EXPECT_EQ(Global("gold").real(), 205);
  EXPECT_EQ(Global("score").real(), 1);
}

TEST_F(CombatTest, ShotsLeaveTheScreenBySpriteSize) {
  struct Case {
    double x, y;
    bool stays;
  };
  const Case cases[] = {{320, 160, true}, {636, 160, false}, {320, 2, false}, {320, 358, false}, {2, 160, false}};
  std::vector<int32_t> shots;
  for (const Case& c : cases) shots.push_back(Shot("scorpion", c.x, c.y));
  Frames(1);
  for (size_t i = 0; i < shots.size(); ++i) {
    EXPECT_EQ(Live(shots[i]) != nullptr, cases[i].stays) << cases[i].x << "," << cases[i].y;
  }
  EXPECT_EQ(Num(shots[0], "x"), 327);
}

TEST_F(CombatTest, AnEnemyAtTheLeftEdgeLosesTheRun) {
  const double music = 10, breach = 5;
  tsl::call("audio_play_sound", nullptr, nullptr, {R(music), R(0), RV_Bool(true)});
  const int32_t runner = Enemy("mule", 19, Board_RowY(0));
  const int32_t other = Enemy("brute", 500, Board_RowY(2));
  Frames(2);
  EXPECT_EQ(Num(runner, "x"), 17);
  EXPECT_FALSE(RV_ToBool(*Global("loss")));
  EXPECT_FALSE(Playing(breach));
  Frames(1);
  EXPECT_TRUE(RV_ToBool(*Global("loss")));
  EXPECT_EQ(State(runner), "dead");
  EXPECT_EQ(State(other), "dead");
  // The enemies killed by the end of a run pay nothing.
  EXPECT_EQ(Global("gold").real(), 200);
  EXPECT_EQ(Global("score").real(), 0);
  EXPECT_TRUE(Playing(breach));
  EXPECT_FALSE(Playing(music));
  Frames(20);
  EXPECT_EQ(Live(runner), nullptr);
  EXPECT_EQ(Live(other), nullptr);
}

// ---- Placing a bought tower ---------------------------------------------------------------------

class PlacingTest : public CombatTest {
 protected:
  void Click(int32_t button) {
    Press(button);
    Frames(1);
    Release(button);
  }
  // What a shop button's click does: a tower at the cursor in its placing state, paid for, with
  // every button refusing clicks until it is put down or refunded.
  int32_t Buy(const char* kind) {
    const Value made = tsl::call("instance_create_depth", nullptr, nullptr,
                                 {*tsl::call("input_cursor_x", nullptr, nullptr), *tsl::call("input_cursor_y", nullptr, nullptr),
                                  R(0), R(kObjTower)});
    const int32_t tower = IdOf(game::instance_of(made));
    Call(tower, "initialise", {*Member(Global("tower_data"), kind)});
    CInstance* self = Live(tower);
    const Value machine = tsl::get(self, "fsm");
    tsl::call_method(*tsl::get(KV_AsInstance(machine.object()), "change"), self, self, {*Str("placing")});
    tsl::set(tsl::global(), "gold", R(Global("gold").real() - Num(tower, "cost")));
    tsl::set(Live(button_), "available", RV_Bool(false));
    return tower;
  }
  // Bought with the cursor moved to (x, y) the frame before.
  int32_t BuyAt(const char* kind, int32_t x, int32_t y) {
    MoveTo(x, y);
    Frames(1);
    return Buy(kind);
  }
  std::string Cell(int32_t row, int32_t column) {
    Value towers = Global("towers");
    const RValue* cells = RV_ArrayElementForRead(towers.get(), row);
    return RV_Kind(cells->pArray->pArray[column]) == kRVString ? RV_StringText(cells->pArray->pArray[column])
                                                               : "<free>";
  }
  bool Available() { return RV_ToBool(*tsl::get(Live(button_), "available")); }
  // A shop button as the heads-up display makes it: created, then given its kind.
  int32_t ShopButton() {
    const int32_t button = Create(kObjButton, 160, 20);
    Call(button, "initialise", {*Str("scorpion")});
    return button;
  }

  int32_t button_ = 0;
};

TEST_F(PlacingTest, AGhostSnapsToFreeCellsAndIsPutDownWithSelect) {
  button_ = ShopButton();
  struct Case {
    int32_t cursor_x, cursor_y;
    int32_t row, column;  // the cell it is put down on
  };
  // Cells by their centres, corners and the board's far edges (240 and 360 are still on it).
  const Case cases[] = {{50, 70, 0, 0}, {119, 121, 1, 1}, {240, 360, 3, 2}, {0, 40, 0, 0}, {81, 279, 2, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.cursor_x) + "," + std::to_string(c.cursor_y));
    Globals_StartRun();
    const int32_t tower = BuyAt("catapault", c.cursor_x, c.cursor_y);
    EXPECT_EQ(Global("gold").real(), 160);
    EXPECT_EQ(State(tower), "placing");
    Frames(1);
    EXPECT_EQ(Num(tower, "x"), Board_ColumnX(c.column));
    EXPECT_EQ(Num(tower, "y"), Board_RowY(c.row));
    EXPECT_TRUE(RV_ToBool(*tsl::get(Live(tower), "valid")));
    EXPECT_EQ(Cell(c.row, c.column), "<free>");
    EXPECT_FALSE(Available());
    Click(1);
    EXPECT_EQ(State(tower), "idle");
    EXPECT_EQ(Cell(c.row, c.column), "catapault");
    EXPECT_TRUE(Available());
    EXPECT_EQ(Global("gold").real(), 160);
    // Put down, it stays put.
    MoveTo(400, 300);
    Frames(2);
    EXPECT_EQ(Num(tower, "x"), Board_ColumnX(c.column));
    Call(tower, "damage", {R(100)});
  }
}

TEST_F(PlacingTest, ATakenCellOrTheCursorOffTheBoardRefusesTheTower) {
  button_ = ShopButton();
  const int32_t tower = BuyAt("scorpion", 130, 150);
  Frames(1);
  EXPECT_EQ(Num(tower, "x"), 120);
  EXPECT_EQ(Num(tower, "y"), 160);
  // Over the scorpion of row 1, column 2, it stays at the last free cell.
  MoveTo(210, 150);
  Frames(1);
  EXPECT_EQ(Num(tower, "x"), 120);
  EXPECT_EQ(Num(tower, "y"), 160);
  EXPECT_FALSE(RV_ToBool(*tsl::get(Live(tower), "valid")));
  Click(1);
  EXPECT_EQ(State(tower), "placing");
  EXPECT_EQ(Cell(1, 2), "scorpion");
  EXPECT_EQ(Cell(1, 1), "<free>");
  // Off the board it follows the cursor freely; select does nothing there either.
  for (const auto& [x, y] : std::vector<std::pair<int32_t, int32_t>>{{300, 200}, {100, 30}, {241, 100}, {60, 361}}) {
    MoveTo(x, y);
    Frames(1);
    EXPECT_EQ(Num(tower, "x"), x);
    EXPECT_EQ(Num(tower, "y"), y);
    Click(1);
    EXPECT_EQ(State(tower), "placing") << x << "," << y;
  }
  EXPECT_FALSE(Available());
  EXPECT_EQ(Global("gold").real(), 150);
}

TEST_F(PlacingTest, RefundGivesTheCostBackAndRemovesTheGhost) {
  button_ = ShopButton();
  for (const TowerKind& kind : kTowerKinds) {
    SCOPED_TRACE(kind.name);
    const int32_t tower = BuyAt(kind.name, 50, 70);
    EXPECT_EQ(Global("gold").real(), 200 - kind.cost);
    Frames(1);
    Click(2);
    EXPECT_EQ(Live(tower), nullptr);
    EXPECT_EQ(Global("gold").real(), 200);
    EXPECT_TRUE(Available());
    EXPECT_EQ(Cell(0, 0), "<free>");
  }
}

TEST_F(PlacingTest, ARefundWinsOverASelectOfTheSameFrame) {
  button_ = ShopButton();
  const int32_t tower = BuyAt("scorpion", 50, 70);
  Frames(1);
  // Both buttons at once over the free cell: the ghost is refunded, and the cell is not claimed by
  // a tower that no longer exists.
  Press(1);
  Press(2);
  Frames(1);
  Release(1);
  Release(2);
  Frames(1);
  EXPECT_EQ(Live(tower), nullptr);
  EXPECT_EQ(Global("gold").real(), 200);
  EXPECT_TRUE(Available());
  EXPECT_EQ(Cell(0, 0), "<free>");
  // So a tower bought next goes down there.
  const int32_t next = Buy("scorpion");
  Frames(1);
  Click(1);
  EXPECT_EQ(State(next), "idle");
  EXPECT_EQ(Cell(0, 0), "scorpion");
}

TEST_F(PlacingTest, AGhostNeitherBlocksNorFires) {
  button_ = ShopButton();
  const int32_t tower = BuyAt("ballista", 300, 240);
  const int32_t mule = Enemy("mule", 330, 240);
  for (int frame = 0; frame < 60; ++frame) {
    Frames(1);
    EXPECT_EQ(State(tower), "placing");
  }
  // The mule walked on through it, and nothing was shot.
  EXPECT_EQ(Num(mule, "x"), 270);
  EXPECT_EQ(Num(tower, "hp"), 25);
  EXPECT_TRUE(ShotsOn(240).empty());
}

}  // namespace
