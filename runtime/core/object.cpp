// KVObjectBase itself: storage, the slot pool, the slot accessors, marking, and creation with reuse
// of parked objects; the root "Object" prototype and the global object.
#include "core/object.h"

#include <cstring>
#include <new>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "core/object_internal.h"
#include "core/variable_names.h"

const char* const kObjKindWords[kObjKindCount] = {
    nullptr, "instance", "accessor", "function", nullptr, nullptr, "weakref", nullptr,
};
static_assert(sizeof(kObjKindWords) / sizeof(kObjKindWords[0]) == kObjKindCount);

KVObjectBase* g_GlobalScope = nullptr;

namespace {

// ---- The slot pool ------------------------------------------------------------------------------
// Slots come from the memory manager's pool of 16-byte items, carved from 1 MiB pages, so a slot
// never moves while its object lives.
RValue* slot_alloc() { return static_cast<RValue*>(MemoryManager::AllocSlot()); }

void slot_free(RValue* slot) { MemoryManager::FreeSlot(slot); }

// The slot map's delete function: a slot leaves the map with its value freed.
void release_slot(int32_t* /*slot*/, RValue** value) {
  if (RV_NeedsFree(**value)) RV_Free(*value);
  slot_free(*value);
}

void clear_flat(RValue* slots, int32_t count, uint32_t kind) {
  for (int32_t i = 0; i < count; ++i) {
    if (RV_NeedsFree(slots[i])) RV_Free(&slots[i]);
    slots[i].v64 = 0;
    slots[i].flags = 0;
    slots[i].kind = kind;
  }
}

// ---- Property reads through GetVarRef -----------------------------------------------------------
constexpr int kPropertyScratchCount = 64;
RValue g_property_scratch[kPropertyScratchCount];
int g_property_scratch_next = 0;

RValue* property_scratch() {
  RValue* value = &g_property_scratch[g_property_scratch_next];
  g_property_scratch_next = (g_property_scratch_next + 1) % kPropertyScratchCount;
  if (RV_NeedsFree(*value)) RV_Free(value);
  *value = RV_Unset();
  return value;
}

KVObjectBase* g_root_prototype = nullptr;

// ---- Standard property functions ----------------------------------------------------------------
bool standard_get_own(KVObjectBase* object, RValue* out, const char* name) {
  const int32_t slot = Variable_GetSlot(name);
  RValue* value = slot >= 0 ? object->FindOwnSlot(slot) : nullptr;
  if (value == nullptr || RV_Kind(*value) == kRVUnset) return false;
  RV_Assign(out, value);
  return true;
}

bool standard_delete(KVObjectBase* object, const char* name) {
  const int32_t slot = Variable_GetSlot(name);
  return slot >= 0 && object->RemoveSlot(slot);
}

bool standard_define_own(KVObjectBase* object, const char* name, const RValue* value, bool raise) {
  if ((object->flags & kObjFlagExtensible) == 0) {
    if (raise) KVError("Cannot add property '%s' to an object that is not extensible", name);
    return false;
  }
  return Object_SetRValue(object, name, value);
}

}  // namespace

// ---- Storage ------------------------------------------------------------------------------------

void* KVObjectBase::operator new(size_t size) {
  void* storage = MemoryManager::Alloc(size, __FILE__, __LINE__, true);
  if (storage == nullptr) throw std::bad_alloc();
  return storage;
}

void KVObjectBase::operator delete(void* storage) { MemoryManager::Free(storage); }

KVObjectBase::~KVObjectBase() {
  release_slots();
  PreFree();
  KV_Delete(slotMap);
  slotMap = nullptr;
  KV_FREE(flatSlots);
  flatSlots = nullptr;
  KV_FREE(weakRefs);
  weakRefs = nullptr;
}

void KVObjectBase::release_slots() {
  if (slotMap != nullptr) slotMap->Clear();
  if (flatSlots != nullptr) clear_flat(flatSlots, flatSlotCount, defaultKind);
}

void KVObjectBase::Free(bool /*free_now*/) {
  release_slots();
  KV_FREE(weakRefs);
  weakRefs = nullptr;
  weakRefCount = 0;
}

void KVObjectBase::PreFree() {
  for (int32_t i = 0; i < weakRefCount; ++i) weakRefs[i]->target = nullptr;
  weakRefCount = 0;
}

void KVObjectBase::AddWeakRef(CWeakRef* ref) {
  const size_t room = weakRefs != nullptr ? MemoryManager::GetSize(weakRefs) / sizeof(CWeakRef*) : 0;
  if (static_cast<size_t>(weakRefCount) == room) {
    const size_t grown = room == 0 ? 4 : room * 2;
    weakRefs = static_cast<CWeakRef**>(KV_REALLOC(weakRefs, grown * sizeof(CWeakRef*)));
  }
  weakRefs[weakRefCount++] = ref;
}

void KVObjectBase::RemoveWeakRef(CWeakRef* ref) {
  for (int32_t i = 0; i < weakRefCount; ++i) {
    if (weakRefs[i] != ref) continue;
    weakRefs[i] = weakRefs[weakRefCount - 1];
    --weakRefCount;
    return;
  }
}

