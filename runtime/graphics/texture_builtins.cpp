// Builtins of the texture table and the texture groups: argument reading here, the work in
// texture_table, texture_groups and texture_load.
#include "graphics/texture_builtins.h"

#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "graphics/asset_sprites.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/texture_groups.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"

namespace {

void set_real(RValue* result, double value) {
  RV_FreeToUndefined(result);
  *result = RV_Real(value);
}

void set_array(RValue* result, const std::vector<double>& values) {
  RV_FreeToUndefined(result);
  result->pArray = RV_NewArray(static_cast<int32_t>(values.size()));
  result->flags = 0;
  result->kind = kRVArray;
  for (size_t i = 0; i < values.size(); ++i) result->pArray->pArray[i] = RV_Real(values[i]);
}

bool is_name(const RValue* argv, int n) { return RV_Kind(argv[n]) == kRVString; }

// The slot of a handle argument, -1 for none.
int32_t slot_arg(const RValue* argv, int n) { return Texture_SlotOfHandle(KVGetPtrOrInt(argv, n)); }

// The group a name argument names; prints "<builtin>(): Texture group %s not found\n" when unknown.
int32_t group_arg(const RValue* argv, int n, const char* builtin) {
  const char* name = KVGetString(argv, n);
  const int32_t group = TextureGroup_Find(name);
  if (group < 0) g_ReleaseConsole->Output("%s(): Texture group %s not found\n", builtin, name);
  return group;
}

void F_TextureGetWidth(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, 1.0);
    return;
  }
  const int64_t handle = KVGetPtrOrInt(argv, 0);
  const TextureSlot* slot = Texture_Slot(Texture_SlotOfHandle(handle));
  double width = 1.0;
  if (slot != nullptr && slot->inUse != 0 && Texture_IsPageEntryHandle(handle)) {
    width = PageEntry_Read(reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(handle))).w * slot->texelWidth;
  }
  set_real(result, width);
}

void F_TextureGetHeight(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, 1.0);
    return;
  }
  const int64_t handle = KVGetPtrOrInt(argv, 0);
  const TextureSlot* slot = Texture_Slot(Texture_SlotOfHandle(handle));
  double height = 1.0;
  if (slot != nullptr && slot->inUse != 0 && Texture_IsPageEntryHandle(handle)) {
    height = PageEntry_Read(reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(handle))).h * slot->texelHeight;
  }
  set_real(result, height);
}

void F_TextureGetTexelWidth(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, 1.0);
    return;
  }
  const TextureSlot* slot = Texture_Slot(slot_arg(argv, 0));
  set_real(result, slot != nullptr && slot->inUse != 0 ? slot->texelWidth : 1.0);
}

void F_TextureGetTexelHeight(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, 1.0);
    return;
  }
  const TextureSlot* slot = Texture_Slot(slot_arg(argv, 0));
  set_real(result, slot != nullptr && slot->inUse != 0 ? slot->texelHeight : 1.0);
}

void F_TextureGetUVs(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_array(result, {0, 0, 1, 1, 0, 0, 1, 1});
    return;
  }
  double uvs[8];
  Texture_GetUVs(KVGetPtrOrInt(argv, 0), uvs);
  set_array(result, std::vector<double>(uvs, uvs + 8));
}

void F_TexturePreload(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Undefined();
    return;
  }
  TextureLoad_RequestSlot(slot_arg(argv, 0), false, false);
  *result = RV_Undefined();
}

void F_TextureSetPriority(RValue* result, CInstance*, CInstance*, int, RValue*) { *result = RV_Undefined(); }

void F_TextureGlobalScale(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Undefined();
    return;
  }
  const int32_t scale = KVGetInt32(argv, 0);
  if (scale <= 0 || (scale & (scale - 1)) != 0) {
    KVError("texture global scale needs to be a positive power of 2 integer (i.e. 1, 2, 4, 8....)");
    return;
  }
  Texture_SetGlobalScale(scale);
  *result = RV_Undefined();
}

void F_TextureIsReady(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Bool(false);
    return;
  }
  bool ready = false;
  if (is_name(argv, 0)) {
    const TextureGroup* group = TextureGroup_Get(group_arg(argv, 0, "texture_is_ready"));
    ready = group != nullptr;
    if (group != nullptr) {
      for (int32_t slot : group->textures) ready = ready && Texture_SlotReady(Texture_Slot(slot));
    }
  } else {
    ready = Texture_SlotReady(Texture_Slot(slot_arg(argv, 0)));
  }
  *result = RV_Bool(ready);
}

void F_TexturePrefetch(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Undefined();
    return;
  }
  if (is_name(argv, 0)) {
    const int32_t group = group_arg(argv, 0, "texture_prefetch");
    if (group >= 0) TextureLoad_RequestGroup(group, true, false);
  } else {
    TextureLoad_RequestSlot(slot_arg(argv, 0), true, false);
  }
  *result = RV_Undefined();
}

void F_TextureFlush(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Undefined();
    return;
  }
  if (is_name(argv, 0)) {
    const int32_t group = group_arg(argv, 0, "texture_flush");
    if (group >= 0) TextureLoad_FlushGroup(group);
  } else {
    TextureLoad_FlushSlot(slot_arg(argv, 0));
  }
  *result = RV_Undefined();
}

