#include "run/run_builtins.h"

#include "core/builtin_families.h"
#include "core/error.h"
#include "core/fn_math.h"
#include "core/fn_object.h"
#include "core/fn_random.h"
#include "core/fn_script.h"
#include "core/fn_string.h"
#include "core/fn_value.h"
#include "core/frame_state.h"
#include "core/frames.h"
#include "core/function_table.h"
#include "core/timing.h"
#include "data/asset_names.h"
#include "graphics/draw.h"
#include "graphics/texture_builtins.h"
#include "graphics/vertex_buffer.h"
#include "graphics/window.h"
#include "run/options.h"
#include "run/run_game.h"
#include "storage/fn_ds.h"
#include "storage/fn_json.h"
#include "world/time_source.h"

namespace {

void F_GameEnd(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  Game_End(argc > 0 ? KVGetInt32(argv, 0) : 0, argc > 0);
  *result = RV_Undefined();
}

void F_GameRestart(RValue* result, CInstance*, CInstance*, int, RValue*) {
  Game_Restart();
  *result = RV_Undefined();
}

void F_GameSetSpeed(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double value = KVGetReal(argv, 0);
  const int32_t type = KVGetInt32(argv, 1);
  *result = RV_Undefined();
  if (value < 0.0) KVError("game_set_speed() - game time can't run backwards");
  if (value == 0.0) {
    Run_GameTimer.fps = 0.0;
    return;
  }
  if (type == 0) Run_GameTimer.fps = value;
  if (type == 1) Run_GameTimer.fps = 1000000.0 / value;
}

void F_GameGetSpeed(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Real(GameTimer_GetSpeed(Run_GameTimer, KVGetInt32(argv, 0)));
}

// Swaps the checked builtins of the families that have unchecked twins for those twins.
void F_TslReleaseMode(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  DS_SetReleaseMode(argc > 0 && KVGetReal(argv, 0) >= 0.5);
  Vertex_SetReleaseMode(argc > 0 && KVGetReal(argv, 0) >= 0.5);
  *result = RV_Undefined();
}

void F_DisplaySetTimingMethod(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int32_t method = KVGetInt32(argv, 0);
  if (method == 0) SleepTimingForced = true;
  if (method == 1) SleepTimingForced = false;
  *result = RV_Undefined();
}

void F_DisplayGetTimingMethod(RValue* result, CInstance*, CInstance*, int, RValue*) {
  *result = RV_Real(SleepTimingForced ? 0.0 : 1.0);
}

void F_DisplayGetSleepMargin(RValue* result, CInstance*, CInstance*, int, RValue*) {
  *result = RV_Real(SleepMargin);
}

void F_DisplaySetSleepMargin(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  SleepMargin = KVGetInt32(argv, 0);
  *result = RV_Undefined();
}

void F_DisplayReset(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  Display_Reset(KVGetInt32(argv, 0), KVGetBool(argv, 1));
  *result = RV_Undefined();
}

}  // namespace

void Run_RegisterGameBuiltins() {
  Function_Add("game_end", F_GameEnd, -1, 0);
  Function_Add("game_restart", F_GameRestart, 0, 0);
  Function_Add("game_set_speed", F_GameSetSpeed, 2, 0);
  Function_Add("game_get_speed", F_GameGetSpeed, 1, 0);
  Function_Add("tsl_release_mode", F_TslReleaseMode, 1, 0);
}

void Run_RegisterDisplayTimingBuiltins() {
  Function_Add("display_set_timing_method", F_DisplaySetTimingMethod, 1, 0);
  Function_Add("display_get_timing_method", F_DisplayGetTimingMethod, 0, 0);
  Function_Add("display_get_sleep_margin", F_DisplayGetSleepMargin, 0, 0);
  Function_Add("display_set_sleep_margin", F_DisplaySetSleepMargin, 1, 0);
  Function_Add("display_reset", F_DisplayReset, 2, 0);
}

// Run_InstallBuiltinRegistrars is generated from the [registrars] section of assets/manifest.txt.