// ---- Slots --------------------------------------------------------------------------------------

CHashMap<int32_t, RValue*>* KVObjectBase::SlotMap() {
  using SlotMapType = CHashMap<int32_t, RValue*>;
  if (slotMap == nullptr) slotMap = KV_NEW(SlotMapType, 8, release_slot);
  return slotMap;
}

RValue* KVObjectBase::FindOwnSlot(int32_t slot) {
  if (RValue* flat = flat_slot(slot)) return flat;
  if (slotMap == nullptr) return nullptr;
  RValue** found = slotMap->Find(slot);
  return found != nullptr ? *found : nullptr;
}

RValue* KVObjectBase::FindSlot(int32_t slot) {
  RValue* own = FindOwnSlot(slot);
  if (own != nullptr) return own;
  // One step only, and the prototype's slot counts even while it holds nothing yet: a read through
  // the child then sees what the prototype is given later.
  return prototype != nullptr ? prototype->FindOwnSlot(slot) : nullptr;
}

bool KVObjectBase::RemoveSlot(int32_t slot) {
  if (RValue* flat = flat_slot(slot)) {
    const bool present = RV_Kind(*flat) != kRVUnset;
    clear_flat(flat, 1, kRVUnset);
    return present;
  }
  return slotMap != nullptr && slotMap->Delete(slot);
}

RValue* KVObjectBase::GetVarRef(int32_t slot) {
  RValue* value = FindSlot(slot);
  if (value == nullptr) {
    value = slot_alloc();
    value->kind = defaultKind;
    SlotMap()->Insert(slot, value);
  }
  if (Object_IsProperty(*value)) {
    RValue* scratch = property_scratch();
    Property_Get(value->pObj, this, kIndexWholeValue, scratch);
    return scratch;
  }
  return value;
}

RValue* KVObjectBase::GetVarRefForWrite(int32_t slot) {
  RValue* value = FindOwnSlot(slot);
  if (value != nullptr) return value;
  value = slot_alloc();
  value->kind = defaultKind;
  SlotMap()->Insert(slot, value);
  RValue* inherited = prototype != nullptr ? prototype->FindOwnSlot(slot) : nullptr;
  if (inherited != nullptr && RV_Kind(*inherited) != kRVUnset) {
    GC_PushSelf(this);
    RV_CopyRef(value, inherited);
    GC_PopSelf();
  }
  return value;
}

// ---- Marking ------------------------------------------------------------------------------------

bool KVObjectBase::MarkThisOnly(uint32_t* bitmap, int32_t bits) {
  if (!g_GCForceNext && generation > g_GCMarkLimit) return false;
  g_GCForceNext = false;
  if (markStamp >= g_GCStamp) return false;
  markStamp = g_GCStamp;
  ++g_GCMarkedCount;
  flags &= ~kObjFlagFinalised;  // an object a finaliser saved can be finalised again
  if (bitmap != nullptr && slotId >= 0 && slotId < bits) bitmap[slotId >> 5] |= 1u << (slotId & 31);
  return true;
}

void KVObjectBase::MarkOnlyChildren(uint32_t /*stamp*/) {
  if (kind == kObjScriptRef) {
    auto* function = static_cast<CScriptRef*>(this);
    GCMarkValue(function->tag);
    GCMarkValue(function->boundSelf);
    if (function->prototypeObject != nullptr) GCMarkObject(function->prototypeObject, false);
  }
  if (prototype != nullptr) GCMarkObject(prototype, false);
  if (slotMap != nullptr) slotMap->ForEach([](const int32_t&, RValue* const& value) { GCMarkValue(*value); });
  for (int32_t i = 0; flatSlots != nullptr && i < flatSlotCount; ++i) GCMarkValue(flatSlots[i]);
  for (int32_t i = 0; i < weakRefCount; ++i) GCMarkObject(weakRefs[i], false);
}

bool KVObjectBase::Mark(uint32_t* bitmap, int32_t bits) {
  if (!MarkThisOnly(bitmap, bits)) return false;
  MarkOnlyChildren(g_GCStamp);
  return true;
}

bool RefDynamicArrayOfRValue::Mark(uint32_t* bitmap, int32_t bits) {
  if (!KVObjectBase::Mark(bitmap, bits)) return false;
  for (int32_t i = 0; i < length; ++i) GCMarkValue(pArray[i]);
  return true;
}

// Only while the game runs: at shutdown the collector frees what is left without calling scripts.
bool KVObjectBase::GetDispose(RValue* out) {
  if (!Run_Running) return false;
  const int32_t slot = Variable_GetSlot("@@Dispose@@");
  RValue* value = slot >= 0 ? FindSlot(slot) : nullptr;
  if (value == nullptr || RV_Kind(*value) == kRVUnset || RV_Kind(*value) == kRVUndefined) return false;
  RV_Assign(out, value);
  return true;
}

// ---- Creation -----------------------------------------------------------------------------------

