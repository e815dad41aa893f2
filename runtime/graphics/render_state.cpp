#include "graphics/render_state.h"

#include <bit>
#include <cstring>

#include "core/console.h"
#include "graphics/device_state.h"

namespace {

struct StackEntry {
  uint32_t render[kRenderStateCount];
  uint32_t sampler[kSamplerWords];
};

struct RenderStateManager {
  uint64_t dirty_render = 0;
  uint64_t dirty_sampler[2] = {0, 0};
  uint64_t any_dirty = 0;
  uint32_t applied_render[kRenderStateCount] = {};
  uint32_t applied_sampler[kSamplerWords] = {};
  uint32_t pending_render[kRenderStateCount] = {};
  uint32_t pending_sampler[kSamplerWords] = {};
  StackEntry stack[kRenderStateStackSize] = {};
  int32_t stack_depth = 0;
};

RenderStateManager g_rs;

void recompute_any() {
  g_rs.any_dirty = g_rs.dirty_render | ((g_rs.dirty_sampler[0] | g_rs.dirty_sampler[1]) != 0 ? 1u : 0u);
}

bool sampler_bit(int index, uint64_t** word, uint64_t* bit) {
  if (index < 0 || index >= kSamplerWords) return false;
  *word = &g_rs.dirty_sampler[index / 64];
  *bit = uint64_t{1} << (index % 64);
  return true;
}

}  // namespace

uint32_t RenderState_FloatBits(float value) { return std::bit_cast<uint32_t>(value); }
float RenderState_BitsFloat(uint32_t bits) { return std::bit_cast<float>(bits); }

uint32_t RenderState_Default(int32_t id) {
  switch (id) {
    case kRSFillMode: return 3;
    case kRSShadeMode: return 2;
    case kRSZWriteEnable: return 1;
    case kRSSrcBlend: return 5;
    case kRSDestBlend: return 6;
    case kRSZFunc: return 4;
    case kRSAlphaFunc: return 5;
    case kRSBlendEnable: return 1;
    case kRSFogEnd: return RenderState_FloatBits(1.0f);
    case 23: return 3;
    case kRSColourWriteEnable: return 15;
    case kRSStencilFail:
    case kRSStencilZFail:
    case kRSStencilPass: return 1;
    case kRSStencilFunc: return 8;
    case kRSStencilReadMask:
    case kRSStencilWriteMask: return 0xFFFFFFFFu;
    case kRSSrcBlendAlpha: return 5;
    case kRSDestBlendAlpha: return 6;
    default: return 0;
  }
}

uint32_t SamplerState_Default(int32_t field) {
  switch (field) {
    case kSampMinMip:
    case kSampMipBias: return RenderState_FloatBits(0.0f);
    case kSampMaxMip: return RenderState_FloatBits(16.0f);
    case kSampMaxAniso: return 16;
    case kSampMipEnable: return 2;
    default: return 1;
  }
}

void RenderState_Reset() {
  g_rs = RenderStateManager{};
  for (int id = 0; id < kRenderStateCount; ++id) {
    g_rs.pending_render[id] = g_rs.applied_render[id] = RenderState_Default(id);
  }
  for (int i = 0; i < kSamplerWords; ++i) {
    g_rs.pending_sampler[i] = g_rs.applied_sampler[i] = SamplerState_Default(i % kSamplerFields);
  }
}

namespace {
// The manager starts with its defaults in place, before any device exists.
const bool g_initialised = (RenderState_Reset(), true);
}  // namespace

void RenderState_Set(int32_t id, uint32_t value) {
  if (id < 0 || id >= kRenderStateCount) return;
  if (g_rs.pending_render[id] == value) return;
  const uint64_t bit = uint64_t{1} << id;
  if (g_rs.applied_render[id] == value) {
    g_rs.dirty_render &= ~bit;
  } else {
    g_rs.dirty_render |= bit;
  }
  g_rs.pending_render[id] = value;
  recompute_any();
}

uint32_t RenderState_Get(int32_t id) {
  return id >= 0 && id < kRenderStateCount ? g_rs.pending_render[id] : 0;
}

uint32_t RenderState_Applied(int32_t id) {
  return id >= 0 && id < kRenderStateCount ? g_rs.applied_render[id] : 0;
}

