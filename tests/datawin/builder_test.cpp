// The kova-datawin command, run as the build runs it: a manifest and its files in, a data file or
// one error line out. The program sits in the build directory, one level above this test program.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/console.h"
#include "data/game_data.h"
#include "datawin/format/gen8_layout.h"
#include "graphics/asset_fonts.h"
#include "graphics/asset_shaders.h"
#include "graphics/asset_sprites.h"
#include "image/image.h"
#include "run/asset_readers.h"
#include "support/fixture.h"
#include "world/asset_curves.h"
#include "world/asset_rooms.h"
#include "world/object_type.h"

namespace {

std::string tool_path() { return BuildDirectory() + "/kova-datawin"; }

struct RunResult {
  int status;
  std::string errors;
};

RunResult run_tool(const TempDir& dir, const std::string& arguments) {
  const std::string command = "'" + tool_path() + "' " + arguments + " > /dev/null 2> '" + dir.file("errors.txt") + "'";
  const int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadTextFile(dir.file("errors.txt"))};
}

RunResult run_builder(const TempDir& dir, const std::string& manifest) {
  std::ofstream(dir.file("manifest.txt"), std::ios::binary) << manifest;
  return run_tool(dir, "build '" + dir.path() + "' -o '" + dir.file("out.win") + "'");
}

// A small game's sources: a two-frame sprite strip, a sound, a shader pair.
void write_sources(const TempDir& dir) {
  std::filesystem::create_directories(dir / "sprites");
  std::filesystem::create_directories(dir / "sounds");
  std::filesystem::create_directories(dir / "shaders");
  kimage::Image strip(32, 12);
  for (int y = 2; y < 10; ++y) {
    for (int x = 3; x < 12; ++x) strip.at(x, y) = kimage::rgb(0xac3232);
    for (int x = 20; x < 30; ++x) strip.at(x, y) = kimage::rgb(0x306082);
  }
  std::string error;
  ASSERT_TRUE(kimage::write_png(dir.file("sprites/spr_knight.png"), strip, &error)) << error;
  std::ofstream(dir.file("sounds/snd_horn.ogg"), std::ios::binary) << "OggS and the rest of a stream";
  const std::string vertex = "#version 330 core\nin vec3 in_Position;\nin vec4 in_Colour;\nvoid main() { gl_Position = vec4(in_Position, 1.0); }\n";
  std::ofstream(dir.file("shaders/shd_plain.vsh")) << vertex;
  std::ofstream(dir.file("shaders/shd_plain.fsh")) << "#version 330 core\nout vec4 c;\nvoid main() { c = vec4(1.0); }\n";
  std::ofstream(dir.file("shaders/shd_half.fsh")) << "#version 330 core\nout vec4 c;\nvoid main() { c = vec4(0.5); }\n";
}

const char kSmallGame[] =
    "name = small\n"
    "window_width = 320\n"
    "window_height = 200\n"
    "[functions]\n"
    "tsl_Script_helper\n"
    "tsl_Object_obj_knight_Create_0\n"
    "tsl_Object_obj_knight_Draw_73\n"
    "tsl_Object_obj_squire_Step_2\n"
    "[sprites]\n"
    "3 spr_knight frames=2 origin=4,10 precise\n"
    "- spr_other file=sprites/spr_knight.png frames=1 origin=centre\n"
    "[sounds]\n"
    "- snd_horn gain=0.5\n"
    "[fonts]\n"
    "- fnt_main file=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf size=11 first=32 last=90\n"
    "[shaders]\n"
    "2 shd_plain\n"
    "3 shd_half vertex=shaders/shd_plain\n"
    "[curves]\n"
    "curve 0 ac_sway\n"
    "channel sway smooth 0:0 0.5:3 1:0\n"
    "[objects]\n"
    "1 obj_knight sprite=spr_knight depth=-5\n"
    "0 obj_squire parent=obj_knight visible=0\n"
    "[rooms]\n"
    "room 0 rm_yard speed=30 colour=ff0000\n"
    "layer Back background depth=100 sprite=spr_other\n"
    "layer Things instances\n"
    "instance obj_knight 10 20\n"
    "instance obj_squire 30 40\n"
    "[tags]\n"
    "spr_knight hero, armoured\n";

