#pragma once
// The main of a test runner: the real runner with a compiled script table of its own linked in,
// on the no-display backends (the process tests drive it headless or through the fake display),
// or with display as the display pair, tried first as the runner's own entry point does.
#include <cstddef>

#include "core/code_tables.h"
#include "platform/fake/fake_display.h"
#include "run/run_game.h"

template <size_t N>
int RunWithScripts(int argc, char** argv, KVScriptRow (&rows)[N], DisplayBackend display = {}) {
  static KVCodeTables tables;
  tables.scriptCount = static_cast<int32_t>(N);
  tables.scriptTable = rows;
  g_CodeTables = &tables;
  return Kova_Main(argc, argv, DisplayPlatform{display, FakeDisplay_Backend()});
}
