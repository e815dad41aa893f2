#include "core/fn_script.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/code.h"
#include "core/code_tables.h"
#include "core/console.h"
#include "core/error.h"
#include "core/error_report.h"
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

// ---- show_error ------------------------------------------------------------------------------------
// The text is the error's format, and the builtin's own two arguments, the text and the abort flag,
// go with it: conversions take them in that order. "%%" is one '%'; a conversion past the two
// arguments gives nothing; a '%' that starts no conversion stands as it is. Script text never
// reaches printf as a format: each conversion is rebuilt from its parsed parts.

// A value as a number for the numeric conversions, never raising: strings by the lenient reading.
double format_number(const RValue& value) {
  switch (RV_Kind(value)) {
    case kRVReal:
    case kRVBool:
      return value.val;
    case kRVInt32:
      return value.v32;
    case kRVInt64:
    case kRVRef:
      return static_cast<double>(static_cast<int32_t>(value.v64));
    case kRVString:
      return RV_ToNumber(RV_StringText(value));
    default:
      return 0.0;
  }
}

int64_t format_integer(const RValue& value) {
  if (RV_Kind(value) == kRVInt64) return value.v64;
  const double number = format_number(value);
  if (!(number == number)) return 0;  // NaN
  if (number >= 9.2e18) return INT64_MAX;
  if (number <= -9.2e18) return INT64_MIN;
  return static_cast<int64_t>(number);
}

// One parsed conversion: %[flags][width][.precision]; width and precision only as digits.
struct Conversion {
  std::string flags;
  int width = -1;
  int precision = -1;
  char type = 0;
  std::string Prefix() const {
    std::string prefix = "%" + flags;
    if (width >= 0) prefix += std::to_string(width);
    if (precision >= 0) prefix += "." + std::to_string(precision);
    return prefix;
  }
};

std::string format_text(const Conversion& c, const RValue& value) {
  char* text = RV_ToText(value);
  std::string out = text != nullptr ? text : "";
  KV_FREE(text);
  if (c.precision >= 0 && out.size() > static_cast<size_t>(c.precision)) out.resize(static_cast<size_t>(c.precision));
  if (c.width >= 0 && out.size() < static_cast<size_t>(c.width)) {
    const std::string pad(static_cast<size_t>(c.width) - out.size(), ' ');
    out = c.flags.find('-') != std::string::npos ? out + pad : pad + out;
  }
  return out;
}

std::string format_conversion(const Conversion& c, const RValue& value) {
  if (c.type == 's') return format_text(c, value);
  char buffer[512];
  int written = 0;
  const std::string prefix = c.Prefix();
  switch (c.type) {
    case 'd':
    case 'i':
      written = std::snprintf(buffer, sizeof buffer, (prefix + "lld").c_str(), static_cast<long long>(format_integer(value)));
      break;
    case 'u':
    case 'o':
    case 'x':
    case 'X':
      written = std::snprintf(buffer, sizeof buffer, (prefix + "ll" + c.type).c_str(),
                              static_cast<unsigned long long>(format_integer(value)));
      break;
    case 'c':
      written = std::snprintf(buffer, sizeof buffer, (prefix + "c").c_str(), static_cast<int>(format_integer(value)));
      break;
    default:  // e, E, f, F, g, G, a, A
      written = std::snprintf(buffer, sizeof buffer, (prefix + c.type).c_str(), format_number(value));
      break;
  }
  if (written < 0) return std::string();
  return std::string(buffer, std::min(static_cast<size_t>(written), sizeof buffer - 1));
}

// Reads the digits at *at into *number (capped, so that a huge width can't ask for huge output).
void read_digits(const std::string& format, size_t* at, int* number) {
  if (*at >= format.size() || !std::isdigit(static_cast<unsigned char>(format[*at]))) return;
  *number = 0;
  while (*at < format.size() && std::isdigit(static_cast<unsigned char>(format[*at]))) {
    *number = std::min(*number * 10 + (format[*at] - '0'), 400);
    ++*at;
  }
}

std::string show_error_text(const std::string& format, const RValue* args, int count) {
  std::string out;
  int next = 0;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      out += format[i];
      continue;
    }
    if (i + 1 < format.size() && format[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    Conversion c;
    size_t at = i + 1;
    while (at < format.size() && std::strchr("-+ #0", format[at]) != nullptr) c.flags += format[at++];
    read_digits(format, &at, &c.width);
    if (at < format.size() && format[at] == '.') {
      ++at;
      c.precision = 0;
      read_digits(format, &at, &c.precision);
    }
    while (at < format.size() && std::strchr("hlLqjzt", format[at]) != nullptr) ++at;
    if (at >= format.size() || std::strchr("diouxXcseEfFgGaA", format[at]) == nullptr) {
      out += '%';  // no conversion: the '%' stands, and what follows is plain text
      continue;
    }
    c.type = format[at];
    if (next < count) out += format_conversion(c, args[next]);
    ++next;
    i = at;
  }
  return out;
}

// The abort flag goes with the text but the error always takes the exception path, the way
// KVError does (muting included, and the same 1024-byte limit on the text).
void F_ShowError(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Undefined();
  const RValue args[] = {argc > 0 ? argv[0] : RV_Undefined(), argc > 1 ? argv[1] : RV_Undefined()};
  char* text = RV_ToText(args[0]);
  const std::string message = show_error_text(text != nullptr ? text : "", args, 2);
  KV_FREE(text);
  KVError("%s", message.c_str());
}

// show_message(value) and show_question(value): the value's text in a box with "OK", or "Yes" and
// "No" (true for "Yes"). Without a box the text goes to the output console, and a question is
// answered no.
int32_t message_box(int argc, RValue* argv, const char* const* buttons, int32_t count) {
  char* text = RV_ToText(argc > 0 ? argv[0] : RV_Undefined());
  const std::string message = text != nullptr ? text : "";
  KV_FREE(text);
  const int32_t pressed = ShowMessageBox(message, buttons, count);
  if (pressed < 0) g_OutputConsole->Output("%s\n", message.c_str());
  return pressed;
}

void F_ShowMessage(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  static const char* const kButtons[] = {"OK"};
  message_box(argc, argv, kButtons, 1);
  *result = RV_Undefined();
}

void F_ShowQuestion(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  static const char* const kButtons[] = {"Yes", "No"};
  *result = RV_Bool(message_box(argc, argv, kButtons, 2) == 0);
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
  Function_Add("show_message", F_ShowMessage, 998, 0);
  Function_Add("show_question", F_ShowQuestion, 998, 0);
  Function_Add("exception_unhandled_handler", F_ExceptionUnhandledHandler, 1, 0);
  Function_Add("@@throw@@", F_Throw, 1, 0);
  Function_Add("@@try_hook@@", F_TryHook, 2, 0);
  Function_Add("@@try_unhook@@", F_TryUnhook, 0, 0);
  Function_Add("@@finish_catch@@", F_FinishCatch, 0, 0);
  Function_Add("@@finish_finally@@", F_FinishFinally, 0, 0);
}
