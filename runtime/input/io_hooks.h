#pragma once
// What IO_Init plugs into the rest of the runtime: the window's input sink, the keyboard and mouse
// stages of the frame step, the room's clearing hooks and the builtin variables keyboard_key,
// keyboard_lastkey, keyboard_lastchar, keyboard_string, mouse_x, mouse_y, mouse_button and
// mouse_lastbutton. IO_RemoveHooks takes the sink and the stages away again.
void IO_InstallHooks();
void IO_RemoveHooks();
