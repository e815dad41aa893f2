// libFuzzer target: JSON text through json_parse (and json_stringify of what it gives, parsed
// again) and through json_decode (and json_encode of the map it makes). The input is the text; it
// ends at its first zero byte, as a script string would. Any crash, sanitizer report or leak is a
// finding, and so is a parsed text whose printed form doesn't parse; the results themselves are
// the unit tests' business.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/console.h"
#include "core/gc.h"
#include "support/storage_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ConsoleCapture* const quiet = new ConsoleCapture;  // parse failures print a line each
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (!JsonRoundTrip(text.c_str())) std::abort();
  GCCollectAll();
  quiet->clear();
  return 0;
}
