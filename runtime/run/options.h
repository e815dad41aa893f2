#pragma once
// The runner's command line: the byte tokeniser, the switch table and the parameter_string table.
//
// Tokens: bytes whose signed value is below 33 are blanks, so bytes 0x80 and above outside quotes
// separate tokens too. A double quote toggles quoting and is dropped (`a"b c"d` is `ab cd`); `""`
// is an empty token. Every token goes through one 4096-byte token buffer: a longer token is cut
// to its first 4095 bytes and the rest of it is skipped, so it never spills into the next token.
// Each token, switches included, is copied into the parameter_string table (at most 100 entries;
// later tokens are still parsed but not recorded). The table restarts at 0 on every parse.
//
// Options_Parse is pure: it fills RunOptions and the table and touches nothing else. Before the
// first token it resets debug mode, the audio debug word, -ext, -noaudio, -inawindow, -record,
// -playback and the end-to-end switches (-shot, -digest, -frames, -fastforward), and turns the new
// execution path on; every other field keeps its value, so a game path chosen beside the
// executable stays unless -game replaces it. A switch whose value is missing at the end of the
// line is ignored. A numeric value that is no number is ignored with a release-console warning. Costs: one pass over the string, one std::string per token.
#include <cstdint>
#include <string>
#include <vector>

class CInstance;
struct RValue;

enum CrashDumpMode : int32_t {
  kCrashDumpOff = 0,
  kCrashDumpSmall = 1,  // -minidump, -headless
  kCrashDumpFull = 2,   // -fullminidump
  kCrashDumpModeCount = 3,
};

// A frame of the run and a file, for the end-to-end switches -shot and -digest.
struct FrameCapture {
  int64_t frame = 0;
  std::string path;
};

struct RunOptions {
  // Data files.
  std::string game_path;  // "" while none is known
  bool exit_set = false;  // -exit: go on with exit_path when this game ends
  std::string exit_path;

  // Reset at the start of every parse.
  bool debug_mode = false;  // -debug; the caller installs the debug allocator hook with it
  int32_t audio_debug = 0;  // -debug sets 2, -audiodebug ORs 16
  bool ext_trace = false;
  bool no_audio = false;
  bool in_a_window = false;
  bool record = false;
  bool playback = false;  // wins over record
  bool new_execution_path = true;  // -oldexec clears it
  // The end-to-end harness (-shot, -digest, -frames, -fastforward).
  std::vector<FrameCapture> shots;
  std::vector<FrameCapture> digests;
  int64_t frame_count = -1;  // -1: no limit
  bool fast_forward = false;

  // Kept across parses.
  std::string record_path;
  std::string playback_path;
  bool trace = false;
  bool vm_trace = false;
  bool no_errors = false;
  CrashDumpMode crash_dump = kCrashDumpOff;
  std::string minidump_dir;
  bool output_debug_string = false;
  bool network_debug = false;
  bool steam = false;
  std::string output_path;        // -output: release console text is appended there
  std::string debug_output_path;  // -debugoutput
  bool headless = false;
  bool profile_dump = false;
  std::string profile_dump_path;
  int32_t profile_dump_seconds = 0;
  bool sleep_margin_fixed = false;  // -sleepmargin: options.ini no longer sets SleepMargin
  int32_t sleep_margin = 10;        // ms, applied to SleepMargin by the caller
  bool vertex_buffer_method_fixed = false;  // -multivb / -novb
  int32_t vertex_buffer_method = 0;
  bool manual_vsync = false;  // alternate sync on, options.ini no longer read for it
  bool no_direct_input = false;
  bool save_frame = false;   // -saveframe <n> <path>: the window's picture of drawn frame n as PNG, then the end
  int32_t save_frame_at = 0;
  std::string save_frame_path;
  std::string dir;           // -dir: accepted, nothing reads it
  std::string kvdebug_path;  // -kvdebugpath: accepted, nothing reads it
};

constexpr int kParameterTableSize = 100;
constexpr int kTokenBufferSize = 4096;

void Options_Parse(const char* command_line, RunOptions* options);

// The table of the last parse; parameter_string gives "" outside [0, count).
int parameter_count();
const std::string& parameter_string(int n);

// Builtins parameter_count() (a real) and parameter_string(n) (a string).
void F_ParameterCount(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv);
void F_ParameterString(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv);
void Options_RegisterBuiltins();

// One command line that tokenises back into argv[0..argc). Arguments that are empty or hold a
// blank, a control byte or a byte of 0x80 and above are quoted. Limits of the tokeniser: a `"`
// inside an argument has no escape, so it is dropped (the argument comes back without it), and an
// argument longer than 4095 bytes comes back cut.
std::string Options_JoinArgs(int argc, char** argv);

// --help: every switch with its values and a line of help, then --help and --version.
std::string Options_HelpText();

// The command line of the -exit restart: `-game "<exit path>"`, cut to 4095 bytes.
std::string Options_ExitCommandLine(const std::string& exit_path);
