// obj_projectile: a tower's shot. It flies right along its lane and, each step, tests the line to
// its next position against enemies; of those it crosses, the one with the lowest x that isn't
// dead takes the hit, and the shot stays there for the rest of its animation. A shot a sprite's
// size out of the screen goes.
#include "objects/combat.h"
#include "scripts/game_code.h"

using namespace game;

namespace {

#define PROJECTILE_VARIABLES(X)                                                                        \
  X(future_x) X(collision_list) X(animation_end_trigger) X(initialise) X(name) X(sprite_index) X(damage) \
  X(knockback) X(projectile_speed) X(x) X(y) X(sprite_width) X(sprite_height) X(step) X(draw) X(change)
#define PROJECTILE_BUILTINS(X)                                                                         \
  X(ds_list_create) X(ds_list_destroy) X(ds_list_clear) X(ds_list_find_value) X(collision_line_list)     \
  X(array_create) X(array_sort) X(instance_exists) X(instance_destroy) X(choose) X(draw_self)
GAME_CODE_ENTRIES(PROJECTILE_VARIABLES, PROJECTILE_BUILTINS)

constexpr double kScreenWidth = 640;
constexpr double kScreenHeight = 360;
// The three impact sounds, one chosen at random for each hit.
constexpr double kSoundImpacts[] = {2, 11, 3};

}  // namespace

// initialise(data) with the firing tower's record: its shot's look, damage, knockback and speed.
RValue* tsl_Script_obj_projectile_initialise(CInstance* self, CInstance* other, RValue* result, int argc,
                                             RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_projectile_initialise", self, result);
  const Value data = Value::Copy(tsl::arg(argc, argv, 0));
  scope.line(1);
  const Value sprite_name = join({*text("spr_"), *member(data, v_name), *text("_projectile")});
  tsl::set(self, v_sprite_index, *asset(self, other, RV_StringText(*sprite_name)));
  tsl::set(self, v_damage, *member(data, v_damage));
  tsl::set(self, v_knockback, *member(data, v_knockback));
  tsl::set(self, v_projectile_speed, *member(data, v_projectile_speed));
  scope.line(2);
  new_machine(self, "normal");
  add_state(self, other, "normal",
            {{"step", tsl_Script_obj_projectile_normal_step}, {"draw", tsl_Script_obj_projectile_draw}});
  add_state(self, other, "dead",
            {{"enter", tsl_Script_obj_projectile_dead_enter}, {"step", tsl_Script_obj_projectile_dead_step},
             {"draw", tsl_Script_obj_projectile_draw}});
  return scope.result();
}

// normal, step: out of the screen it goes; else the enemies on the line to the next position, by
// x, nearest the tower first, and the first living one is struck.
RValue* tsl_Script_obj_projectile_normal_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_projectile_normal_step", self, result);
  scope.line(1);
  const double x = real(self, v_x);
  const double y = real(self, v_y);
  const double width = real(self, v_sprite_width);
  const double height = real(self, v_sprite_height);
  if (lt(x - width, 0) || gt(x + width, kScreenWidth) || lt(y - height, 0) || gt(y + height, kScreenHeight)) {
    tsl::call(f_instance_destroy, self, other);
    return scope.result();
  }
  scope.line(2);
  tsl::set(self, v_future_x, R(x + real(self, v_projectile_speed)));
  scope.line(3);
  const Value list = tsl::get(self, v_collision_list);
  tsl::call(f_ds_list_clear, self, other, {*list});
  scope.line(4);
  const Value count = tsl::call(f_collision_line_list, self, other,
                                {R(x), R(y), *tsl::get(self, v_future_x), R(y), R(kObjEnemy), RV_Bool(true),
                                 RV_Bool(true), *list, RV_Bool(true)});
  scope.line(5);
  const int32_t hits = RV_ToInt32(*count);
  Value found = tsl::call(f_array_create, self, other, {*count});
  for (int32_t i = 0; i < hits; ++i) {
    const Value element = tsl::call(f_ds_list_find_value, self, other, {*list, R(i)});
    RV_ArrayWrite(found.get(), i, element.get());
  }
  tsl::call(f_array_sort, self, other, {*found, *method(tsl_Script_obj_projectile_compare_x, self)});
  scope.line(6);
  if (gt(count.real(), 0)) {
    for (int32_t i = 0; i < hits; ++i) {
      const Value element = Value::Copy(*RV_ArrayElementForRead(found.get(), i));
      if (!RV_ToBool(*tsl::call(f_instance_exists, self, other, {*element}))) continue;
      if (in_state(instance_of(element), self, other, "dead")) continue;
      call_member(element, v_damage, self, other, {*tsl::get(self, v_damage), *tsl::get(self, v_knockback)});
      fsm(self, other, v_change, {*text("dead")});
      play_sound(self, other,
                 *tsl::call(f_choose, self, other, {R(kSoundImpacts[0]), R(kSoundImpacts[1]), R(kSoundImpacts[2])}));
      break;
    }
  }
  scope.line(7);
  tsl::set(self, v_x, *tsl::get(self, v_future_x));
  return scope.result();
}

RValue* tsl_Script_obj_projectile_dead_enter(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_projectile_dead_enter", self, result);
  scope.line(1);
  set_flag(self, v_animation_end_trigger, false);
  return scope.result();
}

// dead, step: the shot stays until its animation ends.
RValue* tsl_Script_obj_projectile_dead_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_projectile_dead_step", self, result);
  scope.line(1);
  if (RV_ToBool(*tsl::get(self, v_animation_end_trigger))) tsl::call(f_instance_destroy, self, other);
  return scope.result();
}

RValue* tsl_Script_obj_projectile_draw(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_projectile_draw", self, result);
  scope.line(1);
  tsl::call(f_draw_self, self, other);
  return scope.result();
}

// The order of the struck: a.x - b.x, the smallest x first.
RValue* tsl_Script_obj_projectile_compare_x(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_projectile_compare_x", self, result);
  scope.line(1);
  const double a = member(Value::Copy(tsl::arg(argc, argv, 0)), v_x).real();
  const double b = member(Value::Copy(tsl::arg(argc, argv, 1)), v_x).real();
  return scope.give(Value::Real(a - b));
}

void tsl_Object_obj_projectile_Create_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_projectile_Create_0", self);
  scope.line(1);
  tsl::set(self, v_future_x, *tsl::get(self, v_x));
  tsl::set(self, v_collision_list, *tsl::call(f_ds_list_create, self, other));
  set_flag(self, v_animation_end_trigger, false);
  scope.line(2);
  tsl::set(self, v_initialise, *method(tsl_Script_obj_projectile_initialise, self));
}

void tsl_Object_obj_projectile_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_projectile_Step_0", self);
  scope.line(1);
  fsm(self, other, v_step);
}

void tsl_Object_obj_projectile_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_projectile_Draw_0", self);
  scope.line(1);
  fsm(self, other, v_draw);
}

void tsl_Object_obj_projectile_Other_7(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_projectile_Other_7", self);
  scope.line(1);
  set_flag(self, v_animation_end_trigger, true);
}

void tsl_Object_obj_projectile_CleanUp_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_projectile_CleanUp_0", self);
  scope.line(1);
  tsl::call(f_ds_list_destroy, self, other, {*tsl::get(self, v_collision_list)});
}
