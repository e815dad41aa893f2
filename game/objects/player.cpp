// obj_player, a mounted bow on a SnowState machine: it aims at the cursor within 45 degrees either
// side of straight ahead, draws back while `select` is held (the frame of its sprite follows the
// draw), and when let go it eases back and looses one obj_arrow. A full draw stays armed; one shot
// ends its use. obj_arrow is a still sprite with no behaviour of its own: it only draws itself.
#include "scripts/game_code.h"

RValue* tsl_Script_obj_player_idle_step(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_obj_player_retracting_step(CInstance* self, CInstance* other, RValue* result, int argc,
                                              RValue** argv);
RValue* tsl_Script_obj_player_firing_step(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_obj_player_fire_enter(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_obj_player_draw(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_obj_player_nothing(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

namespace {

#define PLAYER_VARIABLES(X)                                                                                   \
  X(image_angle) X(retracting_time) X(retracting_speed) X(retraction) X(frame) X(strength) X(state)    \
  X(image_index) X(image_number) X(x) X(y) X(change) X(step) X(draw)
#define PLAYER_FUNCTIONS(X)                                                                              \
  X(clamp) X(angle_difference) X(point_direction) X(input_cursor_x) X(input_cursor_y) X(input_check) X(min) \
  X(max) X(round) X(lengthdir_x) X(lengthdir_y) X(instance_create_depth) X(draw_self)
GAME_CODE_ENTRIES(PLAYER_VARIABLES, PLAYER_FUNCTIONS)

using game::R;

constexpr double kObjArrow = 11;
constexpr double kArrowDistance = 43;
constexpr double kAimLimit = 45;

double real_of(CInstance* who, const KVVariableEntry& name) { return tsl::get(who, name).real(); }

bool select_held(CInstance* self, CInstance* other) {
  return RV_ToBool(*tsl::call(f_input_check, self, other, {*game::text("select")}));
}

void change(CInstance* self, CInstance* other, const char* state) {
  game::fsm(self, other, v_change, {*game::text(state)});
}

}  // namespace

void tsl_Object_obj_player_Create_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_player_Create_0", self);
  scope.line(1);
  tsl::set(self, v_image_angle, R(0));
  tsl::set(self, v_retracting_time, R(30));
  tsl::set(self, v_retracting_speed, R(1));
  tsl::set(self, v_retraction, R(0));
  tsl::set(self, v_frame, R(0));
  tsl::set(self, v_strength, R(0));
  tsl::set(self, v_state, *game::text("idle"));
  scope.line(2);
  game::new_machine(self, "idle");
  scope.line(3);
  const auto nothing = tsl_Script_obj_player_nothing;
  const auto draw = tsl_Script_obj_player_draw;
  game::add_state(self, other, "idle",
                  {{"enter", nothing}, {"leave", nothing}, {"step", tsl_Script_obj_player_idle_step}, {"draw", draw}});
  game::add_state(self, other, "retracting",
                  {{"enter", nothing}, {"leave", nothing}, {"step", tsl_Script_obj_player_retracting_step},
                   {"draw", draw}});
  game::add_state(self, other, "armed", {{"enter", nothing}, {"leave", nothing}, {"step", nothing}, {"draw", draw}});
  game::add_state(self, other, "firing",
                  {{"enter", nothing}, {"leave", nothing}, {"step", tsl_Script_obj_player_firing_step}, {"draw", draw}});
  game::add_state(self, other, "fire",
                  {{"enter", tsl_Script_obj_player_fire_enter}, {"leave", nothing}, {"step", nothing}, {"draw", draw}});
  game::add_state(self, other, "disabled",
                  {{"enter", nothing}, {"leave", nothing}, {"step", nothing}, {"draw", nothing}});
}

void tsl_Object_obj_player_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_player_Step_0", self);
  game::fsm(self, other, v_step);
}

void tsl_Object_obj_player_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_player_Draw_0", self);
  tsl::set(self, v_image_index, *tsl::get(self, v_frame));
  game::fsm(self, other, v_draw);
}

// idle: aims at the cursor, at most 45 degrees from straight ahead; select starts the draw.
RValue* tsl_Script_obj_player_idle_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_player_idle_step", self, result);
  scope.line(1);
  const tsl::Value cursor_x = tsl::call(f_input_cursor_x, self, other);
  const tsl::Value cursor_y = tsl::call(f_input_cursor_y, self, other);
  const tsl::Value direction =
      tsl::call(f_point_direction, self, other, {*tsl::get(self, v_x), *tsl::get(self, v_y), *cursor_x, *cursor_y});
  const tsl::Value difference = tsl::call(f_angle_difference, self, other, {*direction, R(0)});
  tsl::set(self, v_image_angle, *tsl::call(f_clamp, self, other, {*difference, R(-kAimLimit), R(kAimLimit)}));
  scope.line(2);
  if (select_held(self, other)) change(self, other, "retracting");
  return scope.result();
}

// retracting: the string comes back a step a frame while select is held, the sprite's frame
// following it; a full draw is armed, and letting go fires.
RValue* tsl_Script_obj_player_retracting_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_player_retracting_step", self, result);
  scope.line(1);
  if (select_held(self, other)) {
    const double time = real_of(self, v_retracting_time);
    tsl::set(self, v_retraction,
             *tsl::call(f_min, self, other, {R(real_of(self, v_retraction) + real_of(self, v_retracting_speed)), R(time)}));
    const double drawn = real_of(self, v_retraction) / time * (real_of(self, v_image_number) - 1);
    tsl::set(self, v_frame, *tsl::call(f_round, self, other, {R(drawn)}));
    if (game::eq(real_of(self, v_retraction), time)) change(self, other, "armed");
  } else {
    scope.line(2);
    change(self, other, "firing");
  }
  return scope.result();
}

// firing: the string eases forward a frame at a time; at rest the arrow leaves.
RValue* tsl_Script_obj_player_firing_step(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_player_firing_step", self, result);
  scope.line(1);
  tsl::set(self, v_frame, *tsl::call(f_max, self, other, {R(0), R(real_of(self, v_frame) - 1)}));
  if (game::eq(real_of(self, v_frame), 0)) change(self, other, "fire");
  return scope.result();
}

// fire, enter: an arrow 43 pixels out along the bow's angle.
RValue* tsl_Script_obj_player_fire_enter(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_player_fire_enter", self, result);
  const tsl::Value angle = tsl::get(self, v_image_angle);
  const double x = real_of(self, v_x) + tsl::call(f_lengthdir_x, self, other, {R(kArrowDistance), *angle}).real();
  const double y = real_of(self, v_y) + tsl::call(f_lengthdir_y, self, other, {R(kArrowDistance), *angle}).real();
  tsl::call(f_instance_create_depth, self, other, {R(x), R(y), R(0), R(kObjArrow)});
  return scope.result();
}

RValue* tsl_Script_obj_player_draw(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_player_draw", self, result);
  tsl::call(f_draw_self, self, other);
  return scope.result();
}

RValue* tsl_Script_obj_player_nothing(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_player_nothing", self, result);
  return scope.result();
}

// obj_arrow: no behaviour of its own; the arrow stays where the bow put it, drawn as a still sprite.
void tsl_Object_obj_arrow_Create_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_arrow_Create_0", self);
}

void tsl_Object_obj_arrow_Step_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_arrow_Step_0", self);
}

void tsl_Object_obj_arrow_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_arrow_Draw_0", self);
  tsl::call(f_draw_self, self, other);
}
