#include "core/console.h"

#include <cstdio>
#include <string>

namespace {

DummyConsole g_dummy_console;
TConsole g_release_console(true);
TConsole g_output_console(false);

std::string g_output_file;
std::string g_debug_output_file;
std::string g_unwritable_file;  // the last file that could not be appended to, reported once
bool g_mirror_stderr = false;
ConsoleCapture* g_capture = nullptr;

constexpr size_t kConsoleBuffer = 4096;

std::string normalise_line_ends(const char* text) {
  std::string out;
  for (const char* p = text; *p != '\0'; ++p) {
    if ((p[0] == '\r' && p[1] == '\n') || (p[0] == '\n' && p[1] == '\r')) {
      out.push_back('\n');
      ++p;
    } else {
      out.push_back(*p);
    }
  }
  return out;
}

// False when the file can't be opened or written.
bool append_to_file(const std::string& path, const char* text) {
  if (path.empty()) return true;
  FILE* file = std::fopen(path.c_str(), "a+");
  if (file == nullptr) return false;
  const bool written = std::fputs(text, file) >= 0;
  return std::fclose(file) == 0 && written;
}

}  // namespace

tagIConsole* g_DebugConsole = &g_dummy_console;
tagIConsole* g_ReleaseConsole = &g_release_console;
tagIConsole* g_OutputConsole = &g_output_console;

void TConsole::Output(const char* format, ...) {
  va_list args;
  va_start(args, format);
  OutputV(format, args);
  va_end(args);
}

void TConsole::OutputV(const char* format, va_list args) {
  char buffer[kConsoleBuffer];
  std::vsnprintf(buffer, sizeof buffer, format, args);
  if (g_mirror_stderr) std::fputs(buffer, stderr);
  const std::string& file = debug_file_ ? (g_debug_output_file.empty() ? g_output_file : g_debug_output_file)
                                         : g_output_file;
  std::string text = normalise_line_ends(buffer);
  // A file that can't be written is said once on the console, after the text it missed.
  if (!append_to_file(file, buffer) && file != g_unwritable_file) {
    g_unwritable_file = file;
    text += "Unable to append console output to " + file + "\n";
  }
  if (g_capture != nullptr) {
    g_capture->text_ += text;
    return;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void TErrStreamConsole::Output(const char* format, ...) {
  char piece[16384];
  va_list args;
  va_start(args, format);
  std::vsnprintf(piece, sizeof piece, format, args);
  va_end(args);
  text_ += piece;
}

void Console_SetOutputFile(const std::string& path) {
  g_output_file = path;
  g_unwritable_file.clear();
}

void Console_SetDebugOutputFile(const std::string& path) {
  g_debug_output_file = path;
  g_unwritable_file.clear();
  g_DebugConsole = path.empty() ? static_cast<tagIConsole*>(&g_dummy_console) : g_ReleaseConsole;
}

void Console_SetMirrorToStderr(bool on) { g_mirror_stderr = on; }

void Console_Reset() {
  g_DebugConsole = &g_dummy_console;
  g_ReleaseConsole = &g_release_console;
  g_OutputConsole = &g_output_console;
  g_output_file.clear();
  g_debug_output_file.clear();
  g_unwritable_file.clear();
  g_mirror_stderr = false;
}

ConsoleCapture::ConsoleCapture() : outer_(g_capture) { g_capture = this; }
ConsoleCapture::~ConsoleCapture() { g_capture = outer_; }
