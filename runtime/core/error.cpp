#include "core/error.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "core/console.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "core/frames.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "platform/process.h"

bool g_ErrorsMuted = false;
bool g_ErrorPending = false;
bool g_EventErrorReporting = false;

namespace {

constexpr char kExceptionClass[] = "KVTSLException";
constexpr char kExceptionPrototypeClass[] = "[[KVTSLException]]";

KVObjectBase* g_exception_prototype = nullptr;
RValue g_pending_exception = RV_Undefined();
RValue g_unhandled_handler = RV_Undefined();
ErrorReportNowFn g_report_now = nullptr;
ErrorFatalFn g_fatal = nullptr;
ErrorSourceLineFn g_source_line = nullptr;
bool g_tables_exist = true;
std::string g_error_last;
bool g_error_occurred = false;

[[gnu::format(printf, 1, 2)]] std::string format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(nullptr, 0, fmt, copy);
  va_end(copy);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, fmt, args);
  va_end(args);
  return text;
}

std::string name_from(std::string (*source)(int32_t), int32_t index) { return source != nullptr ? source(index) : ""; }

std::string event_heading(const char* text) {
  const KVEventContext& context = g_EventContext;
  const KVEventNameSources& names = g_EventNameSources;
  switch (context.eventType) {
    case kEventContextRoomCreation:
      return format("%sFATAL ERROR in Room Creation Code for room %s\n\n\n%s\n", "",
                    name_from(names.roomName, context.objectIndex).c_str(), text);
    case kEventContextShaderCompile: {
      const char* heading = context.eventSubtype == 0 ? "FATAL ERROR in Vertex Shader compilation\n\nShaderName: "
                                                      : "FATAL ERROR in Fragment Shader compilation\n\nShaderName: ";
      return format("%s%s\n\n\n%s\n", heading, name_from(names.shaderName, context.objectIndex).c_str(), text);
    }
    case kEventContextTimeline:
      return format("%sERROR in\naction number %d\nat time step%d\nof time line %s:\n\n\n%s", "",
                    context.actionNumber + 1, context.eventSubtype,
                    name_from(names.timelineName, context.objectIndex).c_str(), text);
    default: {
      const std::string event =
          names.eventName != nullptr ? names.eventName(context.eventType, context.eventSubtype) : "<Unknown Event>";
      return format("%sERROR in\naction number %d\nof %s\nfor object %s:\n\n\n%s", "", context.actionNumber + 1,
                    event.c_str(), name_from(names.objectName, context.objectIndex).c_str(), text);
    }
  }
}

void to_string_handler(RValue* result, CInstance* self, CInstance*, int, RValue*) {
  RValue message = Error_ReadProperty(RV_Object(KV_AsObject(self)), "message");
  if (RV_Kind(message) == kRVString) {
    *result = message;
    return;
  }
  RV_FreeToUndefined(&message);
  RV_SetString(result, "");
}

void set_string(KVObjectBase* object, const char* name, const char* text) {
  RValue value = RV_Undefined();
  RV_SetString(&value, text);
  Object_SetRValue(object, name, &value);
  RV_FreeToUndefined(&value);
}

void report_now_default(const KVTSLException& exception, bool) {
  const std::string text = exception.message();
  Error_SetLast(text);
  Error_SetOccurred(true);
  g_OutputConsole->Output("ERROR!!! :: %s\n", text.c_str());
}

}  // namespace

// ---- KVTSLException -------------------------------------------------------------------------------

KVTSLException::KVTSLException(const RValue& value) { RV_CopyRef(&value_, &value); }

KVTSLException KVTSLException::RuntimeError(const std::string& message, const std::string& long_message,
                                            const std::string& script, int32_t line, std::vector<std::string> stack) {
  KVTSLException exception;
  exception.runtime_error_ = true;
  exception.message_ = message;
  exception.long_message_ = long_message;
  exception.script_ = script;
  exception.line_ = line;
  exception.stack_ = std::move(stack);
  return exception;
}

KVTSLException::KVTSLException(const KVTSLException& other)
    : runtime_error_(other.runtime_error_), message_(other.message_), long_message_(other.long_message_),
      script_(other.script_), line_(other.line_), stack_(other.stack_) {
  RV_CopyRef(&value_, &other.value_);
}

