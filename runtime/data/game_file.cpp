#include "data/game_file.h"

#include <cstdio>
#include <cstring>

#include "core/memory.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/chunk_tags.h"

namespace {

// Closes the file on every path out.
class FileHandle {
 public:
  explicit FileHandle(FILE* file) : file_(file) {}
  ~FileHandle() {
    if (file_ != nullptr) std::fclose(file_);
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  FILE* get() const { return file_; }

 private:
  FILE* file_;
};

}  // namespace

bool GameFile_HasFormMagic(const uint8_t* data, uint32_t size) {
  if (data == nullptr || size < 4) return false;
  const uint32_t magic = datawin::load_u32(data);
  return magic == datawin::kFormTag || magic == datawin::kFormTagReversed;
}

GameFileStatus GameFile_Read(const std::string& path, GameImage* out) {
  *out = GameImage{};
  FileHandle file(std::fopen(path.c_str(), "rb"));
  if (file.get() == nullptr) return GameFileStatus::kUnreadable;
  if (std::fseek(file.get(), 0, SEEK_END) != 0) return GameFileStatus::kUnreadable;
  const long length = std::ftell(file.get());
  if (length < 0 || static_cast<unsigned long>(length) > UINT32_MAX - kGameImageSlack) {
    return GameFileStatus::kUnreadable;
  }
  std::rewind(file.get());
  const auto size = static_cast<uint32_t>(length);
  auto* data = static_cast<uint8_t*>(KV_ALLOC(static_cast<size_t>(size) + kGameImageSlack));
  std::memset(data + size, 0, kGameImageSlack);
  if (std::fread(data, 1, size, file.get()) != size) {
    KV_FREE(data);
    return GameFileStatus::kUnreadable;
  }
  if (!GameFile_HasFormMagic(data, size)) {
    KV_FREE(data);
    return GameFileStatus::kNotGameFile;
  }
  out->data = data;
  out->size = size;
  return GameFileStatus::kOk;
}

void GameFile_Free(GameImage* image) {
  KV_FREE(image->data);
  *image = GameImage{};
}
