// The end-to-end harness on the game's data file, under a real window: a scripted input file
// played back, the window's picture saved as a PNG and the world's digest written at a frame.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "image/image.h"
#include "support/fixture.h"

namespace {

TEST(HarnessTest, PlaybackOfAScriptSavesThePictureAndTheDigest) {
  TempDir dir;
  const std::string bin = KOVA_BINARY_DIR;
  const std::string rec = dir.file("title.rec");
  ASSERT_EQ(RunCommand(bin + "/kova-inputscript " + std::string(KOVA_SOURCE_DIR) + "/tests/e2e/title_click.txt " + rec +
                " > /dev/null"),
            0);
  const std::string out = dir.file("out.txt");
  const int status = RunCommand("cd " + dir.path() + " && " + bin + "/kova-runner -game " + bin + "/data.win -noaudio -playback " +
                         rec + " -fastforward -shot 12 " + dir.file("f12.png") + " -digest 12 " + dir.file("d12.txt") +
                         " -digest 20 " + dir.file("d20.txt") + " > " + out + " 2>&1");
  ASSERT_EQ(status, 0) << ReadTextFile(out);

  kimage::Image picture;
  std::string error;
  ASSERT_TRUE(kimage::read_png(dir.file("f12.png"), &picture, &error)) << error;
  EXPECT_EQ(picture.width, 640);
  EXPECT_EQ(picture.height, 360);

  const std::string digest = ReadTextFile(dir.file("d12.txt"));
  EXPECT_EQ(digest.rfind("frame 12\nroom 0 rm_title 640x360", 0), 0u) << digest;
  EXPECT_NE(digest.find("obj_title_controller"), std::string::npos) << digest;
  EXPECT_EQ(ReadTextFile(dir.file("d20.txt")).rfind("frame 20\n", 0), 0u);
  // The run ended after the last capture, not at the end of the recording.
  EXPECT_EQ(ReadTextFile(out).find("Playback of"), std::string::npos);
}

}  // namespace
