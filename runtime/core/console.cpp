#include "core/console.h"

#include <cstdio>
#include <string>

namespace {

DummyConsole g_dummy_console;
TConsole g_release_console(true);
TConsole g_output_console(false);

std::string g_output_file;
std::string g_debug_output_file;
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

void append_to_file(const std::string& path, const char* text) {
  if (path.empty()) return;
  if (FILE* file = std::fopen(path.c_str(), "a+")) {
    std::fputs(text, file);
    std::fclose(file);
  }
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
  append_to_file(debug_file_ ? (g_debug_output_file.empty() ? g_output_file : g_debug_output_file) : g_output_file,
                 buffer);
  const std::string text = normalise_line_ends(buffer);
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

void Console_SetOutputFile(const std::string& path) { g_output_file = path; }

void Console_SetDebugOutputFile(const std::string& path) {
  g_debug_output_file = path;
  g_DebugConsole = path.empty() ? static_cast<tagIConsole*>(&g_dummy_console) : g_ReleaseConsole;
}

void Console_SetMirrorToStderr(bool on) { g_mirror_stderr = on; }

void Console_Reset() {
  g_DebugConsole = &g_dummy_console;
  g_ReleaseConsole = &g_release_console;
  g_OutputConsole = &g_output_console;
  g_output_file.clear();
  g_debug_output_file.clear();
  g_mirror_stderr = false;
}

ConsoleCapture::ConsoleCapture() : outer_(g_capture) { g_capture = this; }
ConsoleCapture::~ConsoleCapture() { g_capture = outer_; }
