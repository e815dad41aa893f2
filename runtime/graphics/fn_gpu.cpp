// gpu_* builtins: the render and sampler states as scripts see them, the blend modes, the state
// stack and the state maps.
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "data/game_data.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/gpu_state.h"
#include "graphics/render_state.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgBool;
using gfx_fn::ArgInt;
using gfx_fn::Real;

const GpuStateMapHooks* g_map_hooks = nullptr;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

// "gpu_set_blendmode() - should be passed a single parameter" and its like.
void check_count(int argc, int wanted) {
  if (argc == wanted) return;
  static const char* const kCounts[] = {"no parameters", "a single parameter", "two parameters", "three parameters",
                                        "four parameters"};
  KVError("%s() - should be passed %s", Function_CurrentName(), kCounts[wanted]);
}

// A single value or, for the array forms, one array of `count` numbers.
bool read_values(int argc, RValue* argv, int count, double* out, const char* array_error) {
  if (argc == 1 && RV_Kind(argv[0]) == kRVArray) {
    const RefDynamicArrayOfRValue* array = argv[0].pArray;
    if (array == nullptr || array->length != count) KVError("%s", array_error);
    for (int i = 0; i < count; ++i) out[i] = RV_ToDouble(array->pArray[i]);
    return true;
  }
  check_count(argc, count);
  for (int i = 0; i < count; ++i) out[i] = KVGetReal(argv, i);
  return true;
}

void set_all_stages(int32_t field, uint32_t value) {
  for (int stage = 0; stage < kSamplerStages; ++stage) SamplerState_Set(stage, field, value);
}

// ---- Render states with one value ------------------------------------------------------------

