// Function objects: CScriptRef, the shared "[[Method]]" prototype, methods made from values, from
// builtin rows and from compiled functions, the static struct of each script row, the constructor
// flags the script binder gives, and the instanceof test of function objects.
#include <cstring>
#include <string>
#include <vector>

#include "core/code_tables.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/object_internal.h"
#include "core/variable_names.h"

namespace {

constexpr char kScriptPrefix[] = "tsl_Script_";
constexpr size_t kScriptPrefixLength = sizeof kScriptPrefix - 1;
static_assert(kScriptPrefixLength == 11);

// What the runtime knows of a script row beyond the compiled table.
struct RowInfo {
  bool constructor = false;
  KVObjectBase* statics = nullptr;
};

std::vector<RowInfo>& row_infos() {
  static auto* infos = new std::vector<RowInfo>;
  return *infos;
}

RowInfo& row_info(int32_t row) {
  std::vector<RowInfo>& infos = row_infos();
  if (static_cast<size_t>(row) >= infos.size()) infos.resize(static_cast<size_t>(row) + 1);
  return infos[static_cast<size_t>(row)];
}

KVObjectBase* g_method_prototype = nullptr;

// Function -> first row with it, built on first use for the current code tables.
struct FunctionRows {
  const KVCodeTables* tables = nullptr;
  const KVScriptRow* script_table = nullptr;
  int32_t script_count = -1;
  CHashMap<const void*, int32_t>* rows = nullptr;
};

FunctionRows& function_rows() {
  static auto* rows = new FunctionRows;
  return *rows;
}

int32_t row_of_function(KVScriptFunction function) {
  if (g_CodeTables == nullptr || g_CodeTables->scriptTable == nullptr || function == nullptr) return -1;
  FunctionRows& cache = function_rows();
  if (cache.tables != g_CodeTables || cache.script_table != g_CodeTables->scriptTable ||
      cache.script_count != g_CodeTables->scriptCount) {
    KV_Delete(cache.rows);
    using RowMap = CHashMap<const void*, int32_t>;
    cache.rows = KV_NEW(RowMap, 64);
    for (int32_t row = 0; row < g_CodeTables->scriptCount; ++row) {
      const void* key = reinterpret_cast<const void*>(g_CodeTables->scriptTable[row].function);
      if (key != nullptr && !cache.rows->Contains(key)) cache.rows->Insert(key, row);
    }
    cache.tables = g_CodeTables;
    cache.script_table = g_CodeTables->scriptTable;
    cache.script_count = g_CodeTables->scriptCount;
  }
  const int32_t* found = cache.rows->Find(reinterpret_cast<const void*>(function));
  return found != nullptr ? *found : -1;
}

const char* display_name(const char* row_name) {
  if (row_name == nullptr) return nullptr;
  return std::strncmp(row_name, kScriptPrefix, kScriptPrefixLength) == 0 ? row_name + kScriptPrefixLength : row_name;
}

KVObjectBase* new_static_struct() {
  KVObjectBase* statics = CreateObject(0, kRVUnset, kObjStruct, false);
  statics->className = "[[Method]]";
  Object_SetStandardProperties(statics);
  return statics;
}

KVObjectBase* row_statics(int32_t row) {
  RowInfo& info = row_info(row);
  if (info.statics == nullptr) {
    info.statics = new_static_struct();
    GCAddRoot(info.statics);
  }
  return info.statics;
}

void method_to_string(RValue* result, CInstance* self, CInstance*, int, RValue*) {
  KVObjectBase* object = KV_AsObject(self);
  if (object != nullptr && object->kind == kObjScriptRef) {
    const char* name = static_cast<CScriptRef*>(object)->name;
    const std::string text = std::string("function ") + (name != nullptr ? name : "<anonymous>");
    RV_SetString(result, text.c_str());
    return;
  }
  char* text = Object_DefaultStructText(object);
  RV_SetStringOwned(result, text, static_cast<int32_t>(std::strlen(text)));
}

CScriptRef* new_function_object() {
  KVObjectBase* prototype = Object_MethodPrototype();
  auto* function = new CScriptRef();
  GC_AddObject(function);
  function->flags = kObjFlagExtensible;
  function->className = "method";
  KVSetPrototype(function, prototype);
  return function;
}

void bind(CScriptRef* function, KVObjectBase* self) {
  if (self == nullptr) return;
  function->boundSelf = RV_Object(self);
  GCWriteBarrier(function, self);
}

void take_row(CScriptRef* function, int32_t row) {
  const KVScriptRow* script = CodeTables_Row(row);
  function->script = script;
  function->compiled = reinterpret_cast<KVScriptFunction>(script->function);
  function->name = display_name(script->name);
  function->prototypeObject = row_statics(row);
  GCWriteBarrier(function, function->prototypeObject);
  if (row_info(row).constructor) function->flags |= kObjFlagConstructor;
}

}  // namespace

// ---- CScriptRef ---------------------------------------------------------------------------------

CScriptRef::CScriptRef() : KVObjectBase(kObjScriptRef), tag(RV_Undefined()), boundSelf(RV_Unset()) {
  hasInstance = Method_HasInstance;
}

CScriptRef::~CScriptRef() { RV_FreeToUndefined(&tag); }

void CScriptRef::Free(bool free_now) {
  RV_FreeToUndefined(&tag);
  boundSelf = RV_Unset();
  KVObjectBase::Free(free_now);
}

CScriptRef* RV_ScriptRefOf(const RValue& v) {
  if (RV_Kind(v) != kRVObject || v.pObj == nullptr || v.pObj->kind != kObjScriptRef) return nullptr;
  return static_cast<CScriptRef*>(v.pObj);
}

