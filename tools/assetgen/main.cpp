// kova-assetgen <out-dir> <title-font>: draws every sprite of the game into <out-dir>/sprites as a
// PNG strip of equal frames, and synthesises every sound into <out-dir>/sounds as Ogg Vorbis. A
// file is rewritten only when its bytes change, so the data file rebuilds only for real changes.
// `kova-assetgen mockup <out.png> <lettering-font> <title-font> <regular-font> <small-font>` composes a still of the
// game room from the same drawings and fonts, and <out>_title.png and <out>_loss.png of the two
// screens with their words, to check the layout and the text's legibility. Exits 1 with one line on standard error on failure.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "assetgen/canvas.h"
#include "assetgen/lettering.h"
#include "assetgen/sounds.h"
#include "assetgen/sprites.h"
#include "image/image.h"

namespace {

using namespace assetgen;

struct SpriteOut {
  std::string name;
  std::vector<kimage::Image> frames;
};

std::vector<SpriteOut> game_sprites(const std::string& title_font) {
  std::vector<SpriteOut> out;
  for (int t = 0; t < 4; ++t) {
    const auto tower = static_cast<Tower>(t);
    const std::string name = std::string("spr_") + kTowerNames[t];
    out.push_back({name, tower_firing(tower)});
    out.push_back({name + "_idle", {tower_idle(tower)}});
    out.push_back({name + "_shop", {tower_shop_icon(tower)}});
    out.push_back({name + "_projectile", tower_projectile(tower)});
  }
  for (int e = 0; e < 3; ++e) {
    for (int look = 1; look <= 6; ++look) {
      out.push_back({std::string("spr_") + kEnemyNames[e] + "_" + std::to_string(look), enemy_walk(static_cast<Enemy>(e), look)});
    }
  }
  out.push_back({"spr_player", player_bow()});
  out.push_back({"spr_arrow", {player_arrow()}});
  out.push_back({"spr_background", {background()}});
  out.push_back({"spr_hud", {hud_band()}});
  out.push_back({"spr_title", {title_screen(title_font)}});
  out.push_back({"spr_loss", {loss_screen(title_font)}});
  out.push_back({"spr_emblem", {maker_emblem()}});
  out.push_back({"spr_panel", {panel()}});
  out.push_back({"spr_button", {shop_button()}});
  out.push_back({"spr_coin", {coin_icon()}});
  out.push_back({"spr_score", {score_icon()}});
  out.push_back({"spr_fade", {fade_square()}});
  out.push_back({"spr_healthbar_back", {health_back()}});
  out.push_back({"spr_healthbar_fill", {health_fill()}});
  out.push_back({"spr_healthbar_shine", {health_shine()}});
  return out;
}

void write_if_changed(const std::filesystem::path& path, const std::vector<unsigned char>& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (in) {
    std::ostringstream old;
    old << in.rdbuf();
    const std::string text = old.str();
    if (text.size() == bytes.size() && std::memcmp(text.data(), bytes.data(), bytes.size()) == 0) return;
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) throw std::runtime_error(path.string() + ": cannot write the file");
}

void check_palette(const SpriteOut& sprite) {
  for (const kimage::Image& frame : sprite.frames) {
    for (const kimage::Rgba& p : frame.pixels) {
      if (p.a != 0 && !in_palette(p)) throw std::runtime_error(sprite.name + ": a colour outside the palette");
    }
  }
}

// The game room as the player sees it: background, board, some towers and enemies, the band of
// the heads-up display with its panels and the shop row, at the places the game draws them.
struct MockupFonts {
  std::string lettering, title, regular, small;
};

// White text as the game draws it, its left (or right, with `right`) edge at x, centred on y.
void mock_text(kimage::Image& screen, const std::string& font, int size, const std::string& text, int x, int y, Rgba colour,
               bool right = false, bool centre = false) {
  Canvas canvas(screen.width, screen.height);
  const TextBox box = measure_text(font, size, text);
  const int left = centre ? x - box.width / 2 : (right ? x - box.width : x);
  const Shape letters = text_shape(canvas, font, size, text, left, y - (size * 6) / 10);
  canvas.fill(letters, colour);
  screen.paste(canvas.image(), 0, 0, true);
}

kimage::Image mockup(const MockupFonts& fonts) {
  kimage::Image screen(640, 360, kimage::rgb(0x222034));
  auto put = [&](const kimage::Image& image, int x, int y) { screen.paste(image, x, y, true); };
  auto centre = [&](const kimage::Image& image, int x, int y) { put(image, x - image.width / 2, y - image.height / 2); };
  auto squash = [](const kimage::Image& image, double sx, double sy) {
    const int w = static_cast<int>(image.width * sx), h = static_cast<int>(image.height * sy);
    kimage::Image out(w, h);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) out.at(x, y) = image.at(static_cast<int>(x / sx), static_cast<int>(y / sy));
    }
    return out;
  };
  put(hud_band(), 0, 0);
  put(background(), 0, 39);
  centre(tower_idle(Tower::kScorpion), 200, 160);
  centre(tower_idle(Tower::kScorpion), 200, 240);
  centre(tower_firing(Tower::kBallista)[10], 120, 80);
  centre(tower_firing(Tower::kCatapault)[12], 40, 240);
  centre(tower_idle(Tower::kOnager), 120, 320);
  centre(tower_projectile(Tower::kBallista)[0], 300, 80);
  centre(enemy_walk(Enemy::kGrunt, 1)[0], 420, 80);
  centre(enemy_walk(Enemy::kMule, 2)[1], 520, 160);
  centre(enemy_walk(Enemy::kBrute, 3)[0], 600, 240);
  centre(enemy_walk(Enemy::kGrunt, 4)[1], 280, 320);
  centre(enemy_walk(Enemy::kBrute, 5)[1], 360, 320);
  const kimage::Image back = squash(health_back(), 32, 1), fill = squash(health_fill(), 22, 1);
  put(back, 404, 80 - 17 - 6 - 2);
  put(fill, 405, 80 - 17 - 6 - 1);
  centre(squash(panel(), 2, 2.0 / 3), 52, 20);
  centre(coin_icon(), 20, 20);
  centre(squash(panel(), 2, 2.0 / 3), 588, 20);
  centre(score_icon(), 556, 20);
  for (int t = 0; t < 4; ++t) {
    centre(squash(shop_button(), 2.0 / 3, 2.0 / 3), 160 + 64 * t, 20);
    centre(tower_shop_icon(static_cast<Tower>(t)), 160 + 64 * t, 20);
  }
  mock_text(screen, fonts.regular, 12, "200", 36, 20, pal::kWhite);
  mock_text(screen, fonts.regular, 12, "37", 572, 20, pal::kWhite);
  const char* const prices[] = {"50", "100", "40", "80"};
  for (int t = 0; t < 4; ++t) {
    mock_text(screen, fonts.small, 10, prices[t], 160 + 64 * t - 24 + 4, 20, t == 1 ? pal::kRed : pal::kWhite, true);
  }
  return screen;
}

