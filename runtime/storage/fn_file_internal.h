#pragma once
// Shared by the fn_file*.cpp builtin files: argument readers and result setters, and the
// registration of each handle family. Not for other subsystems.
#include <string>
#include <string_view>

#include "core/fn_value_internal.h"
#include "core/rvalue.h"

namespace fn_file {

// A name argument: null for undefined, null and unset values (the "null string" of the messages),
// else the argument as text.
inline const char* name_arg(const RValue* argv, int n) {
  switch (RV_Kind(argv[n])) {
    case kRVUndefined:
    case kRVUnset:
    case kRVNull:
      return nullptr;
    default:
      return KVGetString(argv, n);
  }
}

inline void set_text(RValue* result, std::string_view text) {
  RV_SetStringLen(result, text.data(), static_cast<int32_t>(text.size()));
}

void RegisterTextFileBuiltins();
void RegisterBinaryFileBuiltins();
void RegisterIniBuiltins();
void RegisterZipAndDialogBuiltins();
void CloseTextAndBinaryFiles();
void DropIniFile();

}  // namespace fn_file