class Builder : public ::testing::Test {
 protected:
  void SetUp() override {
    if (access(tool_path().c_str(), X_OK) != 0) GTEST_FAIL() << "build the kova-datawin target first: " << tool_path();
  }
  void TearDown() override {
    ResetLoaderState();
    Console_Reset();
  }
};

}  // namespace

TEST_F(Builder, SmallGameLoadsAsItsManifestDescribes) {
  TempDir dir;
  write_sources(dir);
  const RunResult result = run_builder(dir, kSmallGame);
  ASSERT_EQ(result.status, 0) << result.errors;
  const std::string file = ReadTextFile(dir.file("out.win"));
  std::vector<uint8_t> image(file.begin(), file.end());
  ResetLoaderState();
  Assets_InstallReaders();
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  ASSERT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size())));
  const GameHeader& header = GameData_Header();
  EXPECT_STREQ(header.file_name, "small");
  EXPECT_EQ(header.window_width, 320);
  ASSERT_EQ(header.room_order.size(), 1u);  // an empty room order lists every room
  EXPECT_EQ(header.last_instance_id, 100002u);

  // Index 3 is fixed; the other sprite takes the lowest free slot.
  const SpriteAsset* knight = Sprite_Table().get(3);
  ASSERT_NE(knight, nullptr);
  EXPECT_STREQ(Sprite_Table().name(3), "spr_knight");
  EXPECT_STREQ(Sprite_Table().name(0), "spr_other");
  EXPECT_EQ(Sprite_Table().get(1), nullptr);
  EXPECT_EQ(knight->width, 16);
  EXPECT_EQ(knight->height, 12);
  EXPECT_EQ(knight->frame_count, 2u);
  EXPECT_EQ(knight->xOrigin, 4);
  EXPECT_EQ(knight->yOrigin, 10);
  EXPECT_FLOAT_EQ(knight->bbox_left, 3);
  EXPECT_FLOAT_EQ(knight->bbox_right, 13);  // the union of both frames' opaque pixels
  EXPECT_FLOAT_EQ(knight->bbox_top, 2);
  EXPECT_FLOAT_EQ(knight->bbox_bottom, 9);
  EXPECT_TRUE(knight->useMask);
  EXPECT_EQ(knight->mask_count, 2u);
  EXPECT_EQ(knight->masks[2 * 2 + 0], 0x1F);  // row 2 of frame 0: pixels 3..7 in the first byte
  EXPECT_EQ(Sprite_Table().get(0)->xOrigin, 16);

  const FontAsset* font = Font_Table().get(0);
  ASSERT_NE(font, nullptr);
  EXPECT_EQ(font->glyphs.size(), 59u);
  EXPECT_GT(font->height, 8);
  const ShaderAsset* shader = Shader_Table().get(2);
  ASSERT_NE(shader, nullptr);
  ASSERT_EQ(shader->attributes.size(), 2u);
  EXPECT_STREQ(shader->attributes[1], "in_Colour");
  EXPECT_NE(std::string(shader->programs[0]).find("gl_Position"), std::string::npos);
  // A shader may take another's vertex program with its own fragment program.
  const ShaderAsset* half = Shader_Table().get(3);
  ASSERT_NE(half, nullptr);
  EXPECT_STREQ(half->programs[0], shader->programs[0]);
  EXPECT_NE(std::string(half->programs[1]).find("vec4(0.5)"), std::string::npos);
  EXPECT_EQ(half->attributes.size(), 2u);
  EXPECT_STREQ(CurveAsset_Table().get(0)->channels[0].name, "sway");

  // Events are bound to their rows of the function table; parents and flags as listed.
  CObjectTV* knight_object = Object_Find(1);
  ASSERT_NE(knight_object, nullptr);
  EXPECT_EQ(knight_object->spriteIndex, 3);
  EXPECT_EQ(knight_object->depth, -5);
  ASSERT_NE(knight_object->FindOwnEvent(0, 0), nullptr);
  EXPECT_EQ(knight_object->FindOwnEvent(0, 0)->codeIndex, 1);
  EXPECT_EQ(knight_object->FindOwnEvent(8, 73)->codeIndex, 2);
  CObjectTV* squire = Object_Find(0);
  ASSERT_NE(squire, nullptr);
  EXPECT_EQ(squire->parentIndex, 1);
  EXPECT_EQ(squire->FindOwnEvent(3, 2)->codeIndex, 3);

  const RoomAsset* yard = RoomAsset_Table().get(0);
  ASSERT_NE(yard, nullptr);
  EXPECT_EQ(yard->speed, 30);
  EXPECT_EQ(yard->colour, 0x0000FFu);  // red in the low byte
  ASSERT_EQ(yard->placements.size(), 2u);
  EXPECT_EQ(yard->placements[1].object_index, 0);
  EXPECT_EQ(yard->placements[1].x, 30);
}

