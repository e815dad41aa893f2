// The runner's input recording and playback and its end-to-end switches, run as processes on a
// writer-made game: a recorded run played back gives the same event trace and the same world
// digests, paced and fast-forwarded; a scripted click reaches the object's mouse event; damaged
// playback files end playback with a console line; --help and --version answer at once.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "datawin/writer/chunk_objects.h"
#include "datawin/writer/chunk_rooms.h"
#include "support/fixture.h"
#include "support/world_fixture.h"

namespace {

constexpr int32_t kStepRow = 0, kClickRow = 1, kKeyPressRow = 2;

struct ProcessRun {
  int status = -1;
  std::string output;
};

std::string quoted(const std::string& s) { return "'" + s + "'"; }

ProcessRun run(const std::string& program, const std::vector<std::string>& args, const TempDir& dir) {
  std::string command = "cd " + quoted(dir.path()) + " && ASAN_OPTIONS=detect_leaks=0 " +
                        quoted(std::string(KOVA_BINARY_DIR) + "/" + program);
  for (const std::string& arg : args) command += " " + quoted(arg);
  command += " > " + quoted(dir.file("out.txt")) + " 2>&1";
  ProcessRun result;
  const int status = std::system(command.c_str());
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.output = ReadTextFile(dir.file("out.txt"));
  return result;
}

// The lines of the probe's trace, in order.
std::vector<std::string> trace_of(const std::string& output) {
  std::vector<std::string> lines;
  std::istringstream in(output);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("trace ", 0) == 0) lines.push_back(line);
  }
  return lines;
}

datawin::RoomRecord probe_room() {
  datawin::RoomRecord room;
  room.name = "rm_probe";
  room.placements = {{.x = 100, .y = 50, .object = 0, .id = 100001}};
  return room;
}

// A game of one room with one obj_probe at (100, 50), its events the input runner's rows.
std::string write_probe_game(const TempDir& dir) {
  datawin::Writer writer = MakeMinimalGame(17, 2, 60.0f);
  datawin::add_objt(writer, {ObjectDef("obj_probe", -1, {{3, 0, kStepRow}, {6, 53, kClickRow}, {9, 1, kKeyPressRow}})}, 17);
  datawin::add_room(writer, {probe_room()});
  const std::string path = dir.file("probe.win");
  WriteFixtureTo(writer, path);
  return path;
}

class InputProcessTest : public ::testing::Test {
 protected:
  void SetUp() override { game_ = write_probe_game(dir_); }
  ProcessRun runner(std::vector<std::string> args) {
    args.insert(args.begin(), {"-game", game_, "-noaudio"});
    return run("kova-input-runner", args, dir_);
  }
  ProcessRun script(const std::string& text, const std::string& out) {
    std::ofstream(dir_.file("script.txt")) << text;
    return run("kova-inputscript", {dir_.file("script.txt"), out}, dir_);
  }

  TempDir dir_;
  std::string game_;
};

TEST_F(InputProcessTest, RecordedRunPlaysBackTheSamePacedAndFastForwarded) {
  const std::string recording = dir_.file("keys.rec");
  const ProcessRun recorded = runner({"-record", recording, "-feed", "-frames", "14", "-digest", "13", dir_.file("d0.txt")});
  ASSERT_EQ(recorded.status, 0) << recorded.output;
  const std::vector<std::string> trace = trace_of(recorded.output);
  ASSERT_FALSE(trace.empty()) << recorded.output;
  EXPECT_EQ(std::filesystem::file_size(recording), 14u * 5146u);
  // The fed keys as the frames saw them: A pressed then released, B held over frames, space
  // pressed and released in one frame and never down.
  const std::string all = recorded.output;
  EXPECT_NE(all.find("key 65 pressed down"), std::string::npos) << all;
  EXPECT_NE(all.find("key 65 released"), std::string::npos) << all;
  EXPECT_NE(all.find("key 32 pressed released\n"), std::string::npos) << all;
  EXPECT_NE(all.find("keypress 66"), std::string::npos) << all;

  const ProcessRun paced = runner({"-playback", recording, "-frames", "14", "-digest", "13", dir_.file("d1.txt")});
  ASSERT_EQ(paced.status, 0) << paced.output;
  EXPECT_EQ(trace_of(paced.output), trace);
  const ProcessRun fast = runner({"-playback", recording, "-fastforward", "-frames", "14", "-digest", "13", dir_.file("d2.txt")});
  ASSERT_EQ(fast.status, 0) << fast.output;
  EXPECT_EQ(trace_of(fast.output), trace);

  const std::string digest = ReadTextFile(dir_.file("d0.txt"));
  EXPECT_NE(digest.find("obj_probe"), std::string::npos) << digest;
  EXPECT_NE(digest.find("y=53"), std::string::npos) << "three key presses moved the probe: " << digest;
  EXPECT_EQ(ReadTextFile(dir_.file("d1.txt")), digest);
  EXPECT_EQ(ReadTextFile(dir_.file("d2.txt")), digest);
}

