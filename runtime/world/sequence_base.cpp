#include "world/sequence_base.h"

#include "core/error.h"
#include "core/gc.h"
#include "core/variable_names.h"

uint32_t GlobalChangeCounter = 0;

// The prototype of a class: it lets its class know when the collector frees it (a reset), so the
// next object of the class gets a fresh one.
class ScriptStructPrototype final : public KVObjectBase {
 public:
  explicit ScriptStructPrototype(ScriptStructClass* owner) : KVObjectBase(kObjStruct), owner_(owner) {}
  ~ScriptStructPrototype() override { forget(); }
  void Free(bool free_now) override {
    forget();
    KVObjectBase::Free(free_now);
  }

 private:
  void forget() {
    if (owner_ != nullptr && owner_->prototype_ == this) owner_->prototype_ = nullptr;
    owner_ = nullptr;
  }
  ScriptStructClass* owner_;
};

KVObjectBase* ScriptStructClass::prototype() {
  if (prototype_ != nullptr) return prototype_;
  auto* made = new ScriptStructPrototype(this);
  GC_AddObject(made);
  made->flags = kObjFlagExtensible;
  made->className = name_;
  Object_SetStandardProperties(made);
  KVSetPrototype(made, Object_RootPrototype());
  GCAddRoot(made);
  prototype_ = made;
  GC_PushSelf(made);
  for (const ScriptStructProperty& property : properties_) {
    RValue* slot = made->GetVarRefForWrite(Variable_FindOrAddSlot(property.name));
    const RValue value = RV_Object(Object_NewProperty(nullptr, property.get, property.set));
    RV_Assign(slot, &value);
  }
  GC_PopSelf();
  return made;
}

void ScriptStructClass::adopt(KVObjectBase* object) {
  KVObjectBase* shared = prototype();
  GC_AddObject(object);
  object->flags = kObjFlagExtensible;
  object->className = name_;
  Object_SetStandardProperties(object);
  KVSetPrototype(object, shared);
}

// ---- Property helpers -----------------------------------------------------------------------------

bool SequenceProperty_RefuseIndex(int32_t index) {
  if (index == kIndexWholeValue) return false;
  KVError("trying to index a property which is not an array");
  return true;
}

void SequenceProperty_SetString(RValue* result, const char* text) {
  if (text == nullptr) {
    RV_FreeToUndefined(result);
    return;
  }
  RV_SetString(result, text);
}

void SequenceProperty_SetObjectArray(RValue* result, KVObjectBase* const* objects, size_t count) {
  RV_FreeToUndefined(result);
  result->pArray = RV_NewArray(static_cast<int32_t>(count));  // its one count is the result's
  result->flags = 0;
  result->kind = kRVArray;
  for (size_t i = 0; i < count; ++i) {
    result->pArray->pArray[i] = objects[i] != nullptr ? RV_Object(objects[i]) : RV_Undefined();
  }
}

int32_t SequenceProperty_ArrayLength(const RValue& value) {
  if (RV_Kind(value) != kRVArray || value.pArray == nullptr) return -1;
  return value.pArray->length;
}

bool SequenceProperty_ArrayEntry(const RValue& value, int32_t i, KVObjectBase** out) {
  if (RV_Kind(value) != kRVArray || value.pArray == nullptr || i < 0 || i >= value.pArray->length) return false;
  *out = RV_ObjectOf(value.pArray->pArray[i]);
  return *out != nullptr;
}

void SequenceProperty_RaiseEntry(int32_t i, const char* what, const char* noun) {
  KVError("Entry %d in array passed to %s property is not %s", i, what, noun);
}

void Sequence_LinkChild(KVObjectBase* parent, KVObjectBase* child) {
  if (parent != nullptr && child != nullptr) GCWriteBarrier(parent, child);
}

void Sequence_MarkObject(KVObjectBase* object) {
  if (object != nullptr) GCMarkObject(object, false);
}