TEST_F(Builder, BadInputNamesTheFileAndTheProblemAndWritesNothing) {
  struct Case {
    const char* what;
    std::string manifest;
    const char* message;
    void (*spoil)(const TempDir&);
  };
  const std::string game = kSmallGame;
  auto replace = [&](const std::string& from, const std::string& to) {
    std::string text = game;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  const Case cases[] = {
      {"missing file", replace("- snd_horn gain=0.5", "- snd_horn file=sounds/nowhere.ogg"),
       "manifest.txt:13: sound \"snd_horn\": file sounds/nowhere.ogg not found", nullptr},
      {"bad image", game, "sprites/spr_knight.png: not a PNG image",
       [](const TempDir& dir) { std::ofstream(dir.file("sprites/spr_knight.png")) << "GIF89a"; }},
      {"strip not divisible", replace("frames=2 origin=4,10", "frames=3 origin=4,10"), "not a strip of 3 equal frames", nullptr},
      {"duplicate name", replace("- spr_other", "- spr_knight"), "sprite name \"spr_knight\" is used twice", nullptr},
      {"fixed index twice", replace("0 obj_squire", "1 obj_squire"), "object index 1 is taken twice, by \"obj_knight\"", nullptr},
      {"unknown object in a room", replace("instance obj_squire", "instance obj_page"), "names object \"obj_page\"", nullptr},
      {"event of an unknown object", replace("tsl_Object_obj_squire_Step_2", "tsl_Object_obj_page_Step_2"),
       "\"tsl_Object_obj_page_Step_2\" is not tsl_Object_<object>_<Event>_<n>", nullptr},
      {"bad sound", game, "sounds/snd_horn.ogg: not an Ogg Vorbis file",
       [](const TempDir& dir) { std::ofstream(dir.file("sounds/snd_horn.ogg")) << "RIFF"; }},
      {"bad font", replace("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", "sounds/snd_horn.ogg"), "not a font file", nullptr},
      {"unknown option", replace("gain=0.5", "loud"), "manifest.txt:13: unknown option \"loud\"", nullptr},
      {"parent loop", replace("1 obj_knight sprite=spr_knight", "1 obj_knight sprite=spr_knight parent=obj_squire"),
       "is its own ancestor", nullptr},
  };
  for (const Case& c : cases) {
    TempDir dir;
    write_sources(dir);
    if (c.spoil != nullptr) c.spoil(dir);
    std::ofstream(dir.file("out.win"), std::ios::binary) << "the previous file";
    const RunResult result = run_builder(dir, c.manifest);
    EXPECT_EQ(result.status, 1) << c.what;
    EXPECT_NE(result.errors.find(c.message), std::string::npos) << c.what << ": got " << result.errors;
    EXPECT_EQ(ReadTextFile(dir.file("out.win")), "the previous file") << c.what << ": the old output stays whole";
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
      EXPECT_EQ(entry.path().filename().string().find(".tmp"), std::string::npos) << c.what << ": left " << entry.path();
    }
  }
}