KVTSLException& KVTSLException::operator=(const KVTSLException& other) {
  if (this == &other) return *this;
  RV_Assign(&value_, &other.value_);
  runtime_error_ = other.runtime_error_;
  message_ = other.message_;
  long_message_ = other.long_message_;
  script_ = other.script_;
  line_ = other.line_;
  stack_ = other.stack_;
  return *this;
}

KVTSLException::~KVTSLException() { RV_FreeToUndefined(&value_); }

const RValue& KVTSLException::value() const {
  if (runtime_error_ && RV_Kind(value_) == kRVUnset) {
    value_ = Error_MakeExceptionObject(message_, long_message_, script_, line_, stack_);
  }
  return value_;
}

bool KVTSLException::is_runtime_error() const {
  if (runtime_error_) return true;
  const KVObjectBase* object = RV_ObjectOf(value_);
  return object != nullptr && object->className != nullptr && std::strcmp(object->className, kExceptionClass) == 0;
}

std::string KVTSLException::message() const {
  if (runtime_error_) return message_;
  if (RV_Kind(value_) == kRVString) return RV_StringText(value_);
  if (is_runtime_error()) {
    RValue text = Error_ReadProperty(value_, "message");
    std::string result = RV_Kind(text) == kRVString ? RV_StringText(text) : "";
    RV_FreeToUndefined(&text);
    return result;
  }
  char* text = RV_ToText(value_);
  std::string result = text != nullptr ? text : "";
  KV_FREE(text);
  return result;
}

std::string KVTSLException::long_message() const {
  if (runtime_error_) return long_message_;
  if (!is_runtime_error()) return "";
  RValue text = Error_ReadProperty(value_, "longMessage");
  std::string result = RV_Kind(text) == kRVString ? RV_StringText(text) : "";
  RV_FreeToUndefined(&text);
  return result;
}

std::vector<std::string> KVTSLException::stacktrace() const {
  if (runtime_error_) return stack_;
  std::vector<std::string> frames;
  if (!is_runtime_error()) return frames;
  RValue stack = Error_ReadProperty(value_, "stacktrace");
  if (RV_Kind(stack) == kRVArray && stack.pArray != nullptr) {
    for (int32_t i = 0; i < stack.pArray->length; ++i) {
      char* text = RV_ToText(stack.pArray->pArray[i]);
      frames.emplace_back(text != nullptr ? text : "");
      KV_FREE(text);
    }
  }
  RV_FreeToUndefined(&stack);
  return frames;
}

// ---- Raising --------------------------------------------------------------------------------------

