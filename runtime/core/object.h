#pragma once
// KVObjectBase: the base of everything a script can reference (structs, instances, arrays, function
// objects, weak references, proxies). Objects belong to the collector: they are registered at
// creation and freed by it, never by the code that made them.
//
// Variables live in 16-byte slots from a shared pool; a slot never moves while its object lives, so
// a pointer from GetVarRef stays good until the object is freed or the slot removed. The slot map
// (slot number -> slot) is made on the first write; an object made with flat slots (the global
// object) keeps user slots 100000 + i in flatSlots[i] instead. A read goes one step up the
// prototype chain, never further; a write never changes the prototype. A property object (kind 4)
// found by GetVarRef is read through its getter into a small ring of scratch values that stay good
// for the next 64 property reads.
//
// Costs: a hit is one virtual call and one hash probe; a miss makes a slot. The main thread owns
// every object; nothing here takes a lock.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/rvalue.h"

template <class K, class V>
class CHashMap;
struct KVScriptRow;

enum KVObjectKind : int32_t {
  kObjStruct = 0,
  kObjInstance = 1,
  kObjAccessor = 2,
  kObjScriptRef = 3,
  kObjProperty = 4,
  kObjArray = 5,
  kObjWeakRef = 6,
  kObjContainer = 7,
  kObjKindCount = 8,
};
// The instanceof words of the kinds; null for kinds that have none (struct's word is its class).
extern const char* const kObjKindWords[kObjKindCount];

// flags bits.
constexpr uint32_t kObjFlagExtensible = 1u << 0;
constexpr uint32_t kObjFlagFinalised = 1u << 1;
constexpr uint32_t kObjFlagConstructor = 1u << 2;
constexpr uint32_t kObjFlagNameGiven = 1u << 3;
constexpr uint32_t kObjFlagQueued = 1u << 4;

// The index that stands for the whole value, not an element.
constexpr int32_t kIndexWholeValue = INT32_MIN;

class KVObjectBase;
class CWeakRef;
class CScriptRef;

using ObjectGetOwnPropertyFn = bool (*)(KVObjectBase* object, RValue* out, const char* name);
using ObjectDeletePropertyFn = bool (*)(KVObjectBase* object, const char* name);
using ObjectDefineOwnPropertyFn = bool (*)(KVObjectBase* object, const char* name, const RValue* value, bool raise);

class CInstanceBase {
 public:
  virtual ~CInstanceBase() = default;
  virtual RValue* GetVarRef(int32_t slot) = 0;
  virtual RValue* GetVarRefForWrite(int32_t slot) = 0;
};

class KVObjectBase : public CInstanceBase {
 public:
  explicit KVObjectBase(int32_t object_kind) : kind(object_kind) {}
  ~KVObjectBase() override;
  KVObjectBase(const KVObjectBase&) = delete;
  KVObjectBase& operator=(const KVObjectBase&) = delete;

  // Storage always comes from the memory manager, zeroed; the placement form serves KV_NEW.
  static void* operator new(size_t size);
  static void* operator new(size_t, void* storage) noexcept { return storage; }
  static void operator delete(void* storage);

  RValue* GetVarRef(int32_t slot) override;
  RValue* GetVarRefForWrite(int32_t slot) override;
  // Marks this object for the running pass and queues what it holds; false when it was not entered
  // (marked already, or too old for the pass).
  virtual bool Mark(uint32_t* bitmap, int32_t bits);
  virtual bool MarkThisOnly(uint32_t* bitmap, int32_t bits);
  virtual void MarkOnlyChildren(uint32_t stamp);
  // Frees what the object holds (slot values, flat values); the slot map and flat array stay for
  // reuse. The collector calls it before parking or deleting the storage.
  virtual void Free(bool free_now);
  virtual void FreeOnThread() {}
  // Breaks outward links: every weak reference to this object is cleared.
  virtual void PreFree();
  // The "@@Dispose@@" property; false when there is none.
  virtual bool GetDispose(RValue* out);

  // The slot if this object has it itself (flat or map); null otherwise. Never creates.
  RValue* FindOwnSlot(int32_t slot);
  // FindOwnSlot, then the prototype's own slot, whatever it holds (unset included).
  RValue* FindSlot(int32_t slot);
  // Removes an own slot and frees its value; false when there was none.
  bool RemoveSlot(int32_t slot);
  // The map, made on first use.
  CHashMap<int32_t, RValue*>* SlotMap();
  void AddWeakRef(CWeakRef* ref);
  void RemoveWeakRef(CWeakRef* ref);

