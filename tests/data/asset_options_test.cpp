// Game-wide chunks written by the writer and read through the chunk load: OPTN in both forms with
// its consumed constants and the settings it applies, LANG, EXTN, SCPT, TAGS and FEDS.
#include <string>
#include <vector>

#include "core/rvalue.h"
#include "core/timing.h"
#include "data/asset_extensions.h"
#include "data/asset_options.h"
#include "data/asset_scripts.h"
#include "data/asset_tags.h"
#include "data/game_data.h"
#include "datawin/format/asset_kind.h"
#include "datawin/writer/chunk_options.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"

using namespace datawin;
using namespace datawin::optn;

namespace {

class AssetOptions : public AssetLoaderTest {
 protected:
  void TearDown() override {
    g_CopyOnWrite = true;
    SleepMargin = 10;
    AssetLoaderTest::TearDown();
  }
};

}  // namespace

TEST_F(AssetOptions, NewFormAppliesFlagsValuesAndConsumedConstants) {
  Writer writer = MakeMinimalGame();
  OptnRecord options;
  options.flags = kOptionFullScreen | kOptionShowCursor | kOptionCollisionCompat | kOptionVersion5Bit;
  options.value16 = 77;
  options.window_colour = 0x102030;
  options.value36 = -4;
  options.value40 = 9;
  options.string52 = "kept text";
  options.byte56 = true;
  options.constants = {{"@@SleepMargin", "3"}, {"first", "one"},       {"@@DrawColour", "0xFF8000"},
                       {"VersionMajor", "2"},  {"VersionMinor", "41"}, {"last", ""}};
  add_optn(writer, options);
  g_CopyOnWrite = true;
  ASSERT_TRUE(load(writer));

  const GameOptions& read = Options_Get();
  EXPECT_EQ(read.flags, options.flags);
  EXPECT_FALSE(g_CopyOnWrite);  // bit 29 clear
  EXPECT_EQ(read.value16, 77);
  EXPECT_EQ(Options_WindowClearColour(), 0xFF102030u);
  EXPECT_EQ(read.value36, -4);
  EXPECT_EQ(read.value40, 9);
  EXPECT_STREQ(read.string52, "kept text");
  EXPECT_TRUE(read.byte56);
  EXPECT_EQ(SleepMargin, 3);
  EXPECT_TRUE(read.draw_colour_set);
  EXPECT_EQ(read.draw_colour, 0xFF8000u);
  EXPECT_EQ(read.version_major, 2);
  EXPECT_EQ(read.version_minor, 41);
  // The stored count less the two consumed constants; Version* are kept as well.
  const std::vector<std::string> names = {"first", "VersionMajor", "VersionMinor", "last"};
  EXPECT_EQ(read.constant_names, names);
  EXPECT_EQ(read.constant_values, (std::vector<std::string>{"one", "2", "41", ""}));
}

TEST_F(AssetOptions, CopyOnWriteBitAndInAWindow) {
  Writer writer = MakeMinimalGame();
  OptnRecord options;
  options.flags = kOptionFullScreen | kOptionCopyOnWrite;
  add_optn(writer, options);
  g_CopyOnWrite = false;
  GameData_SetInAWindow(true);
  ASSERT_TRUE(load(writer));
  EXPECT_TRUE(g_CopyOnWrite);
  EXPECT_FALSE(Options_Flag(kOptionFullScreen));
}