TEST_F(InputProcessTest, ScriptedClickReachesTheMouseEvent) {
  const std::string rec = dir_.file("click.rec");
  ASSERT_EQ(script("# one click\nframe 5: click at 200,160\nframe 9: key down enter\nframe 10: key up enter\n", rec).status, 0);
  const ProcessRun played = runner({"-playback", rec, "-fastforward", "-digest", "4", dir_.file("before.txt"), "-digest", "12",
                             dir_.file("after.txt")});
  ASSERT_EQ(played.status, 0) << played.output;
  EXPECT_EQ(trace_of(played.output),
            (std::vector<std::string>{"trace 5 click 200 160", "trace 5 button 1 pressed", "trace 6 button 1 released",
                                      "trace 9 keypress 13", "trace 9 key 13 pressed down", "trace 10 key 13 released"}))
      << played.output;
  EXPECT_NE(ReadTextFile(dir_.file("before.txt")).find("x=100 "), std::string::npos);
  EXPECT_NE(ReadTextFile(dir_.file("after.txt")).find("x=110 "), std::string::npos) << ReadTextFile(dir_.file("after.txt"));
}

TEST_F(InputProcessTest, DamagedPlaybackEndsPlaybackWithAConsoleLine) {
  const std::string rec = dir_.file("click.rec");
  ASSERT_EQ(script("frame 2: click at 10,10\nframe 6: click at 20,20\n", rec).status, 0);
  std::string bytes = ReadTextFile(rec);
  // Cut inside record 4: frames 0 to 3 play, then playback ends and the click at 6 never comes.
  std::ofstream(dir_.file("cut.rec"), std::ios::binary) << bytes.substr(0, 4 * 5146 + 100);
  const ProcessRun cut = runner({"-playback", dir_.file("cut.rec"), "-frames", "10"});
  EXPECT_EQ(cut.status, 0) << cut.output;
  EXPECT_NE(cut.output.find("cut short in frame 4"), std::string::npos) << cut.output;
  EXPECT_EQ(trace_of(cut.output), (std::vector<std::string>{"trace 2 click 10 10", "trace 2 button 1 pressed",
                                                            "trace 3 button 1 released"}));

  // A flag byte of 9 in record 1's key array.
  std::string damaged = bytes;
  damaged[1 * 5146 + 4 + 4100 + 8 + 'Q'] = 9;
  std::ofstream(dir_.file("bad.rec"), std::ios::binary) << damaged;
  const ProcessRun bad = runner({"-playback", dir_.file("bad.rec"), "-frames", "10"});
  EXPECT_EQ(bad.status, 0) << bad.output;
  EXPECT_NE(bad.output.find("damaged in frame 1"), std::string::npos) << bad.output;
  EXPECT_TRUE(trace_of(bad.output).empty()) << bad.output;

  const ProcessRun missing = runner({"-playback", dir_.file("none.rec"), "-frames", "3"});
  EXPECT_EQ(missing.status, 0);
  EXPECT_NE(missing.output.find("Unable to open the playback file"), std::string::npos) << missing.output;
}

TEST_F(InputProcessTest, HelpAndVersionAnswerAtOnce) {
  const ProcessRun help = run("kova-input-runner", {"-game", "nowhere.win", "--help"}, dir_);
  EXPECT_EQ(help.status, 0);
  for (const char* switch_name : {"-game", "-record", "-playback", "-shot", "-digest", "-frames", "-fastforward", "--version"}) {
    EXPECT_NE(help.output.find(std::string("\n  ") + switch_name + " "), std::string::npos) << switch_name;
  }
  EXPECT_EQ(help.output.find("Could not"), std::string::npos) << "no game is looked for";
  const ProcessRun version = run("kova-input-runner", {"--version"}, dir_);
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.output.rfind("Kova Games Runner v", 0), 0u) << version.output;
}

}  // namespace
