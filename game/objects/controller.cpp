// obj_controller: sets up a run in the game room (the two starting scorpions, the music), raises the
// level every 1200 frames up to 10, spawns enemies by the level's table, and once the run is lost
// fades to black and goes to the loss room.
#include <iterator>
#include <vector>

#include "scripts/game_code.h"
#include "scripts/globals.h"

namespace {

#define CONTROLLER_VARIABLES(X) \
  X(fade_alpha) X(level) X(level_timer) X(timer) X(loss) X(tower_data) X(enemy_data) X(scorpion) X(initialise)
#define CONTROLLER_FUNCTIONS(X)                                                                       \
  X(randomise) X(instance_create_depth) X(audio_play_sound) X(min) X(choose) X(irandom_range) X(room_goto) \
  X(variable_struct_get)
GAME_CODE_ENTRIES(CONTROLLER_VARIABLES, CONTROLLER_FUNCTIONS)

using game::R;

constexpr double kRoomLoss = 2;
constexpr double kSpriteFade = 15;
constexpr double kLevelUpFrames = 1200;
constexpr double kTopLevel = 10;

// A level's spawn list for choose (a kind listed twice weighs twice) and its next-spawn range.
struct Wave {
  std::initializer_list<const char*> kinds;
  double low, high;
};
const Wave kWaves[] = {
    {{"grunt"}, 180, 240},
    {{"grunt", "mule", "grunt"}, 175, 235},
    {{"grunt", "mule"}, 170, 230},
    {{"grunt", "mule", "grunt", "mule", "brute"}, 165, 225},
    {{"grunt", "mule", "mule", "brute"}, 160, 220},
    {{"grunt", "mule", "brute"}, 150, 210},
    {{"grunt", "mule", "brute", "mule", "brute"}, 140, 200},
    {{"mule", "brute", "mule", "brute"}, 115, 175},
    {{"mule", "brute", "brute"}, 90, 150},
    {{"mule", "brute", "brute"}, 50, 100},
};

// tower = instance_create_depth(x, y, 0, obj_tower); tower.initialise(tower_data.scorpion)
void create_scorpion(CInstance* self, CInstance* other, double x, double y) {
  const tsl::Value tower = tsl::call(f_instance_create_depth, self, other, {R(x), R(y), R(0), R(kObjTower)});
  const tsl::Value scorpion = game::member(tsl::get(tsl::global(), v_tower_data), v_scorpion);
  game::call_member(tower, v_initialise, self, other, {*scorpion});
}

// One enemy of the level's list at the right edge of a random lane; the next spawn's delay.
void spawn(CInstance* self, CInstance* other, const Wave& wave) {
  const tsl::Value lane = tsl::call(f_choose, self, other,
                                    {R(Board_RowY(0)), R(Board_RowY(1)), R(Board_RowY(2)), R(Board_RowY(3))});
  const tsl::Value enemy =
      tsl::call(f_instance_create_depth, self, other, {R(kEnemySpawnX), *lane, R(0), R(kObjEnemy)});
  const tsl::Value enemies = tsl::get(tsl::global(), v_enemy_data);
  std::vector<tsl::Value> records;
  for (const char* kind : wave.kinds) {
    records.push_back(tsl::call(f_variable_struct_get, self, other, {*enemies, *game::text(kind)}));
  }
  tsl::Value record;
  switch (records.size()) {
    case 1: record = tsl::call(f_choose, self, other, {*records[0]}); break;
    case 2: record = tsl::call(f_choose, self, other, {*records[0], *records[1]}); break;
    case 3: record = tsl::call(f_choose, self, other, {*records[0], *records[1], *records[2]}); break;
    case 4: record = tsl::call(f_choose, self, other, {*records[0], *records[1], *records[2], *records[3]}); break;
    default:
      record = tsl::call(f_choose, self, other, {*records[0], *records[1], *records[2], *records[3], *records[4]});
      break;
  }
  game::call_member(enemy, v_initialise, self, other, {*record});
  tsl::set(self, v_timer, *tsl::call(f_irandom_range, self, other, {R(wave.low), R(wave.high)}));
}

}  // namespace

void tsl_Object_obj_controller_Create_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_controller_Create_0", self);
  scope.line(1);
  tsl::call(f_randomise, self, other);
  scope.line(2);
  tsl::set(self, v_fade_alpha, R(0));
  scope.line(3);
  create_scorpion(self, other, Board_ColumnX(2), Board_RowY(2));
  create_scorpion(self, other, Board_ColumnX(2), Board_RowY(1));
  scope.line(4);
  tsl::set(self, v_level, R(1));
  tsl::set(self, v_level_timer, R(0));
  tsl::set(self, v_timer, R(30));
  scope.line(5);
  tsl::call(f_audio_play_sound, self, other, {R(kSoundMusic), R(0), RV_Bool(true)});
}

void tsl_Object_obj_controller_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_controller_Step_0", self);
  scope.line(1);
  tsl::set(self, v_level_timer, R(tsl::get(self, v_level_timer).real() + 1));
  if (game::ge(tsl::get(self, v_level_timer).real(), kLevelUpFrames)) {
    const tsl::Value level = tsl::call(f_min, self, other, {R(kTopLevel), R(tsl::get(self, v_level).real() + 1)});
    tsl::set(self, v_level, *level);
    tsl::set(self, v_level_timer, R(0));
  }
  scope.line(2);
  tsl::set(self, v_timer, R(tsl::get(self, v_timer).real() - 1));
  if (game::eq(tsl::get(self, v_timer).real(), 0)) {
    const double level = tsl::get(self, v_level).real();
    for (int32_t i = 0; i < static_cast<int32_t>(std::size(kWaves)); ++i) {
      if (game::eq(level, i + 1)) spawn(self, other, kWaves[i]);
    }
  }
  scope.line(3);
  if (RV_ToBool(*tsl::get(tsl::global(), v_loss))) {
    tsl::set(self, v_fade_alpha, R(tsl::get(self, v_fade_alpha).real() + 0.01));
    if (game::ge(tsl::get(self, v_fade_alpha).real(), 1)) tsl::call(f_room_goto, self, other, {R(kRoomLoss)});
  }
}

// Drawn after all other drawing of the frame: the black over the whole screen.
void tsl_Object_obj_controller_Draw_73(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_controller_Draw_73", self);
  game::draw_sprite_ext(self, other, R(kSpriteFade), R(0), 0, 0, 10, 5.625, 0, kColourWhite,
                        tsl::get(self, v_fade_alpha).real());
}
