// The entry point: the spine runs on this build's backends, the SDL2 window host with the OpenGL
// device on its render thread, and the fake host with the recording null device where no window
// can open; audio through OpenAL Soft; and on the compiled code of the manifest's function order.
#include "compiled_code.h"
#include "platform/al/al_audio.h"
#include "platform/fake/fake_display.h"
#include "platform/gl/gl_device.h"
#include "platform/sdl/sdl_window_host.h"
#include "run/run_game.h"

int main(int argc, char** argv) {
  g_CodeTables = Compiled_CodeTables();
  const DisplayPlatform platform{{SdlWindowHost_Create, GlDevice_CreateThreaded}, FakeDisplay_Backend()};
  return Kova_Main(argc, argv, platform, AlAudio_Platform());
}
