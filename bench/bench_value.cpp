// Value model costs: copy and free by kind, RV_Compare on reals and strings, string() of reals,
// and array_push through the builtin table.
#include <benchmark/benchmark.h>

#include "core/fn_value.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"

namespace {

void CopyAndFree(benchmark::State& state, const RValue& source) {
  for (auto _ : state) {
    RValue copy;
    RV_CopyRef(&copy, &source);
    benchmark::DoNotOptimize(copy);
    if (RV_NeedsFree(copy)) RV_Free(&copy);
  }
}

void BM_CopyFreeReal(benchmark::State& state) { CopyAndFree(state, RV_Real(3.25)); }
BENCHMARK(BM_CopyFreeReal);

void BM_CopyFreeString(benchmark::State& state) {
  RValue s = RV_Undefined();
  RV_SetString(&s, "a string of some length");
  CopyAndFree(state, s);
  RV_FreeToUndefined(&s);
}
BENCHMARK(BM_CopyFreeString);

void BM_CopyFreeArray(benchmark::State& state) {
  RValue a = RV_Undefined();
  RV_ArrayElementForWrite(&a, 7);  // an array of 8 elements
  CopyAndFree(state, a);
  RV_FreeToUndefined(&a);
  GCCollectAll();
}
BENCHMARK(BM_CopyFreeArray);

void BM_NewStringAndFree(benchmark::State& state) {
  for (auto _ : state) {
    RValue s = RV_Undefined();
    RV_SetString(&s, "a string of some length");
    benchmark::DoNotOptimize(s);
    RV_FreeToUndefined(&s);
  }
}
BENCHMARK(BM_NewStringAndFree);

void BM_CompareReals(benchmark::State& state) {
  const RValue a = RV_Real(1.0);
  const RValue b = RV_Real(1.000001);
  const double epsilon = Math_GetEpsilon();
  for (auto _ : state) benchmark::DoNotOptimize(RV_Compare(&a, &b, epsilon, 1));
}
BENCHMARK(BM_CompareReals);

void BM_CompareStrings(benchmark::State& state) {
  RValue a = RV_Undefined();
  RValue b = RV_Undefined();
  RV_SetString(&a, "player_score_label");
  RV_SetString(&b, "player_score_value");
  const double epsilon = Math_GetEpsilon();
  for (auto _ : state) benchmark::DoNotOptimize(RV_Compare(&a, &b, epsilon, 0));
  RV_FreeToUndefined(&a);
  RV_FreeToUndefined(&b);
}
BENCHMARK(BM_CompareStrings);

void BM_CompareRealWithString(benchmark::State& state) {
  RValue a = RV_Real(12.5);
  RValue b = RV_Undefined();
  RV_SetString(&b, "12.5");
  const double epsilon = Math_GetEpsilon();
  for (auto _ : state) benchmark::DoNotOptimize(RV_Compare(&a, &b, epsilon, 0));
  RV_FreeToUndefined(&b);
}
BENCHMARK(BM_CompareRealWithString);

void StringOfReal(benchmark::State& state, double value) {
  const RValue v = RV_Real(value);
  RValue out = RV_Undefined();
  for (auto _ : state) {
    RV_SetStringFromValue(&out, v);
    benchmark::DoNotOptimize(out.pRefString);
  }
  RV_FreeToUndefined(&out);
}

void BM_StringOfIntegralReal(benchmark::State& state) { StringOfReal(state, 123456.0); }
BENCHMARK(BM_StringOfIntegralReal);

void BM_StringOfFractionalReal(benchmark::State& state) { StringOfReal(state, 1234.5678); }
BENCHMARK(BM_StringOfFractionalReal);

void BM_ToTextOfReal(benchmark::State& state) {
  const RValue v = RV_Real(0.1);
  for (auto _ : state) {
    char* text = RV_ToText(v);
    benchmark::DoNotOptimize(text);
    KV_FREE(text);
  }
}
BENCHMARK(BM_ToTextOfReal);

// array_push of one number, through the row handler as compiled code calls it; the array is
// emptied every range(0) pushes so that its size stays bounded.
void BM_ArrayPush(benchmark::State& state) {
  Function_Clear();
  Value_RegisterBuiltins();
  int32_t id = -1;
  Function_Find("array_push", &id);
  const RFunction* row = Function_Row(id);
  RValue array = RV_Undefined();
  RV_ArrayElementForWrite(&array, 0);
  const int64_t batch = state.range(0);
  int64_t pushed = 0;
  for (auto _ : state) {
    RValue argv[2];
    RV_CopyRef(&argv[0], &array);
    argv[1] = RV_Real(static_cast<double>(pushed));
    RValue result = RV_Undefined();
    row->handler(&result, nullptr, nullptr, 2, argv);
    RV_Free(&argv[0]);
    if (++pushed == batch) {
      state.PauseTiming();
      RV_ArraySetLength(array.pArray, 0);
      pushed = 0;
      state.ResumeTiming();
    }
  }
  state.SetItemsProcessed(state.iterations());
  RV_FreeToUndefined(&array);
  GCCollectAll();
  Function_Clear();
}
BENCHMARK(BM_ArrayPush)->Arg(1000)->Arg(100000);

}  // namespace