void SamplerState_Set(int32_t stage, int32_t field, uint32_t value) {
  if (stage < 0 || stage >= kSamplerStages || field < 0 || field >= kSamplerFields) return;
  const int index = stage * kSamplerFields + field;
  if (g_rs.pending_sampler[index] == value) return;
  uint64_t* word = nullptr;
  uint64_t bit = 0;
  sampler_bit(index, &word, &bit);
  if (g_rs.applied_sampler[index] == value) {
    *word &= ~bit;
  } else {
    *word |= bit;
  }
  g_rs.pending_sampler[index] = value;
  recompute_any();
}

uint32_t SamplerState_Get(int32_t stage, int32_t field) {
  if (stage < 0 || stage >= kSamplerStages || field < 0 || field >= kSamplerFields) return 0;
  return g_rs.pending_sampler[stage * kSamplerFields + field];
}

uint32_t SamplerState_Applied(int32_t stage, int32_t field) {
  if (stage < 0 || stage >= kSamplerStages || field < 0 || field >= kSamplerFields) return 0;
  return g_rs.applied_sampler[stage * kSamplerFields + field];
}

uint64_t RenderState_AnyDirty() { return g_rs.any_dirty; }

void RenderState_Apply() {
  uint64_t render = g_rs.dirty_render;
  while (render != 0) {
    const int id = std::countr_zero(render);
    render &= render - 1;
    DeviceState_SetRenderState(id, g_rs.pending_render[id]);
    g_rs.applied_render[id] = g_rs.pending_render[id];
  }
  for (int w = 0; w < 2; ++w) {
    uint64_t bits = g_rs.dirty_sampler[w];
    while (bits != 0) {
      const int index = w * 64 + std::countr_zero(bits);
      bits &= bits - 1;
      DeviceState_SetSamplerState(index / kSamplerFields, index % kSamplerFields, g_rs.pending_sampler[index]);
      g_rs.applied_sampler[index] = g_rs.pending_sampler[index];
    }
  }
  g_rs.dirty_render = 0;
  g_rs.dirty_sampler[0] = g_rs.dirty_sampler[1] = 0;
  g_rs.any_dirty = 0;
}

void RenderState_Force_All() {
  g_rs.dirty_render = (uint64_t{1} << kRenderStateCount) - 1;
  g_rs.dirty_sampler[0] = ~uint64_t{0};
  g_rs.dirty_sampler[1] = (uint64_t{1} << (kSamplerWords - 64)) - 1;
  RenderState_Apply();
}

namespace {

void restore_entry(const StackEntry& entry) {
  for (int id = 0; id < kRenderStateCount; ++id) RenderState_Set(id, entry.render[id]);
  for (int i = 0; i < kSamplerWords; ++i) SamplerState_Set(i / kSamplerFields, i % kSamplerFields, entry.sampler[i]);
}

}  // namespace

void RenderState_Push() {
  StackEntry& entry = g_rs.stack[g_rs.stack_depth];
  std::memcpy(entry.render, g_rs.pending_render, sizeof(entry.render));
  std::memcpy(entry.sampler, g_rs.pending_sampler, sizeof(entry.sampler));
  if (g_rs.stack_depth >= kRenderStateStackSize - 1) {
    g_ReleaseConsole->Output("GPU state stack has run out of space\n");
    return;
  }
  ++g_rs.stack_depth;
}

void RenderState_Pop() {
  if (g_rs.stack_depth == 0) {
    g_ReleaseConsole->Output("Attempting to drop below bottom of GPU state stack\n");
  } else {
    --g_rs.stack_depth;
  }
  restore_entry(g_rs.stack[g_rs.stack_depth]);
}

int32_t RenderState_StackDepth() { return g_rs.stack_depth; }

bool RenderState_PeekPrevState(int32_t id, uint32_t* value) {
  *value = 0;
  if (g_rs.stack_depth == 0) {
    g_ReleaseConsole->Output("RenderStateManager::PeekPrevState() - state stack is empty so nothing to read\n");
    return false;
  }
  if (id >= 0 && id < kRenderStateCount) *value = g_rs.stack[g_rs.stack_depth - 1].render[id];
  return true;
}
