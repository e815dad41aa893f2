#include "storage/ini_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "core/console.h"
#include "support/fixture.h"

namespace {

namespace fs = std::filesystem;

// Sections and keys in list order: "[a]{k=v,k2=v2}[b]{}".
std::string dump(const IniFile& ini) {
  std::string out;
  for (const IniSection* s = ini.sections; s != nullptr; s = s->next) {
    out += "[" + s->name + "]{";
    for (const IniKey* k = s->keys; k != nullptr; k = k->next) {
      if (k != s->keys) out += ",";
      out += k->key + "=" + k->value;
    }
    out += "}";
  }
  return out;
}

std::string parse_dump(const std::string& text) {
  IniFile ini;
  ini.LoadFromData(text.data(), text.size());
  return dump(ini);
}

struct ParseCase {
  const char* name;
  std::string text;
  std::string expected;
};

TEST(IniParse, ByteRules) {
  const ParseCase cases[] = {
      {"plain keys go to the head", "[a]\nx=1\ny=2\n", "[a]{y=2,x=1}"},
      {"CR LF lines", "[a]\r\nx=1\r\ny=2\r\n", "[a]{y=2,x=1}"},
      {"byte-order mark skipped", "\xEF\xBB\xBF[a]\nx=1", "[a]{x=1}"},
      {"text before the first section dropped", "x=1\ngarbage\n[a]\ny=2", "[a]{y=2}"},
      {"no section at all", "x=1\ny=2\n", ""},
      {"empty text", "", ""},
      {"comments", "; top\n[a] # after\n# whole line\nx=1 ; tail\ny = two words # c\n", "[a]{y=two words,x=1}"},
      {"key= at a line's end makes no key", "[a]\nk=\nnext=1\n", "[a]{next=1}"},
      {"key= then a comment makes no key", "[a]\nk= ; c\nnext=1\n", "[a]{next=1}"},
      {"key= at the end of the text", "[a]\nk=", "[a]{}"},
      {"key=\"\" is an empty value", "[a]\nk=\"\"\n", "[a]{k=}"},
      {"double-quoted value keeps ; and #", "[a]\nq=\"a ; b # c\" rest ; skipped\n", "[a]{q=a ; b # c}"},
      {"single quotes hold a double quote", "[a]\ns='it\"s'\n", "[a]{s=it\"s}"},
      {"unterminated quote ends at the line", "[a]\nu=\"open\nv=1", "[a]{v=1,u=open}"},
      {"unquoted value trailing blanks cut", "[a]\nk=v  \t \r\nw=  spaced out\t\n", "[a]{w=spaced out,k=v}"},
      {"key trailing white space cut", "[a]\nkey \t=v", "[a]{key=v}"},
      {"key joins across a line without =", "[a]\njunk\nk=1", "[a]{junk\nk=1}"},
      {"no = before the end", "[a]\nx=1\ndangling", "[a]{x=1}"},
      {"repeated section stays twice", "[a]\nx=1\n[b]\ny=2\n[a]\nz=3", "[a]{z=3}[b]{y=2}[a]{x=1}"},
      {"repeated key stays twice", "[a]\nx=1\nx=2", "[a]{x=2,x=1}"},
      {"section names keep blanks", "[ s p ]\nx=1", "[ s p ]{x=1}"},
      {"empty section name", "[]\nx=1", "[]{x=1}"},
      {"section without ]", "[abc\nx=1", "[abc\nx=1]{}"},
      {"indented section", "[a]\nx=1\n   [b]\ny=2", "[b]{y=2}[a]{x=1}"},
      {"empty key", "[a]\n=v", "[a]{=v}"},
      {"high bytes are kept", "[\xC3\xA9]\nk=\xE2\x82\xAC", "[\xC3\xA9]{k=\xE2\x82\xAC}"},
      {"value with = inside", "[a]\nk=a=b", "[a]{k=a=b}"},
  };
  for (const ParseCase& c : cases) {
    EXPECT_EQ(parse_dump(c.text), c.expected) << c.name;
  }
}

TEST(IniParse, LookupsFindTheLastInTextAndAreCaseSensitive) {
  const std::string text = "[a]\nx=1\n[b]\ny=2\n[a]\nz=3\nz=4\n";
  IniFile ini;
  ini.LoadFromData(text.data(), text.size());
  EXPECT_STREQ(ini.GetValue("a", "z"), "4");
  EXPECT_EQ(ini.GetValue("a", "x"), nullptr) << "the later [a] hides the earlier one";
  EXPECT_STREQ(ini.GetValue("b", "y"), "2");
  EXPECT_EQ(ini.GetValue("B", "y"), nullptr);
  EXPECT_EQ(ini.GetValue("b", "Y"), nullptr);
  EXPECT_EQ(ini.GetValue(nullptr, "y"), nullptr);
  EXPECT_EQ(ini.GetSection("c"), nullptr);
  EXPECT_FALSE(ini.dirty);
}

TEST(IniParse, CountsLineFeeds) {
  const std::string text = "; c\n[a]\nx=1\n\ny=2\n";
  IniFile ini;
  ini.LoadFromData(text.data(), text.size());
  EXPECT_EQ(ini.lineCount, 5);
  EXPECT_EQ(ini.size, static_cast<int32_t>(text.size()));
  EXPECT_EQ(ini.data, nullptr) << "the text is freed after parsing";
}

TEST(IniEdit, SetDeleteAndDirty) {
  IniFile ini;
  ini.SetKey("a", "x", "1");
  ini.SetKey("b", "y", nullptr);
  ini.SetKey("a", "x", "2");
  ini.SetKey("a", "w", "3");
  EXPECT_EQ(dump(ini), "[b]{y=}[a]{w=3,x=2}");
  EXPECT_TRUE(ini.dirty);

  ini.dirty = false;
  EXPECT_FALSE(ini.DeleteKey("a", "missing"));
  EXPECT_FALSE(ini.DeleteSection("missing"));
  EXPECT_FALSE(ini.dirty);
  EXPECT_TRUE(ini.DeleteKey("a", "x"));
  EXPECT_TRUE(ini.dirty);
  EXPECT_EQ(dump(ini), "[b]{y=}[a]{w=3}");
  ini.dirty = false;
  EXPECT_TRUE(ini.DeleteSection("b"));
  EXPECT_TRUE(ini.dirty);
  EXPECT_EQ(dump(ini), "[a]{w=3}");
}

TEST(IniEdit, SystemCommandSectionStoresNothing) {
  IniFile ini;
  ini.SetKey("SYSTEM_COMMAND", "INI_FILE_FLUSH", "NOW");
  ini.SetKey("SYSTEM_COMMAND", "OTHER", "x");
  ini.SetKey("SYSTEM_COMMAND", "INI_FILE_FLUSH", "LATER");
  EXPECT_EQ(ini.sections, nullptr);
  EXPECT_TRUE(ini.dirty) << "no file name, so nothing was written";
}

TEST(IniWrite, TextFormatAndReverseOrder) {
  const std::string text = "[a]\nx=1\ny=2\n[b]\nz=3\n";
  IniFile ini;
  ini.LoadFromData(text.data(), text.size());
  const std::string written = ini.WriteIniFile();
  EXPECT_EQ(written, "[b]\r\nz=\"3\"\r\n[a]\r\ny=\"2\"\r\nx=\"1\"\r\n");

  IniFile again;
  again.LoadFromData(written.data(), written.size());
  EXPECT_EQ(dump(again), "[a]{x=1,y=2}[b]{z=3}");
  EXPECT_EQ(again.WriteIniFile(), "[a]\r\nx=\"1\"\r\ny=\"2\"\r\n[b]\r\nz=\"3\"\r\n");
}

TEST(IniWrite, ValuesSurviveARoundTripExceptDoubleQuotes) {
  IniFile ini;
  ini.SetKey("s", "comment chars", "a;b#c");
  ini.SetKey("s", "blanks", "  padded  ");
  ini.SetKey("s", "empty", "");
  ini.SetKey("s", "quoted", "say \"hi\"");
  const std::string written = ini.WriteIniFile();
  IniFile back;
  back.LoadFromData(written.data(), written.size());
  EXPECT_STREQ(back.GetValue("s", "comment chars"), "a;b#c");
  EXPECT_STREQ(back.GetValue("s", "blanks"), "  padded  ");
  EXPECT_STREQ(back.GetValue("s", "empty"), "");
  EXPECT_STREQ(back.GetValue("s", "quoted"), "say ") << "no escapes: the value ends at its first quote";
}

TEST(IniFileOnDisk, WriteThenReadThroughADirectory) {
  TempDir dir;
  const fs::path path = dir / "deep/er/save.ini";
  {
    IniFile ini(path.c_str(), true);
    EXPECT_EQ(ini.sections, nullptr) << "a missing file reads as empty";
    ini.SetKey("player", "name", "Ada");
    ini.SetKey("player", "score", "12.000000");
    ini.WriteIniFile();
    EXPECT_FALSE(ini.dirty);
  }
  ASSERT_TRUE(fs::exists(path));
  IniFile back(path.c_str(), true);
  EXPECT_STREQ(back.GetValue("player", "name"), "Ada");
  EXPECT_STREQ(back.GetValue("player", "score"), "12.000000");
  EXPECT_FALSE(back.dirty);
}

TEST(IniFileOnDisk, CleanFileIsNotRewritten) {
  TempDir dir;
  const fs::path path = dir / "read_only_use.ini";
  const std::string original = "; kept as is\n[a]\nx=1\ny=2\n";
  WriteTextFile(path, original);
  IniFile ini(path.c_str(), true);
  EXPECT_STREQ(ini.GetValue("a", "x"), "1");
  EXPECT_EQ(ini.WriteIniFile(), "[a]\r\ny=\"2\"\r\nx=\"1\"\r\n");
  EXPECT_EQ(ReadTextFile(path), original);
}

TEST(IniFileOnDisk, NotReadNowLeavesTheListsEmpty) {
  TempDir dir;
  const fs::path path = dir / "later.ini";
  WriteTextFile(path, "[a]\nx=1\n");
  IniFile ini(path.c_str(), false);
  EXPECT_EQ(ini.sections, nullptr);
  EXPECT_TRUE(ini.LoadFromFile());
  EXPECT_STREQ(ini.GetValue("a", "x"), "1");
}

TEST(IniFileOnDisk, SystemCommandFlushWritesAtOnce) {
  TempDir dir;
  const fs::path path = dir / "flush.ini";
  IniFile ini(path.c_str(), true);
  ini.SetKey("a", "x", "1");
  EXPECT_FALSE(fs::exists(path));
  ini.SetKey("SYSTEM_COMMAND", "INI_FILE_FLUSH", "NOW");
  EXPECT_FALSE(ini.dirty);
  EXPECT_EQ(ReadTextFile(path), "[a]\r\nx=\"1\"\r\n");
  EXPECT_EQ(ini.GetSection("SYSTEM_COMMAND"), nullptr);
}

TEST(IniFileOnDisk, FailedWriteKeepsDirtyAndSaysSo) {
  TempDir dir;
  WriteTextFile(dir / "plain", "not a directory");
  const fs::path path = dir / "plain/inside.ini";
  IniFile ini(path.c_str(), true);
  ini.SetKey("a", "x", "1");
  ConsoleCapture capture;
  ini.WriteIniFile();
  EXPECT_TRUE(ini.dirty);
  EXPECT_NE(capture.text().find("IniFile: can't write"), std::string::npos);
}

}  // namespace
