// Buffer operations over ranges of bytes: digests, Base64, zlib streams, copy and fill, files and
// surfaces.
//
// Ranges (Md5, Sha1, Crc32, Save, Base64Encode, Compress): a negative size runs to the end. Outside
// wrap buffers the offset is clamped to 0 .. size - 1 and the size to what is left; in a wrap buffer
// the offset is taken into range and the run goes on from the start after the end, as often as the
// size asks.
#include <nettle/base64.h>
#include <nettle/md5.h>
#include <nettle/nettle-meta.h>
#include <nettle/sha1.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/memory.h"
#include "storage/buffer.h"
#include "storage/buffer_item.h"

namespace {

// The bytes of a range: a view into the buffer when they lie in one run, else a copy.
class RangeBytes {
 public:
  RangeBytes(const IBuffer& buffer, int32_t offset, int32_t size) {
    const int64_t total = buffer.size;
    if (total <= 0) return;
    int64_t start = offset;
    int64_t count = size;
    if (buffer.type != kBufferWrap) {
      start = std::clamp<int64_t>(start, 0, total - 1);
      count = count < 0 ? total - start : std::min(count, total - start);
      view(buffer.data + start, static_cast<size_t>(count));
      return;
    }
    start = ((start % total) + total) % total;
    if (count < 0) count = total - start;
    if (start + count <= total) {
      view(buffer.data + start, static_cast<size_t>(count));
      return;
    }
    copy_.resize(static_cast<size_t>(count));
    for (size_t done = 0; done < copy_.size();) {
      const size_t run = std::min(copy_.size() - done, static_cast<size_t>(total - start));
      std::memcpy(copy_.data() + done, buffer.data + start, run);
      done += run;
      start = 0;
    }
    view(copy_.data(), copy_.size());
  }

  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  void view(const uint8_t* data, size_t size) {
    data_ = data;
    size_ = size;
  }

  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
  std::vector<uint8_t> copy_;
};

void set_string(RValue* out, const std::string& text) {
  *out = RV_Undefined();
  RV_SetStringLen(out, text.data(), static_cast<int32_t>(text.size()));
}

std::string hex(const uint8_t* digest, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text(size * 2, '0');
  for (size_t i = 0; i < size; ++i) {
    text[i * 2] = kDigits[digest[i] >> 4];
    text[i * 2 + 1] = kDigits[digest[i] & 15];
  }
  return text;
}

// The digest of a range in lower-case hexadecimal.
void digest_range(const IBuffer& buffer, const nettle_hash& hash, RValue* out, int32_t offset, int32_t size) {
  const RangeBytes range(buffer, offset, size);
  union {
    md5_ctx md5;
    sha1_ctx sha1;
  } context;
  uint8_t digest[SHA1_DIGEST_SIZE];
  hash.init(&context);
  hash.update(&context, range.size(), range.data());
  hash.digest(&context, hash.digest_size, digest);
  set_string(out, hex(digest, hash.digest_size));
}


// Decoded Base64 text, or false for text that isn't Base64.
bool decode_base64(const char* text, std::vector<uint8_t>* out) {
  const size_t length = std::strlen(text);
  out->resize(BASE64_DECODE_LENGTH(length) + 1);
  base64_decode_ctx context;
  base64_decode_init(&context);
  size_t produced = out->size();
  if (base64_decode_update(&context, &produced, out->data(), length, text) == 0) return false;
  out->resize(produced);
  if (base64_decode_final(&context) != 0) return true;
  // Text without its padding stops 2 or 4 bits short of a byte; a lone last character is wrong.
  return context.padding == 0 && (context.bits == 2 || context.bits == 4);
}

}  // namespace

bool Buffer_DecodeBase64(const char* text, std::vector<uint8_t>* out) { return decode_base64(text, out); }

