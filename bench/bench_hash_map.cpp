// CHashMap against std::unordered_map: lookups of present keys in random order and building a map
// of N keys, for int32 keys (slot maps) and string keys (name tables). Sizes: a small table that
// stays in cache and a large one that doesn't.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/hash_map.h"

namespace {

std::vector<int32_t> int_keys(int64_t count) {
  std::mt19937 rng(42);
  std::vector<int32_t> keys(static_cast<size_t>(count));
  // Slot numbers are small and dense in practice; spread them a little so neither map gets a gift.
  for (size_t i = 0; i < keys.size(); ++i) keys[i] = static_cast<int32_t>(i * 3 + 10000);
  std::shuffle(keys.begin(), keys.end(), rng);
  return keys;
}

std::vector<std::string> string_keys(int64_t count) {
  std::mt19937 rng(7);
  std::vector<std::string> keys;
  for (int64_t i = 0; i < count; ++i) keys.push_back("variable_name_" + std::to_string(i * 7919 % 1000003));
  std::shuffle(keys.begin(), keys.end(), rng);
  return keys;
}

// Lookups walk the keys in an order other than insertion.
template <class T>
std::vector<T> lookup_order(std::vector<T> keys) {
  std::mt19937 rng(1234);
  std::shuffle(keys.begin(), keys.end(), rng);
  return keys;
}

void BM_IntLookup_CHashMap(benchmark::State& state) {
  const std::vector<int32_t> keys = int_keys(state.range(0));
  CHashMap<int32_t, void*> map(8);
  for (int32_t key : keys) map.Insert(key, nullptr);
  const std::vector<int32_t> order = lookup_order(keys);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.Find(order[i]));
    if (++i == order.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_IntLookup_CHashMap)->Arg(1000)->Arg(200000);

void BM_IntLookup_StdUnorderedMap(benchmark::State& state) {
  const std::vector<int32_t> keys = int_keys(state.range(0));
  std::unordered_map<int32_t, void*> map;
  for (int32_t key : keys) map.emplace(key, nullptr);
  const std::vector<int32_t> order = lookup_order(keys);
  size_t i = 0;
  for (auto _ : state) {
    auto it = map.find(order[i]);
    benchmark::DoNotOptimize(it);
    if (++i == order.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_IntLookup_StdUnorderedMap)->Arg(1000)->Arg(200000);

void BM_IntInsert_CHashMap(benchmark::State& state) {
  const std::vector<int32_t> keys = int_keys(state.range(0));
  for (auto _ : state) {
    CHashMap<int32_t, void*> map(8);
    for (int32_t key : keys) map.Insert(key, nullptr);
    benchmark::DoNotOptimize(map.Count());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_IntInsert_CHashMap)->Arg(1000)->Arg(200000);

void BM_IntInsert_StdUnorderedMap(benchmark::State& state) {
  const std::vector<int32_t> keys = int_keys(state.range(0));
  for (auto _ : state) {
    std::unordered_map<int32_t, void*> map;
    for (int32_t key : keys) map.emplace(key, nullptr);
    benchmark::DoNotOptimize(map.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_IntInsert_StdUnorderedMap)->Arg(1000)->Arg(200000);

void BM_StringLookup_CHashMap(benchmark::State& state) {
  const std::vector<std::string> keys = string_keys(state.range(0));
  CHashMap<const char*, int32_t> map(128);
  for (size_t k = 0; k < keys.size(); ++k) map.Insert(keys[k].c_str(), static_cast<int32_t>(k));
  // Lookups by other pointers with the same text, as a name lookup from compiled code does.
  const std::vector<std::string> order = lookup_order(keys);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.Find(order[i].c_str()));
    if (++i == order.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_StringLookup_CHashMap)->Arg(1000)->Arg(200000);

void BM_StringLookup_StdUnorderedMap(benchmark::State& state) {
  const std::vector<std::string> keys = string_keys(state.range(0));
  std::unordered_map<std::string, int32_t> map;
  for (size_t k = 0; k < keys.size(); ++k) map.emplace(keys[k], static_cast<int32_t>(k));
  const std::vector<std::string> order = lookup_order(keys);
  size_t i = 0;
  for (auto _ : state) {
    auto it = map.find(order[i]);
    benchmark::DoNotOptimize(it);
    if (++i == order.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_StringLookup_StdUnorderedMap)->Arg(1000)->Arg(200000);

void BM_StringInsert_CHashMap(benchmark::State& state) {
  const std::vector<std::string> keys = string_keys(state.range(0));
  for (auto _ : state) {
    CHashMap<const char*, int32_t> map(128);
    for (size_t k = 0; k < keys.size(); ++k) map.Insert(keys[k].c_str(), static_cast<int32_t>(k));
    benchmark::DoNotOptimize(map.Count());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StringInsert_CHashMap)->Arg(1000)->Arg(200000);

void BM_StringInsert_StdUnorderedMap(benchmark::State& state) {
  const std::vector<std::string> keys = string_keys(state.range(0));
  for (auto _ : state) {
    std::unordered_map<std::string, int32_t> map;
    for (size_t k = 0; k < keys.size(); ++k) map.emplace(keys[k], static_cast<int32_t>(k));
    benchmark::DoNotOptimize(map.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StringInsert_StdUnorderedMap)->Arg(1000)->Arg(200000);

}  // namespace
