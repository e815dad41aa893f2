// A particle burst drawn by the room's layer walk through the OpenGL device, read back from the
// window's picture: the built-in disk tinted by the particles' colour, additive particles adding.
#include "gl_window_fixture.h"
#include "support/builtin_call.h"

namespace {

class GlParticlesTest : public GlDrawGameTest {
 protected:
  bool Start() {
    datawin::RoomRecord room;
    room.name = "rm_burst";
    room.width = room.height = 64;
    room.colour = 0x000000;
    game_.rooms = {room};
    return GlDrawGameTest::Start();
  }
};

TEST_F(GlParticlesTest, ABurstOfDisksShowsInTheParticlesColour) {
  if (!Start()) GTEST_SKIP() << "no display";
  const double ps = CallNumber("part_system_create");
  const double disk = CallNumber("part_type_create");
  CallNumber("part_type_shape", {disk, 1});
  CallNumber("part_type_size", {disk, 0.25, 0.25, 0, 0});  // 16 pixels across
  CallNumber("part_type_colour1", {disk, 0x0000FF});
  const double em = CallNumber("part_emitter_create", std::vector<double>{ps});
  CallNumber("part_emitter_region", {ps, em, 16, 16, 16, 16, 0, 0});
  CallNumber("part_emitter_burst", {ps, em, disk, 3});
  const double glow = CallNumber("part_type_create");
  CallNumber("part_type_shape", {glow, 2});
  CallNumber("part_type_size", {glow, 0.125, 0.125, 0, 0});
  CallNumber("part_type_colour1", {glow, 0x800000});
  CallNumber("part_type_blend", {glow, 1});
  CallNumber("part_particles_create", {ps, 48, 48, glow, 1});
  CallNumber("part_particles_create", {ps, 48, 48, glow, 1});
  game_.Frame();
  ExpectColour(game_.Pixel(16, 16), 0xFF0000FFu, "the centre of the red disks", 3);
  ExpectColour(game_.Pixel(20, 12), 0xFF0000FFu, "inside a disk", 3);
  ExpectColour(game_.Pixel(4, 4), 0xFF000000u, "outside the disks", 3);
  ExpectColour(game_.Pixel(30, 16), 0xFF000000u, "past the disk's edge", 3);
  ExpectColour(game_.Pixel(48, 48), 0xFFFF0000u, "two additive squares of half blue sum to full blue", 3);
  ExpectColour(game_.Pixel(56, 48), 0xFF000000u, "past the squares", 3);
}

}  // namespace
