// The links between a data file and code: the VARI and FUNC reference chains in both forms, their
// fatal path, and the compiled link block's steps around the walk.
#include <cstring>
#include <string>
#include <vector>

#include "core/code_tables.h"
#include "core/function_table.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/format/link_layout.h"
#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_links.h"
#include "loader_test_util.h"

using namespace datawin;

namespace {

void no_op_builtin(RValue*, CInstance*, CInstance*, int, RValue*) {}

int g_fatal_status = 0;
void record_fatal(int status) { g_fatal_status = status; }

constexpr uint32_t kOpcodeBits = 0xA0000000u;

class Links : public LoaderTest {
 protected:
  void SetUp() override {
    LoaderTest::SetUp();
    g_fatal_status = 0;
    GameData_SetFatalHandler(record_fatal);
    Function_Add("first_builtin", no_op_builtin, 0, 0);
    Function_Add("show_message", no_op_builtin, 1, 0);
    Variable_AddBuiltinName("x");
    Variable_AddBuiltinName("y");
  }
  void TearDown() override {
    Function_SetScriptLookup(nullptr);
    LoaderTest::TearDown();
  }

  // A game of `version` whose one CODE record holds 16 words of bytecode, each with opcode bits.
  Writer game_with_code(int version) {
    Writer writer = MakeMinimalGame(version, 2, 60.0f);
    std::vector<uint8_t> bytecode(64);
    for (uint32_t i = 0; i < 16; ++i) store_u32(bytecode.data() + 4 * i, kOpcodeBits);
    code_ = add_code(writer, version, {{"code_one", bytecode}})[0];
    return writer;
  }


  // The bytecode word at `byte` from the start of the code.
  uint32_t code_word(uint32_t byte) const {
    const uint32_t code = FindPayload(image_, "CODE");
    const uint32_t record = WordAt(image_, code + 4);
    const uint32_t start = DataVersion >= 15 ? record + 12 + WordAt(image_, record + 12) : record + 8;
    return WordAt(image_, start + byte);
  }

  Label code_;
};

}  // namespace

TEST_F(Links, VariableChainsInBothForms) {
  for (int version : {14, 15}) {
    SCOPED_TRACE("version " + std::to_string(version));
    ResetLoaderState();
    SetUp();
    Writer writer = game_with_code(version);
    add_vari(writer, version, VariHead{3, 0, 4},
             {{"speed", 0, 0, {code_ + 0, code_ + 16}},
              {"y", 0, 0, {code_ + 40, code_ + 24, code_ + 32}},  // a backward link
              {"unused", 0, 0, {}}});
    ASSERT_TRUE(load(writer));
    const uint32_t speed = static_cast<uint32_t>(Variable_GetSlot("speed"));
    EXPECT_EQ(speed, 100000u);
    EXPECT_EQ(Variable_GetSlot("unused"), 100001) << "a name without references still gets its slot";
    EXPECT_EQ(code_word(4), kOpcodeBits | speed);
    EXPECT_EQ(code_word(20), kOpcodeBits | speed);
    // y's chain runs 40 -> 24 -> 32. The backward link's distance is negative, and the bits of it
    // that lie among the top five of the word stay when the id goes in.
    const uint32_t kept_distance_bits = version >= 15 ? 0x08000000u : 0x18000000u;
    EXPECT_EQ(code_word(44), kOpcodeBits | kept_distance_bits | 1u) << "builtin y";
    EXPECT_EQ(code_word(28), kOpcodeBits | 1u);
    EXPECT_EQ(code_word(36), kOpcodeBits | 1u);
    EXPECT_EQ(code_word(8), kOpcodeBits) << "words off the chains stay";
    if (version >= 15) {
      EXPECT_EQ(GameData_GlobalVarCount(), 3);
      EXPECT_EQ(GameData_VariInstanceCount(), 2) << "0 counts as 2";
      EXPECT_EQ(GameData_VariMaxLocals(), 4);
      const uint32_t vari_size = WordAt(image_, FindPayload(image_, "VARI") - 4);
      EXPECT_EQ(GameData_VarCount(), static_cast<int32_t>((vari_size + 7) / 20));
    }
  }
}

