#include "datawin/writer/string_pool.h"

#include "datawin/writer/writer.h"

namespace datawin {

int32_t StringPool::intern(std::string_view text) {
  std::string key(text);
  auto found = ids_.find(key);
  if (found != ids_.end()) return found->second;
  if (text.size() > 0x7FFFFFF0u) throw WriteError("string too long for the data file");
  const auto id = static_cast<int32_t>(strings_.size());
  strings_.push_back(key);
  ids_.emplace(std::move(key), id);
  return id;
}

uint32_t StringPool::entry_bytes(const std::string& text) {
  const uint64_t raw = 4 + static_cast<uint64_t>(text.size()) + 1;
  return static_cast<uint32_t>((raw + 3) & ~uint64_t{3});
}

}  // namespace datawin
