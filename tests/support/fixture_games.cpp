#include "support/fixture_games.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/format/asset_kind.h"
#include "datawin/format/page_image.h"
#include "datawin/writer/chunk_audio.h"
#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_links.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_shdr.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "datawin/writer/chunk_world.h"
#include "support/fixture.h"

datawin::Writer EveryChunkGame() {
  using namespace datawin;
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

datawin::Writer CodeChainsGame(int version) {
  using namespace datawin;
  Writer writer = MakeMinimalGame(version, 2, 60.0f);
  std::vector<uint8_t> bytecode(64, 0);
  for (size_t i = 3; i < bytecode.size(); i += 4) bytecode[i] = 0xA0;
  const std::vector<Label> code = add_code(writer, version, {{"tsl_Script_one", bytecode}, {"tsl_Script_two", bytecode}});
  add_vari(writer, version, VariHead{2, 3, 4},
           {{"speed", 0, 0, {code[0] + 0, code[0] + 16, code[1] + 8}},
            {"lives", 0, 0, {code[1] + 24, code[0] + 40}},
            {"score", 0, 0, {}}});
  add_func(writer, version, {{"show_message", {code[0] + 48, code[1] + 32}}, {"first_builtin", {code[1] + 56}}},
           {{"tsl_Script_one", {{0, "a"}, {1, "b"}}}});
  add_glob(writer, {0, 1});
  add_gmen(writer, {1});
  add_feat(writer, {"feature_one", "feature_two"});
  Blob& sprites = writer.add_chunk(make_tag("SPRT"));
  PointerList list = sprites.pointer_list(3);
  for (uint32_t i : {0u, 2u}) {
    list.set(i, sprites.here());
    sprites.string(i == 0 ? "spr_tower" : "spr_enemy");
    sprites.u32(32);
    sprites.u32(48);
  }
  writer.add_raw_chunk(make_tag("TPAG"), std::vector<uint8_t>(16, 7));
  writer.add_raw_chunk(make_tag("NINE"), {1, 2, 3, 4});
  writer.add_strings_chunk();
  return writer;
}
