#include <gtest/gtest.h>

#include "core/console.h"
#include "storage/file_test_fixture.h"

namespace file_test {
namespace {

TEST_F(FilesTest, IniReadsFromTheBundleAndWritesToTheSaveArea) {
  Start();
  Put(bundle() / "settings.ini", "[video]\r\nwidth=640\r\nname = \"Kova Keep\" ; note\r\n[audio]\r\nvolume=0.5\r\n");
  Call("ini_open", {S("settings.ini")});
  struct Read {
    const char* builtin;
    const char* section;
    const char* key;
    Val fallback;
    std::string want;
  };
  const Read reads[] = {
      {"ini_read_real", "video", "width", R(1), "640"},
      {"ini_read_string", "video", "name", S("-"), "Kova Keep"},
      {"ini_read_real", "audio", "volume", R(1), "0.50"},
      {"ini_read_real", "audio", "missing", R(7), "7"},
      {"ini_read_string", "audio", "missing", R(7), "7"},
      {"ini_read_real", "video", "name", R(7), "0"},  // not a number
      {"ini_read_string", "Video", "width", S("case"), "case"},
      {"ini_key_exists", "video", "width", R(0), "1"},
      {"ini_key_exists", "video", "height", R(0), "0"},
  };
  for (const Read& r : reads) {
    EXPECT_EQ(Call(r.builtin, {S(r.section), S(r.key), r.fallback}).text(), r.want) << r.builtin << " " << r.key;
  }
  EXPECT_EQ(Real("ini_section_exists", {S("audio")}), 1.0);
  EXPECT_EQ(Real("ini_section_exists", {S("none")}), 0.0);
  Call("ini_write_real", {S("video"), S("height"), R(360)});
  Call("ini_write_string", {S("new"), S("k"), S("v")});
  Call("ini_key_delete", {S("audio"), S("volume")});
  const std::string text = Text("ini_close");
  EXPECT_EQ(text,
            "[new]\r\nk=\"v\"\r\n[audio]\r\n[video]\r\nheight=\"360.000000\"\r\nname=\"Kova Keep\"\r\nwidth=\"640\"\r\n");
  EXPECT_EQ(Get(save() / "settings.ini"), text);
  EXPECT_EQ(Get(bundle() / "settings.ini").substr(0, 7), "[video]");
  // The saved copy now shadows the bundle's.
  Call("ini_open", {S("settings.ini")});
  EXPECT_EQ(Text("ini_read_string", {S("new"), S("k"), S("")}), "v");
  Call("ini_close");
}

TEST_F(FilesTest, IniCloseAfterReadsWritesNothing) {
  Start();
  Put(bundle() / "r.ini", "[a]\nx=1\ny=2\n[b]\nz=3\n");
  Call("ini_open", {S("r.ini")});
  EXPECT_EQ(Real("ini_read_real", {S("a"), S("y"), R(0)}), 2.0);
  EXPECT_EQ(Text("ini_close"), "[b]\r\nz=\"3\"\r\n[a]\r\ny=\"2\"\r\nx=\"1\"\r\n");
  EXPECT_FALSE(fs::exists(save() / "r.ini"));
  EXPECT_EQ(Text("ini_close"), "");
}

TEST_F(FilesTest, IniFlushCommandWritesAtOnce) {
  Start();
  Call("ini_open", {S("cfg/flush.ini")});
  Call("ini_write_string", {S("s"), S("k"), S("v")});
  EXPECT_FALSE(fs::exists(save() / "cfg" / "flush.ini"));
  Call("ini_write_string", {S("SYSTEM_COMMAND"), S("INI_FILE_FLUSH"), S("NOW")});
  EXPECT_EQ(Get(save() / "cfg" / "flush.ini"), "[s]\r\nk=\"v\"\r\n");
  EXPECT_EQ(Real("ini_section_exists", {S("SYSTEM_COMMAND")}), 0.0);
  Call("ini_close");
}

TEST_F(FilesTest, IniFromStringIsNeverSaved) {
  Start();
  Call("ini_open_from_string", {S("junk\n[one]\nk=\n[one]\nk=\"\"\nq='a b' tail\n")});
  EXPECT_EQ(Real("ini_key_exists", {S("one"), S("k")}), 1.0);  // the later section is found first
  EXPECT_EQ(Text("ini_read_string", {S("one"), S("k"), S("default")}), "");
  EXPECT_EQ(Text("ini_read_string", {S("one"), S("q"), S("")}), "a b");
  Call("ini_section_delete", {S("one")});
  EXPECT_EQ(Real("ini_key_exists", {S("one"), S("k")}), 0.0);  // "k=" at a line's end made no key
  Call("ini_write_string", {S("x"), S("y"), S("z")});
  Call("ini_close");
  EXPECT_TRUE(fs::is_empty(root() / "data") || !fs::exists(save()));
}

TEST_F(FilesTest, IniFunctionsWithoutAnOpenFileRaise) {
  Start();
  const struct {
    const char* builtin;
    const char* message;
  } cases[] = {
      {"ini_read_string", "Trying to read from undefined INI file"},
      {"ini_read_real", "Trying to read from undefined INI file"},
      {"ini_key_exists", "Trying to read from undefined INI file"},
      {"ini_section_exists", "Trying to read from undefined INI file"},
      {"ini_write_string", "Trying to write to undefined INI file"},
      {"ini_write_real", "Trying to write to undefined INI file"},
      {"ini_key_delete", "Trying to change undefined INI file"},
      {"ini_section_delete", "Trying to change undefined INI file"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Raised(c.builtin, {S("s"), S("k"), S("v")}), c.message) << c.builtin;
  }
  Call("ini_open", {S("")});  // an empty name opens nothing
  EXPECT_EQ(Raised("ini_read_real", {S("s"), S("k"), R(0)}), "Trying to read from undefined INI file");
}

TEST_F(FilesTest, LoadCsvMakesAGridOfStrings) {
  Start();
  Put(bundle() / "table.csv", "name,score,note\r\n\"Smith, J\",10,\"say \"\"hi\"\"\"\n\nlone\r\nx,1,2,3,4\r");
  const double grid = Real("load_csv", {S("table.csv")});
  ASSERT_GE(grid, 0.0);
  EXPECT_EQ(Real("ds_grid_width", {R(grid)}), 3.0);
  EXPECT_EQ(Real("ds_grid_height", {R(grid)}), 4.0);
  const struct {
    int x, y;
    std::string want;
  } cells[] = {{0, 0, "name"}, {2, 0, "note"}, {0, 1, "Smith, J"}, {1, 1, "10"},
               {2, 1, "say \"hi\""}, {0, 2, "lone"}, {1, 2, "0"}, {2, 3, "2"}};
  for (const auto& c : cells) {
    EXPECT_EQ(Call("ds_grid_get", {R(grid), R(c.x), R(c.y)}).text(), c.want) << c.x << "," << c.y;
  }
  EXPECT_EQ(Call("ds_grid_get", {R(grid), R(1), R(1)}).kind(), static_cast<uint32_t>(kRVString));
  EXPECT_EQ(Real("load_csv", {S("missing.csv")}), -1.0);
  Put(bundle() / "empty.csv", "");
  EXPECT_EQ(Real("load_csv", {S("empty.csv")}), -1.0);
  EXPECT_EQ(Raised("load_csv", {R(3)}), "load_csv - parameter should be a filename");
}

}  // namespace
}  // namespace file_test