bool Buffer_ReadFile(const char* name, std::vector<uint8_t>* out) {
  out->clear();
  if (name == nullptr || std::strncmp(name, "http://", 7) == 0 || std::strncmp(name, "https://", 8) == 0) return false;
  return Buffer_GetFileAccess().read_whole(name, out);
}

bool IBuffer::Save(const char* filename, int32_t offset, int32_t size) {
  const RangeBytes range(*this, offset, size);
  return Buffer_GetFileAccess().write_whole(filename, range.data(), range.size());
}

bool IBuffer::Load(const char* filename, int32_t src_offset, int32_t src_size, int32_t dest_offset) {
  std::vector<uint8_t> file;
  if (!Buffer_ReadFile(filename, &file)) return false;
  const int64_t total = static_cast<int64_t>(file.size());
  const int64_t start = std::clamp<int64_t>(src_offset, 0, total);
  const int64_t count = src_size < 0 ? total - start : std::min<int64_t>(src_size, total - start);
  PutBytesAt(dest_offset, file.data() + start, static_cast<size_t>(count));
  return true;
}

void IBuffer::Base64Encode(RValue* out, int32_t offset, int32_t size) {
  const RangeBytes range(*this, offset, size);
  std::string text(BASE64_ENCODE_RAW_LENGTH(range.size()), '\0');
  if (!text.empty()) base64_encode_raw(text.data(), range.size(), range.data());
  set_string(out, text);
}

bool IBuffer::Base64Decode(const char* text, int32_t offset, int32_t size) {
  std::vector<uint8_t> bytes;
  if (text == nullptr || !decode_base64(text, &bytes)) return false;
  const size_t count = size < 0 ? bytes.size() : std::min(bytes.size(), static_cast<size_t>(size));
  PutBytesAt(offset, bytes.data(), count);
  return true;
}

void IBuffer::Md5(RValue* out, int32_t offset, int32_t size) { digest_range(*this, nettle_md5, out, offset, size); }

void IBuffer::Sha1(RValue* out, int32_t offset, int32_t size) { digest_range(*this, nettle_sha1, out, offset, size); }

void IBuffer::Crc32(RValue* out, int32_t offset, int32_t size) {
  const RangeBytes range(*this, offset, size);
  const uLong crc = crc32_z(crc32_z(0L, Z_NULL, 0), range.data(), range.size());
  *out = RV_Real(static_cast<double>(static_cast<uint32_t>(crc)));
}

void IBuffer::Copy(int32_t src_offset, int32_t size, IBuffer* dest, int32_t dest_offset) {
  if (dest == nullptr || this->size <= 0) return;
  const int64_t total = this->size;
  int64_t start = src_offset;
  int64_t count = size;
  if (type == kBufferWrap) {
    start = ((start % total) + total) % total;
    count = count < 0 ? total : std::min(count, total);
  } else {
    start = std::clamp<int64_t>(start, 0, total);
    count = count < 0 ? total - start : std::min(count, total - start);
  }
  if (count <= 0) return;
  // A copy goes through a block of its own when the bytes wrap or when they may move under it.
  if (start + count <= total && dest != this) {
    dest->PutBytesAt(dest_offset, data + start, static_cast<size_t>(count));
    return;
  }
  std::vector<uint8_t> bytes(static_cast<size_t>(count));
  for (size_t done = 0; done < bytes.size();) {
    const size_t run = std::min(bytes.size() - done, static_cast<size_t>(total - start));
    std::memcpy(bytes.data() + done, data + start, run);
    done += run;
    start = 0;
  }
  dest->PutBytesAt(dest_offset, bytes.data(), bytes.size());
}

