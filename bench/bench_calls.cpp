// Call costs: an empty builtin through CallBuiltin, a compiled script with two arguments through
// CallMethod, and `with` over 1000 structs. Times are per call (per whole with for the last).
#include <benchmark/benchmark.h>

#include <vector>

#include "core/call.h"
#include "core/code_tables.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/instance_hooks.h"
#include "core/object.h"
#include "core/script_api.h"

namespace {

void F_Empty(RValue* result, CInstance*, CInstance*, int, RValue*) { *result = RV_Undefined(); }

RValue* Add(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_add", self, result);
  *result = RV_Real(RV_ToDouble(tsl::arg(argc, argv, 0)) + RV_ToDouble(tsl::arg(argc, argv, 1)));
  return result;
}

KVScriptRow g_rows[] = {{"tsl_Script_add", reinterpret_cast<KVCodeFunction>(Add), nullptr}};

void BM_CallBuiltinEmpty(benchmark::State& state) {
  Function_Clear();
  Function_Add("empty", F_Empty, 0, 1);
  RValue result = RV_Undefined();
  RValue a = RV_Real(1), b = RV_Real(2);
  RValue* argv[] = {&a, &b};
  for (auto _ : state) {
    CallBuiltin(nullptr, nullptr, &result, 2, 0, argv);
    benchmark::DoNotOptimize(result);
  }
  Function_Clear();
}
BENCHMARK(BM_CallBuiltinEmpty);

void BM_CallScriptTwoArguments(benchmark::State& state) {
  KVCodeTables tables;
  tables.scriptCount = 1;
  tables.scriptTable = g_rows;
  g_CodeTables = &tables;
  RValue method = RV_Real(100000);
  RValue result = RV_Undefined();
  RValue a = RV_Real(1), b = RV_Real(2);
  RValue* argv[] = {&a, &b};
  for (auto _ : state) {
    CallMethod(nullptr, nullptr, &result, 2, &method, argv);
    benchmark::DoNotOptimize(result);
  }
  g_CodeTables = nullptr;
}
BENCHMARK(BM_CallScriptTwoArguments);

void BM_WithOverThousandStructs(benchmark::State& state) {
  std::vector<KVObjectBase*> structs;
  for (int i = 0; i < 1000; ++i) {
    structs.push_back(Object_NewStruct());
    GCAddRoot(structs.back());
  }
  CInstance* self = nullptr;
  CInstance* other = nullptr;
  for (auto _ : state) {
    int rounds = 0;
    for (KVObjectBase* target : structs) {
      for (KVWith w(&self, &other, target); w.Next();) ++rounds;
    }
    benchmark::DoNotOptimize(rounds);
  }
  state.SetItemsProcessed(state.iterations() * 1000);
  GC_Reset();
}
BENCHMARK(BM_WithOverThousandStructs);

std::vector<KVObjectBase*> g_all;

// with (all) over 1000 stand-in instances: one collection, one array, 1000 rounds.
void BM_WithAllOverThousand(benchmark::State& state) {
  for (int i = 0; i < 1000; ++i) {
    g_all.push_back(Object_NewStruct());
    GCAddRoot(g_all.back());
  }
  g_InstanceHooks.collectAll = [](std::vector<CInstance*>* out) {
    for (KVObjectBase* object : g_all) out->push_back(KV_AsInstance(object));
  };
  CInstance* self = nullptr;
  CInstance* other = nullptr;
  for (auto _ : state) {
    int rounds = 0;
    for (KVWith w(&self, &other, -3); w.Next();) ++rounds;
    benchmark::DoNotOptimize(rounds);
  }
  state.SetItemsProcessed(state.iterations() * 1000);
  g_InstanceHooks = KVInstanceHooks{};
  g_all.clear();
  GC_Reset();
}
BENCHMARK(BM_WithAllOverThousand);

}  // namespace
