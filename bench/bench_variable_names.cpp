// Name-to-slot lookups (Variable_GetSlot), as variable_instance_get, struct literals and the loader
// make them: builtin names, user names short and long, and a name that isn't there. The tables
// hold what a game of this size holds: every builtin variable row and 2000 user names. The memory
// manager is started first, as the runner does. Time per iteration is one lookup.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "core/variable_names.h"

namespace {

constexpr int kUserNames = 2000;
constexpr int kBuiltinNames = 300;

const char* const kShortNames[] = {"x", "hp", "gold", "lane", "state", "timer", "score_x", "cell_y"};
const char* const kLongNames[] = {
    "__scribble_class_element_glyph_cache_count", "__input_class_player_source_binding_profile",
    "__scribble_gen_2_parser_control_stack_depth", "__input_class_gamepad_mapping_description",
    "__scribble_class_typist_event_callback_state", "__input_verb_group_alternate_binding_index",
    "snow_state_machine_transition_history_limit", "__scribble_layout_line_height_override_px"};

struct Tables {
  std::vector<std::string> builtin;
  Tables() {
    Variable_ResetNames();
    for (int i = 0; i < kBuiltinNames; ++i) {
      builtin.push_back("builtin_row_" + std::to_string(i));
      Variable_AddBuiltinName(builtin.back().c_str());
    }
    for (const char* name : kShortNames) Variable_FindOrAddSlot(name);
    for (const char* name : kLongNames) Variable_FindOrAddSlot(name);
    for (int i = 0; Variable_UserSlotCount() < kUserNames; ++i) {
      Variable_FindOrAddSlot(("__game_variable_" + std::to_string(i)).c_str());
    }
  }
};

const Tables& tables() {
  static const Tables made;
  return made;
}

template <size_t N>
void lookups(benchmark::State& state, const char* const (&names)[N]) {
  tables();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Variable_GetSlot(names[i]));
    if (++i == N) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_SlotOfShortUserName(benchmark::State& state) { lookups(state, kShortNames); }
BENCHMARK(BM_SlotOfShortUserName);

void BM_SlotOfLongUserName(benchmark::State& state) { lookups(state, kLongNames); }
BENCHMARK(BM_SlotOfLongUserName);

void BM_SlotOfBuiltinName(benchmark::State& state) {
  const Tables& t = tables();
  const char* names[8];
  for (size_t k = 0; k < 8; ++k) names[k] = t.builtin[k * 37].c_str();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Variable_GetSlot(names[i]));
    if (++i == 8) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SlotOfBuiltinName);

void BM_SlotOfUnknownName(benchmark::State& state) {
  static const char* const kMissing[] = {"nope", "__scribble_class_element_glyph_cache_counts"};
  lookups(state, kMissing);
}
BENCHMARK(BM_SlotOfUnknownName);

}  // namespace
