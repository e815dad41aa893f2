#pragma once
// Script errors. KVError formats its message (at most 1024 bytes) and raises KVTSLException, the
// one exception type that compiled try/catch blocks catch. The exception holds the thrown value;
// for runtime errors that is the message as a string until the exception object exists.
// With g_ErrorsMuted set nothing is raised: g_ErrorPending is set and KVError returns.
#include <string>

#include "core/rvalue.h"

class KVTSLException {
 public:
  explicit KVTSLException(const RValue& value);
  KVTSLException(const KVTSLException& other);
  KVTSLException& operator=(const KVTSLException& other);
  ~KVTSLException();

  const RValue& value() const { return value_; }
  // The raised text for a runtime error, else the thrown value's text.
  std::string message() const;

 private:
  RValue value_;
};

[[gnu::format(printf, 1, 2)]] void KVError(const char* format, ...);

extern bool g_ErrorsMuted;
extern bool g_ErrorPending;
