#include "platform/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include "support/fixture.h"

namespace {

namespace fs = std::filesystem;

// Changes the working directory for one test and puts it back.
class CwdScope {
 public:
  explicit CwdScope(const fs::path& path) : saved_(fs::current_path()) { fs::current_path(path); }
  ~CwdScope() { fs::current_path(saved_); }

 private:
  fs::path saved_;
};

TEST(PlatformFiles, MovesAtNamedFilesIntoDirectories) {
  TempDir dir;
  WriteTextFile(dir / "a@b@c.txt", "abc");
  WriteTextFile(dir / "x@y.dat", "xy");
  WriteTextFile(dir / "plain.txt", "plain");
  WriteTextFile(dir / ".hidden@file", "hidden");
  fs::create_directory(dir / "dir@name");
  fs::create_symlink(dir / "plain.txt", dir / "link@plain");

  EXPECT_EQ(Platform_MoveAtNamedFiles(dir.path()), 2);
  EXPECT_EQ(ReadTextFile(dir / "a/b/c.txt"), "abc");
  EXPECT_EQ(ReadTextFile(dir / "x/y.dat"), "xy");
  EXPECT_FALSE(fs::exists(dir / "a@b@c.txt"));
  EXPECT_TRUE(fs::exists(dir / "plain.txt"));
  EXPECT_TRUE(fs::exists(dir / ".hidden@file"));
  EXPECT_TRUE(fs::is_directory(dir / "dir@name"));
  EXPECT_TRUE(fs::is_symlink(dir / "link@plain"));
  EXPECT_FALSE(fs::exists(dir / "dir/name"));
  EXPECT_FALSE(fs::exists(dir / "link/plain"));

  EXPECT_EQ(Platform_MoveAtNamedFiles(dir.path()), 0) << "a second pass finds nothing left";
}

TEST(PlatformFiles, MoveKeepsAnExistingTargetAndSkipsOddNames) {
  TempDir dir;
  fs::create_directories(dir / "save");
  WriteTextFile(dir / "save/slot.dat", "old");
  WriteTextFile(dir / "save@slot.dat", "new");
  WriteTextFile(dir / "@lead.txt", "lead");
  WriteTextFile(dir / "double@@gap.txt", "gap");
  WriteTextFile(dir / std::string(200, 'n').append("@x"), "long but fine");

  EXPECT_EQ(Platform_MoveAtNamedFiles(dir.path()), 3);
  EXPECT_EQ(ReadTextFile(dir / "save/slot.dat"), "old") << "an existing file is never replaced";
  EXPECT_EQ(ReadTextFile(dir / "save@slot.dat"), "new");
  EXPECT_EQ(ReadTextFile(dir / "lead.txt"), "lead") << "a leading @ stays inside the directory";
  EXPECT_EQ(ReadTextFile(dir / "double/gap.txt"), "gap");
  EXPECT_EQ(ReadTextFile(dir / std::string(200, 'n') / "x"), "long but fine");
}

TEST(PlatformFiles, MoveSkipsFilesWeCannotWrite) {
  TempDir dir;
  WriteTextFile(dir / "ro@file.txt", "ro");
  fs::permissions(dir / "ro@file.txt", fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  // A privileged user may write any file; then read-only isn't visible to us and the file moves.
  const bool privileged = std::ofstream(dir / "ro@file.txt", std::ios::app).good();
  EXPECT_EQ(Platform_MoveAtNamedFiles(dir.path()), privileged ? 1 : 0);
  EXPECT_EQ(fs::exists(dir / "ro@file.txt"), !privileged);
}

TEST(PlatformFiles, MoveInTheCurrentDirectory) {
  TempDir dir;
  WriteTextFile(dir / "cur@here.txt", "here");
  CwdScope cwd(dir.path());
  EXPECT_EQ(Platform_MoveAtNamedFiles(""), 1);
  EXPECT_EQ(Platform_MoveAtNamedFiles("/no/such/directory"), 0);
  EXPECT_EQ(ReadTextFile(dir / "cur/here.txt"), "here");
}

TEST(PlatformFiles, WholeFileReadAndWrite) {
  TempDir dir;
  const fs::path path = dir / "new/parents/blob.bin";
  const std::string bytes("a\0b\xff\r\n", 6);
  ASSERT_TRUE(Platform_WriteWholeFile(path.string(), bytes.data(), bytes.size()));
  std::vector<uint8_t> read;
  ASSERT_TRUE(Platform_ReadWholeFile(path.string(), &read));
  EXPECT_EQ(std::string(read.begin(), read.end()), bytes);

  ASSERT_TRUE(Platform_WriteWholeFile(path.string(), "x", 1)) << "an existing file is truncated";
  ASSERT_TRUE(Platform_ReadWholeFile(path.string(), &read));
  EXPECT_EQ(std::string(read.begin(), read.end()), "x");

  ASSERT_TRUE(Platform_WriteWholeFile(path.string(), nullptr, 0));
  ASSERT_TRUE(Platform_ReadWholeFile(path.string(), &read));
  EXPECT_TRUE(read.empty());

  read.assign(3, 7);
  EXPECT_FALSE(Platform_ReadWholeFile((dir / "missing").string(), &read));
  EXPECT_TRUE(read.empty());
  EXPECT_FALSE(Platform_ReadWholeFile(dir.path(), &read)) << "a directory is no file";
  EXPECT_FALSE(Platform_ReadWholeFile("", &read));
  EXPECT_FALSE(Platform_WriteWholeFile("", "x", 1));
  EXPECT_FALSE(Platform_WriteWholeFile((dir / "new/parents/blob.bin/under").string(), "x", 1));
}

TEST(PlatformFiles, ReadsFilesThatReportNoSize) {
  std::vector<uint8_t> read;
  ASSERT_TRUE(Platform_ReadWholeFile("/proc/self/status", &read));
  EXPECT_FALSE(read.empty());
}

TEST(PlatformFiles, Readable) {
  TempDir dir;
  WriteTextFile(dir / "f", "1");
  EXPECT_TRUE(Platform_FileReadable((dir / "f").string()));
  EXPECT_FALSE(Platform_FileReadable((dir / "g").string()));
  EXPECT_FALSE(Platform_FileReadable(dir.path()));
  EXPECT_FALSE(Platform_FileReadable(""));
}

TEST(PlatformFiles, MakeDirectories) {
  TempDir dir;
  EXPECT_TRUE(Platform_MakeDirectories((dir / "one/two/three").string()));
  EXPECT_TRUE(fs::is_directory(dir / "one/two/three"));
  EXPECT_TRUE(Platform_MakeDirectories((dir / "one/two/").string())) << "existing, with a trailing slash";
  WriteTextFile(dir / "file", "x");
  EXPECT_FALSE(Platform_MakeDirectories((dir / "file/sub").string()));
  EXPECT_FALSE(Platform_MakeDirectories(""));
}

TEST(PlatformFiles, DirectoryOf) {
  const struct {
    const char* path;
    const char* dir;
  } cases[] = {{"/a/b/c.win", "/a/b/"}, {"/c.win", "/"}, {"c.win", ""}, {"a/b/", "a/b/"}, {"", ""}};
  for (const auto& c : cases) EXPECT_EQ(Platform_DirectoryOf(c.path), c.dir) << c.path;
}

TEST(PlatformFiles, FullPath) {
  TempDir dir;
  fs::create_directories(dir / "real/sub");
  WriteTextFile(dir / "real/sub/game.win", "FORM");
  fs::create_directory_symlink(dir / "real", dir / "link");
  CwdScope cwd(dir.path());
  const std::string root = dir.path();

  const struct {
    const char* path;
    std::string full;
  } cases[] = {
      {"real/sub/game.win", root + "/real/sub/game.win"},
      {"link/sub/game.win", root + "/real/sub/game.win"},
      {"./real/../real/sub/./game.win", root + "/real/sub/game.win"},
      {"missing.win", root + "/missing.win"},
      {"link/new/../later.ini", root + "/real/later.ini"},
      {"real//sub///none", root + "/real/sub/none"},
      {"real\\sub\\game.win", root + "/real/sub/game.win"},
      {"/no/such/root/file", "/no/such/root/file"},
      {"/", "/"},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(Platform_FullPath(c.path), c.full) << c.path;

  WriteTextFile(dir / "odd\\name", "x");
  EXPECT_EQ(Platform_FullPath("odd\\name"), root + "/odd\\name") << "an existing name is taken as written";
}

TEST(PlatformFiles, ExecutablePathNamesThisProgram) {
  const std::string exe = Platform_ExecutablePath();
  ASSERT_FALSE(exe.empty());
  EXPECT_EQ(exe[0], '/');
  EXPECT_TRUE(Platform_FileReadable(exe));
  EXPECT_EQ(Platform_DirectoryOf(exe), fs::path(exe).parent_path().string() + "/");
}

}  // namespace
