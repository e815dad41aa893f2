// The start-up splash on the fake host with the recording null device, and the save area that
// the texture loader searches first.
#include <gtest/gtest.h>
#include <png.h>
#include <stdlib.h>

#include <fstream>
#include <string>
#include <vector>

#include "core/console.h"
#include "graphics/gr_texture.h"
#include "graphics_fixture.h"
#include "platform/files.h"

namespace {

void png_append(png_structp png, png_bytep data, png_size_t length) {
  auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + length);
}

// An opaque w x h RGB PNG of one colour.
std::vector<uint8_t> solid_png(uint32_t w, uint32_t h) {
  std::vector<uint8_t> out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &out, png_append, nullptr);
  png_set_IHDR(png, info, w, h, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  std::vector<uint8_t> row(static_cast<size_t>(w) * 3, 0x80);
  for (uint32_t y = 0; y < h; ++y) png_write_row(png, row.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return out;
}

void write_file(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                              static_cast<std::streamsize>(bytes.size()));
}

class Splash : public GraphicsTest {
 protected:
  void SetUp() override {}  // each test opens with its own header flags
  void TearDown() override {
    Window_SetSplashPath("");
    GraphicsTest::TearDown();
  }

  struct Seen {
    int presents = 0;
    int black_clears = 0;
    int splash_draws = 0;  // draws sampling a texture made during the splash
    std::vector<uint32_t> alphas;  // vertex alpha of each splash draw
  };
  Seen Run() {
    device_.clear_record();
    Splash_Show();
    Seen seen;
    std::vector<DeviceTextureId> made;
    DeviceTextureId next = 0;
    for (const DeviceCall& call : device_.calls()) {
      if (call.kind == DeviceCallKind::kPresent) ++seen.presents;
      if (call.kind == DeviceCallKind::kClear && call.b == 0xFF000000) ++seen.black_clears;
      if (call.kind == DeviceCallKind::kCreateTexture) ++next;
    }
    // The splash image is the only texture the splash creates; draws that sample anything but the
    // main target (the flip) or white are its.
    for (const RecordedDraw& draw : device_.draws()) {
      if (draw.texture == 0 || draw.texture == GR_MainRenderTarget() || draw.texture == GR_WhiteTexture()->device_) {
        continue;
      }
      ++seen.splash_draws;
      if (draw.vertices.size() >= 24) seen.alphas.push_back(draw.vertices[11]);  // colour's top byte
    }
    EXPECT_LE(next, 1);
    return seen;
  }
};

}  // namespace

TEST_F(Splash, AFileBesideTheGameIsDrawnInFivePassesFadingIn) {
  Open(HeaderSpec{});
  TempDir dir;
  write_file(dir.file("splash.png"), solid_png(32, 16));
  Window_SetSplashPath(dir.file("splash.png"));
  const Seen seen = Run();
  EXPECT_EQ(seen.presents, 5);
  EXPECT_GE(seen.black_clears, 5);
  EXPECT_EQ(seen.splash_draws, 5);
  EXPECT_EQ(seen.alphas, (std::vector<uint32_t>{51, 102, 153, 204, 255}));
  EXPECT_EQ(device_.live_textures(), 2u);  // released: only the white texture and the main target
  EXPECT_EQ(Window_State().scene_open, 0);
}

TEST_F(Splash, TheHeaderFlagAloneRunsBlackPasses) {
  Open(HeaderSpec{0x10000});
  const Seen seen = Run();
  EXPECT_EQ(seen.presents, 5);
  EXPECT_GE(seen.black_clears, 5);
  EXPECT_EQ(seen.splash_draws, 0);
}

TEST_F(Splash, NothingRunsWithoutFileOrFlag) {
  Open(HeaderSpec{});
  TempDir dir;
  Window_SetSplashPath(dir.file("splash.png"));
  const Seen seen = Run();
  EXPECT_EQ(seen.presents, 0);
  EXPECT_TRUE(device_.calls().empty());
}

TEST_F(Splash, AnImageThatIsNoPngLeavesThePassesBlack) {
  Open(HeaderSpec{});
  TempDir dir;
  write_file(dir.file("splash.png"), {'n', 'o', 't', ' ', 'a', ' ', 'p', 'n', 'g'});
  Window_SetSplashPath(dir.file("splash.png"));
  ConsoleCapture console;
  const Seen seen = Run();
  EXPECT_EQ(seen.presents, 5);
  EXPECT_EQ(seen.splash_draws, 0);
  EXPECT_NE(console.text().find("Not a PNG\n"), std::string::npos);
}

TEST(SaveArea, FollowsXdgDataHomeElseHome) {
  struct Case {
    const char* xdg;  // null: unset
    const char* home;
    const char* name;
    const char* want;
  };
  const Case cases[] = {
      {"/data/xdg", "/home/u", "My Game", "/data/xdg/My Game/"},
      {"/data/xdg/", "/home/u", "My Game", "/data/xdg/My Game/"},
      {nullptr, "/home/u", "My Game", "/home/u/.local/share/My Game/"},
      {"relative/dir", "/home/u", "g", "/home/u/.local/share/g/"},
      {"", "/home/u", "g", "/home/u/.local/share/g/"},
      {"/x", "/home/u", "a/b", "/x/a_b/"},
      {"/x", "/home/u", "", ""},
      {nullptr, nullptr, "g", ""},
  };
  const std::string saved_home = getenv("HOME") != nullptr ? getenv("HOME") : "";
  for (const Case& c : cases) {
    if (c.xdg != nullptr) setenv("XDG_DATA_HOME", c.xdg, 1); else unsetenv("XDG_DATA_HOME");
    if (c.home != nullptr) setenv("HOME", c.home, 1); else unsetenv("HOME");
    EXPECT_EQ(Platform_SaveAreaDirectory(c.name), c.want) << (c.xdg != nullptr ? c.xdg : "(unset)") << " " << c.name;
  }
  setenv("HOME", saved_home.c_str(), 1);
  unsetenv("XDG_DATA_HOME");
}