TEST_F(AssetOptions, OldFormKeepsEveryMappedFlag) {
  struct Case {
    int version;
    uint32_t flags;
    uint32_t expected;
  };
  const uint32_t all_mapped = [] {
    uint32_t bits = 0;
    for (const OldFlagWord& flag : kOldFlagWords) bits |= 1u << flag.bit;
    return bits;
  }();
  const Case cases[] = {
      {17, 0, 0},
      {17, all_mapped, all_mapped},
      {17, kOptionAudio | kOptionFreezeOnLostFocus | kOptionErrorsEndGame, kOptionAudio | kOptionFreezeOnLostFocus | kOptionErrorsEndGame},
      {4, kOptionVersion5Bit | kOptionShowCursor, kOptionShowCursor},  // bit 23 needs version 5
      // Bits the old form has no word for: 24, 25 read 0; 27 to 29 keep their defaults (0).
      {17, 1u << 24 | kOptionCopyOnWrite | kOptionNoSandbox, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.flags);
    Writer writer = MakeMinimalGame(c.version);
    OptnRecord options;
    options.old_form = true;
    options.flags = c.flags;
    options.value16 = 12;
    options.window_colour = 0xABCDEF;
    options.string52 = "old";
    options.constants = {{"@@SleepMargin", "7"}, {"kept", "v"}};
    add_optn(writer, options);
    ASSERT_TRUE(load(writer));
    EXPECT_EQ(Options_Get().flags, c.expected);
    EXPECT_EQ(Options_Get().value16, 12);
    EXPECT_EQ(Options_Get().window_colour, 0xABCDEFu);
    EXPECT_STREQ(Options_Get().string52, "old");
    EXPECT_EQ(SleepMargin, 7);
    EXPECT_EQ(Options_Get().constant_names, std::vector<std::string>{"kept"});
  }
}

TEST_F(AssetOptions, NewFormOfAnotherFormVersionFailsTheLoad) {
  Writer writer = MakeMinimalGame();
  OptnRecord options;
  options.form_version = 3;
  add_optn(writer, options);
  LoaderConsole console;
  EXPECT_FALSE(load(writer));
  EXPECT_NE(console.text().find("Error loading game data: OPTN: form version is not 2"), std::string::npos);
}

TEST_F(AssetOptions, WithoutTheChunkTheDefaultsStand) {
  ASSERT_TRUE(load(MakeMinimalGame()));
  EXPECT_EQ(Options_Get().flags, kDefaultFlags);
  EXPECT_EQ(Options_Get().value16, 100);
  EXPECT_TRUE(Options_Flag(kOptionAudio));
}

TEST_F(AssetOptions, LanguageTables) {
  Writer writer = MakeMinimalGame();
  add_lang(writer, {"hello", "bye"}, {{"English", "GB", {"Hello", "Bye"}}, {"Deutsch", "DE", {"Hallo", "Tschuess"}}});
  ASSERT_TRUE(load(writer));
  const LanguageTables& tables = Language_Get();
  EXPECT_EQ(tables.current, 0);
  ASSERT_EQ(tables.keys.size(), 2u);
  EXPECT_STREQ(tables.keys[1], "bye");
  ASSERT_EQ(tables.languages.size(), 2u);
  EXPECT_STREQ(tables.languages[1].name, "Deutsch");
  EXPECT_STREQ(tables.languages[1].region, "DE");
  EXPECT_STREQ(tables.languages[1].values[1], "Tschuess");

  Writer empty = MakeMinimalGame();
  add_lang(empty, {}, {{"English", "GB", {}}});
  ASSERT_TRUE(load(empty));
  EXPECT_EQ(Language_Get().current, -1);
  EXPECT_TRUE(Language_Get().languages.empty());
  EXPECT_THROW(add_lang(empty, {"a"}, {{"x", "y", {}}}), WriteError);
}

TEST_F(AssetOptions, ExtensionPackagesWithFilesFunctionsAndOptions) {
  Writer writer = MakeMinimalGame();
  ExtnPackage package;
  package.name = "cursor_ext";
  package.files = {{"cursor.so", "cursor_init", "cursor_final", 1,
                    {{"cursor_set", 3, 1, 2, "ext_cursor_set", {1, 2}}, {"cursor_reset", 4, 1, 2, "", {}}}}};
  package.options = {{"speed", "12", 2}};
  add_extn(writer, {std::nullopt, package});
  ASSERT_TRUE(load(writer));
  const AssetTable<ExtensionPackageAsset>& table = Extension_Table();
  ASSERT_EQ(table.count(), 2);
  EXPECT_EQ(table.get(0), nullptr);
  const ExtensionPackageAsset* read = table.get(1);
  ASSERT_NE(read, nullptr);
  EXPECT_STREQ(table.name(1), "cursor_ext");
  ASSERT_EQ(read->files.size(), 1u);
  EXPECT_STREQ(read->files[0].final, "cursor_final");
  ASSERT_EQ(read->files[0].functions.size(), 2u);
  EXPECT_STREQ(read->files[0].functions[0].external_name, "ext_cursor_set");
  EXPECT_EQ(read->files[0].functions[0].argument_types, (std::vector<int32_t>{1, 2}));
  EXPECT_EQ(read->files[0].functions[1].external_name, nullptr);
  ASSERT_EQ(read->options.size(), 1u);
  EXPECT_STREQ(read->options[0].value, "12");
  EXPECT_EQ(read->options[0].kind, 2);
}

