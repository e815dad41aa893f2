// Rooms written by the data-file writer, started as the runner starts them and drawn through the
// room draw into the window with the OpenGL device; pixels are read back from the window's picture.
#include <cstring>
#include <string>
#include <vector>

#include "core/script_api.h"
#include "gl_window_fixture.h"
#include "graphics/texture_decode.h"
#include "platform/files.h"
#include "support/builtin_call.h"
#include "support/room_records.h"
#include "world/instance.h"

using namespace datawin;

namespace {

// Draw: draw_sprite_ext of spr_frames, image 0 (red), at the instance's position.
void DrawRed(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_red_Draw_0", self);
  tsl::call("draw_sprite_ext", self, other,
            {R(kSprFrames), R(0), R(self->x), R(self->y), R(1), R(1), R(0), R(0xFFFFFF), R(1)});
}

void DrawSelf(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_self_Draw_0", self);
  tsl::call("draw_self", self, other);
}

using GlRoomTest = GlDrawGameTest;

TEST_F(GlRoomTest, LayersDrawFromTheHighestDepthWithTheirElementsAndInstances) {
  ObjectRecord red;
  red.name = "obj_red";
  red.events = {ObjectEvent{8, 0, game_.code("tsl_Object_obj_red_Draw_0", DrawRed)}};
  ObjectRecord plain;
  plain.name = "obj_plain";  // no Draw event: its sprite is drawn by default
  plain.sprite = kSprWhite;
  game_.objects = {red, plain};
  RoomRecord room;
  room.name = "rm_layers";
  room.width = room.height = 64;
  RoomLayerRecord tiles;
  tiles.name = "Tiles";
  tiles.id = 2;
  tiles.kind = layer::kKindTileMap;
  tiles.depth = 200;
  tiles.tile_map.tile_set = kTileSet;
  tiles.tile_map.width = tiles.tile_map.height = 4;
  tiles.tile_map.cells.assign(16, 0);
  tiles.tile_map.cells[1] = 1;   // cell (1, 0)
  tiles.tile_map.cells[15] = 1;  // cell (3, 3)
  room.layers = {BackgroundLayer(300, kSprBack), tiles, InstanceLayer("Low", 3, 100, {100001}),
                 InstanceLayer("High", 4, -100, {100002})};
  room.placements = {Placement(0, 8, 8, 100001), Placement(1, 16, 16, 100002)};
  game_.rooms = {room};
  if (!Start()) GTEST_SKIP() << "no display";
  game_.Frame();
  ExpectColour(game_.Pixel(2, 2), kMagenta, "the background layer fills the room");
  ExpectColour(game_.Pixel(20, 4), kYellow, "a tile of the tile map");
  ExpectColour(game_.Pixel(52, 60), kYellow, "the last cell of the map");
  ExpectColour(game_.Pixel(36, 4), kMagenta, "an empty cell");
  ExpectColour(game_.Pixel(20, 10), kRed, "the Draw event's sprite over the deeper tile layer");
  ExpectColour(game_.Pixel(10, 10), kRed, "the Draw event's sprite");
  ExpectColour(game_.Pixel(20, 20), kWhite, "the default drawing of the nearer layer over the red sprite");
  ExpectColour(game_.Pixel(40, 40), kMagenta, "past both sprites");
}

TEST_F(GlRoomTest, AViewShowsItsCamerasRectangleScaledToThePort) {
  ObjectRecord plain;
  plain.name = "obj_plain";
  plain.sprite = kSprWhite;
  game_.objects = {plain};
  RoomRecord room = ViewRoom(32, 32, 32, 32, 64, 64);
  room.width = room.height = 128;
  room.layers = {BackgroundLayer(100, kSprBack), InstanceLayer("Instances", 2, 0, {100001})};
  room.placements = {Placement(0, 40, 40, 100001)};
  game_.rooms = {room};
  if (!Start()) GTEST_SKIP() << "no display";
  game_.Frame();
  // Room (40, 40)-(56, 56) seen from (32, 32) at twice the size: window (16, 16)-(48, 48).
  ExpectColour(game_.Pixel(17, 17), kWhite, "the sprite's top left");
  ExpectColour(game_.Pixel(46, 46), kWhite, "the sprite's bottom right");
  ExpectColour(game_.Pixel(14, 14), kMagenta, "before the sprite");
  ExpectColour(game_.Pixel(50, 30), kMagenta, "after the sprite");
  const tsl::Value camera = tsl::call("view_get_camera", nullptr, nullptr, {R(0)});
  EXPECT_EQ(tsl::call("camera_get_view_x", nullptr, nullptr, {*camera}).real(), 32.0);
  EXPECT_EQ(tsl::call("camera_get_view_width", nullptr, nullptr, {*camera}).real(), 32.0);
}

TEST_F(GlRoomTest, DrawSelfShowsTheFrameTheImageSpeedReached) {
  ObjectRecord self;
  self.name = "obj_self";
  self.sprite = kSprFrames;
  self.events = {ObjectEvent{8, 0, game_.code("tsl_Object_obj_self_Draw_0", DrawSelf)}};
  game_.objects = {self};
  RoomRecord room;
  room.name = "rm_frames";
  room.width = room.height = 64;
  room.layers = {InstanceLayer("Instances", 1, 0, {100001, 100002})};
  room.placements = {Placement(0, 0, 0, 100001, 1.0f), Placement(0, 32, 0, 100002, 0.5f)};
  game_.rooms = {room};
  if (!Start()) GTEST_SKIP() << "no display";
  const uint32_t cycle[3] = {kRed, kGreen, kBlue};
  std::vector<uint32_t> fast, slow;
  for (int frame = 0; frame < 6; ++frame) {
    game_.Frame();
    fast.push_back(game_.Pixel(8, 8));
    slow.push_back(game_.Pixel(40, 8));
  }
  // Speed 1 moves one frame a step; speed 0.5 one frame every second step.
  int start = -1;
  for (int i = 0; i < 3; ++i) {
    if ((fast[0] & 0xFFFFFF) == (cycle[i] & 0xFFFFFF)) start = i;
  }
  ASSERT_GE(start, 0) << Hex(fast[0]);
  for (int frame = 0; frame < 6; ++frame) {
    ExpectColour(fast[frame], cycle[(start + frame) % 3], "speed 1, frame " + std::to_string(frame));
  }
  // The step moves the index before the draw: 0.5, 1, 1.5, 2, 2.5 show frames 0, 1, 1, 2, 2.
  const uint32_t want_slow[5] = {kRed, kGreen, kGreen, kBlue, kBlue};
  for (int frame = 0; frame < 5; ++frame) {
    ExpectColour(slow[frame], want_slow[frame], "speed 0.5, frame " + std::to_string(frame));
  }
}

// A game of one room without instances, for drawing on surfaces outside the room's draw.
class GlSurfaceTest : public GlRoomTest {
 protected:
  void SetUp() override {
    GlRoomTest::SetUp();
    RoomRecord room;
    room.name = "rm_surface";
    room.layers = {InstanceLayer("Instances", 1, 0, {})};
    game_.rooms = {room};
    if (!Start()) GTEST_SKIP() << "no display";
  }
};

TEST_F(GlSurfaceTest, SurfaceSaveWritesAPngThatLoadsBackWithItsPixels) {
  TempDir dir;
  const std::string file = dir.file("surface.png");
  const tsl::Value surface = tsl::call("surface_create", nullptr, nullptr, {R(8), R(4)});
  ASSERT_GE(surface.real(), 0.0);
  tsl::call("surface_set_target", nullptr, nullptr, {*surface});
  tsl::call("draw_clear_alpha", nullptr, nullptr, {R(0xFF0000), R(1)});  // blue
  tsl::call("draw_sprite", nullptr, nullptr, {R(kSprFrames), R(0), R(4), R(2)});  // red from (4, 2)
  tsl::call("surface_reset_target", nullptr, nullptr);
  RValue name = RV_Undefined();
  RV_SetString(&name, file.c_str());
  tsl::call("surface_save", nullptr, nullptr, {*surface, name});
  RV_FreeToUndefined(&name);

  std::vector<uint8_t> bytes;
  ASSERT_TRUE(Platform_ReadWholeFile(file, &bytes));
  DecodedImage image;
  ASSERT_TRUE(Texture_DecodePng(bytes.data(), static_cast<uint32_t>(bytes.size()), &image));
  ASSERT_EQ(image.width, 8u);
  ASSERT_EQ(image.height, 4u);
  const auto at = [&](uint32_t x, uint32_t y) {
    uint32_t p = 0;
    std::memcpy(&p, image.pixels.data() + (y * image.width + x) * 4, 4);
    return p;
  };
  EXPECT_EQ(at(1, 1), kBlue) << Hex(at(1, 1));
  EXPECT_EQ(at(3, 3), kBlue) << Hex(at(3, 3));
  EXPECT_EQ(at(4, 2), kRed) << Hex(at(4, 2));
  EXPECT_EQ(at(7, 3), kRed) << Hex(at(7, 3));
  EXPECT_EQ(at(6, 1), kBlue) << Hex(at(6, 1));
}

// The surface drawing builtins, each drawing a 4x4 source (left half blue, right half red) onto a
// cleared 16x16 target; the target is read back with surface_getpixel (colours as 0xBBGGRR).
TEST_F(GlSurfaceTest, SurfaceDrawingBuiltinsPlaceScaleCropTileAndTintTheSource) {
  constexpr double kSurfRed = 0x0000FF, kSurfBlue = 0xFF0000, kBlack = 0, kWhite = 0xFFFFFF;
  struct Probe {
    int x, y;
    double colour;
  };
  struct Case {
    const char* what;
    const char* builtin;
    std::vector<double> args;  // after the source surface
    std::vector<Probe> probes;
  };
  const Case cases[] = {
      {"plain at (4,4)", "draw_surface", {4, 4}, {{4, 4, kSurfBlue}, {6, 7, kSurfRed}, {3, 3, kBlack}, {8, 4, kBlack}}},
      {"scaled 2x1 at (8,0)", "draw_surface_ext", {8, 0, 2, 1, 0, kWhite, 1},
       {{10, 0, kSurfBlue}, {13, 3, kSurfRed}, {13, 4, kBlack}, {7, 0, kBlack}}},
      {"stretched to 8x8", "draw_surface_stretched", {0, 0, 8, 8}, {{3, 3, kSurfBlue}, {5, 5, kSurfRed}, {9, 9, kBlack}}},
      {"stretched, tinted red", "draw_surface_stretched_ext", {0, 0, 8, 8, kSurfRed, 1},
       {{1, 1, kBlack}, {5, 5, kSurfRed}, {9, 9, kBlack}}},
      {"the right half at (0,0)", "draw_surface_part", {2, 0, 2, 4, 0, 0}, {{0, 0, kSurfRed}, {1, 3, kSurfRed}, {2, 0, kBlack}}},
      {"the left half scaled 2x1 at (4,4)", "draw_surface_part_ext", {0, 0, 2, 4, 4, 4, 2, 1, kWhite, 1},
       {{4, 4, kSurfBlue}, {7, 7, kSurfBlue}, {8, 4, kBlack}, {5, 8, kBlack}}},
      {"general: the right half, unrotated", "draw_surface_general",
       {2, 0, 2, 4, 0, 0, 1, 1, 0, kWhite, kWhite, kWhite, kWhite, 1}, {{1, 1, kSurfRed}, {3, 0, kBlack}}},
      {"general at alpha 0", "draw_surface_general", {2, 0, 2, 4, 0, 0, 1, 1, 0, kWhite, kWhite, kWhite, kWhite, 0},
       {{1, 1, kBlack}}},
      {"general, the blue half tinted red", "draw_surface_general", {0, 0, 2, 4, 0, 0, 1, 1, 0, kSurfRed, kSurfRed, kSurfRed, kSurfRed, 1},
       {{1, 1, kBlack}}},
      {"tiled over the target", "draw_surface_tiled", {0, 0}, {{0, 0, kSurfBlue}, {2, 0, kSurfRed}, {4, 5, kSurfBlue}, {15, 15, kSurfRed}}},
      {"tiled at 2x2", "draw_surface_tiled_ext", {0, 0, 2, 2, kWhite, 1},
       {{3, 3, kSurfBlue}, {5, 0, kSurfRed}, {9, 9, kSurfBlue}, {13, 14, kSurfRed}}},
  };
  const tsl::Value source = tsl::call("surface_create", nullptr, nullptr, {R(4), R(4)});
  const tsl::Value target = tsl::call("surface_create", nullptr, nullptr, {R(16), R(16)});
  tsl::call("surface_set_target", nullptr, nullptr, {*source});
  tsl::call("draw_clear_alpha", nullptr, nullptr, {R(kSurfBlue), R(1)});
  tsl::call("draw_sprite", nullptr, nullptr, {R(kSprFrames), R(0), R(2), R(0)});  // red from x = 2
  tsl::call("surface_reset_target", nullptr, nullptr);
  for (const Case& c : cases) {
    tsl::call("surface_set_target", nullptr, nullptr, {*target});
    tsl::call("draw_clear_alpha", nullptr, nullptr, {R(kBlack), R(1)});
    std::vector<RValue> args = {*source};
    for (double a : c.args) args.push_back(R(a));
    CallBuiltin(c.builtin, args);
    tsl::call("surface_reset_target", nullptr, nullptr);
    for (const Probe& p : c.probes) {
      const double got = tsl::call("surface_getpixel", nullptr, nullptr, {*target, R(p.x), R(p.y)}).real();
      EXPECT_EQ(got, p.colour) << c.what << " (" << c.builtin << ") at " << p.x << "," << p.y << ": got "
                               << Hex(static_cast<uint32_t>(got));
    }
  }
}

// Pixels read back from the current target, and sprites made from a surface with their origin,
// size and extra frames taken from their own arguments.
TEST_F(GlSurfaceTest, GetpixelReadsTheTargetAndSpritesComeFromSurfaces) {
  const auto call = [](const char* name, std::initializer_list<RValue> args) {
    return tsl::call(name, nullptr, nullptr, args);
  };
  const tsl::Value source = call("surface_create", {R(4), R(4)});
  const tsl::Value target = call("surface_create", {R(16), R(16)});
  call("surface_set_target", {*source});
  call("draw_clear_alpha", {R(0x123456), R(0.5)});
  EXPECT_EQ(call("draw_getpixel", {R(1), R(2)}).real(), 0x123456);
  const auto ext = static_cast<uint32_t>(call("draw_getpixel_ext", {R(1), R(2)}).real());
  EXPECT_EQ(ext & 0xFFFFFFu, 0x123456u);
  EXPECT_NEAR(static_cast<double>(ext >> 24), 127, 1) << Hex(ext);
  call("draw_clear_alpha", {R(0xFF0000), R(1)});
  call("draw_sprite", {R(kSprFrames), R(0), R(2), R(0)});  // red from x = 2
  call("surface_reset_target", {});
  // Blue then red, four pixels wide, origin (1, 2).
  const tsl::Value made = call("sprite_create_from_surface", {*source, R(0), R(0), R(4), R(4), R(0), R(0), R(1), R(2)});
  ASSERT_GE(made.real(), 0);
  EXPECT_EQ(call("sprite_get_width", {*made}).real(), 4);
  EXPECT_EQ(call("sprite_get_height", {*made}).real(), 4);
  EXPECT_EQ(call("sprite_get_xoffset", {*made}).real(), 1);
  EXPECT_EQ(call("sprite_get_yoffset", {*made}).real(), 2);
  call("surface_set_target", {*target});
  call("draw_clear_alpha", {R(0), R(1)});
  call("draw_sprite", {*made, R(0), R(5), R(6)});
  EXPECT_EQ(call("draw_getpixel", {R(4), R(4)}).real(), 0xFF0000) << "blue at the top left";
  EXPECT_EQ(call("draw_getpixel", {R(7), R(7)}).real(), 0x0000FF) << "red on the right";
  EXPECT_EQ(call("draw_getpixel", {R(8), R(4)}).real(), 0) << "four wide";
  call("surface_reset_target", {});
  // A frame added from a part of the surface: the right half, red.
  const tsl::Value copy = call("sprite_duplicate", {*made});
  call("sprite_add_from_surface", {*copy, *source, R(2), R(0), R(2), R(4), R(0), R(0)});
  EXPECT_EQ(call("sprite_get_number", {*copy}).real(), 2);
  EXPECT_EQ(call("sprite_get_number", {*made}).real(), 1);
}

}  // namespace
