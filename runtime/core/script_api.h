#pragma once
// The helpers compiled scripts are written with, so a script reads like the script it implements:
//
//   RValue* tsl_Script_add_three(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
//     tsl::ScriptScope scope("tsl_Script_add_three", self, result);
//     tsl::Value sum = tsl::Value::Real(0);
//     for (int i = 0; i < 3; ++i) {
//       scope.line(1);
//       RV_AddAssign(sum.get(), &tsl::arg(argc, argv, i));
//     }
//     return scope.give(sum);
//   }
//
// ScriptScope and EventScope do what a compiled function does on entry (frame linked with line 0,
// g_CurrentArrayOwner = self, the result undefined) and unlink the frame on every exit. Values are
// owned (tsl::Value frees what it holds); a missing argument reads g_Undefined. Variable access
// raises the runtime's messages when a read finds nothing. A try/catch is a native try block:
//   try { ... } catch (const KVTSLException& e) { tsl::Value caught = tsl::Value::Copy(e.value()); ... }
// and with is a loop: for (KVWith w(&self, &other, target); w.Next();) { ... }
#include <cstdint>
#include <initializer_list>

#include "core/code_tables.h"
#include "core/error.h"
#include "core/frames.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "core/with.h"

// Releases a text that the runtime made for compiled code (RV_ToText and the like) through the
// memory manager; null does nothing.
void KVFreeString(char* text);

namespace tsl {

// An RValue that owns its reference.
class Value {
 public:
  Value() : v_(RV_Undefined()) {}
  Value(const Value& other) : v_(RV_Undefined()) { RV_CopyRef(&v_, &other.v_); }
  Value(Value&& other) noexcept : v_(other.v_) { other.v_ = RV_Undefined(); }
  Value& operator=(const Value& other) {
    RV_Assign(&v_, &other.v_);
    return *this;
  }
  Value& operator=(Value&& other) noexcept;
  ~Value() { RV_FreeToUndefined(&v_); }

  static Value Real(double d) { return Value(RV_Real(d)); }
  static Value Bool(bool b) { return Value(RV_Bool(b)); }
  static Value Int64(int64_t i) { return Value(RV_Int64(i)); }
  static Value String(const char* text);
  static Value Object(KVObjectBase* object) { return Value(RV_Object(object)); }
  // A new reference to what v holds.
  static Value Copy(const RValue& v);
  // Takes over raw's reference.
  static Value Adopt(const RValue& raw) { return Value(raw); }

  RValue* get() { return &v_; }
  const RValue* get() const { return &v_; }
  const RValue& operator*() const { return v_; }
  double real() const { return RV_ToDouble(v_); }
  KVObjectBase* object() const { return RV_ObjectOf(v_); }
  // Hands the reference over (the value becomes undefined).
  RValue release() {
    const RValue out = v_;
    v_ = RV_Undefined();
    return out;
  }

 private:
  explicit Value(const RValue& raw) : v_(raw) {}
  RValue v_;
};

// argument[n]: g_Undefined when the caller passed fewer.
inline const RValue& arg(int argc, RValue** argv, int n) { return n >= 0 && n < argc ? *argv[n] : g_Undefined; }

// The entry and exit of a compiled script or method.
class ScriptScope {
 public:
  ScriptScope(const char* name, CInstance* self, RValue* result);
  void line(int32_t line) { frame_.set_line(line); }
  // Stores value as the script's result and returns the result pointer.
  RValue* give(const Value& value);
  RValue* result() { return result_; }

 private:
  TSLFrameScope frame_;
  RValue* result_;
};

// The entry and exit of a compiled object event.
class EventScope {
 public:
  EventScope(const char* name, CInstance* self);
  void line(int32_t line) { frame_.set_line(line); }

 private:
  TSLFrameScope frame_;
};

// ---- Variables ------------------------------------------------------------------------------------
// Reads of who.slot (an instance, a struct or the global object); raise "Unable to get variable %s
// from object %p\n" when nothing is found.
Value get(CInstance* who, int32_t slot);
Value get(CInstance* who, const char* name);
// who.slot[index] (the element read of arrays).
Value get_element(CInstance* who, int32_t slot, int32_t index);
void set(CInstance* who, int32_t slot, const RValue& value);
void set(CInstance* who, const char* name, const RValue& value);
void set(CInstance* who, int32_t slot, double value);
// who.slot[index] = value (the element write of arrays).
void set_element(CInstance* who, int32_t slot, int32_t index, const RValue& value);
// A compiled variable entry: its id as the loader filled it.
inline Value get(CInstance* who, const KVVariableEntry& entry) { return get(who, entry.id); }
inline void set(CInstance* who, const KVVariableEntry& entry, const RValue& value) { set(who, entry.id, value); }
inline void set_element(CInstance* who, const KVVariableEntry& entry, int32_t index, const RValue& value) {
  set_element(who, entry.id, index, value);
}
inline CInstance* global() { return KV_AsInstance(Object_Global()); }

// ---- Calls ----------------------------------------------------------------------------------------
// A builtin by name (looked up on each call: keep the index for hot paths), by row index, or a
// function index from a compiled function entry (builtin row or script 100000 + row). A builtin
// row is called directly, as compiled code calls builtins. Arguments stay the caller's.
Value call(const char* builtin, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {});
Value call(int32_t function_index, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {});
inline Value call(const KVFunctionEntry& entry, CInstance* self, CInstance* other,
                  std::initializer_list<RValue> args = {}) {
  return call(entry.id, self, other, args);
}
// A compiled script called directly.
Value call(KVScriptFunction script, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {});
// A method value (function object or index) through the general call path.
Value call_method(const RValue& method, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {});

}  // namespace tsl
