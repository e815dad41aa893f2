// The orders of the assets manifest: parsing and its refusals, the generated sources, and a small
// manifest built by kova-datawin whose SCPT and GLOB code indexes are the rows of the generated
// script table, in the same order.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "core/console.h"
#include "data/asset_scripts.h"
#include "data/game_data.h"
#include "manifest/manifest_orders.h"
#include "run/asset_readers.h"
#include "support/fixture.h"

namespace {

const char kSmallManifest[] =
    "name = small\n"
    "[functions]\n"
    "# code index 0 onwards\n"
    "tsl_GlobalScript_init\n"
    "tsl_Script_add\n"
    "tsl_Object_obj_a_Create_0\n"
    "tsl_GlobalScript_more\n"
    "tsl_RoomCC_rm_start\n"
    "[instance_variables]\n"
    "x\n"
    "id r\n"
    "[global_variables]\n"
    "score\n"
    "[registrars]\n"
    "Game Run_RegisterGameBuiltins run/run_builtins.h\n"
    "Math Math_RegisterArithmeticBuiltins core/fn_math.h\n"
    "Kova Object_RegisterBuiltins core/fn_object.h\n";

TEST(ManifestOrders, SmallManifestParsesIntoItsSections) {
  manifest::Orders orders;
  std::string error;
  ASSERT_TRUE(manifest::parse_orders(kSmallManifest, "m.txt", &orders, &error)) << error;
  ASSERT_EQ(orders.functions.size(), 5u);
  EXPECT_EQ(orders.functions[0].kind, manifest::CodeKind::kGlobalScript);
  EXPECT_EQ(orders.functions[0].script_name, "init");
  EXPECT_EQ(orders.functions[1].kind, manifest::CodeKind::kScript);
  EXPECT_EQ(orders.functions[2].kind, manifest::CodeKind::kObjectEvent);
  EXPECT_EQ(orders.functions[4].kind, manifest::CodeKind::kRoomCode);
  ASSERT_EQ(orders.instance_variables.size(), 2u);
  EXPECT_TRUE(orders.instance_variables[1].read_only);
  ASSERT_EQ(orders.registrars.size(), 3u);
  EXPECT_STREQ(manifest::kFamilyNames[orders.registrars[2].family], "Kova");
}

TEST(ManifestOrders, BadLinesNameTheLine) {
  struct Case {
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"[functions]\n[sparkles]\n", "m.txt:2: unknown section [sparkles]"},
      {"[functions]\n[functions]\n", "m.txt:2: section [functions] given twice"},
      {"[functions]\nraw_thing\n", "m.txt:2: \"raw_thing\" is not a tsl_Script_"},
      {"[functions]\ntsl_Script_a\n\ntsl_Script_a\n", "m.txt:4: function \"tsl_Script_a\" listed twice"},
      {"[functions]\ntsl_Script_a\ntsl_GlobalScript_a\n", "m.txt:3: script name \"a\" used by two rows"},
      {"[functions]\ntsl_Script_a b\n", "m.txt:2: expected one compiled function name"},
      {"[global_variables]\nx w\n", "m.txt:2: expected `<name>` or `<name> r`"},
      {"[instance_variables]\nx\n[global_variables]\nx\n", "m.txt:4: variable \"x\" listed twice"},
      {"[registrars]\nSparkle F a.h\n", "m.txt:2: unknown builtin family \"Sparkle\""},
      {"[registrars]\nMath F a.h\nGame G a.h\n", "m.txt:3: family \"Game\" comes after \"Math\""},
      {"[registrars]\nGame F ../a.h\n", "m.txt:2: bad header path \"../a.h\""},
      {"[registrars]\nGame F a.h\nGame F b.h\n", "m.txt:3: registrar \"F\" listed twice"},
  };
  for (const Case& c : cases) {
    manifest::Orders orders;
    std::string error;
    EXPECT_FALSE(manifest::parse_orders(c.text, "m.txt", &orders, &error)) << c.text;
    EXPECT_EQ(error.rfind(c.message, 0), 0u) << "got: " << error;
  }
}