void F_TextureDebugMessages(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Undefined();
    return;
  }
  Texture_SetDebugVerbosity(KVGetInt32(argv, 0));
  *result = RV_Undefined();
}

void F_TexturegroupLoad(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, -1.0);
    return;
  }
  const int32_t group = group_arg(argv, 0, "texturegroup_load");
  const bool fetch = argc > 1 ? KVGetBool(argv, 1) : true;
  set_real(result, group >= 0 && TextureLoad_RequestGroup(group, fetch, false) ? 0.0 : -1.0);
}

void F_TexturegroupUnload(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, -1.0);
    return;
  }
  const int32_t group = TextureGroup_Find(KVGetString(argv, 0));
  set_real(result, TextureLoad_UnloadGroup(group) ? 0.0 : -1.0);
}

void F_TexturegroupGetStatus(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    set_real(result, -1.0);
    return;
  }
  const char* name = KVGetString(argv, 0);
  const int32_t status = TextureLoad_GroupStatus(TextureGroup_Find(name));
  if (status < 0) g_ReleaseConsole->Output("texturegroup_load(): Texture group %s status can't be determined\n", name);
  set_real(result, status);
}

// texturegroup_get_textures and its kin: one name argument, an array of the group's ids.
void group_list(RValue* result, int argc, RValue* argv, const char* builtin, std::vector<int32_t> TextureGroup::*list) {
  if (argc != 1) {
    KVError("%s() - needs the name of the texture group", builtin);
    return;
  }
  const TextureGroup* group = TextureGroup_Get(TextureGroup_Find(KVGetString(argv, 0)));
  std::vector<double> ids;
  if (group != nullptr) ids.assign((group->*list).begin(), (group->*list).end());
  set_array(result, ids);
}

void F_TexturegroupGetTextures(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  group_list(result, argc, argv, "texturegroup_get_textures", &TextureGroup::textures);
}
void F_TexturegroupGetSprites(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  group_list(result, argc, argv, "texturegroup_get_sprites", &TextureGroup::sprites);
}
void F_TexturegroupGetFonts(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  group_list(result, argc, argv, "texturegroup_get_fonts", &TextureGroup::fonts);
}
void F_TexturegroupGetTilesets(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  group_list(result, argc, argv, "texturegroup_get_tilesets", &TextureGroup::tilesets);
}

void F_TexturegroupSetMode(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc < 1) {
    *result = RV_Undefined();
    return;
  }
  const bool explicit_mode = KVGetBool(argv, 0);
  const bool debug = argc > 1 ? KVGetBool(argv, 1) : false;
  int32_t sprite = argc > 2 ? KVGetInt32(argv, 2) : -1;
  if (sprite != -1 && Sprite_Get(sprite) == nullptr) {
    g_ReleaseConsole->Output("texturegroup_mode: Specified sprite %d does not exist, switching back to default\n", sprite);
    sprite = -1;
  }
  TextureLoad_SetMode(explicit_mode, debug, sprite);
  *result = RV_Undefined();
}

// texture_set_stage(stage, texture): a handle, a page entry, or -1 to clear the stage.
void F_TextureSetStage(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc >= 2) Texture_SetStage(KVGetInt32(argv, 0), KVGetPtrOrInt(argv, 1));
  *result = RV_Undefined();
}

}  // namespace

void Texture_RegisterStageBuiltins() {
  int32_t id = 0;
  if (!Function_Find("texture_set_stage", &id)) Function_Add("texture_set_stage", F_TextureSetStage, 2, 0);
}

void Texture_RegisterBuiltins() {
  Function_Add("texture_get_width", F_TextureGetWidth, 1, 0);
  Function_Add("texture_get_height", F_TextureGetHeight, 1, 0);
  Function_Add("texture_get_texel_width", F_TextureGetTexelWidth, 1, 0);
  Function_Add("texture_get_texel_height", F_TextureGetTexelHeight, 1, 0);
  Function_Add("texture_get_uvs", F_TextureGetUVs, 1, 0);
  Function_Add("texture_preload", F_TexturePreload, 1, 0);
  Function_Add("texture_set_priority", F_TextureSetPriority, 2, 0);
  Function_Add("texture_global_scale", F_TextureGlobalScale, 1, 0);
  Function_Add("texture_is_ready", F_TextureIsReady, 1, 0);
  Function_Add("texture_prefetch", F_TexturePrefetch, 1, 0);
  Function_Add("texture_flush", F_TextureFlush, 1, 0);
  Function_Add("texture_debug_messages", F_TextureDebugMessages, 1, 0);
  Function_Add("texturegroup_load", F_TexturegroupLoad, -1, 0);
  Function_Add("texturegroup_unload", F_TexturegroupUnload, 1, 0);
  Function_Add("texturegroup_get_status", F_TexturegroupGetStatus, 1, 0);
  Function_Add("texturegroup_get_textures", F_TexturegroupGetTextures, 1, 0);
  Function_Add("texturegroup_get_sprites", F_TexturegroupGetSprites, 1, 0);
  Function_Add("texturegroup_get_fonts", F_TexturegroupGetFonts, 1, 0);
  Function_Add("texturegroup_get_tilesets", F_TexturegroupGetTilesets, 1, 0);
  Function_Add("texturegroup_set_mode", F_TexturegroupSetMode, -1, 0);
}
