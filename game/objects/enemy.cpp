// obj_enemy: walks left along its lane rocking by the walk curve, stops against the first tower it
// meets and hits it at its attack speed, is pushed back by knockback, pays gold and score once
// when it dies, and ends the run when it reaches the left edge. States: normal and dead (fading
// out over 20 frames).
#include <cmath>

#include "objects/combat.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"

using namespace game;

namespace {

#define ENEMY_VARIABLES(X)                                                                             \
  X(animation_end_trigger) X(draw_scale) X(damage_timer) X(alpha) X(target) X(attack_cooldown)          \
  X(initialise) X(damage) X(name) X(hp) X(attack_speed) X(attack_damage) X(move_speed) \
  X(sprite) X(score_value) X(sprite_index) X(gold) X(curveAsset) X(curvePosition) X(curveSpeed)          \
  X(glow_intensity) X(curveValue) X(curveStruct) X(channel) X(image_angle) X(image_index) X(x) X(y)     \
  X(sprite_width) X(sprite_height) X(x_offset) X(id) X(step) X(draw) X(change) X(loss) X(score)
#define ENEMY_BUILTINS(X)                                                                              \
  X(irandom_range) X(random_range) X(string) X(animcurve_get) X(animcurve_get_channel)                  \
  X(animcurve_channel_evaluate) X(lerp) X(audio_stop_sound)
GAME_CODE_ENTRIES(ENEMY_VARIABLES, ENEMY_BUILTINS)

void die(CInstance* self, CInstance* other) { fsm(self, other, v_change, {*text("dead")}); }

}  // namespace

// initialise(data): the kind's values, one of its six looks, the walk curve from a random point of
// the stride, and the machine in its normal state.
RValue* tsl_Script_obj_enemy_initialise(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_initialise", self, result);
  const Value data = Value::Copy(tsl::arg(argc, argv, 0));
  scope.line(1);
  take_record(self, data);
  tsl::set(self, v_attack_speed, *member(data, v_attack_speed));
  tsl::set(self, v_attack_damage, *member(data, v_damage));
  tsl::set(self, v_move_speed, *member(data, v_move_speed));
  tsl::set(self, v_sprite, *member(data, v_sprite));
  tsl::set(self, v_score_value, *member(data, v_score_value));
  scope.line(2);
  const Value name = tsl::get(self, v_name);
  for (const char* kind : {"grunt", "mule", "brute"}) {
    if (!is_text(name, kind)) continue;
    const Value look = tsl::call(f_string, self, other, {*tsl::call(f_irandom_range, self, other, {R(1), R(6)})});
    const Value sprite_name = join({*text("spr_"), *name, *text("_"), *look});
    tsl::set(self, v_sprite_index, *asset(self, other, RV_StringText(*sprite_name)));
  }
  scope.line(3);
  tsl::set(self, v_gold, *member(data, v_gold));
  scope.line(4);
  set(self, v_curveAsset, 0);
  tsl::set(self, v_curvePosition, *tsl::call(f_random_range, self, other, {R(0), R(1)}));
  set(self, v_curveSpeed, real(self, v_move_speed) / 60);
  set(self, v_glow_intensity, 0);
  set(self, v_curveValue, 0);
  tsl::set(self, v_curveStruct, *tsl::call(f_animcurve_get, self, other, {*tsl::get(self, v_curveAsset)}));
  tsl::set(self, v_channel,
           *tsl::call(f_animcurve_get_channel, self, other, {*tsl::get(self, v_curveStruct), *text("walk")}));
  scope.line(5);
  new_machine(self, "normal");
  add_state(self, other, "normal",
            {{"step", tsl_Script_obj_enemy_normal_step}, {"draw", tsl_Script_obj_enemy_normal_draw}});
  add_state(self, other, "dead",
            {{"enter", tsl_Script_obj_enemy_dead_enter}, {"step", tsl_Script_obj_enemy_dead_step},
             {"draw", tsl_Script_obj_enemy_dead_draw}});
  return scope.result();
}

// damage(amount, knockback): pushed right by the knockback; at 0 hp it dies and pays its gold and
// score, once, since a dead enemy is never struck again.
RValue* tsl_Script_obj_enemy_damage(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_damage", self, result);
  CInstance* global = tsl::global();
  scope.line(1);
  add_to(self, v_x, Value::Copy(tsl::arg(argc, argv, 1)));
  scope.line(2);
  set(self, v_hp, std::fmax(0, real(self, v_hp) - RV_ToDouble(tsl::arg(argc, argv, 0))));
  scope.line(3);
  if (eq(real(self, v_hp), 0)) {
    die(self, other);
    add_to(global, v_gold, tsl::get(self, v_gold));
    add_to(global, v_score, tsl::get(self, v_score_value));
  }
  scope.line(4);
  set(self, v_draw_scale, 1.1);
  set(self, v_damage_timer, 5);
  return scope.result();
}

