#pragma once
// Script errors. KVError formats its message (at most 1024 bytes) and hands it to ErrorReport,
// which composes the long text from the event being run and the innermost frame, builds the
// standard exception object and raises KVTSLException, the one exception type that compiled
// try/catch blocks catch. The exception holds the thrown value: for a runtime error an object of
// class "KVTSLException" (prototype class "[[KVTSLException]]", with toString) holding message,
// longMessage, script, line and stacktrace; for @@throw@@ whatever the script threw.
//
// With g_ErrorsMuted set nothing is raised: g_ErrorPending is set and KVError returns to its caller.
// With noThrow, or while the variable tables don't exist yet (before the game is loaded), the error
// is reported at once through the report hook that the run layer installs: an aborting error then
// takes the unhandled path (exit status 1), any other is shown and the game goes on.
#include <cstdint>
#include <string>
#include <vector>

#include "core/rvalue.h"

class KVObjectBase;

// A runtime error keeps its parts and builds the exception object the first time its value is
// asked for (a compiled catch does), so an error that native code catches and drops never makes
// an object.
class KVTSLException {
 public:
  explicit KVTSLException(const RValue& value);
  // A runtime error, with the frames at the raise (innermost first) and the innermost frame's
  // name and line.
  static KVTSLException RuntimeError(const std::string& message, const std::string& long_message,
                                     const std::string& script, int32_t line, std::vector<std::string> stack);
  KVTSLException(const KVTSLException& other);
  KVTSLException& operator=(const KVTSLException& other);
  ~KVTSLException();

  // The thrown value; for a runtime error the standard exception object, built on first use.
  const RValue& value() const;
  // The raised text of a runtime error (its `message`), else the thrown value's text.
  std::string message() const;
  // Whether the value is (or will be) the standard exception object of a runtime error.
  bool is_runtime_error() const;
  // longMessage and stacktrace of a runtime error ("" and none for other values).
  std::string long_message() const;
  std::vector<std::string> stacktrace() const;

 private:
  KVTSLException() = default;

  mutable RValue value_ = RV_Unset();
  bool runtime_error_ = false;
  std::string message_;
  std::string long_message_;
  std::string script_;
  int32_t line_ = -1;
  std::vector<std::string> stack_;
};

[[gnu::format(printf, 1, 2)]] void KVError(const char* format, ...);

// Composes, builds and raises (or reports at once, see above). Returns only when errors are muted
// or the error was reported without throwing and didn't end the process.
void ErrorReport(const char* text, bool abort = true, bool no_throw = false);
// The long text of an error raised now: the heading for the current event context, the text, and
// the line naming the innermost frame.
std::string ErrorReport_LongMessage(const char* text);

// `@@throw@@`: keeps value as the pending exception and raises it.
[[noreturn]] void KVThrow(const RValue& value);
// The value of the last @@throw@@ (undefined once cleared).
const RValue& Error_PendingException();
void Error_ClearPendingException();

// The standard exception object of a runtime error's parts; its prototype is made once and kept
// as a root of the collector.
RValue Error_MakeExceptionObject(const std::string& message, const std::string& long_message,
                                 const std::string& script, int32_t line, const std::vector<std::string>& stack);
KVObjectBase* Error_ExceptionPrototype();
// The property `name` of an object value, along its prototype one step; undefined when absent.
// The returned value is a new reference (free it).
RValue Error_ReadProperty(const RValue& object, const char* name);

// Where an error reported at once goes; the run layer installs the unhandled path. Without a hook
// the text is printed as "ERROR!!! :: %s\n" and the error state is set.
using ErrorReportNowFn = void (*)(const KVTSLException& exception, bool abort);
void ErrorReport_SetReportNow(ErrorReportNowFn fn);
// Whether the variable tables exist; true unless start-up says otherwise.
void ErrorReport_SetTablesExist(bool exist);
// The source text of a line of a compiled function, for the second line of the long text; null
// when unknown. Installed by whoever holds the debug sources.
using ErrorSourceLineFn = const char* (*)(const char* function_name, int32_t line);
void ErrorReport_SetSourceLineLookup(ErrorSourceLineFn fn);

// A fatal error outside any script (a resource the device can't take): the process ends with
// status 1 once the frame is over. The run layer installs how it is shown (as an aborting error,
// dialog included); without that the text goes to the output console as "ERROR!!! :: %s\n" and the
// stop (New_Room = -400 and the quit message) is asked for here.
using ErrorFatalFn = void (*)(const std::string& text);
void ErrorReport_SetFatal(ErrorFatalFn fn);
void ErrorReport_Fatal(const std::string& text);

// error_last and error_occurred: what the error path left when an error didn't stop the game.
const std::string& Error_Last();
void Error_SetLast(const std::string& text);
bool Error_Occurred();
void Error_SetOccurred(bool occurred);

// The exception_unhandled_handler value (undefined when none); Set returns the old value in *old
// (a new reference) and keeps an object value as a root of the collector.
const RValue& Error_UnhandledHandler();
void Error_SetUnhandledHandler(const RValue& handler, RValue* old);

// Forgets the cached prototype and the handler; the collector's reset calls it after freeing all.
void Error_ForgetCachedObjects();

extern bool g_ErrorsMuted;
extern bool g_ErrorPending;
// Set while a non-fatal error is being reported (ShowError with abort false, across its dialog and
// the message pumping before it): the event dispatch drops CleanUp events meanwhile, so an
// instance can't be cleaned up under the code that raised the error. It lives here so the world
// can read it without the core knowing the world.
extern bool g_EventErrorReporting;
