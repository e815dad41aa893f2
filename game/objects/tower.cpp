// obj_tower: a tower of any kind on the board, and the ghost of a bought tower until the player
// puts it down on a free cell or takes it back for a refund. Its life runs on the states idle
// (cooling down, then watching its lane), attacking (the firing animation; the shot leaves at the
// kind's attack_frame), dead (fading out over 20 frames) and placing (following the cursor).
#include <algorithm>
#include <cmath>

#include "objects/combat.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"

using namespace game;

namespace {

#define TOWER_VARIABLES(X)                                                                             \
  X(attack_cooldown) X(animation_end_trigger) X(attack_done_trigger) X(draw_scale) X(alpha)           \
  X(damage_timer) X(valid) X(initialise) X(damage) X(data) X(name) X(hp) X(attack_damage)               \
  X(sprite) X(sprite_index) X(base_attack_cooldown) X(attack_frame) X(range) X(x_offset) X(cost)      \
  X(x) X(y) X(image_index) X(sprite_width) X(sprite_height) X(step) X(draw) X(change) X(gold)          \
  X(towers) X(colour)
#define TOWER_BUILTINS(X)                                                                              \
  X(instance_create_depth) X(instance_destroy) X(input_cursor_x) X(input_cursor_y) X(input_check_pressed)
GAME_CODE_ENTRIES(TOWER_VARIABLES, TOWER_BUILTINS)

// Where a tower may be put down: the board's 3 x 4 cells.
constexpr double kBoardLeft = 0;
constexpr double kBoardRight = kBoardColumns * kCellSize;
constexpr double kBoardBottom = kBoardTop + kBoardRows * kCellSize;

// sprite_index = the asset "spr_" + name + suffix.
void show_sprite(CInstance* self, CInstance* other, const char* suffix) {
  const Value sprite = asset(self, other, RV_StringText(*join({*text("spr_"), *tsl::get(self, v_name), *text(suffix)})));
  tsl::set(self, v_sprite_index, *sprite);
}

// The firing animation (also the wreck), with both triggers down.
void firing_pose(CInstance* self, CInstance* other) {
  set_flag(self, v_animation_end_trigger, false);
  set_flag(self, v_attack_done_trigger, false);
  show_sprite(self, other, "");
}

// The asset "sound_" + name + "_fire".
void play_fire_sound(CInstance* self, CInstance* other, const Value& name) {
  play_sound(self, other, *asset(self, other, RV_StringText(*join({*text("sound_"), *name, *text("_fire")}))));
}

void change_state(CInstance* self, CInstance* other, const char* state) {
  fsm(self, other, v_change, {*text(state)});
}

}  // namespace

// initialise(data): the kind's values, then the machine with its four states; idle is entered.
RValue* tsl_Script_obj_tower_initialise(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_initialise", self, result);
  const Value data = Value::Copy(tsl::arg(argc, argv, 0));
  scope.line(1);
  take_record(self, data);
  tsl::set(self, v_attack_damage, *member(data, v_damage));
  tsl::set(self, v_sprite, *member(data, v_sprite));
  show_sprite(self, other, "_idle");
  tsl::set(self, v_base_attack_cooldown, *member(data, v_attack_cooldown));
  tsl::set(self, v_attack_frame, *member(data, v_attack_frame));
  tsl::set(self, v_range, *member(data, v_range));
  tsl::set(self, v_x_offset, *member(data, v_x_offset));
  tsl::set(self, v_cost, *member(data, v_cost));
  scope.line(2);
  new_machine(self, "idle");
  add_state(self, other, "idle",
            {{"enter", tsl_Script_obj_tower_idle_enter}, {"step", tsl_Script_obj_tower_idle_step},
             {"draw", tsl_Script_obj_tower_draw}});
  add_state(self, other, "attacking",
            {{"enter", tsl_Script_obj_tower_attacking_enter}, {"step", tsl_Script_obj_tower_attacking_step},
             {"draw", tsl_Script_obj_tower_draw}});
  add_state(self, other, "dead",
            {{"enter", tsl_Script_obj_tower_dead_enter}, {"step", tsl_Script_obj_tower_dead_step},
             {"draw", tsl_Script_obj_tower_draw}});
  add_state(self, other, "placing",
            {{"enter", tsl_Script_obj_tower_idle_enter}, {"step", tsl_Script_obj_tower_placing_step},
             {"draw", tsl_Script_obj_tower_draw}});
  return scope.result();
}