KV_BUILTIN(F_SetBlendEnable) {
  check_count(argc, 1);
  RenderState_Set(kRSBlendEnable, KVGetBool(argv, 0) ? 1 : 0);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetZTestEnable) {
  check_count(argc, 1);
  const uint32_t on = KVGetBool(argv, 0) ? 1 : 0;
  RenderState_Set(kRSZEnable, on);
  if (GameData_Header().generation < 2) RenderState_Set(kRSZWriteEnable, on);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetZFunc) {
  check_count(argc, 1);
  RenderState_Set(kRSZFunc, static_cast<uint32_t>(KVGetInt32(argv, 0)));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetZWriteEnable) {
  check_count(argc, 1);
  RenderState_Set(kRSZWriteEnable, KVGetBool(argv, 0) ? 1 : 0);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetFog) {
  double v[4];
  read_values(argc, argv, 4, v, "gpu_set_fog() - invalid array (must be 4 values)");
  Gpu_SetFog(v[0] >= 0.5, static_cast<uint32_t>(static_cast<int64_t>(v[1])), static_cast<float>(v[2]),
             static_cast<float>(v[3]));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetCullMode) {
  check_count(argc, 1);
  RenderState_Set(kRSCullMode, static_cast<uint32_t>(KVGetInt32(argv, 0)));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetBlendMode) {
  check_count(argc, 1);
  Gpu_SetBlendMode(KVGetInt32(argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetBlendModeExt) {
  double v[2];
  read_values(argc, argv, 2, v, "gpu_set_blendmode_ext() - invalid array (must be 2 values)");
  Gpu_SetBlendFactors(static_cast<uint32_t>(v[0]), static_cast<uint32_t>(v[1]), static_cast<uint32_t>(v[0]),
                      static_cast<uint32_t>(v[1]), false);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetBlendModeExtSepAlpha) {
  double v[4];
  read_values(argc, argv, 4, v, "gpu_set_blendmode_ext_sepalpha() - invalid array (must be 4 values)");
  Gpu_SetBlendFactors(static_cast<uint32_t>(v[0]), static_cast<uint32_t>(v[1]), static_cast<uint32_t>(v[2]),
                      static_cast<uint32_t>(v[3]), true);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetColourWriteEnable) {
  double v[4];
  read_values(argc, argv, 4, v, "gpu_set_colourwriteenable() - invalid array (must be 4 values)");
  uint32_t mask = 0;
  if (v[0] != 0.0) mask |= 1;
  if (v[1] > 0.0) mask |= 2;
  if (v[2] > 0.0) mask |= 4;
  if (v[3] > 0.0) mask |= 8;
  RenderState_Set(kRSColourWriteEnable, mask);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetAlphaTestEnable) {
  check_count(argc, 1);
  RenderState_Set(kRSAlphaTestEnable, KVGetBool(argv, 0) ? 1 : 0);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetAlphaTestRef) {
  check_count(argc, 1);
  RenderState_Set(kRSAlphaRef, static_cast<uint32_t>(KVGetInt32(argv, 0)));
  *result = RV_Undefined();
}

// ---- Sampler states: plain forms set all 8 stages, _ext forms one ------------------------------

enum class SamplerValue { kFilter, kRepeat, kInt, kFloat, kAniso };

struct SamplerSetter {
  SamplerValue kind;
  int32_t field;
};

uint32_t sampler_word(SamplerValue kind, const RValue* argv, int n) {
  switch (kind) {
    case SamplerValue::kFilter: return KVGetBool(argv, n) ? 1 : 0;
    case SamplerValue::kRepeat: return KVGetBool(argv, n) ? 0 : 1;
    case SamplerValue::kFloat: return RenderState_FloatBits(KVGetFloat(argv, n));
    default: return static_cast<uint32_t>(KVGetInt32(argv, n));
  }
}

void set_sampler(int argc, RValue* argv, const SamplerSetter& s, bool ext) {
  check_count(argc, ext ? 2 : 1);
  const int n = ext ? 1 : 0;
  if (s.kind == SamplerValue::kAniso) {
    const int32_t value = KVGetInt32(argv, n);
    if (value < 1 || value > 16) {
      g_ReleaseConsole->Output("gpu_set_tex_max_aniso() - value must be between 1 and 16\n");
      return;
    }
  }
  const uint32_t word = sampler_word(s.kind, argv, n);
  const int32_t fields[2] = {s.field, s.kind == SamplerValue::kFilter || s.kind == SamplerValue::kRepeat ? s.field + 1 : -1};
  for (int32_t field : fields) {
    if (field < 0) continue;
    if (!ext) {
      set_all_stages(field, word);
      continue;
    }
    const int32_t stage = KVGetInt32(argv, 0);
    if (stage >= 0 && stage < kSamplerStages) SamplerState_Set(stage, field, word);
  }
}

double sampler_value(SamplerValue kind, int32_t stage, int32_t field) {
  const uint32_t word = SamplerState_Get(stage, field);
  switch (kind) {
    case SamplerValue::kFilter: return word == 1 ? 1.0 : 0.0;
    case SamplerValue::kRepeat: return word == 0 ? 1.0 : 0.0;
    case SamplerValue::kFloat: return RenderState_BitsFloat(word);
    default: return static_cast<double>(static_cast<int32_t>(word));
  }
}

void get_sampler(RValue* result, int argc, RValue* argv, const SamplerSetter& s, bool ext) {
  const int32_t stage = ext ? gfx_fn::ArgInt(argc, argv, 0) : 0;
  Real(result, stage >= 0 && stage < kSamplerStages ? sampler_value(s.kind, stage, s.field) : 0.0);
}

constexpr SamplerSetter kFilter{SamplerValue::kFilter, kSampMagFilter};
constexpr SamplerSetter kRepeat{SamplerValue::kRepeat, kSampAddressU};
constexpr SamplerSetter kMipFilter{SamplerValue::kInt, kSampMipFilter};
constexpr SamplerSetter kMipBias{SamplerValue::kFloat, kSampMipBias};
constexpr SamplerSetter kMinMip{SamplerValue::kFloat, kSampMinMip};
constexpr SamplerSetter kMaxMip{SamplerValue::kFloat, kSampMaxMip};
constexpr SamplerSetter kMaxAniso{SamplerValue::kAniso, kSampMaxAniso};
constexpr SamplerSetter kMipEnable{SamplerValue::kInt, kSampMipEnable};

#define SAMPLER_BUILTINS(Name, setter)                                                                  \
  KV_BUILTIN(F_Set##Name) { set_sampler(argc, argv, setter, false); *result = RV_Undefined(); }         \
  KV_BUILTIN(F_Set##Name##Ext) { set_sampler(argc, argv, setter, true); *result = RV_Undefined(); }     \
  KV_BUILTIN(F_Get##Name) { get_sampler(result, argc, argv, setter, false); }                          \
  KV_BUILTIN(F_Get##Name##Ext) { get_sampler(result, argc, argv, setter, true); }
SAMPLER_BUILTINS(TexFilter, kFilter)
SAMPLER_BUILTINS(TexRepeat, kRepeat)
SAMPLER_BUILTINS(TexMipFilter, kMipFilter)
SAMPLER_BUILTINS(TexMipBias, kMipBias)
SAMPLER_BUILTINS(TexMinMip, kMinMip)
SAMPLER_BUILTINS(TexMaxMip, kMaxMip)
SAMPLER_BUILTINS(TexMaxAniso, kMaxAniso)
SAMPLER_BUILTINS(TexMipEnable, kMipEnable)
#undef SAMPLER_BUILTINS

// ---- Getters ----------------------------------------------------------------------------------

KV_BUILTIN(F_GetBlendEnable) { Real(result, RenderState_Get(kRSBlendEnable)); }
KV_BUILTIN(F_GetZTestEnable) { Real(result, RenderState_Get(kRSZEnable)); }
KV_BUILTIN(F_GetZFunc) { Real(result, RenderState_Get(kRSZFunc)); }
KV_BUILTIN(F_GetZWriteEnable) { Real(result, RenderState_Get(kRSZWriteEnable)); }
KV_BUILTIN(F_GetCullMode) { Real(result, RenderState_Get(kRSCullMode)); }
KV_BUILTIN(F_GetBlendMode) { Real(result, Gpu_GetBlendMode()); }
KV_BUILTIN(F_GetBlendModeSrc) { Real(result, RenderState_Get(kRSSrcBlend)); }
KV_BUILTIN(F_GetBlendModeDest) { Real(result, RenderState_Get(kRSDestBlend)); }
KV_BUILTIN(F_GetBlendModeSrcAlpha) { Real(result, RenderState_Get(kRSSrcBlendAlpha)); }
KV_BUILTIN(F_GetBlendModeDestAlpha) { Real(result, RenderState_Get(kRSDestBlendAlpha)); }
KV_BUILTIN(F_GetAlphaTestEnable) { Real(result, RenderState_Get(kRSAlphaTestEnable)); }
KV_BUILTIN(F_GetAlphaTestRef) { Real(result, static_cast<int32_t>(RenderState_Get(kRSAlphaRef))); }

KV_BUILTIN(F_GetFog) {
  const double values[4] = {static_cast<double>(RenderState_Get(kRSFogEnable)),
                            static_cast<double>(RenderState_Get(kRSFogColour) & 0xFFFFFFu),
                            RenderState_BitsFloat(RenderState_Get(kRSFogStart)),
                            RenderState_BitsFloat(RenderState_Get(kRSFogEnd))};
  gfx_fn::RealArray(result, values, 4);
}

KV_BUILTIN(F_GetBlendModeExt) {
  const double values[2] = {static_cast<double>(RenderState_Get(kRSSrcBlend)),
                            static_cast<double>(RenderState_Get(kRSDestBlend))};
  gfx_fn::RealArray(result, values, 2);
}

KV_BUILTIN(F_GetBlendModeExtSepAlpha) {
  const double values[4] = {static_cast<double>(RenderState_Get(kRSSrcBlend)),
                            static_cast<double>(RenderState_Get(kRSDestBlend)),
                            static_cast<double>(RenderState_Get(kRSSrcBlendAlpha)),
                            static_cast<double>(RenderState_Get(kRSDestBlendAlpha))};
  gfx_fn::RealArray(result, values, 4);
}

KV_BUILTIN(F_GetColourWriteEnable) {
  const uint32_t mask = RenderState_Get(kRSColourWriteEnable);
  const double values[4] = {(mask & 1) ? 1.0 : 0.0, (mask & 2) ? 1.0 : 0.0, (mask & 4) ? 1.0 : 0.0,
                            (mask & 8) ? 1.0 : 0.0};
  gfx_fn::RealArray(result, values, 4);
}

// ---- Stack and state maps ----------------------------------------------------------------------

KV_BUILTIN(F_PushState) {
  RenderState_Push();
  *result = RV_Undefined();
}

KV_BUILTIN(F_PopState) {
  RenderState_Pop();
  *result = RV_Undefined();
}

KV_BUILTIN(F_GetState) {
  if (g_map_hooks == nullptr) {
    Real(result, -1.0);
    return;
  }
  const int32_t map = g_map_hooks->create();
  Gpu_VisitState([map](const char* key, double value) { g_map_hooks->add_real(map, key, value); });
  Real(result, map);
}

KV_BUILTIN(F_SetState) {
  *result = RV_Undefined();
  if (argc != 1) KVError("gpu_set_state() - wrong number of arguments - should take ds_map");
  const int32_t map = KVGetInt32(argv, 0);
  if (g_map_hooks == nullptr || !g_map_hooks->exists(map)) KVError("gpu_set_state() - ds_map index is invalid");
  g_map_hooks->for_each(map, [](const char* key, double value, void*) { Gpu_SetStateKey(key, value); }, nullptr);
}

#undef KV_BUILTIN

const BuiltinRow kSetRows[] = {
    {"gpu_set_blendenable", F_SetBlendEnable, 1},
    {"gpu_set_ztestenable", F_SetZTestEnable, 1},
    {"gpu_set_zfunc", F_SetZFunc, 1},
    {"gpu_set_zwriteenable", F_SetZWriteEnable, 1},
    {"gpu_set_fog", F_SetFog, -1},
    {"gpu_set_cullmode", F_SetCullMode, 1},
    {"gpu_set_blendmode", F_SetBlendMode, 1},
    {"gpu_set_blendmode_ext", F_SetBlendModeExt, -1},
    {"gpu_set_blendmode_ext_sepalpha", F_SetBlendModeExtSepAlpha, -1},
    {"gpu_set_colorwriteenable", F_SetColourWriteEnable, -1},
    {"gpu_set_colourwriteenable", F_SetColourWriteEnable, -1},
    {"gpu_set_alphatestenable", F_SetAlphaTestEnable, 1},
    {"gpu_set_alphatestref", F_SetAlphaTestRef, 1},
    {"gpu_set_texfilter", F_SetTexFilter, 1},
    {"gpu_set_texfilter_ext", F_SetTexFilterExt, 2},
    {"gpu_set_texrepeat", F_SetTexRepeat, 1},
    {"gpu_set_texrepeat_ext", F_SetTexRepeatExt, 2},
    {"gpu_set_tex_filter", F_SetTexFilter, 1},
    {"gpu_set_tex_filter_ext", F_SetTexFilterExt, 2},
    {"gpu_set_tex_repeat", F_SetTexRepeat, 1},
    {"gpu_set_tex_repeat_ext", F_SetTexRepeatExt, 2},
    {"gpu_set_tex_mip_filter", F_SetTexMipFilter, 1},
    {"gpu_set_tex_mip_filter_ext", F_SetTexMipFilterExt, 2},
    {"gpu_set_tex_mip_bias", F_SetTexMipBias, 1},
    {"gpu_set_tex_mip_bias_ext", F_SetTexMipBiasExt, 2},
    {"gpu_set_tex_min_mip", F_SetTexMinMip, 1},
    {"gpu_set_tex_min_mip_ext", F_SetTexMinMipExt, 2},
    {"gpu_set_tex_max_mip", F_SetTexMaxMip, 1},
    {"gpu_set_tex_max_mip_ext", F_SetTexMaxMipExt, 2},
    {"gpu_set_tex_max_aniso", F_SetTexMaxAniso, 1},
    {"gpu_set_tex_max_aniso_ext", F_SetTexMaxAnisoExt, 2},
    {"gpu_set_tex_mip_enable", F_SetTexMipEnable, 1},
    {"gpu_set_tex_mip_enable_ext", F_SetTexMipEnableExt, 2},
    {"gpu_get_blendenable", F_GetBlendEnable, 0},
    {"gpu_get_ztestenable", F_GetZTestEnable, 0},
    {"gpu_get_zfunc", F_GetZFunc, 0},
    {"gpu_get_zwriteenable", F_GetZWriteEnable, 0},
    {"gpu_get_fog", F_GetFog, 0},
    {"gpu_get_cullmode", F_GetCullMode, 0},
    {"gpu_get_blendmode", F_GetBlendMode, 0},
    {"gpu_get_blendmode_ext", F_GetBlendModeExt, 0},
    {"gpu_get_blendmode_ext_sepalpha", F_GetBlendModeExtSepAlpha, 0},
    {"gpu_get_colorwriteenable", F_GetColourWriteEnable, 0},
    {"gpu_get_colourwriteenable", F_GetColourWriteEnable, 0},
    {"gpu_get_alphatestenable", F_GetAlphaTestEnable, 0},
    {"gpu_get_alphatestref", F_GetAlphaTestRef, 0},
    {"gpu_get_texfilter", F_GetTexFilter, 0},
    {"gpu_get_texfilter_ext", F_GetTexFilterExt, 1},
    {"gpu_get_texrepeat", F_GetTexRepeat, 0},
    {"gpu_get_texrepeat_ext", F_GetTexRepeatExt, 1},
    {"gpu_get_tex_filter", F_GetTexFilter, 0},
    {"gpu_get_tex_filter_ext", F_GetTexFilterExt, 1},
    {"gpu_get_tex_repeat", F_GetTexRepeat, 0},
    {"gpu_get_tex_repeat_ext", F_GetTexRepeatExt, 1},
    {"gpu_get_tex_mip_filter", F_GetTexMipFilter, 0},
    {"gpu_get_tex_mip_filter_ext", F_GetTexMipFilterExt, 1},
    {"gpu_get_tex_mip_bias", F_GetTexMipBias, 0},
    {"gpu_get_tex_mip_bias_ext", F_GetTexMipBiasExt, 1},
    {"gpu_get_tex_min_mip", F_GetTexMinMip, 0},
    {"gpu_get_tex_min_mip_ext", F_GetTexMinMipExt, 1},
    {"gpu_get_tex_max_mip", F_GetTexMaxMip, 0},
    {"gpu_get_tex_max_mip_ext", F_GetTexMaxMipExt, 1},
    {"gpu_get_tex_max_aniso", F_GetTexMaxAniso, 0},
    {"gpu_get_tex_max_aniso_ext", F_GetTexMaxAnisoExt, 1},
    {"gpu_get_tex_mip_enable", F_GetTexMipEnable, 0},
    {"gpu_get_tex_mip_enable_ext", F_GetTexMipEnableExt, 1},
    {"gpu_push_state", F_PushState, 0},
    {"gpu_pop_state", F_PopState, 0},
    {"gpu_get_state", F_GetState, 0},
    {"gpu_set_state", F_SetState, 1},
};

const BuiltinRow kLateRows[] = {
    {"gpu_get_blendmode_src", F_GetBlendModeSrc, 0},
    {"gpu_get_blendmode_dest", F_GetBlendModeDest, 0},
    {"gpu_get_blendmode_srcalpha", F_GetBlendModeSrcAlpha, 0},
    {"gpu_get_blendmode_destalpha", F_GetBlendModeDestAlpha, 0},
};

}  // namespace

void Gpu_SetStateMapHooks(const GpuStateMapHooks* hooks) { g_map_hooks = hooks; }
void Gpu_RegisterBuiltins() { Graphics_AddRows(kSetRows, static_cast<int>(std::size(kSetRows))); }
void Gpu_RegisterLateBuiltins() { Graphics_AddRows(kLateRows, static_cast<int>(std::size(kLateRows))); }