  RValue* flatSlots = nullptr;
  KVObjectBase* next = nullptr;
  KVObjectBase* prev = nullptr;
  KVObjectBase* prototype = nullptr;
  const char* className = nullptr;
  ObjectGetOwnPropertyFn getOwnProperty = nullptr;
  ObjectDeletePropertyFn deleteProperty = nullptr;
  ObjectDefineOwnPropertyFn defineOwnProperty = nullptr;
  CHashMap<int32_t, RValue*>* slotMap = nullptr;
  CWeakRef** weakRefs = nullptr;
  int32_t weakRefCount = 0;
  int32_t flatSlotCount = 0;
  uint32_t flags = 1;
  int32_t capacity = 0;
  uint32_t markStamp = 0;
  int32_t generation = 0;
  uint32_t birthStamp = 0;
  int32_t slotId = -1;
  int32_t kind;
  uint32_t defaultKind = kRVUnset;

 protected:
  void release_slots();
  // The slot that user slot number slot has in flatSlots, or null.
  RValue* flat_slot(int32_t slot) {
    const int64_t at = static_cast<int64_t>(slot) - 100000;
    return flatSlots != nullptr && at >= 0 && at < flatSlotCount ? &flatSlots[at] : nullptr;
  }
};

// The script array: counted by the RValues that hold it, owned by the collector. owner is the mark
// that decides copy-on-write; 0 means none yet.
class RefDynamicArrayOfRValue final : public KVObjectBase {
 public:
  RefDynamicArrayOfRValue() : KVObjectBase(kObjArray) {}
  ~RefDynamicArrayOfRValue() override;
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;

  int32_t refCount = 0;
  int32_t arrayFlags = 0;  // bit 0: immutable
  RValue* pArray = nullptr;
  int64_t owner = 0;
  int32_t length = 0;
};

constexpr int32_t kArrayImmutable = 1;