// The title and loss screens with their words where the game draws them.
kimage::Image mockup_screen(const MockupFonts& fonts, bool loss) {
  kimage::Image screen = loss ? loss_screen(fonts.lettering) : title_screen(fonts.lettering);
  const Rgba words = kimage::rgb(0xcbdbfc);
  if (loss) {
    mock_text(screen, fonts.title, 24, "37 'MESSAGES'", 320, 180, words, false, true);
  } else {
    screen.paste(maker_emblem(), 8, 20 - 14, true);
    mock_text(screen, fonts.small, 10, "A game by the Kova Keep makers", 96, 20, words);
  }
  mock_text(screen, fonts.title, 24, "PRESS ANY BUTTON TO CONTINUE", 320, 330, words, false, true);
  return screen;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 7 && std::strcmp(argv[1], "mockup") == 0) {
      std::string error;
      const MockupFonts fonts{argv[3], argv[4], argv[5], argv[6]};
      const std::string out = argv[2];
      const std::string stem = out.size() > 4 && out.compare(out.size() - 4, 4, ".png") == 0 ? out.substr(0, out.size() - 4) : out;
      if (!kimage::write_png(out, mockup(fonts), &error) || !kimage::write_png(stem + "_title.png", mockup_screen(fonts, false), &error) ||
          !kimage::write_png(stem + "_loss.png", mockup_screen(fonts, true), &error)) {
        throw std::runtime_error(error);
      }
      return 0;
    }
    if (argc != 3) {
      std::fprintf(stderr, "usage: kova-assetgen <out-dir> <title-font>\n"
                   "       kova-assetgen mockup <out.png> <lettering-font> <title-font> <regular-font> <small-font>\n");
      return 1;
    }
    const std::filesystem::path out = argv[1];
    std::filesystem::create_directories(out / "sprites");
    std::filesystem::create_directories(out / "sounds");
    std::printf("kova-assetgen: drawing sprites\n");
    std::fflush(stdout);
    for (const SpriteOut& sprite : game_sprites(argv[2])) {
      check_palette(sprite);
      write_if_changed(out / "sprites" / (sprite.name + ".png"), kimage::encode_png(strip(sprite.frames)));
    }
    std::printf("kova-assetgen: synthesising and encoding sounds\n");
    std::fflush(stdout);
    for (const SoundAsset& sound : game_sounds()) {
      write_if_changed(out / "sounds" / (sound.name + ".ogg"), encode_ogg(sound.samples, sound.loop ? 0.3f : 0.4f));
    }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "kova-assetgen: %s\n", failure.what());
    return 1;
  }
  return 0;
}
