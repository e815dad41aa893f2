// The gamepad_* builtins.
#include <algorithm>
#include <fstream>
#include <sstream>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/rvalue.h"
#include "input/fn_input.h"
#include "input/gamepad.h"

namespace {

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

int32_t arg_int(int argc, RValue* argv, int n) { return n < argc ? KVGetInt32(argv, n) : 0; }
double arg_real(int argc, RValue* argv, int n) { return n < argc ? KVGetReal(argv, n) : 0.0; }
const char* arg_text(int argc, RValue* argv, int n) { return n < argc ? KVGetString(argv, n) : ""; }
void real(RValue* result, double value) { *result = RV_Real(value); }
void text(RValue* result, const std::string& value) { RV_SetString(result, value.c_str()); }

// The slot of argument 0 for calls that need a device: null outside the table or without pad
// support, which is reported once.
GamePad* device_slot(int argc, RValue* argv) {
  if (!GamePads_Supported()) {
    static bool reported = false;
    if (!reported) {
      reported = true;
      g_ReleaseConsole->Output("!!!!! %s not found. Gamepad support disabled\n", "SDL2 game controller support");
    }
    return nullptr;
  }
  return GamePads_Slot(arg_int(argc, argv, 0));
}

KV_BUILTIN(F_GamepadIsSupported) { real(result, GamePads_Supported() ? 1.0 : 0.0); }
KV_BUILTIN(F_GamepadGetDeviceCount) { real(result, GamePads_Count()); }
KV_BUILTIN(F_GamepadIsConnected) {
  const GamePad* pad = device_slot(argc, argv);
  real(result, pad != nullptr && pad->connected ? 1.0 : 0.0);
}
KV_BUILTIN(F_GamepadGetDescription) {
  const GamePad* pad = device_slot(argc, argv);
  text(result, pad != nullptr ? pad->description : "");
}
KV_BUILTIN(F_GamepadGetGuid) {
  const GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  if (pad == nullptr) {
    text(result, "device index out of range");
  } else {
    text(result, pad->guid.empty() ? "none" : pad->guid);
  }
}
KV_BUILTIN(F_GamepadGetMapping) {
  const GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  if (pad == nullptr) {
    text(result, "device index out of range");
  } else {
    text(result, pad->mapping != nullptr ? GamePadMapping_Text(*pad->mapping) : "no mapping");
  }
}
KV_BUILTIN(F_GamepadTestMapping) {
  GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  *result = RV_Undefined();
  if (pad == nullptr) return;
  auto mapping = std::make_unique<GamePadMapping>();
  if (!GamePadMapping_Parse(arg_text(argc, argv, 1), mapping.get())) return;
  pad->ownMapping = std::move(mapping);
  pad->mapping = pad->ownMapping.get();
}
KV_BUILTIN(F_GamepadRemoveMapping) {
  GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  *result = RV_Undefined();
  if (pad == nullptr) return;
  pad->mapping = nullptr;
  pad->ownMapping.reset();
}
KV_BUILTIN(F_GamepadAddHardwareMappingFromString) {
  const std::string line = arg_text(argc, argv, 0);
  const int32_t added = GamePads_Database().AddText(line);
  if (added > 0) GamePads_AddHostMappings(line);
  *result = RV_Undefined();
}
KV_BUILTIN(F_GamepadAddHardwareMappingFromFile) {
  std::ifstream in(arg_text(argc, argv, 0), std::ios::binary);
  if (!in) {
    real(result, 0.0);
    return;
  }
  std::ostringstream contents;
  contents << in.rdbuf();
  const int32_t added = GamePads_Database().AddText(contents.str());
  if (added > 0) GamePads_AddHostMappings(contents.str());
  real(result, added);
}
KV_BUILTIN(F_GamepadGetHardwareMappings) { text(result, GamePads_Database().AllLines()); }

// A slot's setting of 0 to 1 (button threshold, axis dead zone); a value outside is an error.
void set_unit_setting(int argc, RValue* argv, float GamePad::*setting, const char* out_of_range) {
  GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  const double v = arg_real(argc, argv, 1);
  if (v < 0.0 || v > 1.0) {
    KVError("%s", out_of_range);
    return;
  }
  if (pad != nullptr) pad->*setting = static_cast<float>(v);
}

KV_BUILTIN(F_GamepadGetButtonThreshold) {
  const GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  real(result, pad != nullptr ? pad->buttonThreshold : 0.0);
}
KV_BUILTIN(F_GamepadSetButtonThreshold) {
  *result = RV_Undefined();
  set_unit_setting(argc, argv, &GamePad::buttonThreshold, "Button threshold is outside the accepted range");
}
KV_BUILTIN(F_GamepadGetAxisDeadzone) {
  const GamePad* pad = GamePads_Slot(arg_int(argc, argv, 0));
  real(result, pad != nullptr ? pad->axisDeadzone : 0.0);
}
KV_BUILTIN(F_GamepadSetAxisDeadzone) {
  *result = RV_Undefined();
  set_unit_setting(argc, argv, &GamePad::axisDeadzone, "Axis dead zone is outside the accepted range");
}

KV_BUILTIN(F_GamepadButtonCount) {
  const GamePad* pad = device_slot(argc, argv);
  real(result, pad != nullptr ? pad->buttonCount : 0);
}
KV_BUILTIN(F_GamepadAxisCount) {
  const GamePad* pad = device_slot(argc, argv);
  real(result, pad != nullptr ? pad->axisCount : 0);
}
KV_BUILTIN(F_GamepadHatCount) {
  const GamePad* pad = device_slot(argc, argv);
  real(result, pad != nullptr ? pad->hatCount : 0);
}

template <class Read>
void read_button(RValue* result, int argc, RValue* argv, Read read) {
  const GamePad* pad = device_slot(argc, argv);
  real(result, pad != nullptr ? static_cast<double>(read(*pad, arg_int(argc, argv, 0), arg_int(argc, argv, 1))) : 0.0);
}
KV_BUILTIN(F_GamepadButtonCheck) { read_button(result, argc, argv, GamePad_ButtonCheck); }
KV_BUILTIN(F_GamepadButtonCheckPressed) { read_button(result, argc, argv, GamePad_ButtonPressed); }
KV_BUILTIN(F_GamepadButtonCheckReleased) { read_button(result, argc, argv, GamePad_ButtonReleased); }
KV_BUILTIN(F_GamepadButtonValue) { read_button(result, argc, argv, GamePad_ButtonValue); }
KV_BUILTIN(F_GamepadAxisValue) { read_button(result, argc, argv, GamePad_AxisValue); }
KV_BUILTIN(F_GamepadHatValue) {
  const GamePad* pad = device_slot(argc, argv);
  const int32_t h = arg_int(argc, argv, 1);
  real(result, pad != nullptr && h >= 0 && h < static_cast<int32_t>(pad->hatNow.size()) ? pad->hatNow[static_cast<size_t>(h)] : 0);
}

KV_BUILTIN(F_GamepadSetVibration) {
  *result = RV_Undefined();
  GamePad* pad = device_slot(argc, argv);
  if (pad == nullptr) return;
  pad->vibrationLeft = std::clamp(static_cast<float>(arg_real(argc, argv, 1)), 0.0f, 1.0f);
  pad->vibrationRight = std::clamp(static_cast<float>(arg_real(argc, argv, 2)), 0.0f, 1.0f);
}
KV_BUILTIN(F_GamepadSetColour) { *result = RV_Undefined(); }

GamePadOption* find_option(GamePad* pad, const char* name) {
  if (pad == nullptr) return nullptr;
  for (GamePadOption& option : pad->options) {
    if (option.name == name) return &option;
  }
  return nullptr;
}
KV_BUILTIN(F_GamepadSetOption) {
  *result = RV_Undefined();
  const int32_t slot = arg_int(argc, argv, 0);
  const char* name = arg_text(argc, argv, 1);
  GamePadOption* option = find_option(GamePads_Slot(slot), name);
  if (option == nullptr) {
    g_ReleaseConsole->Output("Failed to set option '%s' for gamepad %d.\n", name, slot);
    return;
  }
  RV_FreeToUndefined(&option->value);
  if (argc > 2) RV_CopyRef(&option->value, &argv[2]);
  option->changed = true;
}
KV_BUILTIN(F_GamepadGetOption) {
  *result = RV_Undefined();
  const int32_t slot = arg_int(argc, argv, 0);
  const char* name = arg_text(argc, argv, 1);
  const GamePadOption* option = find_option(GamePads_Slot(slot), name);
  if (option == nullptr) {
    g_ReleaseConsole->Output("Could not get option '%s' for gamepad %d.\n", name, slot);
    return;
  }
  RV_CopyRef(result, &option->value);
}

#undef KV_BUILTIN

}  // namespace

