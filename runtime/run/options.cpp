#include "run/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/console.h"
#include "core/function_table.h"
#include "core/rvalue.h"

namespace {

// The one token buffer every token passes through; a token never grows past it.
char g_token_buffer[kTokenBufferSize];

std::string g_parameters[kParameterTableSize];
int g_parameter_count = 0;
const std::string kEmpty;

bool is_blank(char c) { return static_cast<signed char>(c) < 33; }

// Reads the next token of *cursor into g_token_buffer. False when only blanks are left.
bool next_token(const char** cursor, size_t* length) {
  const char* p = *cursor;
  while (*p != '\0' && is_blank(*p)) ++p;
  if (*p == '\0') {
    *cursor = p;
    return false;
  }
  size_t used = 0;
  bool quoted = false;
  for (; *p != '\0' && (quoted || !is_blank(*p)); ++p) {
    if (*p == '"') {
      quoted = !quoted;
    } else if (used < kTokenBufferSize - 1) {
      g_token_buffer[used++] = *p;
    }
  }
  g_token_buffer[used] = '\0';
  *cursor = p;
  *length = used;
  return true;
}

// Hands out the tokens of one parse and records each in the parameter table.
class TokenReader {
 public:
  explicit TokenReader(const char* line) : cursor_(line != nullptr ? line : "") {}

  bool next(std::string* token) {
    size_t length = 0;
    if (!next_token(&cursor_, &length)) return false;
    token->assign(g_token_buffer, length);
    if (g_parameter_count < kParameterTableSize) g_parameters[g_parameter_count++] = *token;
    return true;
  }