// The two native shapes a function object can hold.
using KVScriptFunction = RValue* (*)(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
using KVBuiltinFunction = void (*)(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv);
using KVHasInstanceFn = bool (*)(CScriptRef* function, const RValue* value);
using KVConstructFn = void (*)(CScriptRef* function, RValue* result, CInstance* self, CInstance* other, int argc,
                               RValue* argv);

// A function object; with a bound self, a method. script is the script-table row of a script,
// builtin the handler of a builtin's function object, compiled the native entry that is called.
class CScriptRef final : public KVObjectBase {
 public:
  CScriptRef();
  ~CScriptRef() override;
  void Free(bool free_now) override;

  const KVScriptRow* script = nullptr;
  KVBuiltinFunction builtin = nullptr;
  KVScriptFunction compiled = nullptr;
  RValue tag;
  RValue boundSelf;
  KVObjectBase* prototypeObject = nullptr;
  KVHasInstanceFn hasInstance = nullptr;
  KVConstructFn construct = nullptr;
  const char* name = nullptr;
  int32_t builtin_index_ = -1;  // row of builtin in the builtin table, for its argument errors
};

// A weak reference: points at its target without keeping it alive; the target's PreFree clears it.
// Its read-only property "ref" gives the target, or undefined once it is gone.
class CWeakRef final : public KVObjectBase {
 public:
  CWeakRef();
  ~CWeakRef() override;
  void Free(bool free_now) override;
  void PreFree() override;

  KVObjectBase* target = nullptr;
};

// Property getter and setter: the builtin shape with the element index (kIndexWholeValue for none).
// The getter writes result; the setter reads argv[0].
using KVPropertyFn = void (*)(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv,
                              int32_t index);

// Self arguments of the native shapes are CInstance*, yet structs are passed there too: CInstance
// derives from KVObjectBase alone, so both pointers share one address.
inline KVObjectBase* KV_AsObject(CInstance* self) { return reinterpret_cast<KVObjectBase*>(self); }
inline CInstance* KV_AsInstance(KVObjectBase* object) { return reinterpret_cast<CInstance*>(object); }

// A value of kind object (6) for object, which may be null.
inline RValue RV_Object(KVObjectBase* object) {
  RValue v;
  v.pObj = object;
  v.flags = 0;
  v.kind = kRVObject;
  return v;
}
inline KVObjectBase* RV_ObjectOf(const RValue& v) { return RV_Kind(v) == kRVObject ? v.pObj : nullptr; }
// The function object of a method value, or null.
CScriptRef* RV_ScriptRefOf(const RValue& v);

// ---- Creation ------------------------------------------------------------------------------------
// A base object of kind 0, 2 or 4 (the kinds that are parked and reused): the head of the parked
// list of that kind when there is one, else a new one; registered with the collector, flags 1.
// allocate_flat gives slot_count flat slots of kind default_kind.
KVObjectBase* CreateObject(int32_t slot_count, uint32_t default_kind, int32_t kind, bool allocate_flat);
// A struct literal: prototype the root "Object", class "Object", extensible, standard properties.
KVObjectBase* Object_NewStruct();
// The root "Object" prototype, made once and held by the collector's roots.
KVObjectBase* Object_RootPrototype();
// The global object with slot_count flat slots (the larger of the two variable counts of the link
// block), holding the collector's object container under "ObjectContainer". g_GlobalObject and
// g_GlobalScope both point at it; an earlier global object is let go.
KVObjectBase* Object_CreateGlobal(int32_t slot_count);
// g_GlobalObject, made with no flat slots when nothing has made it yet.
KVObjectBase* Object_Global();
extern KVObjectBase* g_GlobalScope;

// Gives the object its class name unless one was given before (the name-given flag).
void KVSetClassName(KVObjectBase* object, const char* name);
KVObjectBase* KVGetPrototype(KVObjectBase* object);
void KVSetPrototype(KVObjectBase* object, KVObjectBase* prototype);
// Installs the standard property functions on an object.
void Object_SetStandardProperties(KVObjectBase* object);

// ---- Access by name and slot ----------------------------------------------------------------------
// Defines a slot on an extensible object (false, nothing stored, when it isn't). flags are the
// definition's attribute bits; a slot here has no attributes, so they are accepted and not kept.
// The slots of an object's own variables that hold a value: flat slots first, then the slot map.
std::vector<int32_t> Object_OwnSlots(KVObjectBase* object);
bool Object_SetRValue(KVObjectBase* object, const char* name, const RValue* value, uint32_t flags = 0);
bool Object_SetReal(KVObjectBase* object, const char* name, double value);
bool Object_SetInt(KVObjectBase* object, const char* name, int64_t value);
bool Object_SetObject(KVObjectBase* object, const char* name, KVObjectBase* value);

// The read of `object.slot` or `object.slot[index]` (kIndexWholeValue for the whole value) into out,
// which starts unset. Builtin rows of instances go to the builtin-variable table; otherwise the own
// slot, then the prototype's. prepare makes a missing slot holding a new array owned by the object;
// grow_arrays lengthens an array that index passes. False when nothing was found; a negative index
// also sets g_ArrayIndexFailure and gives false. Array read errors raise as the array read does.
bool Object_GetVar(KVObjectBase* object, int32_t slot, int32_t index, RValue* out, bool prepare = false,
                   bool grow_arrays = false);
// The write of `object.slot = value` or `object.slot[index] = value`. A builtin row runs its setter
// or raises "unable to set built in variable %s\n"; a property in the prototype takes the value
// through its setter; otherwise the own slot is found or made and written under the object as the
// write barrier's parent. False (with g_ArrayIndexFailure set) for a negative index.
bool Object_SetVar(KVObjectBase* object, int32_t slot, int32_t index, const RValue* value);
// Object_GetVar that raises on failure: "Variable Index [%d] out of range [%d] - %d.%d(%d,%d)" when
// the index failure record is set, else "Unable to get variable %s from object %p\n".
void Object_GetVarOrRaise(KVObjectBase* object, int32_t slot, int32_t index, RValue* out);
// Object_SetVar that raises the index message on failure.
void Object_SetVarOrRaise(KVObjectBase* object, int32_t slot, int32_t index, const RValue* value);
// The message of a write whose array index failed (g_ArrayIndexFailure), which it clears; nothing
// when no index failed.
void Object_RaiseSetIndexFailure(KVObjectBase* object, int32_t slot);
// `value.slot` of compiled code: an object value reads the object, anything else is an instance id
// read from its first selected instance; raises "Unable to find any instance for object index '%d'
// name '%s'" for an id that selects nothing.
void KVGetVariable(const RValue* value, int32_t slot, int32_t index, RValue* out, bool prepare, bool grow);

// ---- Properties ---------------------------------------------------------------------------------
// A property object (kind 4, class "Property") with its three flat slots: target (null: the
// caller's self), getter, setter.
KVObjectBase* Object_NewProperty(KVObjectBase* target, KVPropertyFn getter, KVPropertyFn setter);
inline bool Object_IsProperty(const RValue& v) {
  return RV_Kind(v) == kRVObject && v.pObj != nullptr && v.pObj->kind == kObjProperty;
}
// Runs the getter into out / the setter with value. Raise "Dynamically bound property called with
// NULL self" when the property has no target and self is null, "Unable to get property" without a
// getter and "Unable to set property" without a setter.
void Property_Get(KVObjectBase* property, KVObjectBase* self, int32_t index, RValue* out);
void Property_Set(KVObjectBase* property, KVObjectBase* self, int32_t index, const RValue* value);

// ---- Builtin variables and instances (installed by their own layers) -----------------------------
// The builtin-variable table: rows 0 .. instance_rows()-1 apply to instances only, rows from there
// to rows() are global rows. Without it no slot is a builtin row and every slot is a plain one.
struct ObjectBuiltinVariables {
  int32_t (*instance_rows)() = nullptr;
  int32_t (*rows)() = nullptr;
  bool (*get)(CInstance* self, int32_t id, int32_t index, RValue* out) = nullptr;
  bool (*set)(CInstance* self, int32_t id, int32_t index, RValue* value) = nullptr;
  bool (*can_set)(int32_t id) = nullptr;
};
void Object_SetBuiltinVariables(const ObjectBuiltinVariables& table);
// Whether slot is a builtin row that applies to object (instance rows only to instances).
bool Object_IsBuiltinSlot(const KVObjectBase* object, int32_t slot);

// Instance selection by id, installed by the instance layer: visit is called for each live instance
// the id selects (an instance id, or an object index with its children), skipping those marked
// deleted, in list order, until it gives false. Without a selector no id selects anything.
using InstanceVisitor = bool (*)(KVObjectBase* instance, void* context);
using InstanceSelector = void (*)(int32_t id, InstanceVisitor visit, void* context);
void Object_SetInstanceSelector(InstanceSelector selector);
void Object_SelectInstances(int32_t id, InstanceVisitor visit, void* context);
KVObjectBase* Object_FirstInstance(int32_t id);

// ---- Methods, statics and constructors ------------------------------------------------------------
// The shared "[[Method]]" prototype of every function object, with its toString.
KVObjectBase* Object_MethodPrototype();
// A function object for script-table row `row` (see KVGetScriptRow), bound to self unless null.
CScriptRef* Method_ForScript(int32_t row, KVObjectBase* self);
// A function object for builtin row index.
CScriptRef* Method_ForBuiltin(int32_t index);
// The function object of method(self, function) for a value: a function object, a builtin index,
// a script index (100000 and up) or a code-table index; null when nothing valid is named.
CScriptRef* Method_FromValue(const RValue* function, KVObjectBase* self);
// Compiled code's method: a function object with compiled = function, bound to self unless null;
// the script table's row of function gives its name, its constructor flag and its static struct.
void KVCreateMethod(RValue* out, KVScriptFunction function, CInstance* self);
// The static struct of script index (100000 + row), made on first use; null for no such script.
KVObjectBase* KVGetStaticStruct(int32_t script_index);
// The script index (100000 and up) or builtin index a function object stands for, searched from the
// top of the tables; -1 for none.
int32_t Method_GetIndex(const CScriptRef* function);
// Marks script-table row `row` as a constructor (the top bit of its script record) or not; the
// script binder calls it while it binds the scripts.
void KVScript_SetConstructor(int32_t row, bool constructor);
bool KVScript_IsConstructor(int32_t row);
// The row of a script index or a code index; null outside the table.
const KVScriptRow* KVGetScriptRow(int32_t script_index);
// The default hasInstance: whether the function's prototypeObject is on value's prototype chain.
bool Method_HasInstance(CScriptRef* function, const RValue* value);

// A weak reference to target.
CWeakRef* WeakRef_Create(KVObjectBase* target);

// Drops the cached prototypes and static structs; the collector's reset calls it after it has
// freed every object.
void Object_ForgetCachedObjects();
// Installs the struct text and value call hooks of the value model.
void Object_InstallValueHooks();
