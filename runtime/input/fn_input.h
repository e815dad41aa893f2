#pragma once
// The builtins of the input devices: keyboard, mouse and pointer devices, virtual keys, io_clear,
// the gesture parameters and the device names this platform has nothing behind (Interaction), and
// the gamepad_* family (Gamepad). Argument reading lives here; the rules in io.h and gamepad.h.
void IO_RegisterBuiltins();
void GamePad_RegisterBuiltins();
