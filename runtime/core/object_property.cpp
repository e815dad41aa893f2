// Property objects (kind 4: a target and a getter and setter of the builtin shape with an element
// index) and weak references, whose read-only "ref" is the one property of the base runtime.
#include "core/error.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/object_internal.h"
#include "core/variable_names.h"

namespace {

constexpr int32_t kPropertyTarget = 0;
constexpr int32_t kPropertyGetter = 1;
constexpr int32_t kPropertySetter = 2;
constexpr int32_t kPropertySlots = 3;

KVObjectBase* g_weak_ref_prototype = nullptr;

KVPropertyFn property_fn(const KVObjectBase* property, int32_t which) {
  if (property->flatSlots == nullptr || property->flatSlotCount < kPropertySlots) return nullptr;
  return reinterpret_cast<KVPropertyFn>(property->flatSlots[which].ptr);
}

KVObjectBase* property_target(const KVObjectBase* property, KVObjectBase* self) {
  KVObjectBase* target = property->flatSlots != nullptr && property->flatSlotCount > kPropertyTarget
                             ? static_cast<KVObjectBase*>(property->flatSlots[kPropertyTarget].ptr)
                             : nullptr;
  return target != nullptr ? target : self;
}

void weak_ref_read(RValue* result, CInstance* self, CInstance*, int, RValue*, int32_t index) {
  if (index != kIndexWholeValue) {
    KVError("trying to index a property which is not an array");
    return;
  }
  KVObjectBase* object = KV_AsObject(self);
  KVObjectBase* target = object != nullptr && object->kind == kObjWeakRef ? static_cast<CWeakRef*>(object)->target
                                                                          : nullptr;
  *result = target != nullptr ? RV_Object(target) : RV_Undefined();
}

// The shared prototype of weak references: it holds the "ref" property, bound to whichever weak
// reference reads it.
KVObjectBase* weak_ref_prototype() {
  if (g_weak_ref_prototype == nullptr) {
    g_weak_ref_prototype = CreateObject(0, kRVUnset, kObjStruct, false);
    g_weak_ref_prototype->className = "weakref";
    GCAddRoot(g_weak_ref_prototype);
    const int32_t slot = Variable_FindOrAddSlot("ref");
    RValue* value = g_weak_ref_prototype->GetVarRefForWrite(slot);
    GC_PushSelf(g_weak_ref_prototype);
    const RValue property = RV_Object(Object_NewProperty(nullptr, weak_ref_read, nullptr));
    RV_Assign(value, &property);
    GC_PopSelf();
  }
  return g_weak_ref_prototype;
}

}  // namespace

KVObjectBase* Object_NewProperty(KVObjectBase* target, KVPropertyFn getter, KVPropertyFn setter) {
  KVObjectBase* property = CreateObject(kPropertySlots, kRVPtr, kObjProperty, true);
  property->className = "Property";
  property->flatSlots[kPropertyTarget] = RV_Ptr(target);
  property->flatSlots[kPropertyGetter] = RV_Ptr(reinterpret_cast<void*>(getter));
  property->flatSlots[kPropertySetter] = RV_Ptr(reinterpret_cast<void*>(setter));
  return property;
}

void Property_Get(KVObjectBase* property, KVObjectBase* self, int32_t index, RValue* out) {
  KVObjectBase* target = property_target(property, self);
  if (target == nullptr) {
    KVError("Dynamically bound property called with NULL self");
    return;
  }
  const KVPropertyFn getter = property_fn(property, kPropertyGetter);
  if (getter == nullptr) {
    KVError("Unable to get property");
    return;
  }
  if (RV_NeedsFree(*out)) RV_Free(out);
  *out = RV_Undefined();
  getter(out, KV_AsInstance(target), KV_AsInstance(self), 0, nullptr, index);
}

void Property_Set(KVObjectBase* property, KVObjectBase* self, int32_t index, const RValue* value) {
  KVObjectBase* target = property_target(property, self);
  if (target == nullptr) {
    KVError("Dynamically bound property called with NULL self");
    return;
  }
  const KVPropertyFn setter = property_fn(property, kPropertySetter);
  if (setter == nullptr) {
    KVError("Unable to set property");
    return;
  }
  RValue argument = *value;  // lent: the setter copies what it keeps
  RValue ignored = RV_Undefined();
  GC_PushSelf(target);
  setter(&ignored, KV_AsInstance(target), KV_AsInstance(self), 1, &argument, index);
  GC_PopSelf();
  RV_FreeToUndefined(&ignored);
}

// ---- Weak references ----------------------------------------------------------------------------

CWeakRef::CWeakRef() : KVObjectBase(kObjWeakRef) {}

CWeakRef::~CWeakRef() {
  if (target != nullptr) target->RemoveWeakRef(this);
  target = nullptr;
}

void CWeakRef::PreFree() {
  if (target != nullptr) target->RemoveWeakRef(this);
  target = nullptr;
  KVObjectBase::PreFree();
}

void CWeakRef::Free(bool free_now) {
  if (target != nullptr) target->RemoveWeakRef(this);
  target = nullptr;
  KVObjectBase::Free(free_now);
}

CWeakRef* WeakRef_Create(KVObjectBase* target) {
  KVObjectBase* prototype = weak_ref_prototype();
  auto* ref = new CWeakRef();
  GC_AddObject(ref);
  ref->flags = kObjFlagExtensible;
  ref->className = "weakref";
  KVSetPrototype(ref, prototype);
  ref->target = target;
  if (target != nullptr) target->AddWeakRef(ref);
  return ref;
}

void Property_ForgetCachedObjects() { g_weak_ref_prototype = nullptr; }
