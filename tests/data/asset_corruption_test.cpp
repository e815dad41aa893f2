// Damaged data files holding every asset chunk: a valid fixture mutated thousands of times with a
// fixed seed, loaded from a heap block of exactly its size. The readers must return, never crash
// and never read outside the block (the sanitizer build turns a stray read into a failure), and a
// failure must name its chunk.
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/gc.h"
#include "data/game_data.h"
#include "datawin/format/asset_kind.h"
#include "datawin/format/page_image.h"
#include "datawin/writer/chunk_audio.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_shdr.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "datawin/writer/chunk_world.h"
#include "graphics/asset_sprites.h"
#include "graphics/texture_table.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"

using namespace datawin;

namespace {

Writer every_chunk_game() {
  Writer writer = MakeMinimalGame(17, 2);
  OptnRecord options;
  options.constants = {{"@@DrawColour", "255"}, {"k", "v"}};
  add_optn(writer, options);
  add_lang(writer, {"a", "b"}, {{"en", "GB", {"A", "B"}}});
  ExtnPackage package{"ext", "", "", {{"ext.so", "", "", 1, {{"f", 1, 1, 1, "g", {1}}}}}, {{"o", "v", 0}}};
  add_extn(writer, {package});
  add_agrp(writer, {std::string("audiogroup_default")});
  add_sond(writer, {SoundRecord{"snd", 0, "s.wav", 1.0f, 0, 0}, std::nullopt});
  add_audo(writer, {std::vector<uint8_t>{1, 2, 3, 4, 5}});
  const std::vector<Label> entries = new_labels(writer, 3);
  SpriteRecord sprite;
  sprite.name = "spr";
  sprite.width = 9;
  sprite.height = 2;
  sprite.frames = {entries[0] + 0, entries[1] + 0};
  sprite.masks = {std::vector<uint8_t>(4, 0xFF), std::vector<uint8_t>(4, 0x0F)};
  sprite.sequence = SpriteSequence{"seq", 1.0f, 2, 3};
  sprite.nine_slice = NineSliceRecord{};
  SpriteRecord old = sprite;
  old.form = SpriteForm::kOld;
  add_sprt(writer, 2, {sprite, old});
  BackgroundRecord tiles;
  tiles.name = "ts";
  tiles.page_entry = entries[2] + 0;
  tiles.frames_per_tile = 1;
  tiles.tile_count = 2;
  tiles.animation = {0, 1};
  add_bgnd(writer, 2, {tiles});
  add_path(writer, {PathRecord{"pth", 1, true, 4, {{0, 0, 1}, {1, 1, 1}}}});
  add_scpt(writer, {ScriptRecord{"scr", 3}});
  ShaderRecord shader;
  shader.name = "shd";
  shader.programs[0] = "v";
  shader.attributes = {"in_Position"};
  shader.blocks = ShaderBlocks{};
  shader.blocks->sized[0] = {1, 2};
  add_shdr(writer, {shader});
  FontRecord font;
  font.name = "fnt";
  font.page_entry = entries[2] + 0;
  font.glyphs = {{'A', 0, 0, 2, 2, 2, 0, {{'B', 1}}}};
  add_font(writer, 17, {font});
  add_tmln(writer, {TimelineRecord{"tl", {{0, 1}, {5, -1}}}});
  add_acrv(writer, {AnimCurveRecord{}});
  SequenceRecord sequence;
  sequence.messages.resize(1);
  sequence.tracks.resize(2);
  sequence.tracks[1].kind = seqn::kTrackReal;
  sequence.tracks[1].keyframes.resize(1);
  sequence.tracks[1].keyframes[0].channels[0].curve = AnimCurveRecord{};
  add_seqn(writer, {sequence});
  RoomRecord room;
  room.views.resize(1);
  room.placements.resize(1);
  room.layers.resize(2);
  room.layers[1].kind = layer::kKindAssets;
  room.layers[1].sprites.resize(1);
  add_room(writer, {room});
  add_tags(writer, {"t"}, {{asset_key(kAssetSprite, 0), {"t"}}});
  add_feds(writer, {EffectDescription{"fx", "{}"}});
  add_tpag(writer, {TpagEntry{0, 0, 2, 2, 0, 0, 2, 2, 2, 2, 0}, TpagEntry{2, 0, 2, 2, 0, 0, 2, 2, 2, 2, 1},
                    TpagEntry{0, 2, 2, 2, 0, 0, 2, 2, 2, 2, 0}},
           entries);
  TginRecord group;
  group.name = "grp";
  group.lists[tgin::kListTextures] = {0, 1};
  group.lists[tgin::kListSprites] = {0};
  add_tgin(writer, {group});
  const uint8_t pixels[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 9, 9, 9, 9};
  add_txtr(writer, {TxtrRecord{0, 1, 2, 2, 0, page::encode_qoi(pixels, 2, 2)}, TxtrRecord{0, 1, 4, 4, 1, {}}});
  add_embi(writer, {{"fallbacktexture", entries[0] + 0}});
  writer.add_strings_chunk();
  return writer;
}

bool load_exact(const std::vector<uint8_t>& bytes) {
  const auto size = static_cast<uint32_t>(bytes.size());
  std::unique_ptr<uint8_t[]> block(new uint8_t[size == 0 ? 1 : size]);
  std::copy(bytes.begin(), bytes.end(), block.get());
  GameData_Reset();
  bool scanned = false;
  try {
    scanned = HeaderScan(block.get(), size);
  } catch (const KVTSLException&) {
    // the FORM size check; the chunk load then walks nothing
  }
  const bool loaded = LoadGameData(block.get(), size);
  Assets_ClearTables();  // nothing may keep pointing into the block
  GameData_Reset();
  GC_Reset();
  return scanned && loaded;
}

class AssetCorruption : public AssetLoaderTest {};

}  // namespace

