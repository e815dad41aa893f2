// The game's own data file, build/data.win, as the build makes it: the runtime loads it whole with
// no unknown chunk, its tables hold the fixed indexes the game's scripts rely on and agree with the
// manifest and with `kova-datawin info`, and a damaged copy is reported, never a crash.
#include <sys/wait.h>

#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "audio/asset_sounds.h"
#include "data/asset_scripts.h"
#include "datawin/builder/asset_manifest.h"
#include "graphics/asset_fonts.h"
#include "graphics/asset_shaders.h"
#include "graphics/asset_sprites.h"
#include "loader_test_util.h"
#include "world/asset_curves.h"
#include "world/asset_objects.h"
#include "world/asset_rooms.h"
#include "world/object_type.h"

namespace {

const std::string kBinaryDir = KOVA_BINARY_DIR;
const std::string kSourceDir = KOVA_SOURCE_DIR;

struct ToolRun {
  int status = -1;
  bool signalled = false;
  std::string out;
};

ToolRun run_info(const std::string& file) {
  ToolRun run;
  const std::string command = "'" + kBinaryDir + "/kova-datawin' info '" + file + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, got);
  const int raw = pclose(pipe);
  run.signalled = WIFSIGNALED(raw);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return run;
}

class GameDataFile : public AssetLoaderTest {
 protected:
  void SetUp() override {
    AssetLoaderTest::SetUp();
    const std::string bytes = ReadTextFile(kBinaryDir + "/data.win");
    file_.assign(bytes.begin(), bytes.end());
    ASSERT_GT(file_.size(), 1024u) << "build the data_win target first";
  }
  // Loads a copy of the file the way the runner does; the console text of both walks in *console.
  bool load(std::string* console) {
    image_ = file_;
    LoaderConsole capture;
    const auto size = static_cast<uint32_t>(image_.size());
    const bool scanned = HeaderScan(image_.data(), size);
    const bool loaded = LoadGameData(image_.data(), size);
    *console = capture.text();
    return scanned && loaded;
  }
  std::vector<uint8_t> file_;
};

// Both walks over a damaged image; whatever they say, they must return. The loader is reset after.
void load_damaged(const std::vector<uint8_t>& image) {
  LoaderConsole quiet;
  LoadExactCopy(image);
  ResetLoaderState();
  Assets_InstallReaders();
}

const char* sprite_name(int32_t i) { return Sprite_Table().name(i); }
const char* sound_name(int32_t i) { return Sound_Table().name(i); }

}  // namespace

TEST_F(GameDataFile, LoadsWithEveryChunkKnown) {
  std::string console;
  ASSERT_TRUE(load(&console)) << console;
  EXPECT_EQ(console.find("unknown Chunk"), std::string::npos) << console;
  EXPECT_EQ(console.find("what!!!!"), std::string::npos) << console;
  EXPECT_EQ(console.find("Failed"), std::string::npos) << console;
}

TEST_F(GameDataFile, TheRunnerStartsOnItWithoutAnError) {
  TempDir dir;
  const std::string command = "cd '" + dir.path() + "' && '" + kBinaryDir + "/kova-runner' -game '" + kBinaryDir +
                              "/data.win' -headless -noaudio -debugoutput trace.txt > out.txt 2>&1";
  const int raw = std::system(command.c_str());
  const std::string out = ReadTextFile(dir.file("out.txt"));
  ASSERT_TRUE(WIFEXITED(raw)) << out;
  EXPECT_EQ(WEXITSTATUS(raw), 0) << out;
  EXPECT_NE(out.find("Process Chunk: TXTR"), std::string::npos) << out;
  EXPECT_NE(out.find("Entering main loop"), std::string::npos) << out;
  EXPECT_EQ(out.find("unknown Chunk"), std::string::npos) << out;
  EXPECT_EQ(out.find("Failed to load the game"), std::string::npos) << out;
}

