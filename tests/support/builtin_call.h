#pragma once
// Registered builtins called by name as a table row holds their arguments (built at run time):
//   CallBuiltin   the builtin's result value (the caller frees it)
//   CallNumber    its result as a number, 0 for undefined
//   BuiltinError  the message of the script error it raises, "" when none (ErrorRaisedBy: of any call)
// R and S make number and string arguments.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "core/error.h"
#include "core/function_table.h"

inline RValue R(double v) { return RV_Real(v); }
// A string value that the caller frees.
inline RValue S(const char* text) {
  RValue v = RV_Undefined();
  RV_SetString(&v, text);
  return v;
}

inline RValue CallBuiltin(const char* name, std::vector<RValue> args = {}) {
  int32_t id = -1;
  if (!Function_Find(name, &id)) ADD_FAILURE() << "no builtin " << name;
  RValue result = RV_Undefined();
  if (id < 0) return result;
  const RFunction* row = Function_Row(id);
  g_CurrentFunction = row;
  row->handler(&result, nullptr, nullptr, static_cast<int>(args.size()), args.data());
  return result;
}

inline double CallNumber(const char* name, std::vector<RValue> args) {
  RValue result = CallBuiltin(name, std::move(args));
  const double value = RV_Kind(result) == kRVUndefined ? 0 : RV_ToDouble(result);
  RV_FreeToUndefined(&result);
  return value;
}

inline double CallNumber(const char* name, const std::vector<double>& numbers = {}) {
  std::vector<RValue> args;
  for (double n : numbers) args.push_back(R(n));
  return CallNumber(name, std::move(args));
}

// The message of the script error that run() raises, "" when it raises none.
template <typename Run>
std::string ErrorRaisedBy(Run&& run) {
  try {
    run();
  } catch (const KVTSLException& e) {
    return e.message();
  }
  return "";
}

inline std::string BuiltinError(const char* name, std::vector<RValue> args = {}) {
  return ErrorRaisedBy([&] {
    RValue r = CallBuiltin(name, std::move(args));
    RV_FreeToUndefined(&r);
  });
}