 private:
  const char* cursor_;
};

// A whole-token decimal integer, clamped to the int32 range.
bool parse_int(const std::string& text, int32_t* out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (end == text.c_str() || *end != '\0') return false;
  if (errno == ERANGE || value > INT32_MAX) {
    *out = value < 0 ? INT32_MIN : INT32_MAX;
  } else {
    *out = value < INT32_MIN ? INT32_MIN : static_cast<int32_t>(value);
  }
  return true;
}

bool parse_number_value(const char* name, const std::string& text, int32_t* out) {
  if (parse_int(text, out)) return true;
  g_ReleaseConsole->Output("Command line: %s expects a number, got \"%s\"; ignored\n", name, text.c_str());
  return false;
}

using SwitchEffect = void (*)(RunOptions* options, const std::string* values);

struct SwitchRow {
  const char* name;
  int values;
  const char* usage;  // the values, as --help shows them
  const char* help;
  SwitchEffect effect;
};

// A frame number and a file, for -shot and -digest; false when the frame is no number.
bool parse_capture(const char* name, const std::string* v, FrameCapture* out) {
  int32_t frame = 0;
  if (!parse_number_value(name, v[0], &frame)) return false;
  if (frame < 0) {
    g_ReleaseConsole->Output("Command line: %s expects a frame number of 0 or more, got %d; ignored\n", name, frame);
    return false;
  }
  *out = FrameCapture{frame, v[1]};
  return true;
}

void no_effect(RunOptions*, const std::string*) {}

const SwitchRow kSwitches[] = {
    {"-game", 1, "<path>", "the data file to run instead of data.win beside the program", [](RunOptions* o, const std::string* v) { o->game_path = v[0]; }},
    {"-exit", 1, "<path>", "the data file to go on with when this game ends",
     [](RunOptions* o, const std::string* v) {
       o->exit_set = true;
       o->exit_path = v[0];
     }},
    {"-debug", 0, "", "debug mode (only before a game path is known)",
     [](RunOptions* o, const std::string*) {
       if (!o->game_path.empty()) return;
       o->debug_mode = true;
       o->audio_debug = 2;
     }},
    {"-trace", 0, "", "accepted; no effect", [](RunOptions* o, const std::string*) { o->trace = true; }},
    {"-vmtrace", 0, "", "accepted; no effect", [](RunOptions* o, const std::string*) { o->vm_trace = true; }},
    {"-ext", 0, "", "extension calls print a trace", [](RunOptions* o, const std::string*) { o->ext_trace = true; }},
    {"-noerrors", 0, "", "script errors go to the console only, without a dialog", [](RunOptions* o, const std::string*) { o->no_errors = true; }},
    {"-oldexec", 0, "", "the old execution path: no script code runs", [](RunOptions* o, const std::string*) { o->new_execution_path = false; }},
    {"-noaudio", 0, "", "audio stays silent", [](RunOptions* o, const std::string*) { o->no_audio = true; }},
    {"-inawindow", 0, "", "stay windowed even if the game asks for full screen", [](RunOptions* o, const std::string*) { o->in_a_window = true; }},
    {"-minidump", 0, "", "write a small crash dump on a crash", [](RunOptions* o, const std::string*) { o->crash_dump = kCrashDumpSmall; }},
    {"-fullminidump", 0, "", "write a full crash dump on a crash", [](RunOptions* o, const std::string*) { o->crash_dump = kCrashDumpFull; }},
    {"-minidumpdir", 1, "<dir>", "where crash dumps go", [](RunOptions* o, const std::string* v) { o->minidump_dir = v[0]; }},
    {"-outputdebugstring", 0, "", "console text is also written to standard error", [](RunOptions* o, const std::string*) { o->output_debug_string = true; }},
    {"-audiodebug", 0, "", "audio debug output", [](RunOptions* o, const std::string*) { o->audio_debug |= 16; }},
    {"-networkdebug", 0, "", "socket code prints a trace", [](RunOptions* o, const std::string*) { o->network_debug = true; }},
    {"-steam", 0, "", "the external_* builtins are not registered", [](RunOptions* o, const std::string*) { o->steam = true; }},
    {"-record", 1, "<file>", "write every frame's input to the file",
     [](RunOptions* o, const std::string* v) {
       o->record = true;
       o->record_path = v[0];
     }},
    {"-playback", 1, "<file>", "read every frame's input from the file instead of the devices",
     [](RunOptions* o, const std::string* v) {
       o->playback = true;
       o->playback_path = v[0];
     }},
    {"-output", 1, "<file>", "append the release console's text to the file", [](RunOptions* o, const std::string* v) { o->output_path = v[0]; }},
    {"-debugoutput", 1, "<file>", "the debug console writes to the release console and to the file", [](RunOptions* o, const std::string* v) { o->debug_output_path = v[0]; }},
    {"-headless", 0, "", "start up and shut down without running frames",
     [](RunOptions* o, const std::string*) {
       o->headless = true;
       // Headless runs want a dump on a crash; a full dump asked for explicitly stays full.
       if (o->crash_dump == kCrashDumpOff) o->crash_dump = kCrashDumpSmall;
     }},
    {"-profiledump", 2, "<file> <seconds>", "write the profile to the file at that interval",
     [](RunOptions* o, const std::string* v) {
       int32_t seconds = 0;
       if (!parse_number_value("-profiledump", v[1], &seconds)) return;
       o->profile_dump = true;
       o->profile_dump_path = v[0];
       o->profile_dump_seconds = seconds;
     }},
    {"-saveframe", 2, "<frame> <file.png>", "save the window's picture of that drawn frame, then end the game",
     [](RunOptions* o, const std::string* v) {
       int32_t frame = 0;
       if (!parse_number_value("-saveframe", v[0], &frame)) return;
       o->save_frame = true;
       o->save_frame_at = frame < 1 ? 1 : frame;
       o->save_frame_path = v[1];
     }},
    {"-sleepmargin", 1, "<ms>", "how early the frame wait stops sleeping and starts spinning",
     [](RunOptions* o, const std::string* v) {
       int32_t margin = 0;
       if (!parse_number_value("-sleepmargin", v[0], &margin)) return;
       // A negative margin would make the coarse sleep overshoot its deadline.
       o->sleep_margin = margin < 0 ? 0 : margin;
       o->sleep_margin_fixed = true;
     }},
    {"-multivb", 0, "", "vertex buffer method 1",
     [](RunOptions* o, const std::string*) {
       o->vertex_buffer_method = 1;
       o->vertex_buffer_method_fixed = true;
     }},
    {"-novb", 0, "", "vertex buffer method 2",
     [](RunOptions* o, const std::string*) {
       o->vertex_buffer_method = 2;
       o->vertex_buffer_method_fixed = true;
     }},
    {"-manualvsync", 0, "", "the alternate sync method", [](RunOptions* o, const std::string*) { o->manual_vsync = true; }},
    {"-nodirectinput", 0, "", "only the four fixed gamepad slots", [](RunOptions* o, const std::string*) { o->no_direct_input = true; }},
    {"-shot", 2, "<frame> <file.png>", "save the window's picture at the end of that frame (repeatable)",
     [](RunOptions* o, const std::string* v) {
       FrameCapture capture;
       if (parse_capture("-shot", v, &capture)) o->shots.push_back(capture);
     }},
    {"-digest", 2, "<frame> <file>", "write the world's state (room, instances, variables) at the end of that frame (repeatable)",
     [](RunOptions* o, const std::string* v) {
       FrameCapture capture;
       if (parse_capture("-digest", v, &capture)) o->digests.push_back(capture);
     }},
    {"-frames", 1, "<count>", "end the game after that many frames (without it: after the last -shot or -digest)",
     [](RunOptions* o, const std::string* v) {
       int32_t count = 0;
       if (parse_number_value("-frames", v[0], &count)) o->frame_count = count < 0 ? 0 : count;
     }},
    {"-fastforward", 0, "", "no frame pacing: frames run as fast as they can on a clock that moves one frame period a frame",
     [](RunOptions* o, const std::string*) { o->fast_forward = true; }},
    {"-software", 0, "", "accepted; no effect", no_effect},
    {"-intel", 0, "", "accepted; no effect", no_effect},
    {"-vanillaGFX", 0, "", "accepted; no effect", no_effect},
    {"-compresstextures", 0, "", "accepted; no effect", no_effect},
    {"-runTest", 0, "", "accepted; no effect", no_effect},
    {"-dir", 1, "<dir>", "accepted; no effect", [](RunOptions* o, const std::string* v) { o->dir = v[0]; }},
    {"-kvdebugpath", 1, "<path>", "accepted; no effect", [](RunOptions* o, const std::string* v) { o->kvdebug_path = v[0]; }},
};

constexpr int kMostValues = 2;

const SwitchRow* find_switch(const std::string& token) {
  for (const SwitchRow& row : kSwitches) {
    if (token == row.name) return &row;
  }
  return nullptr;
}

}  // namespace

