#include "data/game_file.h"

#include <cstdio>
#include <cstring>

#include "core/error.h"
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

GameFileStatus GameFile_Read(const std::string& path, GameImage* out, GameFileSizes* sizes) {
  *out = GameImage{};
  FileHandle file(std::fopen(path.c_str(), "rb"));
  if (file.get() == nullptr) return GameFileStatus::kUnreadable;
  if (std::fseek(file.get(), 0, SEEK_END) != 0) return GameFileStatus::kUnreadable;
  const long end = std::ftell(file.get());
  if (end < 0) return GameFileStatus::kUnreadable;
  const auto length = static_cast<uint64_t>(end);
  std::rewind(file.get());
  uint8_t head[8] = {};
  const size_t head_size = std::fread(head, 1, sizeof head, file.get());
  if (std::ferror(file.get()) != 0) return GameFileStatus::kUnreadable;
  if (!GameFile_HasFormMagic(head, static_cast<uint32_t>(head_size))) return GameFileStatus::kNotGameFile;
  // The header's size decides before anything is read; an image must also fit its 32-bit size.
  const uint32_t form_size = head_size == sizeof head ? datawin::load_u32(head + 4) : 0;
  if ((head_size == sizeof head && length != uint64_t{form_size} + 8) || length > UINT32_MAX - kGameImageSlack) {
    if (sizes != nullptr) *sizes = GameFileSizes{length, form_size};
    return GameFileStatus::kWrongSize;
  }
  std::rewind(file.get());
  const auto size = static_cast<uint32_t>(length);
  auto* data = static_cast<uint8_t*>(KV_ALLOC(static_cast<size_t>(size) + kGameImageSlack));
  std::memset(data + size, 0, kGameImageSlack);
  if (std::fread(data, 1, size, file.get()) != size) {
    KV_FREE(data);
    return GameFileStatus::kUnreadable;
  }
  out->data = data;
  out->size = size;
  return GameFileStatus::kOk;
}

void GameFile_ReportUnexpectedSize(uint64_t length, uint32_t form_size) {
  KVError("Error attempting to load wad file with unexpected size %llu szFORM %u\n",
          static_cast<unsigned long long>(length), form_size);
}

void GameFile_Free(GameImage* image) {
  KV_FREE(image->data);
  *image = GameImage{};
}
