#include <gtest/gtest.h>

#include "core/console.h"
#include "core/fn_value.h"
#include "storage/file_test_fixture.h"

namespace file_test {
namespace {

TEST_F(FilesTest, SaveAreaAndWorkingDirectoryFollowTheStartUp) {
  Start();
  EXPECT_EQ(Files_SaveDirectory(), save().string() + "/");
  EXPECT_EQ(Files_BundleDirectory(), bundle().string() + "/");
  EXPECT_EQ(Files_WorkingDirectory(), bundle().string() + "/");
}

TEST_F(FilesTest, ResolversMapNamesIntoTheirRoot) {
  Start();
  const std::string b = bundle().string() + "/";
  const std::string s = save().string() + "/";
  struct Case {
    std::string name;
    std::string read;   // ResolveBundlePath
    std::string write;  // ResolveSavePath
  };
  const Case cases[] = {
      {"a.txt", b + "a.txt", s + "a.txt"},
      {"sub/dir/a.txt", b + "sub/dir/a.txt", s + "sub/dir/a.txt"},
      {"sub\\a.txt", b + "sub/a.txt", s + "sub/a.txt"},
      {"./x/../a.txt", b + "a.txt", s + "a.txt"},
      {b + "a.txt", b + "a.txt", s + "a.txt"},
      {b + "deep/a.txt", b + "deep/a.txt", s + "deep/a.txt"},
      // A name already in the save area stays there for writing and is no bundle name.
      {s + "a.txt", "", s + "a.txt"},
      // Outside every root: refused both ways.
      {"/nonexistent-root/a.txt", "", ""},
      {"", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ResolveBundlePath(c.name.c_str()), c.read) << c.name;
    EXPECT_EQ(ResolveSavePath(c.name.c_str()), c.write) << c.name;
  }
  EXPECT_EQ(ResolveSavePath(nullptr), "");
  EXPECT_EQ(ResolveBundlePath(nullptr), "");
}

TEST_F(FilesTest, RefusedWriteNamesSayWhy) {
  Start();
  ConsoleCapture capture;
  EXPECT_EQ(ResolveSavePath("/nonexistent-root/a.txt"), "");
  EXPECT_NE(capture.text().find("Error! not allowing file operation with filename '/nonexistent-root/a.txt'."),
            std::string::npos)
      << capture.text();
  EXPECT_EQ(Real("file_exists", {S("/nonexistent-root/a.txt")}), 0.0);
}

TEST_F(FilesTest, AllowListsOpenNamesOutsideTheRoots) {
  Start();
  Files_AllowWrite("/elsewhere/Out.TXT", false);
  Files_AllowRead("/elsewhere/in/", true);
  ConsoleCapture capture;
  EXPECT_EQ(ResolveSavePath("/elsewhere/out.txt"), "/elsewhere/out.txt");  // exact entries ignore case
  EXPECT_EQ(ResolveSavePath("/elsewhere/out2.txt"), "");
  EXPECT_EQ(ResolveBundlePath("/elsewhere/in/deep/a"), "/elsewhere/in/deep/a");  // a wildcard is a prefix
  EXPECT_EQ(ResolveBundlePath("/elsewhere/IN/a"), "");                          // compared exactly
  EXPECT_TRUE(Files_WriteAllowed("/ELSEWHERE/OUT.txt"));
  // An allowed name inside a root is still redirected, with a warning.
  Files_AllowWrite((bundle().string() + "/w.txt").c_str(), false);
  EXPECT_EQ(ResolveSavePath((bundle().string() + "/w.txt").c_str()), save().string() + "/w.txt");
  EXPECT_NE(capture.text().find("Warning! Save location - redirected to: '" + save().string() + "/w.txt'"),
            std::string::npos)
      << capture.text();
}

TEST_F(FilesTest, SandboxOffUsesNamesAsTheyStand) {
  optn_flags |= datawin::optn::kOptionNoSandbox;
  Start();
  const std::string outside = (root() / "outside.txt").string();
  Put(outside, "x");
  // The temporary root is the current directory: use a name under no root and no current directory.
  fs::current_path(bundle());
  EXPECT_EQ(ResolveSavePath(outside.c_str()), outside);
  EXPECT_EQ(ResolveBundlePath(outside.c_str()), outside);
  EXPECT_EQ(Real("file_exists", {S(outside)}), 1.0);
}

TEST_F(FilesTest, WithoutAUserDataFolderWritesAreRefused) {
  const char* home = std::getenv("HOME");
  const std::string old_home = home != nullptr ? home : "";
  ::unsetenv("XDG_DATA_HOME");
  ::setenv("HOME", "", 1);
  Start();
  ::setenv("HOME", old_home.c_str(), 1);
  EXPECT_EQ(Files_SaveDirectory(), "");
  ConsoleCapture capture;
  EXPECT_EQ(ResolveSavePath("a.txt"), "");
  EXPECT_EQ(ResolveBundlePath("a.txt"), bundle().string() + "/a.txt");
  EXPECT_EQ(Real("file_text_open_write", {S("a.txt")}), -1.0);
  EXPECT_FALSE(fs::exists(root() / "a.txt"));
}

TEST_F(FilesTest, FileExistsLooksInTheSaveAreaThenTheBundle) {
  Start();
  Put(bundle() / "b.txt", "bundle");
  Put(save() / "s.txt", "save");
  fs::create_directories(bundle() / "folder");
  const struct {
    const char* name;
    double want;
  } cases[] = {{"b.txt", 1}, {"s.txt", 1}, {"none.txt", 0}, {"folder", 0}, {"", 0}};
  for (const auto& c : cases) EXPECT_EQ(Real("file_exists", {S(c.name)}), c.want) << c.name;
  EXPECT_EQ(Real("file_exists", {Val::Undefined()}), 0.0);
}

TEST_F(FilesTest, DeleteRenameAndCopyWorkOnTheSaveArea) {
  Start();
  Put(bundle() / "shared.txt", "bundle");
  Put(save() / "mine.txt", "mine");
  // A bundle file is never deleted.
  EXPECT_EQ(Real("file_delete", {S("shared.txt")}), 0.0);
  EXPECT_TRUE(fs::exists(bundle() / "shared.txt"));
  // Copy gives 0 on success, from the bundle into the save area, parent folders made.
  EXPECT_EQ(Real("file_copy", {S("shared.txt"), S("copies/one.txt")}), 0.0);
  EXPECT_EQ(Get(save() / "copies" / "one.txt"), "bundle");
  {
    ConsoleCapture capture;
    EXPECT_EQ(Real("file_copy", {S("missing.txt"), S("two.txt")}), -1.0);
    EXPECT_NE(capture.text().find("Unable to open source file missing.txt"), std::string::npos);
  }
  // Rename gives 1 on success and 0 when the old name is not in the save area.
  EXPECT_EQ(Real("file_rename", {S("mine.txt"), S("yours.txt")}), 1.0);
  EXPECT_TRUE(fs::exists(save() / "yours.txt"));
  EXPECT_FALSE(fs::exists(save() / "mine.txt"));
  EXPECT_EQ(Real("file_rename", {S("shared.txt"), S("x.txt")}), 0.0);
  EXPECT_EQ(Real("file_delete", {S("yours.txt")}), 1.0);
  EXPECT_FALSE(fs::exists(save() / "yours.txt"));
  EXPECT_EQ(Real("file_delete", {S("yours.txt")}), 0.0);
}

TEST_F(FilesTest, SaveAreaFileShadowsTheBundleFile) {
  Start();
  Put(bundle() / "level.txt", "bundle");
  EXPECT_EQ(File_FindForRead("level.txt"), (bundle() / "level.txt").string());
  Put(save() / "level.txt", "save");
  EXPECT_EQ(File_FindForRead("level.txt"), (save() / "level.txt").string());
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(File_ReadWhole(File_FindForRead("level.txt").c_str(), &bytes));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "save");
}

TEST_F(FilesTest, DirectoriesAreMadeAndDestroyedInTheSaveArea) {
  Start();
  fs::create_directories(bundle() / "shipped");
  EXPECT_EQ(Real("directory_exists", {S("shipped")}), 1.0);
  EXPECT_EQ(Real("directory_exists", {S("a")}), 0.0);
  Call("directory_create", {S("a/b/c/")});
  EXPECT_TRUE(fs::is_directory(save() / "a" / "b" / "c"));
  EXPECT_EQ(Real("directory_exists", {S("a/b")}), 1.0);
  Put(save() / "a" / "b" / "c" / "f.txt", "x");
  Call("directory_destroy", {S("a")});
  EXPECT_FALSE(fs::exists(save() / "a"));
  EXPECT_EQ(Real("directory_exists", {S("a")}), 0.0);
  // A bundle folder is out of reach of directory_destroy.
  Call("directory_destroy", {S("shipped")});
  EXPECT_TRUE(fs::is_directory(bundle() / "shipped"));
}

TEST_F(FilesTest, MakeDirectoriesRules) {
  Start();
  const struct {
    std::string path;
    bool ok;
  } cases[] = {{"", false}, {"ab", true}, {(root() / "m/n/").string(), true}, {(root() / "m").string(), true}};
  for (const auto& c : cases) EXPECT_EQ(File_MakeDirectories(c.path), c.ok) << c.path;
  EXPECT_TRUE(fs::is_directory(root() / "m" / "n"));
  EXPECT_FALSE(fs::exists(root() / "ab"));  // too short to be made, yet a success
}

TEST_F(FilesTest, FindListsBothRootsWithAttributeFilter) {
  Start();
  Put(save() / "saves" / "one.sav", "1");
  Put(save() / "saves" / "two.sav", "2");
  Put(bundle() / "saves" / "two.sav", "b");
  Put(bundle() / "saves" / "three.sav", "3");
  Put(bundle() / "saves" / "notes.txt", "n");
  fs::create_directories(save() / "saves" / "slot.sav");
  struct Case {
    const char* mask;
    double attributes;
    std::vector<std::string> want;  // sorted
  };
  const Case cases[] = {
      {"saves/*.sav", 0, {"one.sav", "three.sav", "two.sav"}},
      {"saves/*.sav", 16, {"one.sav", "slot.sav", "three.sav", "two.sav"}},
      {"saves/*.*", 0, {"notes.txt", "one.sav", "three.sav", "two.sav"}},
      {"saves/t*", 0, {"three.sav", "two.sav"}},
      {"saves/*.sav", 1, {}},  // read-only wanted: every file here is writable
      {"nothing/*", 0, {}},
  };
  for (const Case& c : cases) {
    std::vector<std::string> got;
    for (std::string name = Text("file_find_first", {S(c.mask), R(c.attributes)}); !name.empty();
         name = Text("file_find_next")) {
      got.push_back(name);
    }
    Call("file_find_close");
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, c.want) << c.mask << " " << c.attributes;
  }
  // Past the end the list stays: next keeps giving "".
  EXPECT_EQ(Text("file_find_first", {S("saves/one.sav"), R(0)}), "one.sav");
  EXPECT_EQ(Text("file_find_next"), "");
  EXPECT_EQ(Text("file_find_next"), "");
}

