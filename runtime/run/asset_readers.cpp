// The reader table of the asset chunks. This file sits in its own library because it reaches into
// every subject that the chunks fill.
#include "run/asset_readers.h"

#include "audio/asset_sounds.h"
#include "data/asset_extensions.h"
#include "data/asset_names.h"
#include "data/asset_options.h"
#include "data/asset_scripts.h"
#include "data/asset_tags.h"
#include "data/game_data.h"
#include "datawin/format/chunk_tags.h"
#include "graphics/asset_backgrounds.h"
#include "graphics/asset_embedded.h"
#include "graphics/asset_fonts.h"
#include "graphics/particles_images.h"
#include "graphics/asset_shaders.h"
#include "graphics/asset_sprites.h"
#include "graphics/sprite.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/texture_groups.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"
#include "graphics/window.h"
#include "storage/file_paths.h"
#include "world/asset_curves.h"
#include "world/asset_objects.h"
#include "world/asset_paths.h"
#include "world/asset_rooms.h"
#include "world/asset_sequences.h"
#include "world/asset_timelines.h"

using namespace datawin;

namespace {

// OPTN, then the options the window layer reads.
bool read_options(const uint8_t* payload, uint32_t size, const uint8_t* image_base) {
  const bool ok = Options_Load(payload, size, image_base);
  Window_SetOptions(Options_Flag(optn::kOptionShowCursor), Options_Flag(optn::kOptionAltEnterFullScreen),
                    Options_Flag(optn::kOptionFreezeOnLostFocus));
  Window_SetColour(Options_Get().window_colour);
  Files_SetNoSandbox(Options_Flag(optn::kOptionNoSandbox));
  return ok;
}

// The name look-ups of asset_get_index and the tag builtins, one per table that exists.
void register_asset_names() {
  AssetNames_RegisterTable<SpriteAsset, Sprite_Table>(kAssetSprite);
  AssetNames_RegisterTable<SoundAsset, Sound_Table>(kAssetSound);
  AssetNames_RegisterTable<BackgroundAsset, Background_Table>(kAssetTiles);
  AssetNames_RegisterTable<PathAsset, Path_Table>(kAssetPath);
  AssetNames_RegisterTable<ScriptAsset, Script_Table>(kAssetScript);
  AssetNames_RegisterTable<FontAsset, Font_Table>(kAssetFont);
  AssetNames_RegisterTable<TimelineAsset, TimeLine_Table>(kAssetTimeline);
  AssetNames_RegisterTable<ShaderAsset, Shader_Table>(kAssetShader);
  AssetNames_Register(kAssetObject, Object_FindByName, Object_NameOrNull);
  AssetNames_RegisterTable<RoomAsset, RoomAsset_Table>(kAssetRoom);
  AssetNames_RegisterTable<SequenceAsset, SequenceAsset_Table>(kAssetSequence);
  AssetNames_RegisterTable<CurveAsset, CurveAsset_Table>(kAssetAnimCurve);
}

}  // namespace

void Assets_ClearTables() {
  Options_Clear();
  Extension_Clear();
  Script_Clear();
  Tags_Clear();
  Sound_Clear();
  Sprite_FreeAll();
  Sprite_Clear();
  Background_Clear();
  Path_Clear();
  Shader_Clear();
  Font_Clear();
  TimeLine_Clear();
  Object_ClearAssets();
  CurveAsset_Clear();
  SequenceAsset_Clear();
  RoomAsset_Clear();
  TextureLoad_Reset();
  TexturePage_Clear();
  TextureGroup_Clear();
  EmbeddedImage_Clear();
}

void Assets_InstallReaders() {
  struct Entry {
    ChunkId chunk;
    ChunkReader reader;
  };
  static const Entry kReaders[] = {
      {kChunkOPTN, read_options},      {kChunkLANG, Language_Load},     {kChunkEXTN, Extension_Load},
      {kChunkSOND, Sound_Load},        {kChunkAGRP, AudioGroup_Load},   {kChunkAUDO, Audio_LoadDataFileWaves},
      {kChunkSPRT, Sprite_Load},       {kChunkBGND, Background_Load},   {kChunkPATH, Path_Load},
      {kChunkSCPT, Script_Load},       {kChunkSHDR, Shader_Load},       {kChunkFONT, Font_Load},
      {kChunkTMLN, TimeLine_Load},     {kChunkTAGS, Tags_Load},         {kChunkFEDS, Effects_Load},
      {kChunkTGIN, TextureGroup_Load}, {kChunkTXTR, TexturePage_Load},  {kChunkEMBI, EmbeddedImage_Load},
      {kChunkACRV, CurveAsset_Load},    {kChunkSEQN, SequenceAsset_Load}, {kChunkROOM, RoomAsset_Load},
      {kChunkOBJT, Object_Load},
  };
  for (const Entry& entry : kReaders) Chunk_SetReader(chunk_tag(entry.chunk), entry.reader);
  GameData_AddClearHook(Assets_ClearTables);
  GameData_SetFallbackTextureHook(EmbeddedImage_FindFallback);
  EmbeddedImage_AddLoadedHook(ParticleImages_FindEmbedded);
  GameData_AddClearHook(ParticleImages_ForgetEmbedded);
  Texture_InstallResolver();
  register_asset_names();
}
