#pragma once
// The three consoles of the runtime. g_DebugConsole is silent unless -debugoutput makes it the
// release console; g_ReleaseConsole carries runtime warnings; g_OutputConsole carries game output.
// TConsole formats into a 4096-byte buffer (longer text is cut), appends to the -output or
// -debugoutput file when one is set, and writes to standard output with CR LF and LF CR pairs
// turned into one LF. Tests can capture everything written to standard output with ConsoleCapture.
#include <cstdarg>
#include <string>

class tagIConsole {
 public:
  virtual ~tagIConsole() = default;
  virtual bool IsReady() { return true; }
  virtual void Output(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
};

class DummyConsole final : public tagIConsole {
 public:
  void Output(const char*, ...) override {}
};

class TConsole final : public tagIConsole {
 public:
  explicit TConsole(bool debug_file) : debug_file_(debug_file) {}
  void Output(const char* format, ...) override __attribute__((format(printf, 2, 3)));
  void OutputV(const char* format, va_list args);

 private:
  bool debug_file_;
};

// Collects text into a growing block; used to compose error reports.
class TErrStreamConsole final : public tagIConsole {
 public:
  void Output(const char* format, ...) override __attribute__((format(printf, 2, 3)));
  const std::string& text() const { return text_; }
  void clear() { text_.clear(); }

 private:
  std::string text_;
};

extern tagIConsole* g_DebugConsole;
extern tagIConsole* g_ReleaseConsole;
extern tagIConsole* g_OutputConsole;

// Command-line file options: -output and -debugoutput paths ("" when off), and -outputdebugstring,
// which on this platform copies console text to standard error.
void Console_SetOutputFile(const std::string& path);
void Console_SetDebugOutputFile(const std::string& path);
void Console_SetMirrorToStderr(bool on);
// Restores the three console pointers and the file options to their defaults.
void Console_Reset();

// Replaces the standard-output sink while alive; nested captures restore the outer one.
class ConsoleCapture {
 public:
  ConsoleCapture();
  ~ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;
  const std::string& text() const { return text_; }
  void clear() { text_.clear(); }

 private:
  friend class TConsole;
  std::string text_;
  ConsoleCapture* outer_;
};
