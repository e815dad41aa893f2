// global_init and the game's two utility scripts, written as the script compiler writes them:
// variables and builtins through reference entries that the loader links, struct and array
// literals through the runtime's constructors, globals set on the global object.
#include "scripts/globals.h"

#include <cmath>

#include "core/script_api.h"
#include "core/with.h"

namespace {

#define GAME_GLOBALS_VARIABLES(X)                                                                      \
  X(tower_data) X(enemy_data) X(gold) X(score) X(loss) X(towers) X(name) X(hp) X(damage) X(sprite)   \
  X(attack_cooldown) X(attack_frame) X(projectile_speed) X(knockback) X(range) X(x_offset) X(cost)    \
  X(move_speed) X(attack_speed) X(score_value) X(ballista) X(scorpion) X(catapault) X(onager)         \
  X(grunt) X(mule) X(brute) X(_output) X(shake) X(shake_time) X(shake_magnitude) X(shake_fade)
#define GAME_GLOBALS_BUILTINS(X) X(sprite_get_width) X(frac)

#define GAME_DEFINE_VARIABLE(name) KVVariableEntry v_##name = {#name, -1};
GAME_GLOBALS_VARIABLES(GAME_DEFINE_VARIABLE)
#undef GAME_DEFINE_VARIABLE
#define GAME_DEFINE_BUILTIN(name) KVFunctionEntry f_##name = {#name, -1};
GAME_GLOBALS_BUILTINS(GAME_DEFINE_BUILTIN)
#undef GAME_DEFINE_BUILTIN
KVFunctionEntry f_new_struct = {"@@NewTSLObject@@", -1};
KVFunctionEntry f_new_array = {"@@NewTSLArray@@", -1};

KVVariableEntry* g_variable_entries[] = {
#define GAME_LIST_VARIABLE(name) &v_##name,
    GAME_GLOBALS_VARIABLES(GAME_LIST_VARIABLE)
#undef GAME_LIST_VARIABLE
        nullptr};
KVFunctionEntry* g_function_entries[] = {
#define GAME_LIST_BUILTIN(name) &f_##name,
    GAME_GLOBALS_BUILTINS(GAME_LIST_BUILTIN)
#undef GAME_LIST_BUILTIN
        &f_new_struct,
    &f_new_array, nullptr};

RValue R(double v) { return RV_Real(v); }

tsl::Value new_struct() { return tsl::call(f_new_struct, nullptr, nullptr); }

tsl::Value new_array(std::initializer_list<RValue> items) { return tsl::call(f_new_array, nullptr, nullptr, items); }

void field(const tsl::Value& record, const KVVariableEntry& key, const RValue& value) {
  tsl::set(KV_AsInstance(record.object()), key, value);
}

struct TowerKind {
  const KVVariableEntry* key;
  const char* name;
  double hp, damage, sprite, attack_cooldown, attack_frame, projectile_speed, knockback, range, cost;
};

// Sprites by asset index: spr_ballista 43, spr_scorpion 0, spr_catapault 11, spr_onager 9.
const TowerKind kTowers[] = {
    {&v_ballista, "ballista", 25, 14, 43, 25, 15, 8, 4, 480, 100},
    {&v_scorpion, "scorpion", 15, 5, 0, 25, 17, 7, 0, 420, 50},
    {&v_catapault, "catapault", 17, 8, 11, 60, 15, 5, 4, 480, 40},
    {&v_onager, "onager", 26, 16, 9, 45, 15, 6, 8, 540, 80},
};

struct EnemyKind {
  const KVVariableEntry* key;
  const char* name;
  double hp, move_speed, attack_speed, damage, gold, score_value;
};

const EnemyKind kEnemies[] = {
    {&v_grunt, "grunt", 30, 0.5, 60, 5, 5, 1},
    {&v_mule, "mule", 40, 1, 45, 4, 7, 2},
    {&v_brute, "brute", 60, 0.33, 90, 11, 10, 3},
};

tsl::Value tower_record(const TowerKind& kind, CInstance* self, CInstance* other) {
  tsl::Value record = new_struct();
  field(record, v_name, *tsl::Value::String(kind.name));
  field(record, v_hp, R(kind.hp));
  field(record, v_damage, R(kind.damage));
  field(record, v_sprite, R(kind.sprite));
  field(record, v_attack_cooldown, R(kind.attack_cooldown));
  field(record, v_attack_frame, R(kind.attack_frame));
  field(record, v_projectile_speed, R(kind.projectile_speed));
  field(record, v_knockback, R(kind.knockback));
  field(record, v_range, R(kind.range));
  const tsl::Value width = tsl::call(f_sprite_get_width, self, other, {R(kind.sprite)});
  field(record, v_x_offset, R(width.real() / 2));
  field(record, v_cost, R(kind.cost));
  return record;
}

tsl::Value enemy_record(const EnemyKind& kind) {
  tsl::Value record = new_struct();
  field(record, v_name, *tsl::Value::String(kind.name));
  field(record, v_hp, R(kind.hp));
  field(record, v_sprite, *tsl::Value::String(""));
  field(record, v_move_speed, R(kind.move_speed));
  field(record, v_attack_speed, R(kind.attack_speed));
  field(record, v_damage, R(kind.damage));
  field(record, v_gold, R(kind.gold));
  field(record, v_score_value, R(kind.score_value));
  return record;
}

}  // namespace