void IBuffer::Fill(int32_t offset, int32_t size, int32_t data_type, const RValue* value) {
  if (offset < 0) return;
  BufferItem item;
  if (!item.encode(data_type, value) || item.count <= 0) return;
  const int64_t end = size < 0 ? this->size : std::min<int64_t>(static_cast<int64_t>(offset) + size, this->size);
  const int64_t mask = alignment - 1;
  int64_t at = offset;
  int64_t written_end = -1;
  for (;;) {
    at = (at + mask) & ~mask;
    if (at + item.count > end) break;
    std::memcpy(data + at, item.bytes, static_cast<size_t>(item.count));
    at += item.count;
    written_end = at;
  }
  if (written_end >= 0) RaiseUsed(written_end);
}

void IBuffer::GetSurface(int32_t surface, int32_t offset) {
  size_t bytes = 0;
  if (!Buffer_SurfaceBytes(surface, &bytes) || bytes == 0) return;
  std::vector<uint8_t> pixels(bytes);
  Buffer_GetSurfaceAccess()->read(surface, pixels.data());
  PutBytesAt(offset, pixels.data(), pixels.size());
}

void IBuffer::SetSurface(int32_t surface, int32_t offset) {
  size_t bytes = 0;
  if (!Buffer_SurfaceBytes(surface, &bytes) || bytes == 0) return;
  std::vector<uint8_t> pixels(bytes, 0);
  if (offset >= 0 && offset < size) {
    std::memcpy(pixels.data(), data + offset, std::min(bytes, static_cast<size_t>(size - offset)));
  }
  Buffer_GetSurfaceAccess()->write(surface, pixels.data());
}

uint8_t* IBuffer::Compress(int32_t offset, int32_t size, int32_t* out_size) {
  *out_size = 0;
  const RangeBytes range(*this, offset, size);
  uLongf bound = compressBound(static_cast<uLong>(range.size()));
  if (bound > static_cast<uLongf>(kBufferMaxSize)) return nullptr;
  auto* block = static_cast<uint8_t*>(KV_ALLOC(bound));
  if (block == nullptr) return nullptr;
  if (compress2(block, &bound, range.data(), static_cast<uLong>(range.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
    KV_FREE(block);
    return nullptr;
  }
  *out_size = static_cast<int32_t>(bound);
  return block;
}

uint8_t* IBuffer::Decompress(int32_t* out_size) {
  *out_size = 0;
  if (size <= 0) return nullptr;
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return nullptr;
  // The output is taken in steps of twice the input, at least 8192 bytes, and joined once at the
  // end, so a long stream costs one copy instead of one per step.
  const size_t step = std::clamp<size_t>(static_cast<size_t>(size) * 2, 8192, size_t{1} << 30);
  std::vector<std::vector<uint8_t>> pieces;
  size_t total = 0;
  stream.next_in = data;
  stream.avail_in = static_cast<uInt>(size);
  int status = Z_OK;
  while (status == Z_OK) {
    pieces.emplace_back(step);
    stream.next_out = pieces.back().data();
    stream.avail_out = static_cast<uInt>(step);
    status = inflate(&stream, Z_NO_FLUSH);
    const size_t produced = step - stream.avail_out;
    pieces.back().resize(produced);
    total += produced;
    if (total > static_cast<size_t>(kBufferMaxSize)) status = Z_MEM_ERROR;
    // Input used up without the end of the stream: the data is cut short.
    if (status == Z_OK && stream.avail_in == 0 && stream.avail_out != 0) status = Z_DATA_ERROR;
    if (status == Z_BUF_ERROR && stream.avail_out == 0) status = Z_OK;
  }
  inflateEnd(&stream);
  if (status != Z_STREAM_END) return nullptr;
  // An empty stream still gives a block, so that success and failure stay apart.
  auto* block = static_cast<uint8_t*>(KV_ALLOC(std::max<size_t>(total, 1)));
  if (block == nullptr) return nullptr;
  size_t at = 0;
  for (const std::vector<uint8_t>& piece : pieces) {
    if (!piece.empty()) std::memcpy(block + at, piece.data(), piece.size());
    at += piece.size();
  }
  *out_size = static_cast<int32_t>(total);
  return block;
}
