#pragma once
// The writer's string pool: every distinct text gets one id, in first-use order, and is written
// once into STRG as {u32 length, bytes, NUL}, padded to 4 bytes. Lookup is one hash probe.
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace datawin {

class StringPool {
 public:
  // The id of `text`, adding it on first use.
  int32_t intern(std::string_view text);
  const std::vector<std::string>& strings() const { return strings_; }
  bool empty() const { return strings_.empty(); }

  // Bytes one entry takes in STRG: length word, text, NUL, padding to 4.
  static uint32_t entry_bytes(const std::string& text);

 private:
  std::vector<std::string> strings_;
  std::unordered_map<std::string, int32_t> ids_;
};

}  // namespace datawin