// ---- The shared prototype -----------------------------------------------------------------------

KVObjectBase* Object_MethodPrototype() {
  if (g_method_prototype == nullptr) {
    KVObjectBase* prototype = CreateObject(0, kRVUnset, kObjStruct, false);
    prototype->className = "[[Method]]";
    Object_SetStandardProperties(prototype);
    GCAddRoot(prototype);
    g_method_prototype = prototype;  // before toString's own function object asks for it
    auto* to_string = new_function_object();
    to_string->builtin = method_to_string;
    to_string->name = "toString";
    Object_SetObject(prototype, "toString", to_string);
  }
  return g_method_prototype;
}

// ---- Making function objects --------------------------------------------------------------------

CScriptRef* Method_ForScript(int32_t row, KVObjectBase* self) {
  if (CodeTables_Row(row) == nullptr) return nullptr;
  CScriptRef* function = new_function_object();
  take_row(function, row);
  bind(function, self);
  return function;
}

CScriptRef* Method_ForBuiltin(int32_t index) {
  const RFunction* row = Function_Row(index);
  if (row == nullptr) return nullptr;
  CScriptRef* function = new_function_object();
  function->builtin = row->handler;
  function->name = row->name;
  function->builtin_index_ = index;
  return function;
}

CScriptRef* Method_FromValue(const RValue* value, KVObjectBase* self) {
  if (CScriptRef* source = RV_ScriptRefOf(*value)) {
    CScriptRef* function = new_function_object();
    function->script = source->script;
    function->builtin = source->builtin;
    function->compiled = source->compiled;
    function->name = source->name;
    function->builtin_index_ = source->builtin_index_;
    function->hasInstance = source->hasInstance;
    function->construct = source->construct;
    function->prototypeObject = source->prototypeObject;
    GCWriteBarrier(function, function->prototypeObject);
    function->flags |= source->flags & kObjFlagConstructor;
    bind(function, self);
    return function;
  }
  switch (RV_Kind(*value)) {
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
      break;
    default:
      return nullptr;
  }
  const int32_t index = RV_ToInt32(*value);
  if (index < 0) return nullptr;
  if (index < Function_Count()) return Method_ForBuiltin(index);
  const int32_t row = index >= 100000 ? index - 100000 : index;
  return Method_ForScript(row, self);
}

void KVCreateMethod(RValue* out, KVScriptFunction function, CInstance* self) {
  const int32_t row = row_of_function(function);
  CScriptRef* method;
  if (row >= 0) {
    method = new_function_object();
    take_row(method, row);
  } else {
    // A function the script table doesn't list gets a static struct of its own.
    method = new_function_object();
    method->compiled = function;
    method->prototypeObject = new_static_struct();
    GCWriteBarrier(method, method->prototypeObject);
  }
  method->compiled = function;
  bind(method, KV_AsObject(self));
  const RValue value = RV_Object(method);
  RV_Assign(out, &value);
}

KVObjectBase* KVGetStaticStruct(int32_t script_index) {
  const int32_t row = script_index - 100000;
  if (CodeTables_Row(row) == nullptr) return nullptr;
  return row_statics(row);
}

const KVScriptRow* KVGetScriptRow(int32_t script_index) {
  return CodeTables_Row(script_index >= 100000 ? script_index - 100000 : script_index);
}

int32_t Method_RowIndex(const KVScriptRow* row) {
  if (row == nullptr || g_CodeTables == nullptr || g_CodeTables->scriptTable == nullptr) return -1;
  const ptrdiff_t at = row - g_CodeTables->scriptTable;
  return at >= 0 && at < g_CodeTables->scriptCount ? static_cast<int32_t>(at) : -1;
}

int32_t Method_GetIndex(const CScriptRef* function) {
  if (function == nullptr) return -1;
  const int32_t row = Method_RowIndex(function->script);
  if (row >= 0) return 100000 + row;
  if (function->compiled != nullptr && g_CodeTables != nullptr && g_CodeTables->scriptTable != nullptr) {
    for (int32_t at = g_CodeTables->scriptCount - 1; at >= 0; --at) {
      if (reinterpret_cast<KVScriptFunction>(g_CodeTables->scriptTable[at].function) == function->compiled) {
        return 100000 + at;
      }
    }
  }
  if (function->builtin != nullptr) {
    if (const RFunction* row_entry = Function_Row(function->builtin_index_);
        row_entry != nullptr && row_entry->handler == function->builtin) {
      return function->builtin_index_;
    }
    for (int32_t at = Function_Count() - 1; at >= 0; --at) {
      if (Function_Row(at)->handler == function->builtin) return at;
    }
  }
  return -1;
}

void KVScript_SetConstructor(int32_t row, bool constructor) {
  if (row >= 0) row_info(row).constructor = constructor;
}

bool KVScript_IsConstructor(int32_t row) {
  return row >= 0 && static_cast<size_t>(row) < row_infos().size() && row_infos()[static_cast<size_t>(row)].constructor;
}

bool Method_HasInstance(CScriptRef* function, const RValue* value) {
  KVObjectBase* object = RV_ObjectOf(*value);
  KVObjectBase* wanted = function != nullptr ? function->prototypeObject : nullptr;
  if (object == nullptr || wanted == nullptr) return false;
  // Chains are short; the bound only stops a chain that a script made circular.
  int steps = 0;
  for (KVObjectBase* at = object->prototype; at != nullptr && steps < 100000; at = at->prototype, ++steps) {
    if (at == wanted) return true;
  }
  return false;
}

void Method_ForgetCachedObjects() {
  g_method_prototype = nullptr;
  for (RowInfo& info : row_infos()) info.statics = nullptr;
}
