// libFuzzer target: the data-file loader. The input is a whole data file; it is copied into a heap
// block of exactly its size and walked the way the runner walks it (the header scan, which
// registers the builtins, then the chunk load with every asset reader plugged in), then every
// table is emptied again. A fatal load error (an unresolved variable or function chain) ends the
// chain instead of the process. Any crash or sanitizer report is a finding: the loader must fail
// with a message, never read outside the file.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "run/asset_readers.h"
#include "run/run_builtins.h"

namespace {

void ignore_fatal(int) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  GameData_SetFatalHandler(ignore_fatal);
  Run_InstallBuiltinRegistrars();
  Assets_InstallReaders();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > UINT32_MAX) return 0;
  static ConsoleCapture* const quiet = new ConsoleCapture;  // the loader's trace and its errors
  const auto length = static_cast<uint32_t>(size);
  std::unique_ptr<uint8_t[]> image(new uint8_t[length == 0 ? 1 : length]);
  if (length > 0) std::memcpy(image.get(), data, length);
  Function_Clear();
  Variable_ResetNames();
  GameData_Reset();
  try {
    HeaderScan(image.get(), length);
  } catch (const KVTSLException&) {
    // the FORM size check; the chunk load then walks nothing
  }
  LoadGameData(image.get(), length);
  Assets_ClearTables();  // nothing may keep pointing into the image
  GameData_Reset();
  GC_Reset();
  quiet->clear();
  return 0;
}