void Options_Parse(const char* command_line, RunOptions* options) {
  options->debug_mode = false;
  options->audio_debug = 0;
  options->ext_trace = false;
  options->no_audio = false;
  options->in_a_window = false;
  options->record = false;
  options->playback = false;
  options->new_execution_path = true;
  options->shots.clear();
  options->digests.clear();
  options->frame_count = -1;
  options->fast_forward = false;

  for (std::string& entry : g_parameters) entry.clear();
  g_parameter_count = 0;

  TokenReader reader(command_line);
  std::string token;
  std::string values[kMostValues];
  while (reader.next(&token)) {
    const SwitchRow* row = find_switch(token);
    if (row == nullptr) continue;
    int read = 0;
    while (read < row->values && reader.next(&values[read])) ++read;
    if (read < row->values) break;  // the line ended before the switch's values
    row->effect(options, values);
  }
  if (options->playback) options->record = false;
}

int parameter_count() { return g_parameter_count; }

const std::string& parameter_string(int n) {
  if (n < 0 || n >= g_parameter_count) return kEmpty;
  return g_parameters[n];
}

void F_ParameterCount(RValue* result, CInstance*, CInstance*, int, RValue*) {
  *result = RV_Real(static_cast<double>(parameter_count()));
}

void F_ParameterString(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int n = argc > 0 ? KVGetInt32(argv, 0) : -1;
  RV_SetString(result, parameter_string(n).c_str());
}

void Options_RegisterBuiltins() {
  Function_Add("parameter_count", F_ParameterCount, 0, 0);
  Function_Add("parameter_string", F_ParameterString, 1, 0);
}

std::string Options_JoinArgs(int argc, char** argv) {
  std::string line;
  for (int i = 0; i < argc; ++i) {
    if (argv[i] == nullptr) continue;
    std::string arg;
    bool needs_quotes = argv[i][0] == '\0';
    for (const char* p = argv[i]; *p != '\0'; ++p) {
      if (*p == '"') continue;
      if (is_blank(*p)) needs_quotes = true;
      arg.push_back(*p);
    }
    // An argument made only of quotes would otherwise vanish instead of staying an empty token.
    if (arg.empty()) needs_quotes = true;
    if (!line.empty()) line.push_back(' ');
    if (needs_quotes) {
      line.push_back('"');
      line += arg;
      line.push_back('"');
    } else {
      line += arg;
    }
  }
  return line;
}

std::string Options_HelpText() {
  std::string text = "Usage: kova-runner [switches]\n";
  auto line = [&text](std::string left, const char* help) {
    if (left.size() < 32) left.resize(32, ' ');
    text += left + " " + help + "\n";
  };
  for (const SwitchRow& row : kSwitches) {
    std::string left = std::string("  ") + row.name;
    if (row.usage[0] != '\0') left += std::string(" ") + row.usage;
    line(left, row.help);
  }
  line("  --help", "this text");
  line("  --version", "the runner's version");
  text += "Other tokens are ignored; scripts read every token with parameter_string.\n";
  return text;
}

std::string Options_ExitCommandLine(const std::string& exit_path) {
  char buffer[kTokenBufferSize];
  std::snprintf(buffer, sizeof buffer, "-game \"%s\"", exit_path.c_str());
  return buffer;
}
