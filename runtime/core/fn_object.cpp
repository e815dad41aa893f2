// The "@@" literals and scope values, method and its queries, instanceof, weak references and
// statics; and the registration of every object builtin.
#include "core/fn_object.h"

#include <cstring>

#include "core/call.h"
#include "core/code_tables.h"
#include "core/error.h"
#include "core/fn_object_internal.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"

namespace fn_object {

namespace {

constexpr char kScriptPrefix[] = "tsl_Script_";
constexpr size_t kScriptPrefixLength = sizeof kScriptPrefix - 1;
constexpr char kAnonymousStructPrefix[] = "___struct___";
constexpr int32_t kNoInstance = -16;

bool is_number(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
      return true;
    default:
      return false;
  }
}

class PushedSelf {
 public:
  explicit PushedSelf(KVObjectBase* object) { GC_PushSelf(object); }
  ~PushedSelf() { GC_PopSelf(); }
  PushedSelf(const PushedSelf&) = delete;
  PushedSelf& operator=(const PushedSelf&) = delete;
};

// The function object `new` finds for a script index: the global variable named after the script,
// made as an unbound method and stored there the first time.
CScriptRef* constructor_for_script(int32_t script_index) {
  const KVScriptRow* row = KVGetScriptRow(script_index);
  if (script_index < 100000 || row == nullptr || row->name == nullptr) return nullptr;
  const char* name = std::strlen(row->name) > kScriptPrefixLength ? row->name + kScriptPrefixLength : row->name;
  KVObjectBase* global = Object_Global();
  const int32_t slot = Variable_GetSlot(name);
  if (slot >= 0) {
    if (RValue* value = global->FindOwnSlot(slot)) {
      if (CScriptRef* found = RV_ScriptRefOf(*value)) return found;
    }
  }
  CScriptRef* made = Method_ForScript(script_index - 100000, nullptr);
  Object_SetObject(global, name, made);
  return made;
}

// Restores a function's bound self after a constructor ran with the new struct there.
class BoundSelfScope {
 public:
  BoundSelfScope(CScriptRef* function, KVObjectBase* object) : function_(function), saved_(function->boundSelf) {
    function_->boundSelf = RV_Object(object);
  }
  ~BoundSelfScope() { function_->boundSelf = saved_; }
  BoundSelfScope(const BoundSelfScope&) = delete;
  BoundSelfScope& operator=(const BoundSelfScope&) = delete;

