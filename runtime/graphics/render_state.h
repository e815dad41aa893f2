#pragma once
// The render state manager: render and sampler states as numbered 32-bit words. Scripts change
// the pending words; RenderState_Apply sends the words that differ from the applied ones to the
// device state layer. A state set back to its applied value is no longer dirty, so it never
// breaks a batch: the batcher ends its open batch only while RenderState_AnyDirty() is non-zero.
// A stack of 32 entries saves and restores all pending words (gpu_push_state, gpu_pop_state).
// Ids outside 0..35, stages above 7 and fields above 9 are ignored. Main thread only.
#include <cstdint>

constexpr int kRenderStateCount = 36;
constexpr int kSamplerStages = 8;
constexpr int kSamplerFields = 10;
constexpr int kSamplerWords = kSamplerStages * kSamplerFields;
constexpr int kRenderStateStackSize = 32;

enum RenderStateId : int32_t {
  kRSZEnable = 1,
  kRSFillMode = 2,
  kRSShadeMode = 3,
  kRSZWriteEnable = 4,
  kRSAlphaTestEnable = 5,
  kRSSrcBlend = 6,
  kRSDestBlend = 7,
  kRSCullMode = 8,
  kRSZFunc = 9,
  kRSAlphaRef = 10,
  kRSAlphaFunc = 11,
  kRSBlendEnable = 12,
  kRSFogEnable = 13,
  kRSFogColour = 15,
  kRSFogStart = 17,
  kRSFogEnd = 18,
  kRSLighting = 21,
  kRSColourWriteEnable = 24,
  kRSStencilEnable = 25,
  kRSStencilFail = 26,
  kRSStencilZFail = 27,
  kRSStencilPass = 28,
  kRSStencilFunc = 29,
  kRSStencilRef = 30,
  kRSStencilReadMask = 31,
  kRSStencilWriteMask = 32,
  kRSSeparateAlphaBlend = 33,
  kRSSrcBlendAlpha = 34,
  kRSDestBlendAlpha = 35,
};

enum SamplerField : int32_t {
  kSampMagFilter = 0,
  kSampMinFilter,
  kSampAddressU,
  kSampAddressV,
  kSampMipFilter,
  kSampMinMip,  // float bits
  kSampMaxMip,  // float bits
  kSampMipBias, // float bits
  kSampMaxAniso,
  kSampMipEnable,
  kSamplerFieldCount,
};
inline constexpr const char* kSamplerFieldKeys[] = {"magfilter", "minfilter", "addressu", "addressv", "mipfilter",
                                                    "mipmip",    "maxmip",    "mipbias",  "maxaniso", "mipenable"};
static_assert(sizeof(kSamplerFieldKeys) / sizeof(kSamplerFieldKeys[0]) == kSamplerFieldCount);
static_assert(kSamplerFieldCount == kSamplerFields);

uint32_t RenderState_FloatBits(float value);
float RenderState_BitsFloat(uint32_t bits);

// The default word of each render state and sampler field.
uint32_t RenderState_Default(int32_t id);
uint32_t SamplerState_Default(int32_t field);

void RenderState_Set(int32_t id, uint32_t value);
uint32_t RenderState_Get(int32_t id);  // the pending value; 0 outside the table
void SamplerState_Set(int32_t stage, int32_t field, uint32_t value);
uint32_t SamplerState_Get(int32_t stage, int32_t field);
uint32_t RenderState_Applied(int32_t id);
uint32_t SamplerState_Applied(int32_t stage, int32_t field);

// Non-zero while some pending word differs from its applied word.
uint64_t RenderState_AnyDirty();
// Sends the dirty words to the device state layer (ascending ids, then samplers) and clears them.
void RenderState_Apply();
// Marks every word dirty, then applies.
void RenderState_Force_All();

// gpu_push_state / gpu_pop_state, with their console lines.
void RenderState_Push();
void RenderState_Pop();
int32_t RenderState_StackDepth();
// The pending word of id in the entry below the top; false (with the console line) when empty.
bool RenderState_PeekPrevState(int32_t id, uint32_t* value);

// Every word back to its default, nothing dirty, applied words equal to the defaults, empty stack.
void RenderState_Reset();
