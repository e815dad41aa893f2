// Asset names across the tables (asset_get_index, asset_get_type) and the tag builtins over a
// loaded TAGS chunk.
#include <string>
#include <vector>

#include "core/error.h"
#include "core/function_table.h"
#include "core/object.h"
#include "data/asset_names.h"
#include "data/asset_tags.h"
#include "datawin/writer/chunk_audio.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_world.h"
#include "loader_test_util.h"

using namespace datawin;

namespace {

SoundRecord sound(const char* name) {
  SoundRecord record;
  record.name = name;
  return record;
}

PathRecord path(const char* name) {
  PathRecord record;
  record.name = name;
  return record;
}

class AssetNames : public AssetLoaderTest {
 protected:
  void SetUp() override {
    AssetLoaderTest::SetUp();
    Asset_RegisterBuiltins();
    // Sounds 0..1, paths 0..2 (1 empty), scripts 0..1; "shared" is both a sound and a path.
    Writer writer = MakeMinimalGame();
    add_sond(writer, {sound("snd_hit"), sound("shared")});
    add_path(writer, {path("pth_lane"), std::nullopt, path("shared")});
    add_scpt(writer, {ScriptRecord{"scr_spawn", 1}, ScriptRecord{"scr_wave", 2}});
    add_tags(writer, {"enemy", "loud", "lane"},
             {TagsAsset{asset_key(kAssetSound, 0), {"loud", "enemy"}}, TagsAsset{asset_key(kAssetPath, 2), {"lane"}},
              TagsAsset{asset_key(kAssetScript, 1), {"enemy"}}, TagsAsset{asset_key(kAssetObject, 7), {"enemy"}}});
    ASSERT_TRUE(load(writer));
  }

  RValue Call(const char* name, std::vector<RValue> args) {
    int32_t id = -1;
    EXPECT_TRUE(Function_Find(name, &id)) << name;
    const RFunction* row = Function_Row(id);
    g_CurrentFunction = row;
    RValue result = RV_Undefined();
    try {
      row->handler(&result, nullptr, nullptr, static_cast<int>(args.size()), args.data());
    } catch (...) {
      for (RValue& arg : args) RV_FreeToUndefined(&arg);
      throw;
    }
    for (RValue& arg : args) RV_FreeToUndefined(&arg);
    return result;
  }
  double Real(const char* name, std::vector<RValue> args) {
    RValue r = Call(name, std::move(args));
    const double value = RV_ToDouble(r);
    RV_FreeToUndefined(&r);
    return value;
  }
  // The array result as text: reals as integers, strings as they are, joined by ",".
  std::string Joined(const char* name, std::vector<RValue> args) {
    RValue r = Call(name, std::move(args));
    std::string text;
    EXPECT_EQ(RV_Kind(r), kRVArray) << name;
    if (RV_Kind(r) == kRVArray) {
      for (int32_t i = 0; i < r.pArray->length; ++i) {
        const RValue& e = r.pArray->pArray[i];
        if (i > 0) text += ",";
        text += RV_Kind(e) == kRVString ? RV_StringText(e) : std::to_string(static_cast<int>(RV_ToDouble(e)));
      }
    }
    RV_FreeToUndefined(&r);
    return text;
  }
  std::string Error(const char* name, std::vector<RValue> args) {
    try {
      RValue r = Call(name, std::move(args));
      RV_FreeToUndefined(&r);
    } catch (const KVTSLException& e) {
      return e.message();
    }
    return "";
  }
};

RValue Str(const char* text) {
  RValue v = RV_Undefined();
  RV_SetString(&v, text);
  return v;
}

RValue Strings(std::vector<const char*> texts) {
  RValue v = RV_Undefined();
  v.pArray = RV_NewArray(static_cast<int32_t>(texts.size()));
  v.kind = kRVArray;
  for (size_t i = 0; i < texts.size(); ++i) RV_SetString(&v.pArray->pArray[i], texts[i]);
  return v;
}

}  // namespace

TEST_F(AssetNames, NamesResolveToKindAndIndexInKindOrder) {
  struct Case {
    const char* name;
    int index;
    int kind;
  };
  const Case cases[] = {
      {"snd_hit", 0, kAssetSound},  {"pth_lane", 0, kAssetPath},   {"scr_wave", 1, kAssetScript},
      {"shared", 1, kAssetSound},   {"missing", -1, kAssetUnknown}, {"", -1, kAssetUnknown},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Real("asset_get_index", {Str(c.name)}), c.index) << c.name;
    EXPECT_EQ(Real("asset_get_type", {Str(c.name)}), c.kind) << c.name;
  }
  EXPECT_STREQ(Asset_NameOf(kAssetPath, 2), "shared");
  EXPECT_EQ(Asset_NameOf(kAssetPath, 1), nullptr);
  EXPECT_EQ(Asset_NameOf(kAssetRoom, 0), nullptr);
}

TEST_F(AssetNames, EveryKindWithATableIsRegisteredByTheReaders) {
  for (int32_t kind = 0; kind < kAssetKindCount; ++kind) {
    const bool has_table = kind != kAssetUnused9 && kind != kAssetParticleSystem;
    EXPECT_EQ(AssetNames_Registered(static_cast<AssetKind>(kind)), has_table) << kAssetKindNames[kind];
    EXPECT_EQ(Asset_IsKind(kind), kind != kAssetUnused9);
  }
  EXPECT_FALSE(Asset_IsKind(-1));
  EXPECT_FALSE(Asset_IsKind(kAssetKindCount));
}