// damage(amount): hp falls to 0 at least; at 0 the tower dies. Every hit flashes it and leaves it
// drawn a little larger.
RValue* tsl_Script_obj_tower_damage(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_damage", self, result);
  scope.line(1);
  set(self, v_hp, std::fmax(0, real(self, v_hp) - RV_ToDouble(tsl::arg(argc, argv, 0))));
  scope.line(2);
  if (eq(real(self, v_hp), 0)) change_state(self, other, "dead");
  scope.line(3);
  set(self, v_draw_scale, 1.1);
  set(self, v_damage_timer, 5);
  return scope.result();
}

// idle and placing, enter: the rest pose; back from firing, the full cooldown starts.
RValue* tsl_Script_obj_tower_idle_enter(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_idle_enter", self, result);
  scope.line(1);
  if (!is_undefined(get_if_set(self, v_name))) show_sprite(self, other, "_idle");
  scope.line(2);
  const Value base = get_if_set(self, v_base_attack_cooldown);
  if (!is_undefined(base)) tsl::set(self, v_attack_cooldown, *base);
  return scope.result();
}

// idle, step: the cooldown runs down; at 0 the first enemy on the lane within range (ahead or
// behind: only the distance to the right is bounded) starts the firing.
RValue* tsl_Script_obj_tower_idle_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_idle_step", self, result);
  scope.line(1);
  set(self, v_attack_cooldown, std::fmax(0, real(self, v_attack_cooldown) - 1));
  set(self, v_damage_timer, std::fmax(0, real(self, v_damage_timer) - 1));
  scope.line(2);
  if (!eq(real(self, v_attack_cooldown), 0)) return scope.result();
  bool found = false;
  for (KVWith w(&self, &other, kObjEnemy); w.Next();) {
    scope.line(3);
    if (le(real(self, v_x) - real(other, v_x), real(other, v_range)) && eq(real(self, v_y), real(other, v_y))) {
      found = true;
      break;
    }
  }
  scope.line(4);
  if (found) change_state(self, other, "attacking");
  return scope.result();
}

// attacking, enter: the firing animation; the onager's sound plays
// as it winds up, the others' when the shot leaves.
RValue* tsl_Script_obj_tower_attacking_enter(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_attacking_enter", self, result);
  scope.line(1);
  firing_pose(self, other);
  scope.line(2);
  const Value name = tsl::get(self, v_name);
  if (is_text(name, "onager")) play_fire_sound(self, other, name);
  return scope.result();
}

// attacking, step: at the kind's attack_frame one projectile leaves from the tower's front; at the
// animation's end the tower goes back to idle.
RValue* tsl_Script_obj_tower_attacking_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_attacking_step", self, result);
  scope.line(1);
  set(self, v_damage_timer, std::fmax(0, real(self, v_damage_timer) - 1));
  set(self, v_damage_timer, std::fmax(0, real(self, v_damage_timer) - 1));
  scope.line(2);
  if (eq(std::floor(real(self, v_image_index)), real(self, v_attack_frame)) &&
      !RV_ToBool(*tsl::get(self, v_attack_done_trigger))) {
    scope.line(3);
    const Value shot = tsl::call(f_instance_create_depth, self, other,
                                 {R(real(self, v_x) + real(self, v_sprite_width) / 2), *tsl::get(self, v_y), R(0),
                                  R(kObjProjectile)});
    scope.line(4);
    call_member(shot, v_initialise, self, other, {*tsl::get(self, v_data)});
    scope.line(5);
    set_flag(self, v_attack_done_trigger, true);
    scope.line(6);
    const Value name = tsl::get(self, v_name);
    if (is_text(name, "scorpion") || is_text(name, "ballista") || is_text(name, "catapault")) {
      play_fire_sound(self, other, name);
    }
  }
  scope.line(7);
  if (RV_ToBool(*tsl::get(self, v_animation_end_trigger))) {
    set_flag(self, v_animation_end_trigger, false);
    change_state(self, other, "idle");
  }
  return scope.result();
}

// dead, enter: the firing sprite stands for the wreck.
RValue* tsl_Script_obj_tower_dead_enter(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_dead_enter", self, result);
  scope.line(1);
  firing_pose(self, other);
  return scope.result();
}

// dead, step: fades out in 20 frames, then goes; its cell on the board stays taken.
RValue* tsl_Script_obj_tower_dead_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_dead_step", self, result);
  scope.line(1);
  set(self, v_damage_timer, std::fmax(0, real(self, v_damage_timer) - 1));
  scope.line(2);
  fade_out(self, other);
  return scope.result();
}

