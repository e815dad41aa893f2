#include "core/error_report.h"

#include <chrono>
#include <cstdlib>
#include <thread>

#include "core/call.h"
#include "core/console.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/job_manager.h"
#include "core/memory.h"
#include "core/object.h"
#include "data/asset_options.h"
#include "graphics/window.h"
#include "platform/process.h"
#include "run/options.h"
#include "run/run_game.h"
#include "run/run_subjects.h"

namespace {

constexpr size_t kHashLine = 92;
constexpr size_t kUnderscoreLine = 43;

bool g_abort_latched = false;
bool g_display_errors = true;

// The workers are joined first: static destruction must not pull their state away under them.
// The device and then the window go before the exit as at shutdown: the device's GL objects can
// only be deleted while the window's context lives, and static destruction would otherwise free
// the two in whatever order their files were linked.
void process_exit(int status) {
  JobManager_Stop();
  Window_Destroy();
  std::exit(status);
}

void (*g_exit)(int) = process_exit;

void append_line(TErrStreamConsole* console, const RValue& value) {
  char* text = RV_ToText(value);
  console->Output("%s\n", text != nullptr ? text : "");
  KV_FREE(text);
}

// Errors reported without throwing: an aborting one ends the process the unhandled way.
void report_now(const KVTSLException& exception, bool abort) {
  if (abort) {
    Exception_Unhandled(exception);
    return;
  }
  ShowError(Exception_Text(exception), false);
}

const bool g_report_installed = (ErrorReport_SetReportNow(report_now), true);
const bool g_fatal_installed = (ErrorReport_SetFatal([](const std::string& text) { ShowError(text, true); }), true);

}  // namespace

std::string Exception_Text(const KVTSLException& exception) {
  TErrStreamConsole console;
  if (!exception.is_runtime_error()) {
    append_line(&console, exception.value());
    return console.text();
  }
  const std::string hashes(kHashLine, '#');
  console.Output("%s\n", hashes.c_str());
  console.Output("%s", exception.long_message().c_str());
  console.Output("%s\n", hashes.c_str());
  for (const std::string& frame : exception.stacktrace()) console.Output("%s\n", frame.c_str());
  return console.text();
}

std::string ErrorReport_DialogText(const std::string& text) {
  std::string out = "\r\n" + std::string(kUnderscoreLine, '_') + "\r\n";
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\r' || c == '\n') {
      // A pair of different line-end bytes is one line end.
      const char next = i + 1 < text.size() ? text[i + 1] : '\0';
      if ((next == '\r' || next == '\n') && next != c) ++i;
      out += "\r\n";
    } else if (c == '\t') {
      out += "       ";
    } else {
      out += c;
    }
  }
  return out;
}

void ShowError(const std::string& text, bool abort) {
  if (g_abort_latched) return;
  if (Options_Flag(datawin::optn::kOptionErrorsEndGame)) abort = true;
  // A non-fatal report pumps messages and may wait on the dialog; CleanUp events stay off until it
  // is over (the previous value comes back, on unwinding too, for a report inside a report).
  struct ReportingScope {
    bool saved = g_EventErrorReporting;
    explicit ReportingScope(bool set) { g_EventErrorReporting = saved || set; }
    ~ReportingScope() { g_EventErrorReporting = saved; }
  } reporting(!abort);
  const RunOptions& options = Run_Options();
  if (!options.headless && !options.no_errors && g_display_errors) {
    if (Window_State().fullscreen_active) Window_Set_Fullscreen(false);
    // The window gets two chances to settle before the dialog takes the focus.
    for (int i = 0; i < 2 && Window_State().real_display; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      Window_PumpMessages();
    }
    const bool chose_abort = Window_ShowErrorDialog(ErrorReport_DialogText(text), !abort);
    if (!abort) abort = chose_abort;
  }
  IO_Clear();
  Error_SetLast(text);
  g_OutputConsole->Output("ERROR!!! :: %s\n", text.c_str());
  Error_SetOccurred(true);
  if (abort) {
    g_abort_latched = true;
    New_Room = kNewRoomAbort;
    Platform_PostQuit();
  }
}

int32_t ShowMessageBox(const std::string& text, const char* const* buttons, int32_t count) {
  const int32_t pressed = Window_ShowMessageBox(text, buttons, count);
  // The box took the key and button releases: what was held is let go.
  if (pressed >= 0) IO_Clear();
  return pressed;
}

void Exception_Unhandled(const KVTSLException& exception) {
  const RValue& handler = Error_UnhandledHandler();
  if (RV_Kind(handler) != kRVUndefined && RV_Kind(handler) != kRVUnset) {
    CInstance* global = KV_AsInstance(Object_Global());
    RValue method = RV_Undefined();
    RV_CopyRef(&method, &handler);
    RValue argument = RV_Undefined();
    RV_CopyRef(&argument, &exception.value());
    RValue* arguments[] = {&argument};
    RValue result = RV_Undefined();
    CallMethod(global, global, &result, 1, &method, arguments);
    g_ErrorsMuted = true;
    const int status = RV_ToInt32(result);
    RV_FreeToUndefined(&result);
    RV_FreeToUndefined(&argument);
    RV_FreeToUndefined(&method);
    g_exit(status);
    return;
  }
  ShowError(Exception_Text(exception), true);
  Run_ExitCode = 1;
  g_exit(1);
}

void ErrorReport_SetDisplayErrors(bool on) { g_display_errors = on; }
void ErrorReport_SetExit(void (*exit_fn)(int)) { g_exit = exit_fn != nullptr ? exit_fn : process_exit; }

void ErrorReport_Reset() {
  g_abort_latched = false;
  (void)g_report_installed;
  (void)g_fatal_installed;
}
