#include "core/error.h"

#include <cstdarg>
#include <cstdio>

#include "core/memory.h"

bool g_ErrorsMuted = false;
bool g_ErrorPending = false;

KVTSLException::KVTSLException(const RValue& value) : value_(RV_Unset()) { RV_CopyRef(&value_, &value); }

KVTSLException::KVTSLException(const KVTSLException& other) : value_(RV_Unset()) {
  RV_CopyRef(&value_, &other.value_);
}

KVTSLException& KVTSLException::operator=(const KVTSLException& other) {
  RV_Assign(&value_, &other.value_);
  return *this;
}

KVTSLException::~KVTSLException() { RV_FreeToUndefined(&value_); }

std::string KVTSLException::message() const {
  if (RV_Kind(value_) == kRVString) return RV_StringText(value_);
  char* text = RV_ToText(value_);
  std::string result = text != nullptr ? text : "";
  KV_FREE(text);
  return result;
}

void KVError(const char* format, ...) {
  if (g_ErrorsMuted) {
    g_ErrorPending = true;
    return;
  }
  char buffer[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  RValue text = RV_Undefined();
  RV_SetString(&text, buffer);
  KVTSLException exception(text);
  RV_FreeToUndefined(&text);
  throw exception;
}
