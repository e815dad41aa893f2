// Variable reads through GetVarRef, the one virtual call compiled code makes for nearly every
// variable use: an own slot, a slot found on the prototype, and a miss (which makes the slot; the
// loop removes it again so that every read misses). Objects carry 16 variables, about what a
// struct of the game holds. Time per iteration is one read (or one read and one removal).
#include <benchmark/benchmark.h>

#include <string>

#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"

namespace {

constexpr int kFields = 16;

struct Fixture {
  KVObjectBase* prototype;
  KVObjectBase* object;
  int32_t own_slot;
  int32_t inherited_slot;
  int32_t missing_slot;

  Fixture() {
    GC_Reset();
    Variable_ResetNames();
    Object_CreateGlobal(0);
    prototype = Object_NewStruct();
    object = Object_NewStruct();
    KVSetPrototype(object, prototype);
    for (int i = 0; i < kFields; ++i) {
      Object_SetReal(object, ("own" + std::to_string(i)).c_str(), i);
      Object_SetReal(prototype, ("shared" + std::to_string(i)).c_str(), i);
    }
    own_slot = Variable_GetSlot("own7");
    inherited_slot = Variable_GetSlot("shared7");
    missing_slot = Variable_FindOrAddSlot("missing");
  }
  ~Fixture() {
    GC_Reset();
    Variable_ResetNames();
  }
};

void BM_GetVarRefHit(benchmark::State& state) {
  Fixture f;
  CInstanceBase* object = f.object;  // called as compiled code calls it: through the vtable
  for (auto _ : state) benchmark::DoNotOptimize(object->GetVarRef(f.own_slot));
}
BENCHMARK(BM_GetVarRefHit);

void BM_GetVarRefPrototypeHit(benchmark::State& state) {
  Fixture f;
  CInstanceBase* object = f.object;
  for (auto _ : state) benchmark::DoNotOptimize(object->GetVarRef(f.inherited_slot));
}
BENCHMARK(BM_GetVarRefPrototypeHit);

void BM_GetVarRefMissThenRemove(benchmark::State& state) {
  Fixture f;
  CInstanceBase* object = f.object;
  for (auto _ : state) {
    benchmark::DoNotOptimize(object->GetVarRef(f.missing_slot));
    f.object->RemoveSlot(f.missing_slot);
  }
}
BENCHMARK(BM_GetVarRefMissThenRemove);

}  // namespace