TEST(ManifestOrders, GeneratedSourcesFollowTheManifestOrder) {
  manifest::Orders orders;
  std::string error;
  ASSERT_TRUE(manifest::parse_orders(kSmallManifest, "m.txt", &orders, &error)) << error;
  const std::string registrars = manifest::emit_registrars(orders);
  const size_t game = registrars.find("Builtins_AddRegistrar(kFamilyGame, Run_RegisterGameBuiltins);");
  const size_t math = registrars.find("Builtins_AddRegistrar(kFamilyMath, Math_RegisterArithmeticBuiltins);");
  const size_t kova = registrars.find("Builtins_AddRegistrar(kFamilyKova, Object_RegisterBuiltins);");
  ASSERT_NE(kova, std::string::npos);
  EXPECT_LT(game, math);
  EXPECT_LT(math, kova);
  EXPECT_NE(registrars.find("#include \"core/fn_math.h\""), std::string::npos);

  const std::string ids = manifest::emit_variable_ids(orders);
  EXPECT_NE(ids.find("constexpr int32_t kBuiltinVar_id = 1;"), std::string::npos);
  EXPECT_NE(ids.find("constexpr int32_t kBuiltinInstanceVariableCount = 2;"), std::string::npos);
  EXPECT_NE(ids.find("constexpr int32_t kBuiltinVar_score = 2;"), std::string::npos);

  const std::string table = manifest::emit_script_table(orders);
  EXPECT_NE(table.find("RValue* tsl_Script_add(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);"),
            std::string::npos);
  EXPECT_NE(table.find("void tsl_Object_obj_a_Create_0(CInstance* self, CInstance* other);"), std::string::npos);
  EXPECT_NE(table.find("g_CompiledScriptRowCount = 5;"), std::string::npos);
  size_t at = 0;
  for (const manifest::CodeRow& row : orders.functions) {
    at = table.find("{\"" + row.name + "\"", at);
    ASSERT_NE(at, std::string::npos) << row.name << " out of order";
  }
}

TEST(ManifestOrders, BuilderCodeIndexesAreTheFunctionTableRows) {
  const std::string builder = BuildDirectory() + "/kova-datawin";
  ASSERT_EQ(access(builder.c_str(), X_OK), 0) << "build the kova-datawin target first";
  TempDir dir;
  // The builder's asset sections ride along: the object whose event row the manifest lists.
  std::ofstream(dir.file("manifest.txt"), std::ios::binary) << kSmallManifest << "[objects]\n0 obj_a\n";
  const std::string command = "'" + builder + "' build '" + dir.path() + "' -o '" + dir.file("out.win") + "' > /dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string file = ReadTextFile(dir.file("out.win"));
  std::vector<uint8_t> image(file.begin(), file.end());
  ResetLoaderState();
  Assets_InstallReaders();
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  ASSERT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size())));
  struct Expected {
    const char* name;
    int32_t code_index;
  };
  const Expected scripts[] = {{"init", 0}, {"add", 1}, {"more", 3}};
  ASSERT_EQ(Script_Table().count(), 3);
  for (int32_t i = 0; i < 3; ++i) {
    ASSERT_NE(Script_Table().get(i), nullptr);
    EXPECT_STREQ(Script_Table().get(i)->name, scripts[i].name);
    EXPECT_EQ(Script_Table().get(i)->code_index, scripts[i].code_index);
  }
  EXPECT_EQ(GameData_GlobalInitCode(), (std::vector<int32_t>{0, 3}));
  EXPECT_EQ(GameData_CodeOffsets().size(), 5u);
  ResetLoaderState();
  Console_Reset();
}

TEST(ManifestOrders, TheGameManifestParses) {
  const std::string text = ReadTextFile(std::string(KOVA_SOURCE_DIR) + "/assets/manifest.txt");
  manifest::Orders orders;
  std::string error;
  ASSERT_TRUE(manifest::parse_orders(text, "manifest.txt", &orders, &error)) << error;
  EXPECT_EQ(orders.instance_variables.size(), 91u);
  EXPECT_FALSE(orders.registrars.empty());
}

}  // namespace