TEST_F(Builder, BadManifestLinesNameTheLineAndExit1) {
  struct Case {
    const char* manifest;
    const char* message;
  };
  const Case cases[] = {
      {"name = a\nwindow_width 640\n", "manifest.txt:2: expected `key = value`"},
      {"name = a\n# fine\ncolour = red\n", "manifest.txt:3: unknown key \"colour\""},
      {"name = a\nwindow_height = tall\n", "manifest.txt:2: \"window_height\" must be a whole number"},
      {"name = a\nversion = 300\n", "manifest.txt:2: \"version\" must be a whole number from 1 to 255"},
      {"name = a\nname = b\n", "manifest.txt:2: key \"name\" given twice"},
      {"name = a\n\nflags = show_cursor, sparkle\n", "manifest.txt:3: unknown flag \"sparkle\""},
      {"name = a\nroom_order = 1, x\n", "manifest.txt:2: bad room number \"x\""},
      {"name = a\nspeed = -1\n", "manifest.txt:2: \"speed\" must be a number"},
      {"display_name = a\n", "manifest.txt: \"name\" is required"},
      {"name = a\n[sprites]\nx spr_a\n", "manifest.txt:3: bad asset index \"x\""},
      {"name = a\n[rooms]\ninstance obj_a 0 0\n", "manifest.txt:3: an instance before any room"},
      {"name = a\n[curves]\ncurve 0 ac\nchannel c 1:0 0:1\n", "manifest.txt:4: curve points must rise in x"},
      {"name = a\nroom_order = 4\n", "room_order names room 4"},
  };
  for (const Case& c : cases) {
    TempDir dir;
    const RunResult result = run_builder(dir, c.manifest);
    EXPECT_EQ(result.status, 1) << c.manifest;
    EXPECT_NE(result.errors.find(c.message), std::string::npos) << "got: " << result.errors;
    EXPECT_EQ(access(dir.file("out.win").c_str(), F_OK), -1) << "no file is written on error";
  }
}

TEST_F(Builder, CommandLineAndHelp) {
  TempDir dir;
  EXPECT_EQ(run_tool(dir, "").status, 2);
  EXPECT_EQ(run_tool(dir, "frobnicate").status, 2);
  EXPECT_EQ(run_tool(dir, "build '" + dir.path() + "'").status, 2) << "no -o";
  EXPECT_EQ(run_tool(dir, "build '" + dir.path() + "' -o x.win").status, 1) << "no manifest";
  EXPECT_EQ(run_tool(dir, "info '" + dir.file("missing.win") + "'").status, 1);
  for (const char* command : {"--help", "build --help", "info --help", "sheet --help"}) {
    EXPECT_EQ(run_tool(dir, command).status, 0) << command;
  }
}

TEST_F(Builder, InfoAndSheetOfABuiltFile) {
  TempDir dir;
  write_sources(dir);
  ASSERT_EQ(run_builder(dir, kSmallGame).status, 0);
  const std::string command = "'" + tool_path() + "' info '" + dir.file("out.win") + "' > '" + dir.file("info.txt") + "'";
  ASSERT_EQ(WEXITSTATUS(std::system(command.c_str())), 0);
  const std::string info = ReadTextFile(dir.file("info.txt"));
  for (const char* line : {"sprites 3 spr_knight : 16x12, 2 frames, precise", "sprites 0 spr_other", "objects 0 obj_squire",
                           "rooms 0 rm_yard : speed 30, 2 layers, 2 instances", "curves 0 ac_sway : channels: sway",
                           "chunk TXTR", "\nok\n"}) {
    EXPECT_NE(info.find(line), std::string::npos) << line << " in\n" << info;
  }
  ASSERT_EQ(run_tool(dir, "sheet '" + dir.file("out.win") + "' '" + dir.file("sheet.png") + "'").status, 0);
  kimage::Image sheet;
  std::string error;
  ASSERT_TRUE(kimage::read_png(dir.file("sheet.png"), &sheet, &error)) << error;
  // Both frames of the knight are on the sheet in their colours.
  int red = 0, blue = 0;
  for (const kimage::Rgba& p : sheet.pixels) {
    red += p == kimage::rgb(0xac3232);
    blue += p == kimage::rgb(0x306082);
  }
  EXPECT_EQ(red, 9 * 8 * 2);  // spr_knight frame 0 and spr_other
  EXPECT_EQ(blue, 10 * 8 * 2);
}