KVObjectBase* CreateObject(int32_t slot_count, uint32_t default_kind, int32_t kind, bool allocate_flat) {
  if (slot_count < 0) slot_count = 0;
  KVObjectBase* object = GC_TakeParked(kind);
  if (object != nullptr) {
    object->next = nullptr;
    object->prev = nullptr;
    object->prototype = nullptr;
    if (object->capacity < slot_count) {
      object->capacity = slot_count;
      if (allocate_flat) {
        KV_FREE(object->flatSlots);
        object->flatSlots = nullptr;
      }
    }
  } else {
    object = new KVObjectBase(kind);
    object->capacity = slot_count;
  }
  if (!allocate_flat && object->flatSlots != nullptr) {
    // A plain object has no flat array: finalisers and text tell the kinds apart by it.
    KV_FREE(object->flatSlots);
    object->flatSlots = nullptr;
  }
  if (allocate_flat && object->flatSlots == nullptr && object->capacity > 0) {
    object->flatSlots = static_cast<RValue*>(KV_CALLOC(sizeof(RValue) * static_cast<size_t>(object->capacity)));
  }
  object->flatSlotCount = allocate_flat ? slot_count : 0;
  object->defaultKind = default_kind;
  object->kind = kind;
  object->className = nullptr;
  object->getOwnProperty = nullptr;
  object->deleteProperty = nullptr;
  object->defineOwnProperty = nullptr;
  if (object->flatSlots != nullptr) clear_flat(object->flatSlots, object->flatSlotCount, default_kind);
  GC_AddObject(object);
  object->flags = kObjFlagExtensible;
  return object;
}

void Object_SetStandardProperties(KVObjectBase* object) {
  object->getOwnProperty = standard_get_own;
  object->deleteProperty = standard_delete;
  object->defineOwnProperty = standard_define_own;
}

KVObjectBase* Object_RootPrototype() {
  if (g_root_prototype == nullptr) {
    g_root_prototype = CreateObject(0, kRVUnset, kObjStruct, false);
    g_root_prototype->className = "Object";
    Object_SetStandardProperties(g_root_prototype);
    GCAddRoot(g_root_prototype);
  }
  return g_root_prototype;
}

KVObjectBase* Object_NewStruct() {
  KVObjectBase* root = Object_RootPrototype();
  KVObjectBase* object = CreateObject(0, kRVUnset, kObjStruct, false);
  object->className = "Object";
  Object_SetStandardProperties(object);
  KVSetPrototype(object, root);
  return object;
}

KVObjectBase* Object_CreateGlobal(int32_t slot_count) {
  KVObjectBase* global = CreateObject(slot_count, kRVUnset, kObjStruct, true);
  Object_SetStandardProperties(global);
  g_GlobalObject = global;
  g_GlobalScope = global;
  Object_SetObject(global, "ObjectContainer", GC_ObjectContainer());
  return global;
}

KVObjectBase* Object_Global() {
  if (g_GlobalObject == nullptr) Object_CreateGlobal(0);
  return g_GlobalObject;
}

void KVSetClassName(KVObjectBase* object, const char* name) {
  if (object == nullptr || (object->flags & kObjFlagNameGiven) != 0) return;
  object->className = name;
  object->flags |= kObjFlagNameGiven;
}

KVObjectBase* KVGetPrototype(KVObjectBase* object) { return object != nullptr ? object->prototype : nullptr; }

void KVSetPrototype(KVObjectBase* object, KVObjectBase* prototype) {
  if (object == nullptr) return;
  object->prototype = prototype;
  GCWriteBarrier(object, prototype);
}

// ---- Definitions by name ------------------------------------------------------------------------

bool Object_SetRValue(KVObjectBase* object, const char* name, const RValue* value, uint32_t /*flags*/) {
  if (object == nullptr || (object->flags & kObjFlagExtensible) == 0) return false;
  const int32_t slot = Variable_FindOrAddSlot(object, name);
  if (Object_IsBuiltinSlot(object, slot)) return Object_SetVar(object, slot, kIndexWholeValue, value);
  RValue* target = object->GetVarRefForWrite(slot);
  GC_PushSelf(object);
  RV_Assign(target, value);
  GC_PopSelf();
  return true;
}

bool Object_SetReal(KVObjectBase* object, const char* name, double value) {
  const RValue v = RV_Real(value);
  return Object_SetRValue(object, name, &v);
}

bool Object_SetInt(KVObjectBase* object, const char* name, int64_t value) {
  const RValue v = RV_Int64(value);
  return Object_SetRValue(object, name, &v);
}

bool Object_SetObject(KVObjectBase* object, const char* name, KVObjectBase* value) {
  const RValue v = RV_Object(value);
  return Object_SetRValue(object, name, &v);
}

void Object_ForgetCachedObjects() {
  g_root_prototype = nullptr;
  g_GlobalScope = nullptr;
  for (RValue& value : g_property_scratch) {
    if (RV_NeedsFree(value)) RV_Free(&value);
    value = RV_Unset();
  }
  Method_ForgetCachedObjects();
  Property_ForgetCachedObjects();
  Error_ForgetCachedObjects();
}