TEST_F(AssetCorruption, TheFixtureLoadsCleanly) {
  std::vector<uint8_t> image = BuildImage(every_chunk_game());
  LoaderConsole console;
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  ASSERT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size()))) << console.text();
  EXPECT_EQ(console.text().find("Error loading"), std::string::npos) << console.text();
  EXPECT_EQ(console.text().find("what!!!!"), std::string::npos);
  EXPECT_EQ(Sprite_Table().count(), 2);
  EXPECT_EQ(Texture_Count(), 2);
  Assets_ClearTables();
}

TEST_F(AssetCorruption, MutatedFilesFailCleanly) {
  const std::vector<uint8_t> valid = BuildImage(every_chunk_game());
  const auto size = static_cast<uint32_t>(valid.size());
  std::mt19937 random(20240611u);
  const auto below = [&random](uint32_t bound) { return bound == 0 ? 0 : static_cast<uint32_t>(random() % bound); };
  ConsoleCapture quiet;
  int failures = 0;
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> bytes = valid;
    const uint32_t values[] = {0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, size, size - 1, size - 4, 0x40000000u, 0xFFFF};
    for (uint32_t n = 1 + below(4); n > 0; --n) {
      const uint32_t at = 8 + 4 * below((size - 8) / 4);
      switch (below(3)) {
        case 0:
          bytes[at + below(4)] = static_cast<uint8_t>(random());
          break;
        case 1:
          store_u32(bytes.data() + at, values[below(8)]);
          break;
        default:
          store_u32(bytes.data() + at, below(size + 8));
          break;
      }
    }
    quiet.clear();
    if (!load_exact(bytes)) {
      ++failures;
      // A reader's failure names its chunk; the container's lines name theirs.
      const std::string& text = quiet.text();
      const bool named = text.find("Error loading game data: ") != std::string::npos ||
                         text.find("unknown Chunk") != std::string::npos || text.find("Error on load") != std::string::npos;
      EXPECT_TRUE(named) << "round " << round;
    }
  }
  EXPECT_GT(failures, 100);
}