// placing, step: the ghost snaps to a free cell under the cursor and follows it freely off the
// board; refund gives the cost back and removes it (and wins over a select of the same frame),
// select on a free cell puts it down.
RValue* tsl_Script_obj_tower_placing_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_placing_step", self, result);
  CInstance* global = tsl::global();
  scope.line(1);
  const double cursor_x = tsl::call(f_input_cursor_x, self, other).real();
  const double cursor_y = tsl::call(f_input_cursor_y, self, other).real();
  int32_t row = 0;
  int32_t column = 0;
  if (lt(cursor_x, kBoardLeft) || gt(cursor_x, kBoardRight) || lt(cursor_y, kBoardTop) || gt(cursor_y, kBoardBottom)) {
    scope.line(2);
    set(self, v_x, cursor_x);
    set(self, v_y, cursor_y);
    set_flag(self, v_valid, false);
  } else {
    scope.line(3);
    column = std::clamp(static_cast<int32_t>(cursor_x) / static_cast<int32_t>(kCellSize), 0, kBoardColumns - 1);
    row = std::clamp(static_cast<int32_t>(cursor_y - kBoardTop) / static_cast<int32_t>(kCellSize), 0, kBoardRows - 1);
    const Value cells = tsl::get(global, v_towers);
    const Value cell = Value::Copy(*RV_ArrayElementForRead(RV_ArrayElementForRead(const_cast<RValue*>(cells.get()), row), column));
    if (is_undefined(cell)) {
      set_flag(self, v_valid, true);
      set(self, v_x, Board_ColumnX(column));
      set(self, v_y, Board_RowY(row));
    } else {
      set_flag(self, v_valid, false);
    }
  }
  scope.line(4);
  if (RV_ToBool(*tsl::call(f_input_check_pressed, self, other, {*text("refund")}))) {
    Value gold = tsl::get(global, v_gold);
    RV_AddAssign(gold.get(), tsl::get(self, v_cost).get());
    tsl::set(global, v_gold, *gold);
    buttons_available(self, other);
    tsl::call(f_instance_destroy, self, other);
    // A select in the same frame must not claim the cell for a tower that is gone.
    return scope.result();
  }
  scope.line(5);
  if (RV_ToBool(*tsl::get(self, v_valid)) &&
      RV_ToBool(*tsl::call(f_input_check_pressed, self, other, {*text("select")}))) {
    change_state(self, other, "idle");
    buttons_available(self, other);
    set_cell(global, v_towers, row, column, *tsl::get(self, v_name));
  }
  return scope.result();
}

// The draw of every state: the sprite at the tower's scale and opacity, white while it flashes. A
// ghost also shows whether its cell is free, tinted green over a free cell and red elsewhere.
RValue* tsl_Script_obj_tower_draw(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_tower_draw", self, result);
  scope.line(1);
  const bool flashing = flash_begin(self, other);
  const double scale = real(self, v_draw_scale);
  const Value sprite = tsl::get(self, v_sprite_index);
  const Value image = tsl::get(self, v_image_index);
  const double x = real(self, v_x);
  const double y = real(self, v_y);
  draw_sprite_ext(self, other, *sprite, *image, x, y, scale, scale, 0, kColourWhite, real(self, v_alpha));
  flash_end(self, other, flashing);
  scope.line(2);
  if (in_state(self, self, other, "placing")) {
    tsl::set(self, v_colour, R(RV_ToBool(*tsl::get(self, v_valid)) ? kColourGreen : kColourRed));
    draw_sprite_ext(self, other, *sprite, *image, x, y, scale, scale, 0, real(self, v_colour), real(self, v_alpha) * 0.5);
  }
  return scope.result();
}

void tsl_Object_obj_tower_Create_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_tower_Create_0", self);
  scope.line(1);
  set(self, v_attack_cooldown, 0);
  set_flag(self, v_animation_end_trigger, false);
  set_flag(self, v_attack_done_trigger, false);
  set(self, v_draw_scale, 1);
  set(self, v_alpha, 1);
  set(self, v_damage_timer, 0);
  set_flag(self, v_valid, false);
  scope.line(2);
  tsl::set(self, v_initialise, *method(tsl_Script_obj_tower_initialise, self));
  tsl::set(self, v_damage, *method(tsl_Script_obj_tower_damage, self));
}

void tsl_Object_obj_tower_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_tower_Step_0", self);
  scope.line(1);
  fsm(self, other, v_step);
}

void tsl_Object_obj_tower_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_tower_Draw_0", self);
  scope.line(1);
  fsm(self, other, v_draw);
}

// The health bar above the sprite, drawn over everything, also for a ghost.
void tsl_Object_obj_tower_Draw_73(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_tower_Draw_73", self);
  scope.line(1);
  draw_health_bar(self, other, real(self, v_y) - real(self, v_sprite_height) / 2 - 4);
}

void tsl_Object_obj_tower_Other_7(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_tower_Other_7", self);
  scope.line(1);
  set_flag(self, v_animation_end_trigger, true);
}