 private:
  CScriptRef* function_;
  RValue saved_;
};

void F_NewObject(RValue* result, CInstance* self, CInstance*, int argc, RValue* argv) {
  if (argc <= 0) {
    set_result(result, RV_Object(Object_NewStruct()));
    return;
  }
  CScriptRef* function = RV_ScriptRefOf(argv[0]);
  if (RV_Kind(argv[0]) != kRVObject) {
    if (RV_Kind(argv[0]) == kRVUnset) {
      KVError("Trying to find a constructor which does not exist");
      return;
    }
    if (is_number(argv[0]) && RV_ToDouble(argv[0]) >= 100000.0) function = constructor_for_script(RV_ToInt32(argv[0]));
  }
  if (function == nullptr) {
    KVError("Trying to construct something that isn't a function");
    return;
  }
  if ((function->flags & kObjFlagConstructor) == 0) {
    KVError("target function for 'new' must be a constructor");
    return;
  }
  KVObjectBase* object = Object_NewStruct();
  if (function->prototypeObject != nullptr) KVSetPrototype(object, function->prototypeObject);
  object->className = function->script != nullptr ? function->script->name : function->name;
  // The struct is the result before the constructor runs, so that it is held while it runs.
  set_result(result, RV_Object(object));
  PushedSelf pushed(object);
  BoundSelfScope bound(function, object);
  HeldValue ignored;
  CallFunctionObject(KV_AsInstance(object), self, &ignored.v, function, argc - 1, argv + 1);
}

void F_NewArray(RValue* result, CInstance* self, CInstance*, int argc, RValue* argv) {
  struct OwnerScope {
    int64_t saved = g_CurrentArrayOwner;
    ~OwnerScope() { g_CurrentArrayOwner = saved; }
  } owner;
  g_CurrentArrayOwner = 0;
  PushedSelf pushed(KV_AsObject(self));
  HeldValue array;
  array.v.pArray = RV_NewArray(0);
  array.v.kind = kRVArray;
  for (int i = argc - 1; i >= 0; --i) RV_ArrayWrite(&array.v, i, &argv[i]);
  set_result(result, array.v);
  array.v = RV_Undefined();  // the result holds its count now
}

void F_This(RValue* result, CInstance* self, CInstance*, int, RValue*) { set_result(result, RV_Object(KV_AsObject(self))); }
void F_Other(RValue* result, CInstance*, CInstance* other, int, RValue*) {
  set_result(result, RV_Object(KV_AsObject(other)));
}
void F_Global(RValue* result, CInstance*, CInstance*, int, RValue*) { set_result(result, RV_Object(Object_Global())); }
void F_GlobalScope(RValue* result, CInstance*, CInstance*, int, RValue*) {
  set_result(result, RV_Object(g_GlobalScope != nullptr ? g_GlobalScope : Object_Global()));
}
void F_Null(RValue* result, CInstance*, CInstance*, int, RValue*) { set_result(result, RV_Null()); }
void F_NullObject(RValue* result, CInstance*, CInstance*, int, RValue*) { set_result(result, RV_Object(nullptr)); }

void F_GetInstance(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const RValue& id = arg(argc, argv, 0);
  KVObjectBase* found = RV_Kind(id) == kRVObject ? id.pObj : is_number(id) ? Object_FirstInstance(RV_ToInt32(id)) : nullptr;
  set_result(result, found != nullptr ? RV_Object(found) : RV_Undefined());
}

// `delete v`: the compiled code stores this undefined result back into the variable, and that
// store is what lets go of the value; the argument itself belongs to the caller.
void F_Delete(RValue* result, CInstance*, CInstance*, int, RValue*) { set_result(result, RV_Undefined()); }

// ---- Methods ------------------------------------------------------------------------------------

void F_Method(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  set_result(result, RV_Undefined());
  const RValue& target = arg(argc, argv, 0);
  const RValue& function = arg(argc, argv, 1);
  KVObjectBase* bound = nullptr;
  if (RV_Kind(target) == kRVObject) {
    bound = target.pObj;
  } else if (RV_Kind(target) != kRVUndefined) {
    const int32_t id = KVGetInt32(&target, 0);
    if (id != kNoInstance) {
      bound = id == -1 ? KV_AsObject(self) : id == -2 ? KV_AsObject(other) : Object_FirstInstance(id);
      if (bound == nullptr) {
        KVError("Unable to find instance for id %d", id);
        return;
      }
    }
  }
  if (is_number(function)) {
    const int32_t index = RV_ToInt32(function);
    if (index >= 0 && index < Function_Count()) {
      RValue made = RV_Object(Method_ForBuiltin(index));
      made.flags |= 1;
      set_result(result, made);
      return;
    }
  }
  CScriptRef* made = Method_FromValue(&function, bound);
  if (made != nullptr) set_result(result, RV_Object(made));
}

void F_MethodGetSelf(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const CScriptRef* function = RV_ScriptRefOf(arg(argc, argv, 0));
  KVObjectBase* bound = function != nullptr ? RV_ObjectOf(function->boundSelf) : nullptr;
  set_result(result, bound != nullptr ? RV_Object(bound) : RV_Undefined());
}

void F_MethodGetIndex(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int32_t index = Method_GetIndex(RV_ScriptRefOf(arg(argc, argv, 0)));
  set_result(result, index >= 0 ? RV_Real(index) : RV_Undefined());
}

// ---- instanceof ---------------------------------------------------------------------------------

void F_Instanceof(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  set_result(result, RV_Undefined());
  if (argc != 1) {
    KVError("too many arguments to instanceof");
    return;
  }
  KVObjectBase* object = RV_ObjectOf(argv[0]);
  if (object == nullptr) return;
  if (object->kind != kObjStruct) {
    const char* word = object->kind >= 0 && object->kind < kObjKindCount ? kObjKindWords[object->kind] : nullptr;
    if (word != nullptr) RV_SetString(result, word);
    return;
  }
  const char* name = object->className;
  if (name == nullptr) {
    RV_SetString(result, object == g_GlobalObject ? "global" : "<unknown>");
  } else if (std::strncmp(name, kAnonymousStructPrefix, sizeof kAnonymousStructPrefix - 1) == 0) {
    RV_SetString(result, "struct");
  } else if (std::strncmp(name, kScriptPrefix, kScriptPrefixLength) == 0) {
    RV_SetString(result, name + kScriptPrefixLength);
  } else {
    RV_SetString(result, name);
  }
}

void F_InstanceofOperator(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  set_result(result, RV_Undefined());
  const RValue& value = arg(argc, argv, 0);
  const RValue& function = arg(argc, argv, 1);
  if (RV_Kind(value) == kRVUnset) {
    KVError("lhs of instanceof does not exist");
    return;
  }
  if (RV_Kind(function) == kRVUnset) {
    KVError("rhs of instanceof does not exist");
    return;
  }
  if (RV_Kind(function) != kRVObject) {
    KVError("Trying to look for instances of something which isn't an object");
    return;
  }
  CScriptRef* constructor = RV_ScriptRefOf(function);
  if (constructor == nullptr) {
    KVError("Trying to find instances of something which isn't a function (1)");
    return;
  }
  if (constructor->hasInstance == nullptr) {
    KVError("Trying to find instances of something which isn't a function (2)");
    return;
  }
  if (RV_Kind(value) == kRVArray) {
    KVError("Left-hand side of instanceof is not an object");
    return;
  }
  set_result(result, RV_Bool(constructor->hasInstance(constructor, &value)));
}

// ---- Weak references ----------------------------------------------------------------------------

CWeakRef* weak_ref_of(const RValue& value) {
  KVObjectBase* object = RV_ObjectOf(value);
  return object != nullptr && object->kind == kObjWeakRef ? static_cast<CWeakRef*>(object) : nullptr;
}

void F_WeakRefCreate(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  set_result(result, RV_Undefined());
  if (argc != 1) {
    KVError("incorrect number of arguments to weak_ref_create");
    return;
  }
  KVObjectBase* target = RV_ObjectOf(argv[0]);
  if (target == nullptr) {
    KVError("invalid argument passed to weak_ref_create");
    return;
  }
  set_result(result, RV_Object(WeakRef_Create(target)));
}

void F_WeakRefAlive(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const CWeakRef* ref = weak_ref_of(arg(argc, argv, 0));
  set_result(result, ref != nullptr ? RV_Bool(ref->target != nullptr) : RV_Undefined());
}

// weak_ref_any_alive(array, [index], [length]): whether any weak reference in the range is alive;
// the range is clamped to the array, a missing or negative length runs to the end.
void F_WeakRefAnyAlive(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const RValue& list = arg(argc, argv, 0);
  if (RV_Kind(list) != kRVArray || list.pArray == nullptr) {
    set_result(result, RV_Undefined());
    return;
  }
  const int32_t length = list.pArray->length;
  int32_t first = argc > 1 ? KVGetInt32(argv, 1) : 0;
  if (first < 0) first = 0;
  if (first > length) first = length;
  int32_t count = argc > 2 ? KVGetInt32(argv, 2) : length - first;
  if (count < 0 || count > length - first) count = length - first;
  bool alive = false;
  for (int32_t i = first; i < first + count && !alive; ++i) {
    const CWeakRef* ref = weak_ref_of(list.pArray->pArray[i]);
    alive = ref != nullptr && ref->target != nullptr;
  }
  set_result(result, RV_Bool(alive));
}

// ---- Statics ------------------------------------------------------------------------------------

// static_get(struct_or_function): a function's static struct, a struct's prototype.
void F_StaticGet(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const RValue& value = arg(argc, argv, 0);
  KVObjectBase* statics = nullptr;
  if (CScriptRef* function = RV_ScriptRefOf(value)) {
    statics = function->prototypeObject;
  } else if (is_number(value) && RV_ToDouble(value) >= 100000.0) {
    statics = KVGetStaticStruct(RV_ToInt32(value));
  } else if (KVObjectBase* object = RV_ObjectOf(value)) {
    statics = object->prototype;
  }
  set_result(result, statics != nullptr ? RV_Object(statics) : RV_Undefined());
}

// static_set(struct, static_struct): makes static_struct the struct's prototype.
void F_StaticSet(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  set_result(result, RV_Undefined());
  KVObjectBase* object = RV_ObjectOf(arg(argc, argv, 0));
  KVObjectBase* statics = RV_ObjectOf(arg(argc, argv, 1));
  if (object == nullptr || object->kind == kObjScriptRef) {
    KVError("static_set : argument 1 is not a struct");
    return;
  }
  if (statics == nullptr || statics->kind != kObjStruct) {
    KVError("static_set : argument 2 is not a struct");
    return;
  }
  KVSetPrototype(object, statics);
}

}  // namespace

}  // namespace fn_object