TEST_F(FilesTest, AttributesAreMasked) {
  Start();
  Put(save() / "f.txt", "x");
  fs::create_directories(bundle() / "d");
  EXPECT_EQ(Real("file_attributes", {S("f.txt"), R(55)}), 32.0);
  EXPECT_EQ(Real("file_attributes", {S("f.txt"), R(16)}), 0.0);
  EXPECT_EQ(Real("file_attributes", {S("d"), R(55)}), 16.0);
  EXPECT_EQ(Real("file_attributes", {S("none"), R(55)}), 0.0);
}

TEST_F(FilesTest, FilenameParts) {
  Start();
  struct Case {
    const char* builtin;
    const char* name;
    const char* want;
  };
  const Case cases[] = {
      {"filename_name", "a/b/c.txt", "c.txt"},     {"filename_name", "a\\b\\c.txt", "c.txt"},
      {"filename_name", "c.txt", "c.txt"},         {"filename_name", "a/b/", ""},
      {"filename_ext", "a/b/c.tar.gz", ".gz"},     {"filename_ext", "a/b.d/c", ""},
      {"filename_ext", "c.", "."},                 {"filename_ext", "c", ""},
      {"filename_path", "a/b/c.txt", "a/b/"},      {"filename_path", "a\\b\\c.txt", "a\\b\\"},
      {"filename_path", "c.txt", ""},              {"filename_dir", "/x/y/c.txt", "/x/y"},
      {"filename_dir", "a\\b\\c.txt", "a\\b"},     {"filename_dir", "nowhere.txt", ""},
      {"filename_drive", "/x/y/c.txt", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(Text(c.builtin, {S(c.name)}), c.want) << c.builtin << "(" << c.name << ")";
}

TEST_F(FilesTest, FilenameDirOfABareNameComesFromWhereTheFileIs) {
  Start();
  Put(bundle() / "only_bundle.txt", "b");
  Put(save() / "both.txt", "s");
  Put(bundle() / "both.txt", "b");
  EXPECT_EQ(Text("filename_dir", {S("only_bundle.txt")}), bundle().string());
  EXPECT_EQ(Text("filename_dir", {S("both.txt")}), save().string());
}

TEST_F(FilesTest, FilenameChangeExt) {
  Start();
  const struct {
    const char* name;
    const char* ext;
    const char* want;
  } cases[] = {
      {"a.txt", ".ini", "a.ini"}, {"a.txt", "ini", "aini"},     {"a.b.c", "", "a.b"},
      {"a", "ini", "a.ini"},      {"a", ".ini", "a.ini"},       {"a", "", "a"},
      {"d.x/a", ".y", "d.x/a.y"}, {"dir/a.txt", ".md", "dir/a.md"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Text("filename_change_ext", {S(c.name), S(c.ext)}), c.want) << c.name << " " << c.ext;
  }
  EXPECT_EQ(Text("filename_change_ext", {Val::Undefined(), S(".x")}), "");
}

TEST_F(FilesTest, NullNamesRaiseForPathAndDir) {
  Start();
  EXPECT_EQ(Raised("filename_path", {Val::Undefined()}), "null string passed to filename_path");
  EXPECT_EQ(Raised("filename_dir", {Val::Undefined()}), "null string passed to filename_dir");
}

TEST_F(FilesTest, EnvironmentVariables) {
  Start();
  ::setenv("KOVA_FILE_TEST_VAR", "value 1", 1);
  EXPECT_EQ(Text("environment_get_variable", {S("KOVA_FILE_TEST_VAR")}), "value 1");
  ::unsetenv("KOVA_FILE_TEST_VAR");
  EXPECT_EQ(Text("environment_get_variable", {S("KOVA_FILE_TEST_VAR")}), "");
}

}  // namespace
}  // namespace file_test