TEST_F(AssetNames, RegistryFollowsWhatIsRegistered) {
  AssetNames_Register(kAssetObject, [](const char* name) { return std::string(name) == "shared" ? 4 : -1; },
                      [](int32_t index) { return index == 4 ? "shared" : static_cast<const char*>(nullptr); });
  EXPECT_EQ(Asset_Lookup("shared").kind, kAssetObject);
  EXPECT_EQ(Asset_Lookup("shared").index, 4);
  AssetNames_Register(kAssetObject, nullptr, nullptr);
  EXPECT_FALSE(AssetNames_Registered(kAssetObject));
  EXPECT_EQ(Asset_Lookup("shared").kind, kAssetSound);
  AssetNames_Reset();
  EXPECT_EQ(Asset_Lookup("snd_hit").index, -1);
}

TEST_F(AssetNames, TagQueriesByNameAndByIndexAndKind) {
  EXPECT_EQ(Joined("asset_get_tags", {Str("snd_hit")}), "loud,enemy");
  EXPECT_EQ(Joined("asset_get_tags", {RV_Real(2), RV_Real(kAssetPath)}), "lane");
  EXPECT_EQ(Joined("asset_get_tags", {Str("missing")}), "");
  EXPECT_EQ(Joined("asset_get_tags", {RV_Real(0), RV_Real(9)}), "");
  EXPECT_EQ(Joined("tag_get_asset_ids", {Str("enemy"), RV_Real(kAssetSound)}), "0");
  EXPECT_EQ(Joined("tag_get_asset_ids", {Strings({"lane", "enemy"}), RV_Real(kAssetObject)}), "7");
  // Names in kind then index order; the object has no table to name it.
  EXPECT_EQ(Joined("tag_get_assets", {Strings({"enemy", "lane"})}), "snd_hit,shared,scr_wave");
  EXPECT_EQ(Real("asset_has_tags", {Str("snd_hit"), Strings({"enemy", "loud"})}), 1.0);
  EXPECT_EQ(Real("asset_has_tags", {Str("snd_hit"), Strings({"enemy", "lane"})}), 0.0);
  EXPECT_EQ(Real("asset_has_any_tag", {Str("snd_hit"), Strings({"lane", "loud"})}), 1.0);
  EXPECT_EQ(Real("asset_has_any_tag", {RV_Real(1), Str("enemy"), RV_Real(kAssetScript)}), 1.0);
  EXPECT_EQ(Real("asset_has_any_tag", {Str("missing"), Str("enemy")}), 0.0);
}

TEST_F(AssetNames, TagChangesReportWhetherAnythingChanged) {
  EXPECT_EQ(Real("asset_add_tags", {Str("pth_lane"), Strings({"lane", "slow"})}), 1.0);
  EXPECT_EQ(Real("asset_add_tags", {Str("pth_lane"), Str("slow")}), 0.0);
  EXPECT_TRUE(Tags_IsKnownTag("slow"));
  EXPECT_EQ(Joined("asset_get_tags", {Str("pth_lane")}), "lane,slow");
  EXPECT_EQ(Real("asset_add_tags", {RV_Real(3), Str("boss"), RV_Real(kAssetRoom)}), 1.0);
  EXPECT_EQ(Joined("tag_get_asset_ids", {Str("boss"), RV_Real(kAssetRoom)}), "3");
  EXPECT_EQ(Real("asset_add_tags", {Str("missing"), Str("boss")}), 0.0);

  EXPECT_EQ(Real("asset_remove_tags", {Str("pth_lane"), Str("lane")}), 1.0);
  EXPECT_EQ(Real("asset_remove_tags", {Str("pth_lane"), Str("lane")}), 0.0);
  EXPECT_EQ(Joined("asset_get_tags", {Str("pth_lane")}), "slow");
  EXPECT_EQ(Real("asset_clear_tags", {Str("snd_hit")}), 1.0);
  EXPECT_EQ(Real("asset_clear_tags", {Str("snd_hit")}), 0.0);
  EXPECT_EQ(Real("asset_clear_tags", {RV_Real(2), RV_Real(kAssetPath)}), 1.0);
  EXPECT_EQ(Joined("tag_get_assets", {Str("enemy")}), "scr_wave");
}

TEST_F(AssetNames, BadArgumentsRaiseScriptErrors) {
  struct Case {
    const char* builtin;
    std::vector<RValue> args;
    const char* message;
  };
  std::vector<Case> cases;
  cases.push_back({"asset_add_tags", {Str("snd_hit"), RV_Real(3)},
                   "asset_add_tags() - tags must be a string or an array of strings"});
  cases.push_back({"asset_has_tags", {Str("snd_hit"), Strings({"a", "b"})}, ""});
  cases.push_back({"tag_get_assets", {}, "tag_get_assets() - wrong number of arguments (0)"});
  cases.push_back({"asset_get_tags", {Str("a"), RV_Real(1), RV_Real(2)},
                   "asset_get_tags() - wrong number of arguments (3)"});
  RValue mixed = Strings({"a", "b"});
  RV_FreeToUndefined(&mixed.pArray->pArray[1]);
  mixed.pArray->pArray[1] = RV_Real(5);
  cases.push_back(
      {"tag_get_asset_ids", {mixed, RV_Real(1)}, "tag_get_asset_ids() - tag 1 of the array is not a string"});
  for (Case& c : cases) EXPECT_EQ(Error(c.builtin, std::move(c.args)), c.message) << c.builtin;
}
