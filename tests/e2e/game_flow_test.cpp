// The game played from recorded input under a real window: the readable scripts beside this file are
// turned into -playback files and the runner plays build/data.win fast-forwarded, saving the
// world's digest and the window's picture at chosen frames. Checked: the captures themselves, title
// to game, buying and placing a tower and a refund, the bow's one arrow in sight, towers killing
// for gold, a lost run through the loss screen into a fresh run, and that a whole recorded game
// played twice takes the same course.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "image/image.h"
#include "support/fixture.h"
#include "support/golden.h"

namespace {

// One digest: its room line and the values read from it.
struct Digest {
  std::string text;
  std::string room() const {
    const size_t at = text.find("\nroom ");
    return at == std::string::npos ? "" : text.substr(at + 6, text.find('\n', at + 1) - at - 6);
  }
  bool in(const char* room_name) const { return room().find(room_name) != std::string::npos; }
  // A global number as the digest prints it: a script's (gold=..., loss=...) or a builtin's line
  // (score ...).
  double global(const char* name) const {
    std::smatch m = find(std::string("\nglobal \\{.*[ {]") + name + "=([-0-9.e]+)");
    if (m.empty()) m = find(std::string("\n") + name + " ([-0-9.e]+)");
    return m.empty() ? -1e300 : std::stod(m[1]);
  }
  int count(const char* object) const {
    int n = 0;
    for (size_t at = text.find(std::string(" ") + object + " "); at != std::string::npos;
         at = text.find(std::string(" ") + object + " ", at + 1)) {
      ++n;
    }
    return n;
  }
  std::smatch find(const std::string& pattern) const {
    std::smatch m;
    std::regex_search(text, m, std::regex(pattern));
    return m;
  }
};

class GameFlowTest : public ::testing::Test {
 protected:
  // Plays a script to its last frame with digests at the given frames and pictures at others.
  void Play(const std::string& script, const std::vector<int>& digests, const std::vector<int>& shots = {}) {
    const std::string bin = KOVA_BINARY_DIR;
    const std::string rec = dir_.file(script + ".rec");
    ASSERT_EQ(RunCommand(bin + "/kova-inputscript " + KOVA_SOURCE_DIR + "/tests/e2e/" + script + ".txt " + rec + " > /dev/null"), 0);
    std::string command = "cd " + dir_.path() + " && " + bin + "/kova-runner -game " + bin +
                          "/data.win -noaudio -playback " + rec + " -fastforward";
    for (int frame : digests) command += " -digest " + std::to_string(frame) + " " + DigestPath(frame);
    for (int frame : shots) command += " -shot " + std::to_string(frame) + " " + ShotPath(frame);
    const std::string out = dir_.file("out.txt");
    ASSERT_EQ(RunCommand(command + " > " + out + " 2>&1"), 0) << ReadTextFile(out);
    const std::string console = ReadTextFile(out);
    EXPECT_EQ(console.find("ERROR"), std::string::npos) << console;
    for (int frame : digests) digests_[frame] = Digest{ReadTextFile(DigestPath(frame))};
  }
  std::string DigestPath(int frame) const { return dir_.file("d" + std::to_string(frame) + ".txt"); }
  std::string ShotPath(int frame) const { return dir_.file("f" + std::to_string(frame) + ".png"); }
  kimage::Image Shot(int frame) {
    kimage::Image picture;
    std::string error;
    EXPECT_TRUE(kimage::read_png(ShotPath(frame), &picture, &error)) << error;
    EXPECT_EQ(picture.width, 640);
    EXPECT_EQ(picture.height, 360);
    return picture;
  }
  static std::vector<int> Every(int step, int from, int to) {
    std::vector<int> frames;
    for (int f = from; f <= to; f += step) frames.push_back(f);
    return frames;
  }