TEST_F(AssetOptions, ScriptsMaskTheTopBitAndKeepEmptySlots) {
  Writer writer = MakeMinimalGame();
  add_scpt(writer, {ScriptRecord{"scr_first", 0x80000005u}, std::nullopt, ScriptRecord{"scr_third", 7}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(Script_Table().count(), 3);
  EXPECT_EQ(Script_Table().get(0)->code_index, 5);
  EXPECT_EQ(Script_Table().get(1), nullptr);
  EXPECT_EQ(Script_Table().name(1), nullptr);
  EXPECT_EQ(Script_Find("scr_third"), 2);
  EXPECT_EQ(Script_Table().get(2)->code_index, 7);
}

TEST_F(AssetOptions, TagsFillBothMapsAndAnUnknownVersionIsSkipped) {
  const uint32_t sprite3 = asset_key(kAssetSprite, 3);
  const uint32_t sound1 = asset_key(kAssetSound, 1);
  Writer writer = MakeMinimalGame();
  add_tags(writer, {"enemy", "loud", "ui"}, {{sprite3, {"enemy", "ui"}}, {sound1, {"loud"}}});
  ASSERT_TRUE(load(writer));
  EXPECT_TRUE(Tags_IsKnownTag("ui"));
  EXPECT_EQ(Tags_ForAsset(sprite3), (std::vector<std::string>{"enemy", "ui"}));
  EXPECT_TRUE(Tags_HasAll(sprite3, {"ui", "enemy"}));
  EXPECT_FALSE(Tags_HasAll(sprite3, {"ui", "loud"}));
  EXPECT_TRUE(Tags_HasAny(sound1, {"ui", "loud"}));
  EXPECT_EQ(Tags_AssetsWithAny({"loud", "ui"}), (std::vector<uint32_t>{sprite3, sound1}));  // ascending keys
  EXPECT_TRUE(Tags_Add(sound1, {"new", "loud"}));
  EXPECT_TRUE(Tags_IsKnownTag("new"));
  EXPECT_FALSE(Tags_Add(sound1, {"loud"}));
  EXPECT_TRUE(Tags_Remove(sprite3, {"enemy"}));
  EXPECT_EQ(Tags_ForAsset(sprite3), std::vector<std::string>{"ui"});
  EXPECT_TRUE(Tags_ClearAsset(sprite3));
  EXPECT_FALSE(Tags_ClearAsset(sprite3));

  Writer other = MakeMinimalGame();
  add_tags(other, {"enemy"}, {{sprite3, {"enemy"}}}, 2);
  LoaderConsole console;
  EXPECT_TRUE(load(other));
  EXPECT_NE(console.text().find("unknown TAGS_VERSION:2 expected:1\n"), std::string::npos);
  EXPECT_TRUE(Tags_ForAsset(sprite3).empty());
  EXPECT_FALSE(Tags_IsKnownTag("enemy"));
}

TEST_F(AssetOptions, EffectDescriptionsByName) {
  Writer writer = MakeMinimalGame();
  add_feds(writer, {EffectDescription{"_filter_tint", "{\"type\":\"tint\"}"}, std::nullopt});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(Effects_Count(), 1);
  EXPECT_STREQ(Effects_Description("_filter_tint"), "{\"type\":\"tint\"}");
  EXPECT_EQ(Effects_Description("missing"), nullptr);
}
