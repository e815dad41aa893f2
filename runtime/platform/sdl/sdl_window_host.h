#pragma once
// The SDL2 window host: one SDL window with an OpenGL 3.3 core context made current on the main
// thread. SDL's video subsystem starts on the first call that needs it; a machine without a
// display makes Open fail (the caller then runs without a window). Keys arrive as the runtime's
// virtual-key numbers (letters upper case, digits, F1 112 ...), mapped here from SDL key codes.
#include <memory>

#include "platform/window_host.h"

std::unique_ptr<IWindowHost> SdlWindowHost_Create();

// The virtual-key number of an SDL key code; 0 for keys the runtime has no number for.
int SdlWindowHost_VirtualKey(int sdl_keycode);
