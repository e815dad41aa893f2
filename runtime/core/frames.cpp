#include "core/frames.h"

#include <cstdio>
#include <cstring>

#include "core/console.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"

TSLFrame* g_FrameChain = nullptr;

namespace {

constexpr size_t kDebugSlice = 1023;
constexpr int32_t kDefaultCallstackDepth = 100;

std::string frame_text(const TSLFrame& frame, const char* format, int32_t line_offset) {
  const char* name = frame.name != nullptr ? frame.name : "";
  if (frame.line < 0) return name;
  char buffer[512];
  std::snprintf(buffer, sizeof buffer, format, name, frame.line + line_offset);
  return buffer;
}

void F_ShowDebugMessage(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Undefined();
  const RValue value = argc > 0 ? argv[0] : RV_Undefined();
  char* text = RV_ToText(value);
  const char* piece = text != nullptr ? text : "";
  size_t remaining = std::strlen(piece);
  // Long texts go out in slices so no console buffer cuts them; only the last ends the line.
  while (remaining > 1024) {
    g_OutputConsole->Output("%.*s", static_cast<int>(kDebugSlice), piece);
    piece += kDebugSlice;
    remaining -= kDebugSlice;
  }
  g_OutputConsole->Output("%s\n", piece);
  KV_FREE(text);
}

void F_DebugGetCallstack(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int32_t maximum = argc > 0 && RV_Kind(argv[0]) != kRVUndefined ? KVGetInt32(argv, 0) : kDefaultCallstackDepth;
  const std::vector<std::string> entries = Frame_CallstackEntries(maximum);
  // One more element than there are frames: the list ends with a 0.
  const int32_t count = static_cast<int32_t>(entries.size());
  result->pArray = RV_NewArray(count + 1);
  result->flags = 0;
  result->kind = kRVArray;
  for (int32_t i = 0; i < count; ++i) RV_SetString(&result->pArray->pArray[i], entries[i].c_str());
}

}  // namespace

std::vector<std::string> Frame_StackTexts() {
  std::vector<std::string> texts;
  for (const TSLFrame* frame = g_FrameChain; frame != nullptr; frame = frame->previous) {
    texts.push_back(frame_text(*frame, "%s (line %d)", 0));
  }
  return texts;
}

std::vector<std::string> Frame_CallstackEntries(int32_t maximum) {
  std::vector<std::string> entries;
  for (const TSLFrame* frame = g_FrameChain; frame != nullptr && static_cast<int32_t>(entries.size()) < maximum;
       frame = frame->previous) {
    entries.push_back(frame_text(*frame, "%s:%d", 1));
  }
  return entries;
}

void Debug_RegisterBuiltins() {
  Function_Add("show_debug_message", F_ShowDebugMessage, 1, 0);
  Function_Add("debug_get_callstack", F_DebugGetCallstack, -1, 0);
}
