// obj_background, the battlefield picture behind everything, and obj_camera, which holds the
// quitting rule: the verb `cancel` ends the game from the game room.
#include "scripts/game_code.h"

namespace {

#define BACKDROP_VARIABLES(X) X(depth)
#define BACKDROP_FUNCTIONS(X) X(input_check_pressed) X(game_end)
GAME_CODE_ENTRIES(BACKDROP_VARIABLES, BACKDROP_FUNCTIONS)

using game::R;

constexpr double kSpriteBackground = 35;

}  // namespace

void tsl_Object_obj_background_Create_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_background_Create_0", self);
  tsl::set(self, v_depth, R(1000));
}

void tsl_Object_obj_background_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_background_Draw_0", self);
  game::draw_sprite_ext(self, other, R(kSpriteBackground), R(0), 0, 39, 1, 1, 0, kColourWhite, 1);
}

// The camera has no set-up of its own; screenshake writes its shake variables.
void tsl_Object_obj_camera_Create_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_camera_Create_0", self);
}

void tsl_Object_obj_camera_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_camera_Step_0", self);
  if (RV_ToBool(*tsl::call(f_input_check_pressed, self, other, {*game::text("cancel")}))) {
    tsl::call(f_game_end, self, other);
  }
}
