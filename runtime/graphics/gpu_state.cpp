#include "graphics/gpu_state.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "graphics/render_state.h"

namespace {

struct BlendRow {
  uint32_t src, dest;
};
constexpr BlendRow kBlendModes[] = {{5, 6}, {5, 2}, {5, 4}, {1, 4}};

struct RenderKey {
  int32_t id;
  const char* key;
  bool is_float;
};
// In the order of the state map.
constexpr RenderKey kRenderKeys[] = {
    {kRSBlendEnable, "blendenable", false},     {kRSZEnable, "ztestenable", false},
    {kRSZFunc, "zfunc", false},                 {kRSZWriteEnable, "zwriteenable", false},
    {kRSFogEnable, "fogenable", false},         {kRSFogColour, "fogcolor", false},
    {kRSFogStart, "fogstart", true},            {kRSFogEnd, "fogend", true},
    {kRSCullMode, "cullmode", false},           {kRSSrcBlend, "srcblend", false},
    {kRSDestBlend, "destblend", false},         {kRSSrcBlendAlpha, "srcblendalpha", false},
    {kRSDestBlendAlpha, "destblendalpha", false}, {kRSSeparateAlphaBlend, "sepalphaenable", false},
    {kRSColourWriteEnable, "colorwriteenable", false}, {kRSAlphaTestEnable, "alphatestenable", false},
    {kRSAlphaRef, "alphatestref", false},       {kRSAlphaFunc, "alphatestfunc", false},
};
static_assert(std::size(kRenderKeys) == 18);

bool sampler_is_float(int32_t field) {
  return field == kSampMinMip || field == kSampMaxMip || field == kSampMipBias;
}

}  // namespace

void Gpu_SetBlendMode(int32_t mode) {
  const BlendRow& row = mode >= 0 && mode < static_cast<int32_t>(std::size(kBlendModes)) ? kBlendModes[mode] : kBlendModes[0];
  Gpu_SetBlendFactors(row.src, row.dest, row.src, row.dest, false);
}

int32_t Gpu_GetBlendMode() {
  const uint32_t src = RenderState_Get(kRSSrcBlend), dest = RenderState_Get(kRSDestBlend);
  if (src != RenderState_Get(kRSSrcBlendAlpha) || dest != RenderState_Get(kRSDestBlendAlpha)) return -1;
  for (int32_t mode = 0; mode < static_cast<int32_t>(std::size(kBlendModes)); ++mode) {
    if (kBlendModes[mode].src == src && kBlendModes[mode].dest == dest) return mode;
  }
  return -1;
}

void Gpu_SetBlendFactors(uint32_t src, uint32_t dest, uint32_t src_alpha, uint32_t dest_alpha, bool separate) {
  RenderState_Set(kRSSrcBlend, src);
  RenderState_Set(kRSDestBlend, dest);
  RenderState_Set(kRSSrcBlendAlpha, src_alpha);
  RenderState_Set(kRSDestBlendAlpha, dest_alpha);
  RenderState_Set(kRSSeparateAlphaBlend, separate ? 1 : 0);
}

void Gpu_SetFog(bool enable, uint32_t colour, float start, float end) {
  RenderState_Set(kRSFogEnable, enable ? 1 : 0);
  RenderState_Set(kRSFogColour, colour | 0xFF000000u);
  if (!enable) return;
  RenderState_Set(kRSFogStart, RenderState_FloatBits(start));
  RenderState_Set(kRSFogEnd, RenderState_FloatBits(end));
}

void Gpu_VisitState(const std::function<void(const char* key, double value)>& visit) {
  for (const RenderKey& k : kRenderKeys) {
    const uint32_t word = RenderState_Get(k.id);
    visit(k.key, k.is_float ? static_cast<double>(RenderState_BitsFloat(word)) : static_cast<double>(word));
  }
  char key[32];
  for (int32_t field = 0; field < kSamplerFields; ++field) {
    for (int32_t stage = 0; stage < kSamplerStages; ++stage) {
      std::snprintf(key, sizeof(key), "%s%d", kSamplerFieldKeys[field], stage);
      const uint32_t word = SamplerState_Get(stage, field);
      visit(key, sampler_is_float(field) ? static_cast<double>(RenderState_BitsFloat(word)) : static_cast<double>(word));
    }
  }
}

void Gpu_SetStateKey(const char* key, double value) {
  for (const RenderKey& k : kRenderKeys) {
    if (std::strcmp(key, k.key) != 0) continue;
    RenderState_Set(k.id, k.is_float ? RenderState_FloatBits(static_cast<float>(value))
                                     : static_cast<uint32_t>(static_cast<int64_t>(value)));
    return;
  }
  for (int32_t field = 0; field < kSamplerFields; ++field) {
    const size_t stem = std::strlen(kSamplerFieldKeys[field]);
    if (std::strncmp(key, kSamplerFieldKeys[field], stem) != 0) continue;
    const char* digits = key + stem;
    if (*digits == '\0') continue;
    char* end = nullptr;
    const long stage = std::strtol(digits, &end, 10);
    if (end == digits || *end != '\0') continue;
    const uint32_t word = sampler_is_float(field) ? RenderState_FloatBits(static_cast<float>(value))
                                                  : static_cast<uint32_t>(static_cast<int64_t>(value));
    SamplerState_Set(static_cast<int32_t>(stage), field, word);
    return;
  }
}