// normal, step: the sway, the flash and scale settling, then the walk: blocked by the first tower of
// the lane whose right edge it reaches (laid against that edge, hitting when its cooldown is out),
// else a step left; at the left edge the run is lost and every enemy dies.
RValue* tsl_Script_obj_enemy_normal_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_normal_step", self, result);
  scope.line(1);
  const Value name = tsl::get(self, v_name);
  if (is_text(name, "grunt") || is_text(name, "brute")) {
    set(self, v_curvePosition, std::fmin(real(self, v_curvePosition) + real(self, v_curveSpeed), 1));
    tsl::set(self, v_curveValue,
             *tsl::call(f_animcurve_channel_evaluate, self, other,
                        {*tsl::get(self, v_channel), *tsl::get(self, v_curvePosition)}));
    if (ge(real(self, v_curvePosition), 1)) set(self, v_curvePosition, 0);
  }
  scope.line(2);
  tsl::set(self, v_image_angle, *tsl::get(self, v_curveValue));
  scope.line(3);
  tsl::set(self, v_draw_scale, *tsl::call(f_lerp, self, other, {*tsl::get(self, v_draw_scale), R(1), R(0.15)}));
  scope.line(4);
  set(self, v_damage_timer, std::fmax(0, real(self, v_damage_timer) - 1));
  scope.line(5);
  bool can_move = true;
  for (KVWith w(&self, &other, kObjTower); w.Next();) {
    scope.line(6);
    // self is the tower, other the enemy.
    if (in_state(self, self, other, "placing") || !eq(real(self, v_y), real(other, v_y))) continue;
    const double edge = real(self, v_x) + real(self, v_x_offset);
    if (!ge(edge, real(other, v_x) - real(other, v_sprite_width) / 2 - real(other, v_move_speed))) continue;
    can_move = false;
    set(other, v_x, edge + real(other, v_sprite_width) / 2);
    tsl::set(other, v_target, *tsl::get(self, v_id));
    if (eq(real(other, v_attack_cooldown), 0)) {
      tsl::call_method(*tsl::get(self, v_damage), self, other, {*tsl::get(other, v_attack_damage)});
      tsl::set(other, v_attack_cooldown, *tsl::get(other, v_attack_speed));
    }
    break;
  }
  scope.line(7);
  if (can_move) set(self, v_x, real(self, v_x) - real(self, v_move_speed));
  scope.line(8);
  if (le(real(self, v_x), kEnemyEscapeX)) {
    tsl::set(tsl::global(), v_loss, RV_Bool(true));
    tsl::call(f_audio_stop_sound, self, other, {R(kSoundMusic)});
    play_sound(self, other, R(kSoundBreach));
    for (KVWith w(&self, &other, kObjEnemy); w.Next();) die(self, other);
  }
  return scope.result();
}

// normal, draw: the rocking sprite, white while it flashes, and its health bar.
RValue* tsl_Script_obj_enemy_normal_draw(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_normal_draw", self, result);
  scope.line(1);
  const bool flashing = flash_begin(self, other);
  const double scale = real(self, v_draw_scale);
  draw_sprite_ext(self, other, *tsl::get(self, v_sprite_index), *tsl::get(self, v_image_index), real(self, v_x),
                  real(self, v_y), scale, scale, real(self, v_image_angle), kColourWhite, 1);
  flash_end(self, other, flashing);
  scope.line(2);
  draw_health_bar(self, other, real(self, v_y) - real(self, v_sprite_height) / 2 - 6);
  return scope.result();
}

RValue* tsl_Script_obj_enemy_dead_enter(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_dead_enter", self, result);
  scope.line(1);
  set_flag(self, v_animation_end_trigger, false);
  return scope.result();
}

// dead, step: fades out in 20 frames, then goes.
RValue* tsl_Script_obj_enemy_dead_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_dead_step", self, result);
  scope.line(1);
  fade_out(self, other);
  return scope.result();
}

// dead, draw: the fading sprite, without the bar.
RValue* tsl_Script_obj_enemy_dead_draw(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_enemy_dead_draw", self, result);
  scope.line(1);
  const double scale = real(self, v_draw_scale);
  draw_sprite_ext(self, other, *tsl::get(self, v_sprite_index), *tsl::get(self, v_image_index), real(self, v_x),
                  real(self, v_y), scale, scale, real(self, v_image_angle), kColourWhite, real(self, v_alpha));
  return scope.result();
}

void tsl_Object_obj_enemy_Create_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_enemy_Create_0", self);
  scope.line(1);
  set_flag(self, v_animation_end_trigger, false);
  set(self, v_draw_scale, 1);
  set(self, v_damage_timer, 0);
  set(self, v_alpha, 1);
  tsl::set(self, v_target, RV_Undefined());
  set(self, v_attack_cooldown, 0);
  scope.line(2);
  tsl::set(self, v_initialise, *method(tsl_Script_obj_enemy_initialise, self));
  tsl::set(self, v_damage, *method(tsl_Script_obj_enemy_damage, self));
}

// The machine's step in every state, then the blow's cooldown runs down.
void tsl_Object_obj_enemy_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_enemy_Step_0", self);
  scope.line(1);
  fsm(self, other, v_step);
  scope.line(2);
  set(self, v_attack_cooldown, std::fmax(0, real(self, v_attack_cooldown) - 1));
}

void tsl_Object_obj_enemy_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_enemy_Draw_0", self);
  scope.line(1);
  fsm(self, other, v_draw);
}

void tsl_Object_obj_enemy_Other_7(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_enemy_Other_7", self);
  scope.line(1);
  set_flag(self, v_animation_end_trigger, true);
}