void GamePad_RegisterBuiltins() {
  struct Row {
    const char* name;
    TSL_Builtin fn;
    int argc;
  };
  static const Row kRows[] = {
      {"gamepad_is_supported", F_GamepadIsSupported, 0},
      {"gamepad_get_device_count", F_GamepadGetDeviceCount, 0},
      {"gamepad_is_connected", F_GamepadIsConnected, 1},
      {"gamepad_get_description", F_GamepadGetDescription, 1},
      {"gamepad_get_guid", F_GamepadGetGuid, 1},
      {"gamepad_get_mapping", F_GamepadGetMapping, 1},
      {"gamepad_test_mapping", F_GamepadTestMapping, 2},
      {"gamepad_remove_mapping", F_GamepadRemoveMapping, 1},
      {"gamepad_add_hardware_mapping_from_string", F_GamepadAddHardwareMappingFromString, 1},
      {"gamepad_add_hardware_mapping_from_file", F_GamepadAddHardwareMappingFromFile, 1},
      {"gamepad_get_hardware_mappings", F_GamepadGetHardwareMappings, 0},
      {"gamepad_get_button_threshold", F_GamepadGetButtonThreshold, 1},
      {"gamepad_set_button_threshold", F_GamepadSetButtonThreshold, 2},
      {"gamepad_get_axis_deadzone", F_GamepadGetAxisDeadzone, 1},
      {"gamepad_set_axis_deadzone", F_GamepadSetAxisDeadzone, 2},
      {"gamepad_button_count", F_GamepadButtonCount, 1},
      {"gamepad_axis_count", F_GamepadAxisCount, 1},
      {"gamepad_hat_count", F_GamepadHatCount, 1},
      {"gamepad_button_check", F_GamepadButtonCheck, 2},
      {"gamepad_button_check_pressed", F_GamepadButtonCheckPressed, 2},
      {"gamepad_button_check_released", F_GamepadButtonCheckReleased, 2},
      {"gamepad_button_value", F_GamepadButtonValue, 2},
      {"gamepad_axis_value", F_GamepadAxisValue, 2},
      {"gamepad_hat_value", F_GamepadHatValue, 2},
      {"gamepad_set_vibration", F_GamepadSetVibration, 3},
      {"gamepad_set_color", F_GamepadSetColour, 2},
      {"gamepad_set_colour", F_GamepadSetColour, 2},
      {"gamepad_set_option", F_GamepadSetOption, 3},
      {"gamepad_get_option", F_GamepadGetOption, 2},
  };
  for (const Row& row : kRows) Function_Add(row.name, row.fn, row.argc, 0);
}