void Object_RegisterBuiltins() {
  using namespace fn_object;
  Object_InstallValueHooks();
  // The order fixes the rows' indexes within the family; add new names at the end.
  Function_Add("@@NewTSLObject@@", F_NewObject, -1, 0);
  Function_Add("@@NewTSLArray@@", F_NewArray, -1, 0);
  Function_Add("@@This@@", F_This, 0, 1);
  Function_Add("@@Other@@", F_Other, 0, 1);
  Function_Add("@@Global@@", F_Global, 0, 1);
  Function_Add("@@GlobalScope@@", F_GlobalScope, 0, 1);
  Function_Add("@@Null@@", F_Null, 0, 1);
  Function_Add("@@NullObject@@", F_NullObject, 0, 1);
  Function_Add("@@GetInstance@@", F_GetInstance, 1, 1);
  Function_Add("@@delete@@", F_Delete, 1, 0);
  Function_Add("method", F_Method, 2, 0);
  Function_Add("method_get_self", F_MethodGetSelf, 1, 1);
  Function_Add("method_get_index", F_MethodGetIndex, 1, 1);
  Function_Add("instanceof", F_Instanceof, 1, 1);
  Function_Add("@@instanceof@@", F_InstanceofOperator, 2, 1);
  Function_Add("weak_ref_create", F_WeakRefCreate, 1, 0);
  Function_Add("weak_ref_alive", F_WeakRefAlive, 1, 1);
  Function_Add("weak_ref_any_alive", F_WeakRefAnyAlive, -1, 1);
  Function_Add("static_get", F_StaticGet, 1, 1);
  Function_Add("static_set", F_StaticSet, 2, 0);
  Object_RegisterVariableBuiltins();
}
