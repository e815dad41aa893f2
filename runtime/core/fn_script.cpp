#include "core/fn_script.h"

#include <string>
#include <vector>

#include "core/call.h"
#include "core/code.h"
#include "core/code_tables.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/object.h"

namespace {

constexpr int32_t kFirstScriptIndex = 100000;

// Arguments held with their own references while a script runs.
class HeldValues {
 public:
  explicit HeldValues(size_t count) : values_(count, RV_Undefined()), pointers_(count) {
    for (size_t i = 0; i < count; ++i) pointers_[i] = &values_[i];
  }
  ~HeldValues() {
    for (RValue& value : values_) RV_FreeToUndefined(&value);
  }
  HeldValues(const HeldValues&) = delete;
  HeldValues& operator=(const HeldValues&) = delete;
  RValue& operator[](size_t i) { return values_[i]; }
  RValue** pointers() { return pointers_.data(); }

 private:
  std::vector<RValue> values_;
  std::vector<RValue*> pointers_;
};

// Runs a builtin index or a script index with argc values at argv (the caller's references).
void execute(RValue* result, CInstance* self, CInstance* other, int32_t index, int argc, RValue* argv) {
  std::vector<RValue*> pointers(static_cast<size_t>(argc > 0 ? argc : 0));
  for (size_t i = 0; i < pointers.size(); ++i) pointers[i] = &argv[i];
  if (index >= 0 && index < kFirstScriptIndex && index < Function_Count()) {
    CallBuiltin(self, other, result, argc, index, pointers.data());
    return;
  }
  if (!Script_Exists(index)) {
    KVError("Trying to execute non-existing script.");
    return;
  }
  const KVScriptRow* row = KVGetScriptRow(index);
  RV_FreeToUndefined(result);
  reinterpret_cast<KVScriptFunction>(row->function)(self, other, result, argc, pointers.data());
}

void F_ScriptExecute(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  *result = RV_Undefined();
  if (argc < 1) {
    KVError("Trying to execute non-existing script.");
    return;
  }
  execute(result, self, other, KVGetInt32(argv, 0), argc - 1, argv + 1);
}

void F_ScriptExecuteExt(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  *result = RV_Undefined();
  const int32_t index = argc > 0 ? KVGetInt32(argv, 0) : -1;
  if (argc < 2 || RV_Kind(argv[1]) != kRVArray || argv[1].pArray == nullptr) {
    KVError("script_execute_ext : argument 2 is not an array");
    return;
  }
  const RefDynamicArrayOfRValue* array = argv[1].pArray;
  const int32_t length = array->length;
  const int32_t offset = argc > 2 && RV_Kind(argv[2]) != kRVUndefined ? KVGetInt32(argv, 2) : 0;
  if (offset < 0 || offset > length) {
    KVError("array base offset %d is out of range 0..%d", offset, length);
    return;
  }
  int32_t count = length - offset;
  if (argc > 3 && RV_Kind(argv[3]) != kRVUndefined) {
    const int32_t wanted = KVGetInt32(argv, 3);
    if (wanted < count) count = wanted > 0 ? wanted : 0;
  }
  HeldValues held(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) RV_CopyRef(&held[static_cast<size_t>(i)], &array->pArray[offset + i]);
  std::vector<RValue> block(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) block[static_cast<size_t>(i)] = held[static_cast<size_t>(i)];
  execute(result, self, other, index, count, block.data());
}

void F_ScriptExists(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Real(argc > 0 && Script_Exists(KVGetInt32(argv, 0)) ? 1.0 : 0.0);
}

void F_ScriptGetName(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  std::string name = "<undefined>";
  if (argc > 0) {
    if (const CScriptRef* function = RV_ScriptRefOf(argv[0])) {
      const int32_t index = Method_GetIndex(function);
      name = function->name != nullptr ? function->name : index >= 0 ? Script_Name(index) : "<unknown>";
    } else if (RV_Kind(argv[0]) != kRVUndefined) {
      name = Script_Name(KVGetInt32(argv, 0));
    }
  }
  RV_SetString(result, name.c_str());
}

// The text of show_error as the error's format. Script text never reaches printf as a format:
// "%%" becomes "%", and every other '%' stays as it stands with what follows it, since the only
// arguments that would go with the format are the text and the abort flag themselves.
std::string show_error_text(const std::string& format) {
  std::string out;
  out.reserve(format.size());
  for (size_t i = 0; i < format.size(); ++i) {
    out += format[i];
    if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '%') ++i;
  }
  return out;
}

// The abort flag is read but the error always takes the exception path, the way KVError does
// (muting included, and the same 1024-byte limit on the text).
void F_ShowError(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Undefined();
  char* text = RV_ToText(argc > 0 ? argv[0] : RV_Undefined());
  const std::string message = show_error_text(text != nullptr ? text : "");
  KV_FREE(text);
  KVError("%s", message.c_str());
}

void F_ExceptionUnhandledHandler(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Undefined();
  const RValue handler = argc > 0 ? argv[0] : RV_Undefined();
  const uint32_t kind = RV_Kind(handler);
  const bool number = kind == kRVReal || kind == kRVInt32 || kind == kRVInt64 || kind == kRVBool;
  if (number && !Call_IsCallable(handler)) {
    KVError("attempting to call invalid function with script index %d", RV_ToInt32(handler));
    return;
  }
  if (!number && kind != kRVUndefined && !Call_IsCallable(handler)) {
    KVError("argument needs to be callable");
    return;
  }
  Error_SetUnhandledHandler(handler, result);
}

void F_Throw(RValue*, CInstance*, CInstance*, int argc, RValue* argv) {
  KVThrow(argc > 0 ? argv[0] : RV_Undefined());
}

// Compiled try/catch is a native try block; these rows keep the table's order and do the
// bookkeeping a caller of them would expect.
void F_TryHook(RValue* result, CInstance*, CInstance*, int, RValue*) { *result = RV_Undefined(); }
void F_TryUnhook(RValue* result, CInstance*, CInstance*, int, RValue*) { *result = RV_Undefined(); }

void F_FinishCatch(RValue* result, CInstance*, CInstance*, int, RValue*) {
  *result = RV_Undefined();
  Error_ClearPendingException();
}

void F_FinishFinally(RValue* result, CInstance*, CInstance*, int, RValue*) {
  *result = RV_Undefined();
  RV_CopyRef(result, &Error_PendingException());
  Error_ClearPendingException();
}

}  // namespace

void Script_RegisterBuiltins() {
  Function_Add("script_exists", F_ScriptExists, 1, 0);
  Function_Add("script_get_name", F_ScriptGetName, 1, 0);
  Function_Add("script_execute", F_ScriptExecute, -1, 0);
  Function_Add("script_execute_ext", F_ScriptExecuteExt, -1, 0);
}

void Error_RegisterBuiltins() {
  Function_Add("show_error", F_ShowError, 998, 0);
  Function_Add("exception_unhandled_handler", F_ExceptionUnhandledHandler, 1, 0);
  Function_Add("@@throw@@", F_Throw, 1, 0);
  Function_Add("@@try_hook@@", F_TryHook, 2, 0);
  Function_Add("@@try_unhook@@", F_TryUnhook, 0, 0);
  Function_Add("@@finish_catch@@", F_FinishCatch, 0, 0);
  Function_Add("@@finish_finally@@", F_FinishFinally, 0, 0);
}
