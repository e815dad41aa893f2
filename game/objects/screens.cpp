// obj_title_controller and obj_loss_controller: a screen that fades in from black, and on any key or
// mouse button fades out (the sound fading with it) and goes to the game room. Leaving the loss
// screen starts a new run: the run's globals go back to their starting values.
#include "scripts/game_code.h"
#include "scripts/globals.h"
#include "scripts/screen_text.h"

namespace {

#define SCREENS_VARIABLES(X) X(alpha) X(fadeout)
#define SCREENS_FUNCTIONS(X)                                                                                 \
  X(audio_set_master_gain) X(audio_get_master_gain) X(audio_stop_all) X(max) X(room_goto) \
  X(keyboard_check_pressed) X(mouse_check_button_pressed) X(draw_sprite)
GAME_CODE_ENTRIES(SCREENS_VARIABLES, SCREENS_FUNCTIONS)

using game::R;

constexpr double kRoomGame = 1;
constexpr double kSoundTitle = 1;
constexpr double kSoundLoss = 12;
constexpr double kSpriteFade = 15;
constexpr double kSpriteTitle = 38;
constexpr double kSpriteEmblem = 24;
constexpr double kSpriteLoss = 30;
constexpr double kFadeStep = 0.01;
constexpr double kAnyKey = 1;
constexpr double kAnyButton = -1;

void screen_create(CInstance* self, CInstance* other, double sound) {
  tsl::set(self, v_alpha, R(1));
  tsl::set(self, v_fadeout, RV_Bool(false));
  game::play_sound(self, other, R(sound));
}

// The fade of both screens; true in the frame in which the fade-out ends and the game room is asked
// for.
bool screen_step(CInstance* self, CInstance* other) {
  bool leaving = false;
  if (RV_ToBool(*tsl::get(self, v_fadeout))) {
    tsl::set(self, v_alpha, R(tsl::get(self, v_alpha).real() + kFadeStep));
    const double gain = tsl::call(f_audio_get_master_gain, self, other, {R(0)}).real();
    const tsl::Value lowered = tsl::call(f_max, self, other, {R(gain - kFadeStep), R(0)});
    tsl::call(f_audio_set_master_gain, self, other, {R(0), *lowered});
    if (game::ge(tsl::get(self, v_alpha).real(), 1)) {
      tsl::call(f_room_goto, self, other, {R(kRoomGame)});
      tsl::call(f_audio_stop_all, self, other);
      tsl::call(f_audio_set_master_gain, self, other, {R(0), R(1)});
      leaving = true;
    }
  } else {
    tsl::set(self, v_alpha, *tsl::call(f_max, self, other, {R(tsl::get(self, v_alpha).real() - kFadeStep), R(0)}));
  }
  if (RV_ToBool(*tsl::call(f_keyboard_check_pressed, self, other, {R(kAnyKey)})) ||
      RV_ToBool(*tsl::call(f_mouse_check_button_pressed, self, other, {R(kAnyButton)}))) {
    tsl::set(self, v_fadeout, RV_Bool(true));
  }
  return leaving;
}

void draw_sprite(CInstance* self, CInstance* other, double sprite, double x, double y) {
  tsl::call(f_draw_sprite, self, other, {R(sprite), R(0), R(x), R(y)});
}

// The black over the whole screen, at the screen's alpha.
void draw_fade(CInstance* self, CInstance* other) {
  game::draw_sprite_ext(self, other, R(kSpriteFade), R(0), 0, 0, 10, 5.625, 0, kColourWhite,
                        tsl::get(self, v_alpha).real());
}

}  // namespace

void tsl_Object_obj_title_controller_Create_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_title_controller_Create_0", self);
  screen_create(self, other, kSoundTitle);
}

void tsl_Object_obj_title_controller_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_title_controller_Step_0", self);
  screen_step(self, other);
}

void tsl_Object_obj_title_controller_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_title_controller_Draw_0", self);
  draw_sprite(self, other, kSpriteTitle, 320, 180);
  ScreenText_Continue(self, other);
  draw_sprite(self, other, kSpriteEmblem, 8, 20);
  ScreenText_Credit(self, other);
  draw_fade(self, other);
}

void tsl_Object_obj_loss_controller_Create_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_loss_controller_Create_0", self);
  screen_create(self, other, kSoundLoss);
}

void tsl_Object_obj_loss_controller_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_loss_controller_Step_0", self);
  if (screen_step(self, other)) Globals_StartRun();
}

void tsl_Object_obj_loss_controller_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_loss_controller_Draw_0", self);
  draw_sprite(self, other, kSpriteLoss, 320, 180);
  ScreenText_FinalScore(self, other);
  ScreenText_Continue(self, other);
  draw_fade(self, other);
}
