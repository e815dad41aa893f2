#pragma once
// Applying options.ini, the optional ini file beside the data file. The file is read once per
// start of a game and kept, read-only, until the next start or Options_ReleaseIni. Keys read:
//   [Windows]  VertexBufferMethod (atoi; 0, 1 or 2, other numbers change nothing; skipped after
//              -multivb/-novb), AlternateSyncMethod (skipped after -manualvsync), SleepMargin (not
//              below 0; skipped after -sleepmargin; also stored in the global SleepMargin)
//   [DEFAULT]  OrientLandscape, OrientLandscapeFlipped, OrientPortrait, OrientPortraitFlipped,
//              Debug, Trace
//   any        PreGraphicsInitFile, PreGraphicsInitArg: extension libraries can't be loaded on this
//              platform, so one release-console line says so and start-up goes on.
// Switch values are "True", "False" or a number (not 0 is on), compared whole and case-sensitively;
// other text leaves the setting as it was, with a release-console line naming the key.
#include <cstdint>
#include <optional>
#include <string>

#include "run/options.h"

class IniFile;

struct OptionsIniSettings {
  bool exists = false;  // the file was found and read
  std::optional<int32_t> vertex_buffer_method;
  std::optional<bool> alternate_sync;
  std::optional<int32_t> sleep_margin;
  std::optional<bool> orient_landscape;
  std::optional<bool> orient_landscape_flipped;
  std::optional<bool> orient_portrait;
  std::optional<bool> orient_portrait_flipped;
  std::optional<bool> debug;
  std::optional<bool> trace;
  std::optional<std::string> pre_graphics_init_file;
  std::optional<std::string> pre_graphics_init_arg;
};

// Reads the settings of an already parsed ini; sets SleepMargin when the file gives one.
OptionsIniSettings OptionsIni_Apply(const IniFile& ini, const RunOptions& options);

// Looks for the file at path (console lines "Checking if INIFile exists at %s\n" and, when it
// exists, "INIFile %s Exists, loading....\n" on the debug console), parses and applies it, and
// fills *settings (settings->exists tells whether the file was there). The parsed file is kept
// until the next call or Options_ReleaseIni. Returns settings->exists.
bool Options_ApplyIni(const std::string& path, const RunOptions& options, OptionsIniSettings* settings);

// The options.ini kept by the last Options_ApplyIni; null when there was none.
const IniFile* Options_Ini();
void Options_ReleaseIni();

// "True" -> 1, "False" -> 0, a number -> whether it is not 0; -1 for any other text.
int OptionsIni_ParseSwitch(const char* text);