void KVError(const char* format, ...) {
  if (g_ErrorsMuted) {
    g_ErrorPending = true;
    return;
  }
  char buffer[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  ErrorReport(buffer, true, false);
}

std::string ErrorReport_LongMessage(const char* text) {
  std::string long_message = event_heading(text != nullptr ? text : "");
  if (const TSLFrame* frame = g_FrameChain) {
    const char* name = frame->name != nullptr ? frame->name : "";
    const char* source = g_source_line != nullptr ? g_source_line(name, frame->line) : nullptr;
    if (source != nullptr) {
      long_message += format(" at %s (line %d) - %s\n", name, frame->line, source);
    } else {
      long_message += format("at %s\n", name);
    }
  }
  return long_message;
}

void ErrorReport(const char* text, bool abort, bool no_throw) {
  if (g_ErrorsMuted) {
    g_ErrorPending = true;
    return;
  }
  if (text == nullptr) text = "";
  const TSLFrame* innermost = g_FrameChain;
  KVTSLException exception = KVTSLException::RuntimeError(
      text, ErrorReport_LongMessage(text), innermost != nullptr && innermost->name != nullptr ? innermost->name : "",
      innermost != nullptr ? innermost->line : -1, Frame_StackTexts());
  if (no_throw || !g_tables_exist) {
    (g_report_now != nullptr ? g_report_now : report_now_default)(exception, abort);
    return;
  }
  throw exception;
}

void KVThrow(const RValue& value) {
  RV_Assign(&g_pending_exception, &value);
  throw KVTSLException(value);
}

const RValue& Error_PendingException() { return g_pending_exception; }
void Error_ClearPendingException() { RV_FreeToUndefined(&g_pending_exception); }

// ---- The exception object -------------------------------------------------------------------------

KVObjectBase* Error_ExceptionPrototype() {
  if (g_exception_prototype == nullptr) {
    KVObjectBase* prototype = CreateObject(0, kRVUnset, kObjStruct, false);
    prototype->className = kExceptionPrototypeClass;
    Object_SetStandardProperties(prototype);
    GCAddRoot(prototype);
    g_exception_prototype = prototype;
    auto* to_string = new CScriptRef();
    GC_AddObject(to_string);
    to_string->flags = kObjFlagExtensible;
    to_string->className = "method";
    KVSetPrototype(to_string, Object_MethodPrototype());
    to_string->builtin = to_string_handler;
    to_string->name = "toString";
    Object_SetObject(prototype, "toString", to_string);
  }
  return g_exception_prototype;
}

RValue Error_MakeExceptionObject(const std::string& message, const std::string& long_message,
                                 const std::string& script, int32_t line, const std::vector<std::string>& stack) {
  KVObjectBase* prototype = Error_ExceptionPrototype();
  KVObjectBase* object = Object_NewStruct();
  object->className = kExceptionClass;
  KVSetPrototype(object, prototype);
  set_string(object, "message", message.c_str());
  set_string(object, "longMessage", long_message.c_str());
  set_string(object, "script", script.c_str());
  Object_SetReal(object, "line", line);

  GC_PushSelf(object);
  RefDynamicArrayOfRValue* array = RV_NewArray(static_cast<int32_t>(stack.size()));
  GC_PopSelf();
  for (size_t i = 0; i < stack.size(); ++i) RV_SetString(&array->pArray[i], stack[i].c_str());
  RValue frames;
  frames.pArray = array;
  frames.flags = 0;
  frames.kind = kRVArray;
  Object_SetRValue(object, "stacktrace", &frames);
  RV_FreeToUndefined(&frames);
  return RV_Object(object);
}

RValue Error_ReadProperty(const RValue& object_value, const char* name) {
  RValue out = RV_Undefined();
  KVObjectBase* object = RV_ObjectOf(object_value);
  const int32_t slot = Variable_GetSlot(name);
  if (object == nullptr || slot < 0) return out;
  if (const RValue* found = object->FindSlot(slot)) RV_CopyRef(&out, found);
  return out;
}

// ---- Hooks and state ------------------------------------------------------------------------------

void ErrorReport_SetReportNow(ErrorReportNowFn fn) { g_report_now = fn; }
void ErrorReport_SetFatal(ErrorFatalFn fn) { g_fatal = fn; }

void ErrorReport_Fatal(const std::string& text) {
  Run_ExitCode = 1;
  if (g_fatal != nullptr) {
    g_fatal(text);
    return;
  }
  Error_SetLast(text);
  Error_SetOccurred(true);
  g_OutputConsole->Output("ERROR!!! :: %s\n", text.c_str());
  New_Room = kNewRoomAbort;
  Platform_PostQuit();
}
void ErrorReport_SetTablesExist(bool exist) { g_tables_exist = exist; }
void ErrorReport_SetSourceLineLookup(ErrorSourceLineFn fn) { g_source_line = fn; }

const std::string& Error_Last() { return g_error_last; }
void Error_SetLast(const std::string& text) { g_error_last = text; }
bool Error_Occurred() { return g_error_occurred; }
void Error_SetOccurred(bool occurred) { g_error_occurred = occurred; }

const RValue& Error_UnhandledHandler() { return g_unhandled_handler; }

void Error_SetUnhandledHandler(const RValue& handler, RValue* old) {
  if (old != nullptr) RV_Assign(old, &g_unhandled_handler);
  if (KVObjectBase* previous = RV_ObjectOf(g_unhandled_handler)) GCRemoveRoot(previous);
  RV_Assign(&g_unhandled_handler, &handler);
  if (KVObjectBase* current = RV_ObjectOf(g_unhandled_handler)) GCAddRoot(current);
}

void Error_ForgetCachedObjects() {
  g_exception_prototype = nullptr;
  // Objects and arrays these held are gone with everything else; only string records are released.
  for (RValue* held : {&g_pending_exception, &g_unhandled_handler}) {
    if (RV_Kind(*held) == kRVObject || RV_Kind(*held) == kRVArray) *held = RV_Undefined();
    RV_FreeToUndefined(held);
  }
}
