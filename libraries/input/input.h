#pragma once
// Input, the library between the device layer and the game: the game asks about verbs (named
// actions such as "select") instead of keys and buttons. Each public function `input_<name>` is the
// compiled script row `tsl_Script_input_<name>` of the script table; the library's start-up is the
// global script `__input_system`, which reads the configuration and the default bindings, makes the
// players, and starts a time source that ticks the library once a frame ahead of the step events,
// so no game object has to call it.
//
// State lives in the library (players, verb states, sources, gamepads, cursors); what scripts hold
// are bindings (structs made by `__input_class_binding`), sources (structs made by
// `__input_class_source`, in the globals __input_source_keyboard, __input_source_mouse and
// __input_source_gamepad) and combo definitions. Errors stop the game through show_error after the
// library's banner; warnings and notes go to the debug output with "Input: " in front. Time in the
// library is a frame count (__input_frame), raised once per tick. Main thread only.
#include "core/code_tables.h"

// The library's start-up (a global script row) and its tick (the time source's callback).
RValue* tsl_GlobalScript___input_system(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script___input_system_tick(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

// The reference entries of the library's code, null-terminated, for the program's code tables.
KVVariableEntry** Input_VariableEntries();
KVFunctionEntry** Input_FunctionEntries();
