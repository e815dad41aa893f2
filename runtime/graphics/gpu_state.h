#pragma once
// The typed logic behind the gpu_* builtins: blend modes, fog, and the state as a map of named
// values (gpu_get_state / gpu_set_state). Maps live in the data-structure table; it installs the
// hooks that create, fill and walk one. Without them gpu_get_state gives -1 and gpu_set_state
// finds no valid map.
#include <cstdint>
#include <functional>

// Modes 0 normal (and any unknown value), 1 add, 2 max, 3 subtract.
void Gpu_SetBlendMode(int32_t mode);
// The mode whose factors match, -1 when none does or colour and alpha factors differ.
int32_t Gpu_GetBlendMode();
void Gpu_SetBlendFactors(uint32_t src, uint32_t dest, uint32_t src_alpha, uint32_t dest_alpha, bool separate);
// The colour is stored with alpha 255; start and end only when enabled.
void Gpu_SetFog(bool enable, uint32_t colour, float start, float end);

// Every key of the state map with its value, in the map's order: the 18 render keys, then the
// sampler keys with their stage number ("magfilter0" ... "mipenable7").
void Gpu_VisitState(const std::function<void(const char* key, double value)>& visit);
// One key of a state map; keys that name nothing are ignored.
void Gpu_SetStateKey(const char* key, double value);

struct GpuStateMapHooks {
  int32_t (*create)();
  void (*add_real)(int32_t map, const char* key, double value);
  bool (*exists)(int32_t map);
  void (*for_each)(int32_t map, void (*visit)(const char* key, double value, void* context), void* context);
};
void Gpu_SetStateMapHooks(const GpuStateMapHooks* hooks);