TEST_F(GameDataFile, FixedIndexesHoldWhatTheScriptsExpect) {
  std::string console;
  ASSERT_TRUE(load(&console)) << console;
  struct Fixed {
    const char* (*name)(int32_t);
    int32_t index;
    const char* expected;
  };
  const Fixed objects[] = {{Object_NameOrNull, 2, "obj_button"},   {Object_NameOrNull, 3, "obj_camera"},
                           {Object_NameOrNull, 4, "obj_enemy"},    {Object_NameOrNull, 5, "obj_projectile"},
                           {Object_NameOrNull, 6, "obj_tower"},    {Object_NameOrNull, 11, "obj_arrow"},
                           {sprite_name, 0, "spr_scorpion"},       {sprite_name, 43, "spr_ballista"},
                           {sprite_name, 11, "spr_catapault"},     {sprite_name, 9, "spr_onager"},
                           {sound_name, 10, "sound_music"}};
  for (const Fixed& f : objects) {
    ASSERT_NE(f.name(f.index), nullptr) << f.expected;
    EXPECT_STREQ(f.name(f.index), f.expected);
  }
  // Rooms: 0 title, 1 game, 2 loss, at room speed 60; the game room holds its four controllers.
  const char* const rooms[] = {"rm_title", "rm_game", "rm_loss"};
  for (int32_t i = 0; i < 3; ++i) {
    ASSERT_NE(RoomAsset_Table().get(i), nullptr);
    EXPECT_STREQ(RoomAsset_Table().name(i), rooms[i]);
    EXPECT_EQ(RoomAsset_Table().get(i)->speed, 60);
  }
  // Sounds the scripts play by number, and the fixed sprites with the sizes their draws assume.
  for (int32_t sound : {1, 2, 3, 5, 10, 11, 12}) EXPECT_NE(Sound_Table().get(sound), nullptr) << "sound " << sound;
  struct SpriteSize {
    int32_t index, width, height;
  };
  for (const SpriteSize& s : {SpriteSize{15, 64, 64}, SpriteSize{31, 1, 4}, SpriteSize{3, 1, 2}, SpriteSize{4, 1, 1},
                              SpriteSize{35, 640, 321}, SpriteSize{38, 640, 360}, SpriteSize{30, 640, 360}}) {
    const SpriteAsset* sprite = Sprite_Table().get(s.index);
    ASSERT_NE(sprite, nullptr) << "sprite " << s.index;
    EXPECT_EQ(sprite->width, s.width) << sprite_name(s.index);
    EXPECT_EQ(sprite->height, s.height) << sprite_name(s.index);
  }
  for (int32_t s : {10, 22, 24, 37}) EXPECT_NE(Sprite_Table().get(s), nullptr) << "sprite " << s;
  EXPECT_EQ(Sprite_Table().get(15)->xOrigin, 0);  // drawn at (0, 0) scaled to the screen
  for (int32_t s : {0, 5}) EXPECT_NE(Shader_Table().get(s), nullptr) << "shader " << s;
  const CurveAsset* walk = CurveAsset_Table().get(0);
  ASSERT_NE(walk, nullptr);
  ASSERT_FALSE(walk->channels.empty());
  EXPECT_STREQ(walk->channels[0].name, "walk");
  for (const char* font : {"fnt_regular", "fnt_regular_small", "fnt_title"}) EXPECT_GE(Font_Table().find(font), 0) << font;
}

TEST_F(GameDataFile, EveryTowerAndEnemyFindsItsAssetsByName) {
  std::string console;
  ASSERT_TRUE(load(&console)) << console;
  struct Tower {
    const char* name;
    int32_t sprite;
    uint32_t attack_frame;
  };
  for (const Tower& t : {Tower{"ballista", 43, 15}, Tower{"scorpion", 0, 17}, Tower{"catapault", 11, 15}, Tower{"onager", 9, 15}}) {
    const std::string base = std::string("spr_") + t.name;
    const SpriteAsset* firing = Sprite_Table().get(Sprite_Table().find(base.c_str()));
    ASSERT_NE(firing, nullptr) << base;
    EXPECT_EQ(Sprite_Table().find(base.c_str()), t.sprite);
    EXPECT_GT(firing->frame_count, t.attack_frame) << base << " must reach its attack frame";
    EXPECT_LE(firing->width, 64);
    for (const char* suffix : {"_idle", "_projectile", "_shop"}) EXPECT_GE(Sprite_Table().find((base + suffix).c_str()), 0) << base << suffix;
    const int32_t shop = Sprite_Table().find((base + "_shop").c_str());
    EXPECT_EQ(Sprite_Table().get(shop)->width, 32);
    EXPECT_GE(Sound_Table().find((std::string("sound_") + t.name + "_fire").c_str()), 0) << t.name;
  }
  for (const char* enemy : {"grunt", "mule", "brute"}) {
    for (int look = 1; look <= 6; ++look) {
      const std::string name = std::string("spr_") + enemy + "_" + std::to_string(look);
      const SpriteAsset* sprite = Sprite_Table().get(Sprite_Table().find(name.c_str()));
      ASSERT_NE(sprite, nullptr) << name;
      EXPECT_GE(sprite->height, 32) << name;
      EXPECT_LE(sprite->height, 48) << name;
      EXPECT_TRUE(sprite->useMask) << name << " is hit by a precise line test";
      EXPECT_EQ(sprite->mask_count, sprite->frame_count) << name;
    }
  }
}

