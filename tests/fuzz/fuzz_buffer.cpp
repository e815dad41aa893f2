// libFuzzer target: files of any content through buffer_load and buffer_load_partial and then
// buffer_decompress, the way a game reads back a compressed save that was damaged. The input is
// the file; the script name resolves to it through the buffer file access. Its first four bytes
// also choose the buffer_load_partial destination (type, size, alignment) and offsets.
// Besides crashes, sanitizer reports and leaks, a stream that inflates must, compressed again by
// buffer_compress, inflate to the same bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/memory.h"
#include "storage/buffer.h"

namespace {

const uint8_t* g_file = nullptr;
size_t g_file_size = 0;

bool read_input(const char*, std::vector<uint8_t>* out) {
  out->assign(g_file, g_file + g_file_size);
  return true;
}

bool refuse_write(const char*, const void*, size_t) { return false; }

const BufferFileAccess kInputFile = {read_input, refuse_write};

// Inflates the stream at the start of the buffer and, when it is one whole stream, checks that
// buffer_compress of what came out inflates to the same bytes.
void decompress_and_check(IBuffer* buffer) {
  int32_t size = 0;
  uint8_t* block = buffer->Decompress(&size);
  if (block == nullptr) return;
  const std::vector<uint8_t> inflated(block, block + size);
  const int32_t id = Buffer_Register(Buffer_Adopt(block, size, kBufferGrow));
  IBuffer* plain = Buffer_Get(id);
  if (plain == nullptr) std::abort();
  int32_t packed_size = 0;
  uint8_t* packed = plain->Compress(0, -1, &packed_size);
  if (packed == nullptr) std::abort();
  IBuffer* again = Buffer_Get(Buffer_Register(Buffer_Adopt(packed, packed_size, kBufferGrow)));
  if (again == nullptr) std::abort();
  int32_t round_size = 0;
  uint8_t* round = again->Decompress(&round_size);
  if (round == nullptr || round_size != size || (size > 0 && std::memcmp(round, inflated.data(), inflated.size()) != 0)) {
    std::abort();
  }
  KV_FREE(round);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Buffer_SetFileAccess(&kInputFile);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A stream inflates by at most about 1000 to 1: this keeps every output far below the memory limit.
  if (size > 65536) return 0;
  g_file = data;
  g_file_size = size;

  // buffer_load: a grow buffer holding the whole file.
  std::vector<uint8_t> file;
  if (Buffer_ReadFile("save.dat", &file)) {
    IBuffer* loaded = Buffer_Get(Buffer_CreateFromBytes(file.data(), static_cast<int32_t>(file.size()), kBufferGrow, 1));
    if (loaded != nullptr) decompress_and_check(loaded);
  }

  // buffer_load_partial into a buffer of a type, size and alignment the file's first bytes give.
  if (size >= 4) {
    const auto type = static_cast<BufferType>(data[0] % kBufferTypeCount);
    const int32_t alignment = 1 << (data[0] / kBufferTypeCount % 4);
    IBuffer* target = Buffer_Get(Buffer_Create(data[1] * 4, type, alignment));
    const int32_t src_offset = static_cast<int8_t>(data[2]);
    const int32_t dest_offset = static_cast<int8_t>(data[3]);
    const int32_t src_size = data[2] % 3 == 0 ? -1 : static_cast<int32_t>(size / 2);
    if (target != nullptr && target->Load("save.dat", src_offset, src_size, dest_offset)) decompress_and_check(target);
  }
  Buffer_FreeAll();
  return 0;
}