KVVariableEntry** GameGlobals_VariableEntries() { return g_variable_entries; }
KVFunctionEntry** GameGlobals_FunctionEntries() { return g_function_entries; }

void Globals_StartRun() {
  CInstance* global = tsl::global();
  tsl::set(global, v_gold, R(kStartingGold));
  tsl::set(global, v_score, R(0));
  tsl::set(global, v_loss, RV_Bool(false));
  const tsl::Value scorpion = tsl::Value::String("scorpion");
  const RValue free_cell = RV_Undefined();
  const tsl::Value row0 = new_array({free_cell, free_cell, free_cell});
  const tsl::Value row1 = new_array({free_cell, free_cell, *scorpion});
  const tsl::Value row2 = new_array({free_cell, free_cell, *scorpion});
  const tsl::Value row3 = new_array({free_cell, free_cell, free_cell});
  tsl::set(global, v_towers, *new_array({*row0, *row1, *row2, *row3}));
}

RValue* tsl_GlobalScript_global_init(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_global_init", self, result);
  CInstance* global = tsl::global();
  scope.line(1);
  const tsl::Value towers = new_struct();
  for (const TowerKind& kind : kTowers) field(towers, *kind.key, *tower_record(kind, self, other));
  tsl::set(global, v_tower_data, *towers);
  scope.line(2);
  const tsl::Value enemies = new_struct();
  for (const EnemyKind& kind : kEnemies) field(enemies, *kind.key, *enemy_record(kind));
  tsl::set(global, v_enemy_data, *enemies);
  scope.line(3);
  Globals_StartRun();
  return scope.result();
}

// round_func(x): half rounds up; the result goes through the self variable _output.
RValue* tsl_Script_round_func(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_round_func", self, result);
  const double x = RV_ToDouble(tsl::arg(argc, argv, 0));
  scope.line(1);
  const tsl::Value fraction = tsl::call(f_frac, self, other, {R(x)});
  tsl::set(self, v__output, R(fraction.real() < 0.5 ? std::floor(x) : std::ceil(x)));
  scope.line(2);
  return scope.give(tsl::get(self, v__output));
}

// screenshake(time, magnitude, fade): every obj_camera starts shaking.
RValue* tsl_Script_screenshake(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_screenshake", self, result);
  for (KVWith w(&self, &other, kObjCamera); w.Next();) {
    scope.line(2);
    tsl::set(self, v_shake, RV_Bool(true));
    tsl::set(self, v_shake_time, tsl::arg(argc, argv, 0));
    tsl::set(self, v_shake_magnitude, tsl::arg(argc, argv, 1));
    tsl::set(self, v_shake_fade, tsl::arg(argc, argv, 2));
  }
  return scope.result();
}
