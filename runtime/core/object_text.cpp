// The text of objects: a callable toString whose result is a string, else the default
// "{ name : value, ... }" in slot order, with the recursion warning for a struct met again.
#include <cstring>
#include <vector>

#include "core/call.h"
#include "core/fn_value.h"
#include "core/gc.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/object_internal.h"
#include "core/variable_names.h"

namespace {

// The object whose text is being made without its toString (the toString of "[[Method]]" asks for
// that when called on a plain struct).
KVObjectBase* g_plain_text_for = nullptr;

class PlainTextScope {
 public:
  explicit PlainTextScope(KVObjectBase* object) : saved_(g_plain_text_for) { g_plain_text_for = object; }
  ~PlainTextScope() { g_plain_text_for = saved_; }
  PlainTextScope(const PlainTextScope&) = delete;
  PlainTextScope& operator=(const PlainTextScope&) = delete;

 private:
  KVObjectBase* saved_;
};

struct HeldValue {
  RValue v = RV_Undefined();
  ~HeldValue() { RV_FreeToUndefined(&v); }
};

// Appends the result of the object's own toString; false when it has none that gives a string.
bool append_to_string(KVObjectBase* object, ValueText* text) {
  const int32_t slot = Variable_GetSlot("toString");
  if (slot < 0) return false;
  RValue* function = object->FindSlot(slot);
  if (function == nullptr || RV_ScriptRefOf(*function) == nullptr || !Call_IsCallable(*function)) return false;
  HeldValue method;  // held: the call may replace the slot
  RV_CopyRef(&method.v, function);
  HeldValue result;
  CallMethod(KV_AsInstance(object), KV_AsInstance(object), &result.v, 0, &method.v, nullptr);
  if (RV_Kind(result.v) != kRVString) return false;
  ValueText_AppendCString(text, RV_StringText(result.v));
  return true;
}

void append_member(ValueText* text, bool* first, int32_t slot, KVObjectBase* owner, RValue* value) {
  ValueText_AppendCString(text, *first ? "" : ", ");
  *first = false;
  ValueText_AppendCString(text, Variable_NameOf(slot));
  ValueText_Append(text, " : ", 3);
  if (RV_Kind(*value) == kRVUnset) {
    ValueText_AppendCString(text, "undefined");
  } else if (Object_IsProperty(*value)) {
    HeldValue read;
    Property_Get(value->pObj, owner, kIndexWholeValue, &read.v);
    ValueText_AppendValue(text, read.v);
  } else {
    ValueText_AppendValue(text, *value);
  }
}

void append_default(KVObjectBase* object, ValueText* text) {
  if (!ValueText_Enter(text, object)) {
    ValueText_AppendCString(text, "\"Warning: recursive struct found\"");
    return;
  }
  ValueText_Append(text, "{ ", 2);
  bool first = true;
  for (int32_t i = 0; object->flatSlots != nullptr && i < object->flatSlotCount; ++i) {
    // A flat slot that was never written is no member.
    if (RV_Kind(object->flatSlots[i]) != kRVUnset) append_member(text, &first, 100000 + i, object, &object->flatSlots[i]);
  }
  if (object->slotMap != nullptr) {
    int32_t position = 0;
    int32_t slot = 0;
    RValue** value = nullptr;
    while (object->slotMap->Next(&position, &slot, &value)) append_member(text, &first, slot, object, *value);
  }
  ValueText_Append(text, " }", 2);
  ValueText_Leave(text);
}

// The value model's call hook: array_sort's comparators. Unbound methods run with the global
// object as self, since the sort does not pass its caller's.
bool call_value(const RValue* function, int argc, RValue* argv, RValue* result) {
  const uint32_t kind = RV_Kind(*function);
  const bool number = kind == kRVReal || kind == kRVInt32 || kind == kRVInt64 || kind == kRVBool;
  if (!number && RV_ScriptRefOf(*function) == nullptr) return false;
  std::vector<RValue*> pointers(static_cast<size_t>(argc > 0 ? argc : 0));
  for (int i = 0; i < argc; ++i) pointers[static_cast<size_t>(i)] = &argv[i];
  CInstance* self = KV_AsInstance(g_GlobalObject);
  CallMethod(self, self, result, argc, const_cast<RValue*>(function), pointers.data());
  return true;
}

}  // namespace

void Object_AppendText(KVObjectBase* object, ValueText* text) {
  if (object != g_plain_text_for && append_to_string(object, text)) return;
  append_default(object, text);
}

char* Object_DefaultStructText(KVObjectBase* object) {
  if (object == nullptr) {
    char* text = static_cast<char*>(KV_ALLOC(5));
    std::memcpy(text, "null", 5);
    return text;
  }
  PlainTextScope scope(object);
  return RV_ToText(RV_Object(object));
}

void Object_InstallValueHooks() {
  Value_SetObjectTextHook(Object_AppendText);
  Value_SetCallHook(call_value);
}