  TempDir dir_;
  std::map<int, Digest> digests_;
};

// Brightness of a pixel, 0 to 765.
int Light(const kimage::Rgba& p) { return p.r + p.g + p.b; }

// A box of the picture where a text item is drawn.
struct Box {
  int x, y, width, height;
};

// The box compared with its reviewed golden crop (the software renderer may differ by a little in
// each channel, not by a glyph, a colour or a pixel's shift).
void ExpectCrop(const kimage::Image& picture, const char* name, Box box) {
  std::vector<uint32_t> pixels;
  for (int y = box.y; y < box.y + box.height; ++y) {
    for (int x = box.x; x < box.x + box.width; ++x) {
      const kimage::Rgba p = picture.at(x, y);
      pixels.push_back(p.r | (p.g << 8) | (p.b << 16) | 0xFF000000u);
    }
  }
  ExpectGolden(name, box.width, box.height, pixels);
}

// How many pixels of the box have the colour (each channel within 8): a text's own colour shows in
// the solid middles of its strokes.
int CountColour(const kimage::Image& picture, Box box, kimage::Rgba colour) {
  int n = 0;
  for (int y = box.y; y < box.y + box.height; ++y) {
    for (int x = box.x; x < box.x + box.width; ++x) {
      const kimage::Rgba p = picture.at(x, y);
      if (std::abs(p.r - colour.r) <= 8 && std::abs(p.g - colour.g) <= 8 && std::abs(p.b - colour.b) <= 8) ++n;
    }
  }
  return n;
}

constexpr kimage::Rgba kWhite{255, 255, 255, 255};
constexpr kimage::Rgba kRed{255, 0, 0, 255};
constexpr kimage::Rgba kCream{205, 190, 172, 255};  // #cdbeac of the screens' messages
constexpr Box kContinueBox{112, 314, 120, 24};       // "PRESS ANY", the start of the centred line

// The harness itself: the picture saved at a frame, the world's digest at two, and the run ended
// after the last capture, not at the end of the recording.
TEST_F(GameFlowTest, PlaybackSavesThePictureAndTheDigestsAndEndsAfterTheLastCapture) {
  Play("title_click", {12, 20}, {12});
  Shot(12);
  EXPECT_EQ(digests_[12].text.rfind("frame 12\nroom 0 rm_title 640x360", 0), 0u) << digests_[12].text;
  EXPECT_NE(digests_[12].text.find("obj_title_controller"), std::string::npos) << digests_[12].text;
  EXPECT_EQ(digests_[20].text.rfind("frame 20\n", 0), 0u);
  EXPECT_EQ(ReadTextFile(dir_.file("out.txt")).find("Playback of"), std::string::npos);
}

TEST_F(GameFlowTest, TheScreensWordsShowInTheirFontsColoursAndPlaces) {
  Play("game_words", {400}, {150, 400});
  // The title, faded in: the centred "press any button" line in cream.
  const kimage::Image title = Shot(150);
  EXPECT_GT(CountColour(title, kContinueBox, kCream), 100);
  ExpectCrop(title, "words_title_continue", kContinueBox);
  // The game with 50 gold left: the gold and the score in white beside their icons; the prices of
  // the scorpion (50) and the catapult (40) in white, those of the ballista (100) and the onager (80)
  // in red, each ending left of its button.
  EXPECT_EQ(digests_[400].global("gold"), 50);
  EXPECT_EQ(digests_[400].global("score"), 0);
  const kimage::Image game = Shot(400);
  struct Item {
    const char* golden;
    Box box;
    kimage::Rgba colour;
  };
  const Item items[] = {
      {"words_gold", {33, 11, 24, 16}, kWhite},        {"words_score", {569, 11, 16, 16}, kWhite},
      {"words_price_white", {126, 12, 18, 14}, kWhite}, {"words_price_red", {184, 12, 24, 14}, kRed},
  };
  for (const Item& item : items) {
    EXPECT_GT(CountColour(game, item.box, item.colour), 10) << item.golden;
    ExpectCrop(game, item.golden, item.box);
  }
  EXPECT_GT(CountColour(game, {253, 12, 18, 14}, kWhite), 10) << "the catapult's price";
  EXPECT_GT(CountColour(game, {318, 12, 18, 14}, kRed), 10) << "the onager's price";
}

TEST_F(GameFlowTest, BuyPlaceAndRefundInTheGameRoom) {
  Play("game_buy_place", {4, 40, 52, 72, 100}, {100});
  EXPECT_TRUE(digests_[4].in("rm_title"));
  // The key at frame 5 fades the title out in a frame or two: the game room runs with its shop row,
  // the two starting scorpions, the controller, the camera, the background and the bow.
  const Digest& game = digests_[40];
  EXPECT_TRUE(game.in("rm_game")) << game.room();
  EXPECT_EQ(game.count("obj_controller"), 1);
  EXPECT_EQ(game.count("obj_button"), 4);
  EXPECT_EQ(game.count("obj_tower"), 2);
  EXPECT_EQ(game.count("obj_player"), 1);
  EXPECT_EQ(game.global("gold"), 200);
  // The ballista is paid for at once and follows the cursor...
  EXPECT_EQ(digests_[52].global("gold"), 100);
  EXPECT_EQ(digests_[52].count("obj_tower"), 3);
  // ...and is put down on the top-left cell.
  EXPECT_NE(digests_[72].text.find("towers=[ [ \"ballista\""), std::string::npos) << digests_[72].text;
  // The onager bought at frame 75 is refunded with the right button: the gold is back at 100.
  EXPECT_EQ(digests_[100].global("gold"), 100);
  EXPECT_EQ(digests_[100].count("obj_tower"), 3);

  // The picture: the heads-up bar across the top, the board's stones on the left, the field on the
  // right, no fade over it.
  const kimage::Image picture = Shot(100);
  EXPECT_GT(Light(picture.at(600, 200)), 150);
  EXPECT_GT(Light(picture.at(120, 300)), 150);
  EXPECT_NE(picture.at(120, 300), picture.at(600, 200));
}

TEST_F(GameFlowTest, TheBowLoosesOneArrowThatStaysInSight) {
  Play("game_bow", {24, 60, 101}, {24, 60});
  EXPECT_EQ(digests_[24].count("obj_arrow"), 0);
  ASSERT_EQ(digests_[60].count("obj_arrow"), 1);
  // Aimed up and right, the arrow lies 43 pixels out along the bow's angle.
  const std::smatch at = digests_[60].find(" obj_arrow x=([-0-9.e]+) y=([-0-9.e]+)");
  ASSERT_FALSE(at.empty());
  const int ax = static_cast<int>(std::stod(at[1]));
  const int ay = static_cast<int>(std::stod(at[2]));
  EXPECT_GT(ax, 256 + 20);
  EXPECT_LT(ay, 200 - 10);
  // It is drawn: the ground around that point looks different from before the shot.
  const kimage::Image before = Shot(24);
  const kimage::Image after = Shot(60);
  int changed = 0;
  for (int y = ay - 4; y <= ay + 4; ++y) {
    for (int x = ax - 8; x <= ax + 8; ++x) changed += before.at(x, y) != after.at(x, y) ? 1 : 0;
  }
  EXPECT_GE(changed, 8);
  // A second draw looses nothing more.
  EXPECT_EQ(digests_[101].count("obj_arrow"), 1);
}

TEST_F(GameFlowTest, TowersKillEnemiesAndTheGoldRises) {
  Play("game_defend", Every(100, 100, 1400), {1400});
  EXPECT_EQ(digests_[100].global("gold"), 100);
  double best_gold = 0, best_score = 0;
  for (const auto& [frame, digest] : digests_) {
    EXPECT_TRUE(digest.in("rm_game")) << frame;
    best_gold = std::max(best_gold, digest.global("gold"));
    best_score = std::max(best_score, digest.global("score"));
  }
  EXPECT_GT(best_gold, 100);
  EXPECT_GT(best_score, 0);
  Shot(1400);
}

TEST_F(GameFlowTest, ALostRunFadesToTheLossScreenAndBackToAFreshRunTheSameWayEachTime) {
  const std::vector<int> digests = Every(20, 20, 2180);
  const std::vector<int> shots = Every(100, 100, 2100);
  Play("game_whole_run", digests, shots);
  int lost = -1, loss_room = -1, fresh = -1;
  for (const auto& [frame, digest] : digests_) {
    if (lost < 0 && digest.in("rm_game") && digest.global("loss") == 1) lost = frame;
    if (loss_room < 0 && digest.in("rm_loss")) loss_room = frame;
    if (loss_room >= 0 && fresh < 0 && digest.in("rm_game")) fresh = frame;
  }
  ASSERT_GT(lost, 0) << "the run was never lost";
  ASSERT_GT(loss_room, lost);
  // The fade to black takes 100 frames.
  EXPECT_GE(loss_room - lost, 80);
  EXPECT_LE(loss_room - lost, 120);
  ASSERT_GT(fresh, loss_room) << "the loss screen was never left";
  EXPECT_EQ(digests_[loss_room].count("obj_loss_controller"), 1);
  const Digest& run = digests_[fresh];
  EXPECT_EQ(run.global("gold"), 200);
  EXPECT_EQ(run.global("score"), 0);
  EXPECT_EQ(run.global("loss"), 0);
  EXPECT_NE(run.text.find("towers=[ [ undefined,undefined,undefined ],[ undefined,undefined,\"scorpion\" ],"
                          "[ undefined,undefined,\"scorpion\" ],[ undefined,undefined,undefined ] ]"),
            std::string::npos);
  // A picture of the loss screen once it has faded in: lit in the middle, where the game's picture
  // has its banner.
  int loss_shot = -1;
  for (int frame : shots) {
    if (frame >= loss_room + 60 && frame < fresh - 20) loss_shot = frame;
  }
  ASSERT_GT(loss_shot, 0) << "no picture of the faded-in loss screen";
  const kimage::Image loss_picture = Shot(loss_shot);
  EXPECT_GT(Light(loss_picture.at(320, 120)), 60);
  // Its words: the final score with its quoted word on the banner, and the "press any button" line,
  // both in cream.
  constexpr Box kScoreBox{244, 164, 152, 24};
  EXPECT_GT(CountColour(loss_picture, kScoreBox, kCream), 100);
  ExpectCrop(loss_picture, "words_loss_score", kScoreBox);
  EXPECT_GT(CountColour(loss_picture, kContinueBox, kCream), 100);
  ExpectCrop(loss_picture, "words_loss_continue", kContinueBox);

  // Played again from the same recording, the game takes the same course: the same digest at every
  // frame and the same pictures.
  const std::map<int, Digest> first = digests_;
  std::map<int, std::string> pictures;
  for (int frame : shots) pictures[frame] = ReadTextFile(ShotPath(frame));
  Play("game_whole_run", digests, shots);
  // The input library's log name carries the wall-clock time of the start: the one value that may
  // differ between two plays.
  const std::regex start_time("__input_debug_log=\"[^\"]*\"");
  const auto course = [&start_time](const std::string& text) { return std::regex_replace(text, start_time, ""); };
  for (const auto& [frame, digest] : first) {
    ASSERT_EQ(course(digests_[frame].text), course(digest.text)) << "frame " << frame;
  }
  for (int frame : shots) EXPECT_EQ(ReadTextFile(ShotPath(frame)), pictures[frame]) << "frame " << frame;
}

}  // namespace