TEST_F(Links, SmallVariableChunkSizesTheTablesToZero) {
  Writer writer = MakeMinimalGame(15, 2, 60.0f);
  writer.add_raw_chunk(make_tag("VARI"), std::vector<uint8_t>(31, 0xFF));
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(GameData_GlobalVarCount(), 0);
  EXPECT_EQ(Variable_GlobalNameRows(), 0);
}

TEST_F(Links, FunctionChainsInBothFormsAndLocals) {
  for (int version : {14, 15}) {
    SCOPED_TRACE("version " + std::to_string(version));
    ResetLoaderState();
    SetUp();
    Writer writer = game_with_code(version);
    add_func(writer, version, {{"show_message", {code_ + 8, code_ + 32, code_ + 16}}, {"first_builtin", {code_ + 48}}},
             {{"code_one", {{0, "a"}, {3, "b"}}}, {"code_two", {}}});
    ASSERT_TRUE(load(writer));
    const uint32_t word = link::func_reference_word(version);
    EXPECT_EQ(code_word(8 + word), 1u) << "the whole word becomes the id";
    EXPECT_EQ(code_word(32 + word), 1u);
    EXPECT_EQ(code_word(16 + word), 1u);
    EXPECT_EQ(code_word(48 + word), 0u);
    EXPECT_EQ(code_word(version >= 15 ? 4 : 0), kOpcodeBits);
    if (version >= 15) {
      ASSERT_EQ(GameData_CodeLocals().size(), 2u);
      EXPECT_EQ(GameData_CodeLocals()[0].code_name, "code_one");
      EXPECT_EQ(GameData_CodeLocals()[0].locals, (std::vector<std::pair<int32_t, std::string>>{{0, "a"}, {3, "b"}}));
      EXPECT_TRUE(GameData_CodeLocals()[1].locals.empty());
    } else {
      EXPECT_TRUE(GameData_CodeLocals().empty());
    }
  }
}

TEST_F(Links, UnknownFunctionIsFatal) {
  Writer writer = game_with_code(15);
  add_func(writer, 15, {{"no_such_function", {code_ + 0}}});
  LoaderConsole console;
  EXPECT_FALSE(load(writer));
  EXPECT_EQ(g_fatal_status, 1);
  EXPECT_NE(console.text().find("Error on load\nUnable to find function no_such_function\n"), std::string::npos);
  EXPECT_EQ(code_word(0), kOpcodeBits) << "nothing is bound for a name that was not found";
}

