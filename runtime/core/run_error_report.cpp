#include "core/error_report.h"

#include <cstdlib>

#include "core/console.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/run_subjects.h"
#include "graphics/window.h"
#include "platform/process.h"

namespace {

bool g_abort_latched = false;
void (*g_exit)(int) = std::exit;

}  // namespace

std::string Exception_Text(const KVTSLException& exception) {
  return exception.message() + "\n";
}

void ShowError(const std::string& text, bool abort) {
  if (g_abort_latched) return;
  // No dialog exists yet on this platform's headless path; the console carries the report.
  IO_Clear();
  g_OutputConsole->Output("ERROR!!! :: %s\n", text.c_str());
  // The dialog answers whether to abort; an error that may not be ignored always aborts.
  abort = Window_ShowErrorDialog(text, !abort);
  if (abort) {
    g_abort_latched = true;
    New_Room = kNewRoomAbort;
    Platform_PostQuit();
  }
}

void Exception_Unhandled(const KVTSLException& exception) {
  ShowError(Exception_Text(exception), true);
  Run_ExitCode = 1;
  g_exit(1);
}

void ErrorReport_SetExit(void (*exit_fn)(int)) { g_exit = exit_fn != nullptr ? exit_fn : std::exit; }
void ErrorReport_Reset() { g_abort_latched = false; }
