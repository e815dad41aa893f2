#pragma once
// The frame chain: every compiled script, method and event links a three-field record on its own
// stack into g_FrameChain for stack traces and error reports. TSLFrameScope links on entry and
// unlinks on every exit, unwinding included, so a caught error leaves the chain at the catcher.
// The chain has no depth limit and belongs to the main thread.
#include <cstdint>
#include <string>
#include <vector>

struct TSLFrame {
  TSLFrame* previous;
  const char* name;
  int32_t line;  // zero-based source line; compiled code stores it before each statement that can fail
};

extern TSLFrame* g_FrameChain;

class TSLFrameScope {
 public:
  explicit TSLFrameScope(const char* name) : frame_{g_FrameChain, name, 0} { g_FrameChain = &frame_; }
  ~TSLFrameScope() { g_FrameChain = frame_.previous; }
  TSLFrameScope(const TSLFrameScope&) = delete;
  TSLFrameScope& operator=(const TSLFrameScope&) = delete;

  void set_line(int32_t line) { frame_.line = line; }
  TSLFrame& frame() { return frame_; }

 private:
  TSLFrame frame_;
};

// "%s (line %d)" for each frame, innermost first, or the bare name for a negative line.
std::vector<std::string> Frame_StackTexts();
// "name:line" with the line counted from 1, or the bare name for a negative line; at most maximum.
std::vector<std::string> Frame_CallstackEntries(int32_t maximum);

// Builtins show_debug_message and debug_get_callstack.
void Debug_RegisterBuiltins();
