// The texture table filled from a data file: TXTR pages and the rewrite of TPAG page numbers,
// texture groups and their status, device objects on the recording null device, the load manager
// with its stand-ins and external page files, and the texture builtins.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/error.h"
#include "core/error_report.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/job_manager.h"
#include "core/object.h"
#include "data/game_data.h"
#include "data/loader_test_util.h"
#include "datawin/format/page_image.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/texture_builtins.h"
#include "graphics/texture_groups.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"
#include "platform/fake/null_device.h"
#include "platform/files.h"
#include "platform/process.h"
#include "run/asset_readers.h"
#include "support/builtin_call.h"

using namespace datawin;

namespace {

std::vector<uint8_t> solid_page(uint16_t w, uint16_t h, uint8_t red) {
  std::vector<uint8_t> pixels(static_cast<size_t>(w) * h * 4, 255);
  for (size_t i = 0; i < pixels.size(); i += 4) pixels[i] = red;
  return page::encode_qoi(pixels.data(), w, h);
}

TpagEntry entry_on(int16_t page) { return TpagEntry{2, 4, 6, 8, 1, 1, 5, 7, 10, 12, page}; }

int count_of(const std::string& text, const std::string& what) {
  int count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

class TexturePages : public AssetLoaderTest {
 protected:
  void SetUp() override {
    AssetLoaderTest::SetUp();
    Texture_SetDevice(&device_);
    Texture_SetGlobalScale(1);
    Texture_SetDebugVerbosity(0);
  }
  void TearDown() override {
    Assets_ClearTables();
    Texture_SetDevice(nullptr);
    GR_SetTextureResolver(nullptr);
    AssetLoaderTest::TearDown();
    GC_Reset();  // the arrays the builtins made and the global object of each load
  }
  // Address of TPAG entry i.
  const uint8_t* entry(uint32_t i) const { return image_.data() + WordAt(image_, FindPayload(image_, "TPAG") + 4 + 4 * i); }
  int16_t entry_texture(uint32_t i) const { return PageEntry_Read(entry(i)).texture; }

  // A game with a data-file page (0, 2 x 2) used by sprite 0, an external page (1, 2 x 2, file
  // index 7) in dynamic group "grp" used by sprite 1, and an embedded fallback on page 0.
  Writer dynamic_game() {
    Writer writer = MakeMinimalGame();
    const std::vector<Label> entries = new_labels(writer, 2);
    SpriteRecord stand_in;
    stand_in.name = "spr_stand_in";
    stand_in.frames = {entries[0] + 0};
    SpriteRecord dynamic = stand_in;
    dynamic.name = "spr_dynamic";
    dynamic.frames = {entries[1] + 0};
    add_sprt(writer, 2, {stand_in, dynamic});
    add_tpag(writer, {TpagEntry{0, 0, 2, 2, 0, 0, 2, 2, 2, 2, 0}, TpagEntry{0, 0, 2, 2, 0, 0, 2, 2, 2, 2, 1}}, entries);
    TginRecord group;
    group.name = "grp";
    group.directory = "pages";
    group.extension = ".kvp";
    group.load_type = tgin::kLoadDynamic;
    group.lists[tgin::kListTextures] = {1};
    group.lists[tgin::kListSprites] = {1};
    add_tgin(writer, {group});
    add_txtr(writer, {TxtrRecord{0, 1, 2, 2, 0, solid_page(2, 2, 10)}, TxtrRecord{0, 1, 2, 2, 7, {}}});
    add_embi(writer, {{"__fallbacktexture", entries[0] + 0}});
    return writer;
  }
  void write_external_page() {
    ASSERT_TRUE(Platform_MakeDirectories(dir_.file("pages")));
    const std::vector<uint8_t> file = solid_page(2, 2, 200);
    ASSERT_TRUE(Platform_WriteWholeFile(dir_.file("pages/grp_7.kvp"), file.data(), file.size()));
  }

  NullDevice device_;
  TempDir dir_;
};

}  // namespace

TEST_F(TexturePages, PageNumbersBecomeSlotsAndGroupsLearnTheirPages) {
  for (bool groups_first : {true, false}) {
    SCOPED_TRACE(groups_first ? "TGIN before TXTR" : "TGIN after TXTR");
    Writer writer = MakeMinimalGame();
    add_tpag(writer, {entry_on(1), entry_on(2), entry_on(0), entry_on(5), entry_on(-1), entry_on(1)});
    TginRecord group;
    group.name = "grp";
    group.lists[tgin::kListTextures] = {2};
    TginRecord internal;
    internal.name = "__KV__internal";
    internal.lists[tgin::kListTextures] = {1};
    if (groups_first) add_tgin(writer, {group, internal});
    add_txtr(writer, {std::nullopt, TxtrRecord{1, 1, 9, 9, 3, solid_page(4, 2, 1)}, TxtrRecord{0, 1, 64, 32, 7, {}}});
    if (!groups_first) add_tgin(writer, {group, internal});
    LoaderConsole console;
    ASSERT_TRUE(load(writer)) << console.text();
    EXPECT_EQ(count_of(console.text(), "what!!!!\n"), 3);  // a null page, page 5 and page -1

    EXPECT_EQ(Texture_PageToSlot(0), -1);
    const int32_t qoi = Texture_PageToSlot(1), external = Texture_PageToSlot(2);
    EXPECT_EQ(entry_texture(0), qoi);
    EXPECT_EQ(entry_texture(1), external);
    EXPECT_EQ(entry_texture(2), 0);  // entries naming no page stay as they are
    EXPECT_EQ(entry_texture(3), 5);
    EXPECT_EQ(entry_texture(4), -1);
    EXPECT_EQ(entry_texture(5), qoi);

    const TextureSlot* page = Texture_Slot(qoi);
    ASSERT_NE(page->texture, nullptr);
    EXPECT_EQ(page->width, 4);  // from the image header, not the record
    EXPECT_EQ(page->height, 2);
    EXPECT_FLOAT_EQ(page->texelWidth, 0.25f);
    EXPECT_EQ(page->pageIndex, 1);
    EXPECT_EQ(page->fileIndex, 3);
    EXPECT_EQ(page->texture->flags & kTextureMips, kTextureMips);
    EXPECT_EQ(page->texture->sourceData[0], 'f');
    double uvs[8];
    Texture_GetUVs(static_cast<int64_t>(reinterpret_cast<uintptr_t>(entry(0))), uvs);
    const double expected[8] = {2.0 / 4, 4.0 / 2, 7.0 / 4, 11.0 / 2, 1, 1, 6.0 / 10, 8.0 / 12};
    for (int i = 0; i < 8; ++i) EXPECT_DOUBLE_EQ(uvs[i], expected[i]) << i;
    const TextureSlot* outside = Texture_Slot(external);
    EXPECT_EQ(outside->texture, nullptr);
    EXPECT_EQ(outside->width, 64);
    EXPECT_EQ(outside->fileIndex, 7);

    EXPECT_EQ(TextureGroup_Get(0)->textures, std::vector<int32_t>{external});
    EXPECT_EQ(outside->groupIndex, 0);
    EXPECT_EQ(outside->internal, 0);
    EXPECT_EQ(page->groupIndex, 1);
    EXPECT_EQ(page->internal, 1);
  }
}

TEST_F(TexturePages, DeviceObjectsAndTheStatusOfAGroupInTheDataFile) {
  Writer writer = MakeMinimalGame();
  TginRecord group;
  group.name = "grp";
  group.lists[tgin::kListTextures] = {0, 1};
  add_tgin(writer, {group});
  add_txtr(writer, {TxtrRecord{0, 1, 4, 2, 0, solid_page(4, 2, 1)}, TxtrRecord{0, 1, 3, 3, 0, solid_page(3, 3, 2)}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(TextureLoad_GroupStatus(0), 2);  // loaded from the start
  TextureSlot* first = Texture_Get(0, true, false, false, false);
  ASSERT_NE(first, nullptr);
  const DeviceTextureId id = first->texture->DeviceTexture();
  ASSERT_NE(id, 0u);
  int32_t w = 0, h = 0;
  ASSERT_TRUE(device_.texture_size(id, &w, &h));
  EXPECT_EQ(w, 4);
  EXPECT_EQ(h, 2);
  EXPECT_TRUE(Texture_SlotReady(first));
  EXPECT_EQ(TextureLoad_GroupStatus(0), 2);
  Texture_Slot(1)->texture->DeviceTexture();
  EXPECT_EQ(TextureLoad_GroupStatus(0), 3);
  EXPECT_EQ(first->texture->DeviceTexture(), id);  // built once

  TextureLoad_FlushGroup(0);
  EXPECT_EQ(device_.live_textures(), 0u);
  EXPECT_EQ(TextureLoad_GroupStatus(0), 2);
  EXPECT_NE(first->texture->sourceData, nullptr);  // the source stays for the next use
  EXPECT_NE(first->texture->DeviceTexture(), 0u);

  Texture* kept = Texture_Create(8, 8, kTextureFormatRGBA, kCreateKeepOnFlush);
  ASSERT_NE(kept->DeviceTexture(), 0u);
  Texture_FreeAllDevice(false);
  EXPECT_EQ(device_.live_textures(), 1u);
  Texture_FreeAllDevice(true);
  EXPECT_EQ(device_.live_textures(), 0u);
  Texture_Free(kept);
}

TEST_F(TexturePages, ExplicitModeDrawsTheDefaultSpriteUntilTheGroupHasLoaded) {
  write_external_page();
  TextureLoad_SetRoots("", dir_.path() + "/");
  ASSERT_TRUE(load(dynamic_game()));
  TextureLoad_SetMode(true, false, 0);
  const int32_t slot = Texture_PageToSlot(1);
  const TextureSlot* stand_in = Texture_Slot(Texture_PageToSlot(0));

  TextureSlot* drawn = Texture_Get(slot, true, false, false, true);
  ASSERT_NE(drawn, nullptr);
  EXPECT_EQ(drawn->borrowed, 1);
  EXPECT_EQ(drawn->texture, stand_in->texture);
  EXPECT_EQ(TextureLoad_GroupStatus(0), 0);
  EXPECT_EQ(TextureLoad_PendingRequests(), 0);  // explicit mode starts nothing

  ASSERT_TRUE(TextureLoad_RequestGroup(0, true, false));
  EXPECT_EQ(TextureLoad_GroupStatus(0), 1);
  for (int tick = 0; tick < 10 && TextureLoad_PendingRequests() > 0; ++tick) TextureLoad_Tick();
  EXPECT_EQ(TextureLoad_PendingRequests(), 0);
  EXPECT_EQ(TextureLoad_GroupStatus(0), 3);
  EXPECT_EQ(drawn->borrowed, 0);
  ASSERT_NE(drawn->texture, stand_in->texture);
  EXPECT_EQ(drawn->texture->source_storage.size(), solid_page(2, 2, 200).size());
  EXPECT_TRUE(Texture_SlotReady(drawn));

  // A group in the data file can't be unloaded; this one can.
  LoaderConsole console;
  EXPECT_FALSE(TextureLoad_UnloadGroup(5));
  EXPECT_TRUE(TextureLoad_UnloadGroup(0));
  EXPECT_EQ(drawn->texture, nullptr);
  EXPECT_EQ(TextureLoad_GroupStatus(0), 0);
  EXPECT_EQ(console.text(), "TextureLoadManager::UnloadGroup(): Texture group with index 5 not found\n");
}

TEST_F(TexturePages, JobWorkersReadAndDecodeThePages) {
  write_external_page();
  TextureLoad_SetRoots("", dir_.path() + "/");
  ASSERT_TRUE(load(dynamic_game()));
  ASSERT_TRUE(JobManager_Start(2));
  ASSERT_TRUE(TextureLoad_RequestGroup(0, true, false));
  for (int tick = 0; tick < 20 && TextureLoad_PendingRequests() > 0; ++tick) {
    JobManager_WaitAll();
    TextureLoad_Tick();
  }
  JobManager_Stop();
  EXPECT_EQ(TextureLoad_PendingRequests(), 0);
  EXPECT_EQ(TextureLoad_GroupStatus(0), 3);
  EXPECT_TRUE(Texture_SlotReady(Texture_Slot(Texture_PageToSlot(1))));
}

TEST_F(TexturePages, AMissingPageFileFailsTheGroupAndLendsTheFallback) {
  TextureLoad_SetRoots("", dir_.path() + "/");
  ASSERT_TRUE(load(dynamic_game()));
  const int32_t slot = Texture_PageToSlot(1);
  const TextureSlot* fallback = Texture_Slot(PageEntry_Read(entry(0)).texture);
  TextureSlot* drawn = Texture_Get(slot, true, false, true, false);
  ASSERT_NE(drawn, nullptr);
  EXPECT_EQ(drawn->loadFailed, -1);
  EXPECT_EQ(drawn->borrowed, 1);
  EXPECT_EQ(drawn->texture, fallback->texture);
  EXPECT_EQ(TextureGroup_Get(0)->failed, 1);
  EXPECT_EQ(TextureGroup_Get(0)->loaded, 0);

  // A page whose real file turns up later replaces its stand-in at the next request.
  write_external_page();
  ASSERT_TRUE(TextureLoad_RequestSlot(slot, true, true));
  EXPECT_EQ(drawn->borrowed, 0);
  EXPECT_TRUE(Texture_SlotReady(drawn));
}

TEST_F(TexturePages, APageThatCantBeBuiltIsTriedOnceAndDrawsItsStandIn) {
  struct Case {
    const char* what;
    std::vector<uint8_t> page;
    int32_t device_max;
    const char* message;
  };
  std::vector<uint8_t> truncated = solid_page(4, 4, 50);
  truncated.resize(13);  // the header and one code of sixteen pixels
  const Case cases[] = {
      {"undecodable", truncated, 16384, "an error occured\n"},
      {"too large", solid_page(8, 2, 50), 4,
       "Attempting to create a texture of size 8 x 2 in SetupD3DTexture, this is bigger than the maximum allowable "
       "dimension (4)\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Writer writer = MakeMinimalGame();
    const std::vector<Label> entries = new_labels(writer, 1);
    add_tpag(writer, {TpagEntry{0, 0, 2, 2, 0, 0, 2, 2, 2, 2, 0}}, entries);
    TginRecord group;
    group.name = "grp";
    group.lists[tgin::kListTextures] = {1};
    add_tgin(writer, {group});
    add_txtr(writer, {TxtrRecord{0, 1, 2, 2, 0, solid_page(2, 2, 10)}, TxtrRecord{0, 1, 8, 2, 0, c.page}});
    add_embi(writer, {{"__fallbacktexture", entries[0] + 0}});
    ASSERT_TRUE(load(writer));
    Texture_InstallResolver();
    device_.set_max_texture_size(c.device_max);
    device_.clear_record();
    const TextureSlot* stand_in = Texture_Slot(Texture_PageToSlot(0));
    const int32_t bad = Texture_PageToSlot(1);

    ConsoleCapture console;
    for (int draw = 0; draw < 3; ++draw) {
      GRTexturePageRect rect;
      bool is_entry = false;
      EXPECT_EQ(GR_ResolveTexture(bad, &rect, &is_entry), stand_in->texture) << "draw " << draw;
    }
    EXPECT_EQ(count_of(console.text(), c.message), 1) << console.text();
    EXPECT_EQ(device_.count(DeviceCallKind::kCreateTexture), 1) << "only the stand-in was built";
    EXPECT_EQ(Texture_Slot(bad)->loadFailed, -1);
    EXPECT_FALSE(Texture_SlotReady(Texture_Slot(bad)));
    EXPECT_EQ(TextureGroup_Get(0)->failed, 1);
    if (c.device_max < 16384) {
      EXPECT_EQ(New_Room, kNewRoomAbort) << "the size is a fatal error";
      EXPECT_EQ(Run_ExitCode, 1);
      EXPECT_TRUE(Platform_TakeQuitSignal());
    }
    Assets_ClearTables();
    FrameState_Reset();
    ErrorReport_Reset();
  }
}

TEST_F(TexturePages, FlushCancelsAPendingRequest) {
  write_external_page();
  TextureLoad_SetRoots("", dir_.path() + "/");
  ASSERT_TRUE(load(dynamic_game()));
  const int32_t slot = Texture_PageToSlot(1);
  ASSERT_TRUE(TextureLoad_RequestSlot(slot, true, false));  // async: started, not finished
  EXPECT_EQ(TextureLoad_PendingRequests(), 1);
  TextureLoad_FlushSlot(slot);
  for (int tick = 0; tick < 10 && TextureLoad_PendingRequests() > 0; ++tick) TextureLoad_Tick();
  EXPECT_EQ(TextureLoad_PendingRequests(), 0);
  EXPECT_EQ(Texture_Slot(slot)->texture, nullptr);
}

TEST_F(TexturePages, UpdatesPadTheLastColumnAndRow) {
  Texture* texture = Texture_Create(3, 2, kTextureFormatRGBA, 0);
  const uint8_t source[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  Texture_Update(texture, source, 2, 1);
  const std::vector<uint8_t> row = {1, 2, 3, 4, 5, 6, 7, 8, 5, 6, 7, 8};
  EXPECT_EQ(std::vector<uint8_t>(texture->pixels.begin(), texture->pixels.begin() + 12), row);
  EXPECT_EQ(std::vector<uint8_t>(texture->pixels.begin() + 12, texture->pixels.begin() + 24), row);
  EXPECT_EQ(texture->pixels.size(), 3u * 2 * 4 + 16);
  ASSERT_NE(texture->DeviceTexture(), 0u);
  device_.clear_record();
  Texture_Update_Rect(texture, 2, 1, 5, 5);  // clamped to 1 x 1
  Texture_Update_Rect(texture, 3, 0, 1, 1);  // outside: nothing
  ASSERT_EQ(device_.count(DeviceCallKind::kUpdateTexture), 1);
  Texture_Free(texture);
}

TEST_F(TexturePages, Builtins) {
  Texture_RegisterBuiltins();
  ASSERT_TRUE(load(dynamic_game()));
  RValue page = RV_Ptr(const_cast<uint8_t*>(entry(0)));

  RValue uvs = CallBuiltin("texture_get_uvs", {page});
  ASSERT_EQ(RV_Kind(uvs), kRVArray);
  ASSERT_EQ(uvs.pArray->length, 8);
  const double expected[8] = {0, 0, 1, 1, 0, 0, 1, 1};
  for (int i = 0; i < 8; ++i) EXPECT_DOUBLE_EQ(uvs.pArray->pArray[i].val, expected[i]) << i;
  RV_Free(&uvs);
  EXPECT_DOUBLE_EQ(CallBuiltin("texture_get_texel_width", {RV_Real(Texture_PageToSlot(1))}).val, 0.5);
  EXPECT_DOUBLE_EQ(CallBuiltin("texture_get_texel_width", {RV_Real(-1)}).val, 1.0);
  EXPECT_DOUBLE_EQ(CallBuiltin("texture_get_width", {page}).val, 1.0);

  EXPECT_EQ(BuiltinError("texture_global_scale", {RV_Real(3)}),
            "texture global scale needs to be a positive power of 2 integer (i.e. 1, 2, 4, 8....)");
  EXPECT_EQ(BuiltinError("texture_global_scale", {RV_Real(4)}), "");
  EXPECT_EQ(Texture_GlobalScale(), 4);
  EXPECT_EQ(BuiltinError("texturegroup_get_fonts", {}), "texturegroup_get_fonts() - needs the name of the texture group");

  RValue name = RV_Undefined();
  RV_SetString(&name, "grp");
  RValue sprites = CallBuiltin("texturegroup_get_sprites", {name});
  ASSERT_EQ(sprites.pArray->length, 1);
  EXPECT_DOUBLE_EQ(sprites.pArray->pArray[0].val, 1.0);
  RV_Free(&sprites);
  EXPECT_DOUBLE_EQ(CallBuiltin("texturegroup_get_status", {name}).val, 0.0);
  RValue missing = RV_Undefined();
  RV_SetString(&missing, "nope");
  LoaderConsole console;
  EXPECT_DOUBLE_EQ(CallBuiltin("texturegroup_get_status", {missing}).val, -1.0);
  EXPECT_DOUBLE_EQ(CallBuiltin("texturegroup_load", {missing}).val, -1.0);
  EXPECT_FALSE(RV_ToBool(CallBuiltin("texture_is_ready", {missing})));
  CallBuiltin("texturegroup_set_mode", {RV_Bool(true), RV_Bool(false), RV_Real(99)});
  EXPECT_EQ(console.text(),
            "texturegroup_load(): Texture group nope status can't be determined\n"
            "texturegroup_load(): Texture group nope not found\n"
            "texture_is_ready(): Texture group nope not found\n"
            "texturegroup_mode: Specified sprite 99 does not exist, switching back to default\n");
  EXPECT_EQ(TextureLoad_DefaultSprite(), -1);
  EXPECT_FALSE(TextureLoad_AutoLoad());
  RV_Free(&name);
  RV_Free(&missing);
}
