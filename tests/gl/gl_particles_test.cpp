// A particle burst drawn by the room's layer walk through the OpenGL device, read back from the
// window's picture: the built-in disk tinted by the particles' colour, additive particles adding.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "core/function_table.h"
#include "graphics/window.h"
#include "platform/fake/fake_display.h"
#include "platform/gl/gl_device.h"
#include "platform/process.h"
#include "platform/sdl/sdl_window_host.h"
#include "support/draw_game.h"

using namespace datawin;

namespace {

double Call(const char* name, std::vector<double> numbers = {}) {
  int32_t id = -1;
  if (!Function_Find(name, &id)) ADD_FAILURE() << "no builtin " << name;
  if (id < 0) return 0;
  std::vector<RValue> args;
  for (double n : numbers) args.push_back(RV_Real(n));
  RValue result = RV_Undefined();
  Function_Row(id)->handler(&result, nullptr, nullptr, static_cast<int>(args.size()), args.data());
  const double value = RV_Kind(result) == kRVUndefined ? 0 : RV_ToDouble(result);
  RV_FreeToUndefined(&result);
  return value;
}

std::string hex(uint32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X", word);
  return text;
}

void ExpectColour(uint32_t got, uint32_t want, const std::string& what) {
  for (int shift = 0; shift < 24; shift += 8) {
    const int g = static_cast<int>((got >> shift) & 0xFF), w = static_cast<int>((want >> shift) & 0xFF);
    EXPECT_NEAR(g, w, 3) << what << ": got " << hex(got) << ", want " << hex(want);
  }
}

class GlParticlesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Window_UsePlatform(nullptr, nullptr);
    Window_SetDisplayPlatform(DisplayPlatform{{SdlWindowHost_Create, GlDevice_Create}, FakeDisplay_Backend()});
  }
  void TearDown() override {
    game_.Stop();
    Platform_TakeQuitSignal();
  }

  bool Start() {
    RoomRecord room;
    room.name = "rm_burst";
    room.width = room.height = 64;
    room.colour = 0x000000;
    game_.rooms = {room};
    EXPECT_TRUE(game_.Start());
    return Window_State().real_display && !::testing::Test::HasFailure();
  }

  DrawGame game_;
};

TEST_F(GlParticlesTest, ABurstOfDisksShowsInTheParticlesColour) {
  if (!Start()) GTEST_SKIP() << "no display";
  const double ps = Call("part_system_create");
  const double disk = Call("part_type_create");
  Call("part_type_shape", {disk, 1});
  Call("part_type_size", {disk, 0.25, 0.25, 0, 0});  // 16 pixels across
  Call("part_type_colour1", {disk, 0x0000FF});
  const double em = Call("part_emitter_create", {ps});
  Call("part_emitter_region", {ps, em, 16, 16, 16, 16, 0, 0});
  Call("part_emitter_burst", {ps, em, disk, 3});
  const double glow = Call("part_type_create");
  Call("part_type_shape", {glow, 2});
  Call("part_type_size", {glow, 0.125, 0.125, 0, 0});
  Call("part_type_colour1", {glow, 0x800000});
  Call("part_type_blend", {glow, 1});
  Call("part_particles_create", {ps, 48, 48, glow, 1});
  Call("part_particles_create", {ps, 48, 48, glow, 1});
  game_.Frame();
  ExpectColour(game_.Pixel(16, 16), 0xFF0000FFu, "the centre of the red disks");
  ExpectColour(game_.Pixel(20, 12), 0xFF0000FFu, "inside a disk");
  ExpectColour(game_.Pixel(4, 4), 0xFF000000u, "outside the disks");
  ExpectColour(game_.Pixel(30, 16), 0xFF000000u, "past the disk's edge");
  ExpectColour(game_.Pixel(48, 48), 0xFFFF0000u, "two additive squares of half blue sum to full blue");
  ExpectColour(game_.Pixel(56, 48), 0xFF000000u, "past the squares");
}

}  // namespace
