#include "core/script_api.h"

#include <utility>
#include <vector>

#include "core/call.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/variable_names.h"

void KVFreeString(char* text) { KV_FREE(text); }

namespace tsl {

namespace {

// The argument pointers of a call: on the stack for the usual few arguments. The callee reads the
// values and never frees them; the caller's list keeps them for the call.
class ArgPointers {
 public:
  explicit ArgPointers(std::initializer_list<RValue> args) : count_(args.size()) {
    RValue** at = inline_;
    if (count_ > kInline) {
      heap_.resize(count_);
      at = heap_.data();
    }
    for (const RValue& value : args) *at++ = const_cast<RValue*>(&value);
  }
  RValue** data() { return count_ > kInline ? heap_.data() : inline_; }
  int size() const { return static_cast<int>(count_); }

 private:
  static constexpr size_t kInline = 16;  // as many as CallBuiltin copies on its stack
  size_t count_;
  RValue* inline_[kInline];  // the first count_ are set
  std::vector<RValue*> heap_;
};

KVObjectBase* target_of(CInstance* who) {
  KVObjectBase* object = KV_AsObject(who);
  if (object == nullptr) KVError("Unable to get variable from a null object");
  return object;
}

}  // namespace

Value& Value::operator=(Value&& other) noexcept {
  std::swap(v_, other.v_);
  return *this;
}

Value Value::String(const char* text) {
  RValue v = RV_Undefined();
  RV_SetString(&v, text);
  return Value(v);
}

Value Value::Copy(const RValue& v) {
  RValue out = RV_Undefined();
  RV_CopyRef(&out, &v);
  return Value(out);
}

ScriptScope::ScriptScope(const char* name, CInstance* self, RValue* result) : frame_(name), result_(result) {
  g_CurrentArrayOwner = static_cast<int64_t>(reinterpret_cast<intptr_t>(self));
  if (result_ != nullptr) RV_FreeToUndefined(result_);
}

RValue* ScriptScope::give(const Value& value) {
  if (result_ != nullptr) RV_Assign(result_, value.get());
  return result_;
}

EventScope::EventScope(const char* name, CInstance* self) : frame_(name) {
  g_CurrentArrayOwner = static_cast<int64_t>(reinterpret_cast<intptr_t>(self));
}

Value get(CInstance* who, int32_t slot) {
  // The usual read of a compiled event: a value in the instance's own slot. No builtin row,
  // prototype or "with" target has a say then, and unless it is a property the value is copied
  // as it stands; only the rest goes the general way, so no slot is looked up twice.
  KVObjectBase* object = KV_AsObject(who);
  if (object != nullptr && !Object_IsBuiltinSlot(object, slot)) {
    const RValue* own = object->FindOwnSlot(slot);
    if (own != nullptr && !Object_IsProperty(*own)) return Value::Copy(*own);
  }
  return get_element(who, slot, kIndexWholeValue);
}

Value get(CInstance* who, const char* name) {
  const int32_t slot = Variable_GetSlot(name);
  if (slot < 0) {
    KVError("Unable to get variable %s from object %p\n", name, static_cast<void*>(who));
    return Value();
  }
  return get(who, slot);
}

Value get_element(CInstance* who, int32_t slot, int32_t index) {
  Value out;
  Object_GetVarOrRaise(target_of(who), slot, index, out.get());
  return out;
}

void set(CInstance* who, int32_t slot, const RValue& value) {
  Object_SetVarOrRaise(target_of(who), slot, kIndexWholeValue, &value);
}

void set(CInstance* who, const char* name, const RValue& value) { set(who, Variable_FindOrAddSlot(name), value); }

void set(CInstance* who, int32_t slot, double value) { set(who, slot, RV_Real(value)); }

void set_element(CInstance* who, int32_t slot, int32_t index, const RValue& value) {
  Object_SetVarOrRaise(target_of(who), slot, index, &value);
}

Value call(const char* builtin, CInstance* self, CInstance* other, std::initializer_list<RValue> args) {
  int32_t index = -1;
  if (!Function_Find(builtin, &index)) {
    KVError("attempting to call invalid function with script index %d", index);
    return Value();
  }
  return call(index, self, other, args);
}

Value call(int32_t function_index, CInstance* self, CInstance* other, std::initializer_list<RValue> args) {
  if (function_index >= 0 && function_index < Function_Count()) {
    Value result;
    CallBuiltinValues(self, other, result.get(), static_cast<int>(args.size()), function_index, args.begin());
    return result;
  }
  const RValue method = RV_Real(function_index);
  return call_method(method, self, other, args);
}

Value call(KVScriptFunction script, CInstance* self, CInstance* other, std::initializer_list<RValue> args) {
  ArgPointers pointers(args);
  Value result;
  script(self, other, result.get(), pointers.size(), pointers.data());
  return result;
}

Value call_method(const RValue& method, CInstance* self, CInstance* other, std::initializer_list<RValue> args) {
  ArgPointers pointers(args);
  Value result;
  RValue callee = method;  // CallMethod reads it only
  CallMethod(self, other, result.get(), pointers.size(), &callee, pointers.data());
  return result;
}

}  // namespace tsl
