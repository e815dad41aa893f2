// The collector across a run of the real runner: the objects start-up makes are of the oldest
// generation and later ones of the youngest; -headless switches the collector off and the shutdown
// collection does nothing, so a dropped struct's finaliser never runs.
#include <gtest/gtest.h>

#include <string>

#include "datawin/writer/chunk_code_lists.h"
#include "support/fixture.h"

namespace {

constexpr int32_t kCollectorReportRow = 4;  // in the raising runner's script table

TEST(CollectorStart, HeadlessRunsDisableTheCollectorAndSkipTheShutdownCollection) {
  struct Case {
    const char* flags;
    const char* enabled;
    bool finalised;  // the dropped struct's finaliser ran at the end
  };
  const Case cases[] = {{"", "1", true}, {"-headless", "0", false}};
  TempDir dir;
  datawin::Writer writer = MakeMinimalGame();
  datawin::add_glob(writer, {kCollectorReportRow});
  const std::string game = dir.file("game.win");
  WriteFixtureTo(writer, game);
  const std::string finalised = "finaliser ran; an object made now is of generation 0\n";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.flags);
    const std::string out = dir.file("stdout.txt");
    // No display: the windowed run falls back to running without a window.
    const int status = RunCommand("env -u DISPLAY -u WAYLAND_DISPLAY ASAN_OPTIONS=detect_leaks=0 " +
                                  std::string(KOVA_BINARY_DIR) + "/kova-raising-runner -game " + game +
                                  " -noaudio " + c.flags + " > " + out + " 2>/dev/null");
    EXPECT_EQ(status, 0);
    const std::string output = ReadTextFile(out);
    EXPECT_NE(output.find(std::string("collector enabled ") + c.enabled +
                          "; start-up objects of generation 4: some, of generation 0: 0\n"),
              std::string::npos)
        << output;
    const size_t ran = output.find(finalised);
    EXPECT_EQ(ran != std::string::npos, c.finalised) << output;
    if (ran != std::string::npos) {
      EXPECT_EQ(output.find(finalised, ran + 1), std::string::npos) << "it runs once";
    }
  }
}

}  // namespace
