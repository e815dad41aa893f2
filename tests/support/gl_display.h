#pragma once
// Windows made from here on open on the SDL window host with the OpenGL device on its render
// thread, as the runner opens them, under the test's display (a test skips when
// Window_State().real_display is false).
#include "graphics/window.h"
#include "platform/fake/fake_display.h"
#include "platform/gl/gl_device.h"
#include "platform/sdl/sdl_window_host.h"

inline void UseGlDisplay() {
  Window_UsePlatform(nullptr, nullptr);
  Window_SetDisplayPlatform(DisplayPlatform{{SdlWindowHost_Create, GlDevice_CreateThreaded}, FakeDisplay_Backend()});
}