TEST_F(Links, ScriptsWinOverBuiltinsInTheFunctionLookup) {
  Function_SetScriptLookup([](const char* name) { return std::strcmp(name, "show_message") == 0 ? 7 : -1; });
  Writer writer = game_with_code(15);
  add_func(writer, 15, {{"show_message", {code_ + 0}}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(code_word(0), 100007u);
}

TEST_F(Links, LinkBlockBindsEveryEntry) {
  KVVariableEntry g_score{"g_score", 100005};
  KVVariableEntry g_lives{"g_lives", -1};
  KVVariableEntry hp{"hp", 100001};
  KVVariableEntry x{"x", 0};
  KVVariableEntry fresh{"fresh", 0};
  KVVariableEntry late_fixed{"late_fixed", 100006};
  KVVariableEntry* variables[] = {&g_score, &g_lives, &hp, &x, &fresh, &late_fixed, nullptr};
  KVFunctionEntry show{"show_message", -9};
  KVFunctionEntry missing{"missing_fn", 7};
  KVFunctionEntry* functions[] = {&show, &missing, nullptr};
  KVFunctionEntry script_slot{"tsl_Script_a", -1};
  KVFunctionEntry first_slot{"first_builtin", -1};
  const KVScriptRow scripts[] = {
      {"tsl_Script_a", nullptr, &script_slot},
      {"first_builtin", nullptr, &first_slot},  // index 0: not above 0, so not written
      {"tsl_Object_obj_tower_Step_0", nullptr, nullptr},
  };
  KVCodeTables tables;
  tables.globalVarCount = 2;
  tables.varCount = 12;
  tables.variableCount = 6;
  tables.functionSlotCount = 2;
  tables.scriptCount = 3;
  tables.variableTable = variables;
  tables.functionSlotTable = functions;
  tables.scriptTable = scripts;
  g_CodeTables = &tables;
  Function_SetScriptLookup([](const char* name) { return std::strcmp(name, "tsl_Script_a") == 0 ? 3 : -1; });

  ASSERT_TRUE(load(MakeMinimalGame()));
  EXPECT_EQ(GameData_GlobalVarCount(), 2);
  EXPECT_EQ(GameData_VarCount(), 12);
  EXPECT_EQ(GameData_GlobalObjectSlots(), 12);
  EXPECT_STREQ(Variable_GlobalName(0), "g_score");
  EXPECT_STREQ(Variable_GlobalName(1), "g_lives");
  EXPECT_EQ(g_score.id, 100005);
  EXPECT_EQ(hp.id, 100001);
  EXPECT_STREQ(Variable_NameOf(100001), "hp");
  EXPECT_STREQ(Variable_InstanceName(1), "hp");
  EXPECT_STREQ(Variable_InstanceName(5), "g_score");
  EXPECT_EQ(Variable_InstanceNameRows(), 12);
  EXPECT_EQ(x.id, 0) << "builtin";
  EXPECT_EQ(late_fixed.id, 100006);
  EXPECT_STREQ(Variable_NameOf(100006), "late_fixed");
  EXPECT_GE(g_lives.id, 100007) << "new names never take a row a fixed slot claims";
  EXPECT_GE(fresh.id, 100007);
  EXPECT_NE(fresh.id, g_lives.id);
  EXPECT_STREQ(Variable_NameOf(fresh.id), "fresh");
  EXPECT_EQ(show.id, 1);
  EXPECT_EQ(missing.id, -1);
  EXPECT_EQ(script_slot.id, 100003);
  EXPECT_EQ(first_slot.id, -1);
  g_CodeTables = nullptr;
}

TEST_F(Links, BrokenChainsFailWithoutTouchingOutsideTheImage) {
  struct Case {
    const char* what;
    uint32_t first;
    int32_t count;
  };
  const Case cases[] = {
      {"first reference past the end", 0xFFFFFFF0u, 1},
      {"reference word past the end", 0, 1},  // patched to the image size below
      {"a chain that loops", 0, 0x7FFFFFFF},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ResetLoaderState();
    SetUp();
    Writer writer = game_with_code(15);
    add_vari(writer, 15, VariHead{}, {{"speed", 0, 0, {code_ + 0}}});
    image_ = BuildImage(writer);
    const uint32_t record = FindPayload(image_, "VARI") + 12;
    const uint32_t size = static_cast<uint32_t>(image_.size());
    if (std::string(c.what) == "reference word past the end") {
      store_u32(image_.data() + record + 16, size - 6);
    } else if (std::string(c.what) == "a chain that loops") {
      store_u32(image_.data() + WordAt(image_, record + 16) + 4, 0);  // distance 0: the same word forever
    } else {
      store_u32(image_.data() + record + 16, c.first);
    }
    store_i32(image_.data() + record + 12, c.count);
    LoaderConsole console;
    EXPECT_FALSE(HeaderScan(image_.data(), size));
    EXPECT_NE(console.text().find("Error loading game data: VARI: reference"), std::string::npos) << console.text();
  }
}
