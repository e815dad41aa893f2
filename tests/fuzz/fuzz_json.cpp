// libFuzzer target: JSON text through json_parse (and json_stringify of what it gives, parsed
// again) and through json_decode (and json_encode of the map it makes). The input is the text; it
// ends at its first zero byte, as a script string would. Any crash, sanitizer report or leak is a
// finding; the results themselves are the unit tests' business.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/console.h"
#include "core/gc.h"
#include "core/rvalue.h"
#include "storage/ds_core.h"
#include "storage/json.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ConsoleCapture* const quiet = new ConsoleCapture;  // parse failures print a line each
  const std::string text(reinterpret_cast<const char*>(data), size);
  RValue value = RV_Undefined();
  if (Json_Parse(text.c_str(), &value)) {
    const std::string printed = Json_Stringify(value);
    RValue again = RV_Undefined();
    Json_Parse(printed.c_str(), &again);
    RV_FreeToUndefined(&again);
  }
  RV_FreeToUndefined(&value);
  const int32_t map = Json_Decode(text.c_str());
  if (map >= 0) {
    Json_Encode(map);
    DS_Destroy(kDsMap, map);
  }
  GCCollectAll();
  quiet->clear();
  return 0;
}
