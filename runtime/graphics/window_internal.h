#pragma once
// Pieces the window logic and the device frame share; not for other subsystems.
#include <cstdint>

#include "platform/device.h"
#include "platform/display.h"
#include "platform/window_host.h"

// The device installed by Window_UsePlatform, if any.
IDevice* Window_TestDevice();
// The backends handed in by Window_SetDisplayPlatform.
const DisplayPlatform& Window_Platform();
// Full screen in or out, or a new windowed size (the device reset's mode change).
void Window_ModeChange();
// The back buffer follows a new size: prints "Resizing swap chain...", reads the drawable size.
void Window_ResizeSwapChain(int32_t width, int32_t height);
// The main render target made again at the display size, cleared to black.
void Window_RecreateMainTarget();
// Closes the window and lets the host go.
void Window_CloseHost();
// The host cursor of a script cursor value; kCount for values that show none or change nothing.
WindowCursor Window_CursorFor(int32_t cursor);
