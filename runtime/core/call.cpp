// The calls of function values: function indexes go straight to their builtin row or script row,
// function objects through their bound self.
#include "core/call.h"

#include <cstring>
#include <memory>
#include <vector>

#include "core/code_tables.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"

namespace {

class CurrentFunctionScope {
 public:
  explicit CurrentFunctionScope(const RFunction* row) : saved_(g_CurrentFunction) {
    if (row != nullptr) g_CurrentFunction = row;
  }
  ~CurrentFunctionScope() { g_CurrentFunction = saved_; }
  CurrentFunctionScope(const CurrentFunctionScope&) = delete;
  CurrentFunctionScope& operator=(const CurrentFunctionScope&) = delete;

 private:
  const RFunction* saved_;
};

class PushedSelf {
 public:
  explicit PushedSelf(CInstance* self) { GC_PushSelf(KV_AsObject(self)); }
  ~PushedSelf() { GC_PopSelf(); }
  PushedSelf(const PushedSelf&) = delete;
  PushedSelf& operator=(const PushedSelf&) = delete;
};

// Argument copies that hold their own references for the time of a call.
class HeldArguments {
 public:
  HeldArguments(int argc, RValue** argv) : values_(static_cast<size_t>(argc > 0 ? argc : 0)) {
    for (size_t i = 0; i < values_.size(); ++i) {
      values_[i] = RV_Undefined();
      RV_CopyRef(&values_[i], argv[i]);
    }
  }
  ~HeldArguments() {
    for (RValue& value : values_) RV_FreeToUndefined(&value);
  }
  HeldArguments(const HeldArguments&) = delete;
  HeldArguments& operator=(const HeldArguments&) = delete;
  RValue* data() { return values_.data(); }

 private:
  std::vector<RValue> values_;
};

bool is_number(const RValue& value) {
  switch (RV_Kind(value)) {
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
      return true;
    default:
      return false;
  }
}

KVScriptFunction script_entry(int64_t index) {
  if (index < 100000) return nullptr;
  const KVScriptRow* row = CodeTables_Row(static_cast<int32_t>(index - 100000));
  return row != nullptr ? reinterpret_cast<KVScriptFunction>(row->function) : nullptr;
}

void set_undefined(RValue* result) {
  if (RV_NeedsFree(*result)) RV_Free(result);
  *result = RV_Undefined();
}

// A function index: a builtin row gets its arguments as one contiguous block, a script its pointers.
void call_index(CInstance* self, CInstance* other, RValue* result, int argc, int64_t index, RValue** argv) {
  if (index >= 0 && index < Function_Count()) {
    CallBuiltin(self, other, result, argc, static_cast<int32_t>(index), argv);
    return;
  }
  const KVScriptFunction entry = script_entry(index);
  if (entry == nullptr) {
    KVError("attempting to call invalid function with script index %d", static_cast<int32_t>(index));
    return;
  }
  set_undefined(result);
  entry(self, other, result, argc, argv);
}

// A builtin row's call with its arguments in one block of the callee's own, which it may change:
// the caller's values are copied in first. Most calls fit the stack block; longer argument lists
// take a heap block.
template <class Fill>
void call_row(CInstance* self, CInstance* other, RValue* result, int argc, int32_t index, Fill fill) {
  const RFunction* row = Function_Row(index);
  if (row == nullptr) {
    KVError("attempting to call invalid function with script index %d", index);
    return;
  }
  constexpr int kStackArguments = 16;
  RValue stack_block[kStackArguments];
  std::unique_ptr<RValue[]> heap_block;
  RValue* block = stack_block;
  const int count = argc > 0 ? argc : 0;
  if (count > kStackArguments) {
    heap_block.reset(new RValue[static_cast<size_t>(count)]);
    block = heap_block.get();
  }
  fill(block, count);
  set_undefined(result);
  CurrentFunctionScope scope(row);
  row->handler(result, self, other, argc, block);
}

}  // namespace

void CallBuiltin(CInstance* self, CInstance* other, RValue* result, int argc, int32_t index, RValue** argv) {
  call_row(self, other, result, argc, index, [argv](RValue* block, int count) {
    for (int i = 0; i < count; ++i) block[i] = *argv[i];
  });
}

void CallBuiltinValues(CInstance* self, CInstance* other, RValue* result, int argc, int32_t index,
                       const RValue* args) {
  call_row(self, other, result, argc, index, [args](RValue* block, int count) {
    if (count > 0) std::memcpy(static_cast<void*>(block), args, sizeof(RValue) * static_cast<size_t>(count));
  });
}

RValue CallBuiltinNamed(const char* name, std::vector<RValue> args) {
  RValue result = RV_Undefined();
  int32_t index = -1;
  if (!Function_Find(name, &index)) return result;
  CallBuiltinValues(nullptr, nullptr, &result, static_cast<int>(args.size()), index, args.data());
  return result;
}

bool Call_IsCallable(const RValue& value) {
  if (is_number(value)) {
    const int64_t index = RV_ToInt64(value);
    return (index >= 0 && index < Function_Count()) || script_entry(index) != nullptr;
  }
  const CScriptRef* function = RV_ScriptRefOf(value);
  return function != nullptr &&
         (function->compiled != nullptr || function->builtin != nullptr || function->script != nullptr);
}

void CallFunctionObject(CInstance* self, CInstance* other, RValue* result, CScriptRef* functionObject, int argc,
                        RValue* argv) {
  if (KVObjectBase* bound = RV_ObjectOf(functionObject->boundSelf)) self = KV_AsInstance(bound);
  set_undefined(result);
  PushedSelf pushed(self);
  if (functionObject->builtin != nullptr) {
    CurrentFunctionScope scope(Function_Row(functionObject->builtin_index_));
    functionObject->builtin(result, self, other, argc, argv);
    return;
  }
  KVScriptFunction entry = functionObject->compiled;
  if (entry == nullptr && functionObject->script != nullptr) {
    entry = reinterpret_cast<KVScriptFunction>(functionObject->script->function);
  }
  if (entry == nullptr) {
    KVError("argument is not a method, unable to call");
    return;
  }
  std::vector<RValue*> pointers(static_cast<size_t>(argc > 0 ? argc : 0));
  for (size_t i = 0; i < pointers.size(); ++i) pointers[i] = &argv[i];
  entry(self, other, result, argc, pointers.data());
}

RValue* CallMethod(CInstance* self, CInstance* other, RValue* result, int argc, RValue* method, RValue** argv) {
  if (is_number(*method)) {
    call_index(self, other, result, argc, RV_ToInt64(*method), argv);
    return result;
  }
  CScriptRef* function = RV_ScriptRefOf(*method);
  if (function == nullptr) {
    KVError("argument is not a method, unable to call");
    return result;
  }
  set_undefined(result);
  if (function->compiled != nullptr) {
    if (KVObjectBase* bound = RV_ObjectOf(function->boundSelf)) self = KV_AsInstance(bound);
    function->compiled(self, other, result, argc, argv);
    return result;
  }
  HeldArguments held(argc, argv);
  CallFunctionObject(self, other, result, function, argc, held.data());
  return result;
}