TEST_F(GameDataFile, EveryManifestEntrySitsAtItsIndex) {
  datawin::AssetManifest assets;
  std::string error;
  ASSERT_TRUE(datawin::parse_asset_sections(ReadTextFile(kSourceDir + "/assets/manifest.txt"), "manifest.txt", &assets, &error)) << error;
  std::string console;
  ASSERT_TRUE(load(&console)) << console;
  auto check = [](auto& entries, const char* kind, auto name_at) {
    std::string error;
    ASSERT_GE(datawin::assign_indexes(entries, "manifest.txt", kind, &error), 0) << error;
    for (const auto& e : entries) {
      const char* name = name_at(e.index);
      ASSERT_NE(name, nullptr) << kind << " " << e.index;
      EXPECT_EQ(e.name, name) << kind << " " << e.index;
    }
  };
  check(assets.sprites, "sprite", sprite_name);
  check(assets.sounds, "sound", sound_name);
  check(assets.objects, "object", Object_NameOrNull);
  check(assets.rooms, "room", [](int32_t i) { return RoomAsset_Table().name(i); });
  check(assets.fonts, "font", [](int32_t i) { return Font_Table().name(i); });
  check(assets.shaders, "shader", [](int32_t i) { return Shader_Table().name(i); });
  check(assets.curves, "curve", [](int32_t i) { return CurveAsset_Table().name(i); });
}

TEST_F(GameDataFile, LoadedTablesMatchWhatInfoReports) {
  const ToolRun info = run_info(kBinaryDir + "/data.win");
  ASSERT_EQ(info.status, 0) << info.out;
  std::string console;
  ASSERT_TRUE(load(&console)) << console;
  const std::map<std::string, const char* (*)(int32_t)> tables = {
      {"sprites", sprite_name},
      {"sounds", sound_name},
      {"objects", Object_NameOrNull},
      {"rooms", [](int32_t i) { return RoomAsset_Table().name(i); }},
      {"fonts", [](int32_t i) { return Font_Table().name(i); }},
      {"shaders", [](int32_t i) { return Shader_Table().name(i); }},
      {"curves", [](int32_t i) { return CurveAsset_Table().name(i); }},
      {"scripts", [](int32_t i) { return Script_Table().name(i); }},
  };
  std::map<std::string, int> listed;
  std::istringstream lines(info.out);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string kind, name;
    int32_t index = -1;
    if (!(words >> kind >> index >> name) || tables.count(kind) == 0) continue;
    const char* loaded = tables.at(kind)(index);
    ASSERT_NE(loaded, nullptr) << line;
    EXPECT_EQ(name, loaded) << line;
    ++listed[kind];
  }
  EXPECT_EQ(listed["sprites"], static_cast<int>(Sprite_Table().count()));
  EXPECT_EQ(listed["sounds"], static_cast<int>(Sound_Table().count()));
  EXPECT_EQ(listed["rooms"], 3);
  EXPECT_EQ(listed["objects"], 12);
}

TEST_F(GameDataFile, TruncatedOrScribbledFilesAreReportedNeverACrash) {
  TempDir dir;
  const std::string damaged = dir.file("damaged.win");
  std::mt19937 random(20261124);
  // Cut anywhere: info fails and names the problem; the runtime's loader returns.
  for (const size_t keep : {size_t{3}, size_t{12}, file_.size() / 7, file_.size() / 2, file_.size() - 1}) {
    std::vector<uint8_t> cut(file_.begin(), file_.begin() + static_cast<long>(keep));
    WriteTextFile(damaged, cut);
    const ToolRun info = run_info(damaged);
    EXPECT_FALSE(info.signalled) << "info crashed on a file cut to " << keep;
    EXPECT_EQ(info.status, 1) << "a file cut to " << keep << " bytes passed: " << info.out.substr(0, 300);
    load_damaged(cut);
  }
  // Scribbles over random words: neither info nor the loader may crash, whatever the bytes say.
  for (int round = 0; round < 24; ++round) {
    std::vector<uint8_t> bytes = file_;
    for (int n = 0; n < 16; ++n) {
      const size_t at = 8 + random() % (bytes.size() - 12);
      const uint32_t value = round % 2 == 0 ? static_cast<uint32_t>(random()) : static_cast<uint32_t>(bytes.size() + random() % 64);
      std::memcpy(bytes.data() + at, &value, 4);
    }
    WriteTextFile(damaged, bytes);
    const ToolRun info = run_info(damaged);
    EXPECT_FALSE(info.signalled) << "info crashed on scribble round " << round;
    EXPECT_TRUE(info.status == 0 || info.status == 1) << info.out.substr(0, 300);
    load_damaged(bytes);
  }
  // A scribble on a structural word is named: the sprite list's first offset sent past the end.
  std::vector<uint8_t> bytes = file_;
  const uint32_t sprt = FindPayload(bytes, "SPRT");
  ASSERT_NE(sprt, 0u);
  const auto past_end = static_cast<uint32_t>(bytes.size() + 100);
  std::memcpy(bytes.data() + sprt + 4, &past_end, 4);
  WriteTextFile(damaged, bytes);
  const ToolRun info = run_info(damaged);
  EXPECT_EQ(info.status, 1);
  EXPECT_NE(info.out.find("SPRT 0: offset"), std::string::npos) << info.out.substr(0, 400);
  image_ = bytes;
  LoaderConsole capture;
  EXPECT_FALSE(HeaderScan(image_.data(), static_cast<uint32_t>(image_.size())) &&
               LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())));
}
