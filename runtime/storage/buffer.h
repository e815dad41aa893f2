#pragma once
// Buffers: blocks of raw bytes with a read/write position, addressed by integer id. Scripts use them
// for files, glyph and surface data and saved games; other subsystems (surfaces, audio, vertex
// buffers, the cursor wrapper) reach their bytes through the id table below.
//
// Memory: a buffer allocates size + alignment bytes, zeroed, and `data` is the first address of
// that block on the alignment grid. `used` is the high-water mark of bytes written, never above
// `size`. Growth (buffer_grow) doubles the size from 4 until an item fits; every resize makes a
// new block, copies the old bytes and zeroes the rest, so a pointer to `data` goes stale whenever
// a grow buffer grows.
// Positions: every write and read first moves the position up to the alignment grid, which in a
// wrap buffer has shifted by `wrapOffset` (the sizes wrapped so far, modulo the alignment). Fixed
// and vertex buffers refuse what doesn't fit (-2); a wrap buffer carries on from its start; a fast
// buffer knows only single bytes. Numbers are little-endian, as the machine stores them.
// Threads: g_pBufferMutex guards the id table only. A buffer's bytes belong to the main thread,
// or to an asynchronous job while its refCount is above 0 (delete then refuses).
// Odd cases: nothing here reads or writes outside the block, whatever the offsets and sizes; a
// failed allocation leaves the buffer as it was and the operation reports -2 (or false).
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "core/rvalue.h"

enum BufferType : int32_t {
  kBufferFixed = 0,
  kBufferGrow = 1,
  kBufferWrap = 2,
  kBufferFast = 3,
  kBufferVBuffer = 4,
  kBufferTypeCount = 5,
};

enum BufferDataType : int32_t {
  kBufferU8 = 1,
  kBufferS8 = 2,
  kBufferU16 = 3,
  kBufferS16 = 4,
  kBufferU32 = 5,
  kBufferS32 = 6,
  kBufferF16 = 7,
  kBufferF32 = 8,
  kBufferF64 = 9,
  kBufferBool = 10,
  kBufferString = 11,
  kBufferU64 = 12,
  kBufferText = 13,
  kBufferDataTypeCount = 14,
};

// Status codes of Write, WriteRaw and Read.
constexpr int kBufferOk = 0;
constexpr int kBufferBadType = -1;     // unknown data type, null string, or a read past the end
constexpr int kBufferNoRoom = -2;
constexpr double kBufferReadPastEndValue = -3.0;  // the value a read past the end gives
constexpr int kBufferRawNotU8 = -4;

// The largest size a buffer may reach, so that size + alignment stays an int32.
constexpr int32_t kBufferMaxSize = INT32_MAX - 1024;

// Bytes of a data type as seek and alignment use them; 0 for the strings and unknown types.
int32_t Buffer_SizeOf(int32_t data_type);

// IEEE 754 binary16 conversions of buffer_f16 (round to nearest even; NaN and infinity kept).
uint16_t Buffer_FloatToHalf(float value);
float Buffer_HalfToFloat(uint16_t half);

// Standard Base64 text to bytes: white space is skipped and the closing padding may be left out.
// False for anything else.
bool Buffer_DecodeBase64(const char* text, std::vector<uint8_t>* out);

class IBuffer {
 public:
  virtual ~IBuffer();
  IBuffer(const IBuffer&) = delete;
  IBuffer& operator=(const IBuffer&) = delete;

  // Writes one item at the position (aligned first) and moves past it: 0, -1 for a bad type or a
  // null string, -2 when it doesn't fit.
  virtual int Write(int32_t data_type, const RValue* value);
  // count raw bytes as Write would place them; -4 unless data_type is buffer_u8.
  virtual int WriteRaw(int32_t data_type, const void* bytes, int32_t count);
  // Reads one item at the position (aligned first) into *out, which holds nothing to free. 0; -1
  // with real -3 past the end; -1 with *out untouched for a bad type.
  virtual int Read(int32_t data_type, RValue* out);
  // base 0 start, 1 relative, 2 end; gives the new position (unchanged for an unknown base).
  virtual int Seek(int32_t base, int32_t offset);
  // An item at a byte offset, the position unchanged; *out (holding nothing to free) is left alone
  // when the offset is negative or, outside wrap buffers, leaves no room for the item.
  virtual void Peek(int32_t offset, int32_t data_type, RValue* out);
  virtual void Poke(int32_t offset, int32_t data_type, const RValue* value);
  // A range (see Ranges in buffer_range.h) written whole through the file access.
  virtual bool Save(const char* filename, int32_t offset, int32_t size);
  // Reads the file whole and places src_size bytes from src_offset (clipped to the file; negative
  // size: to its end) at dest_offset under the buffer's type rules (what doesn't fit is dropped).
  // False when the name is a URL or the file can't be read.
  virtual bool Load(const char* filename, int32_t src_offset, int32_t src_size, int32_t dest_offset);
  virtual void Base64Encode(RValue* out, int32_t offset, int32_t size);
  // Decodes standard Base64 text (padding optional, white space skipped) and places at most size
  // bytes (all for a negative size) at offset under the buffer's type rules. False, with nothing
  // written, for text that isn't Base64.
  virtual bool Base64Decode(const char* text, int32_t offset, int32_t size);
  // Lower-case hexadecimal digests of a range; Crc32 gives the standard CRC-32 as a real.
  virtual void Md5(RValue* out, int32_t offset, int32_t size);
  virtual void Sha1(RValue* out, int32_t offset, int32_t size);
  virtual void Crc32(RValue* out, int32_t offset, int32_t size);
  // A new block of new_size bytes: old bytes kept up to the smaller size, the rest zero. A
  // position at or past the new size goes to 0 with wrapOffset 0; used is clipped. -1 for a
  // negative size, -2 when the memory can't be had.
  virtual int Resize(int32_t new_size);
  // size bytes from src_offset (clipped; negative size: to the end; wrapping in a wrap buffer) to
  // dest at dest_offset under dest's type rules. Positions don't change.
  virtual void Copy(int32_t src_offset, int32_t size, IBuffer* dest, int32_t dest_offset);
  // Writes the item again and again, each on the alignment grid, from offset over size bytes
  // (negative: to the end), clipped to the buffer; the position doesn't change.
  virtual void Fill(int32_t offset, int32_t size, int32_t data_type, const RValue* value);
  // Pixels of a surface (4 bytes each, rows top-down) through the surface access: Get writes them
  // at offset under the buffer's type rules, Set takes them from offset (missing bytes read as 0).
  // The caller has checked that the surface exists.
  virtual void GetSurface(int32_t surface, int32_t offset);
  virtual void SetSurface(int32_t surface, int32_t offset);
  // The zlib stream of a range, in a block of the memory manager that the caller frees; null when
  // deflate fails.
  virtual uint8_t* Compress(int32_t offset, int32_t size, int32_t* out_size);
  // Inflates the zlib stream at the start of the buffer; null for data that isn't a whole stream
  // or would inflate past kBufferMaxSize. The block belongs to the caller.
  virtual uint8_t* Decompress(int32_t* out_size);

  // Places bytes at an absolute offset under the type rules: grow buffers grow, wrap buffers wrap
  // (the offset taken modulo the size), the others clip. Raises used; the position stays. False
  // when nothing could be placed (negative offset, no memory).
  bool PutBytesAt(int64_t offset, const uint8_t* bytes, size_t count);
  // Makes a grow buffer at least needed bytes long, doubling from 4. False for other types when
  // needed is above the size, or when the memory can't be had.
  bool GrowTo(int64_t needed);

  uint8_t* allocation = nullptr;  // what was allocated
  int32_t allocationSize = 0;     // size + alignment
  uint8_t* data = nullptr;        // first byte, on the alignment grid
  int32_t size = 0;               // capacity in bytes
  int32_t alignment = 1;          // power of two
  int32_t type = kBufferFixed;
  int32_t position = 0;
  int32_t used = 0;               // high-water mark of bytes written
  int32_t wrapOffset = 0;         // how far the alignment grid moved in a wrap buffer
  bool owns = true;               // data is freed with the buffer
  int32_t refCount = 0;           // asynchronous operations using the buffer

 protected:
  IBuffer() = default;
  friend IBuffer* Buffer_New(int32_t size, BufferType type, int32_t alignment);
  friend IBuffer* Buffer_Adopt(uint8_t* block, int32_t size, BufferType type);

  void AlignPosition();
  void WrapPosition();
  // Writes count bytes at the position and moves past them under the type rules.
  int PutBytes(const uint8_t* bytes, int64_t count);
  void RaiseUsed(int64_t end);
};

// The normal class.
class Buffer_Standard : public IBuffer {
 public:
  ~Buffer_Standard() override;
};

// Byte access only: buffer_u8 reads (as reals) and writes; other types are ignored.
class Buffer_Fast : public IBuffer {
 public:
  ~Buffer_Fast() override;
  int Write(int32_t data_type, const RValue* value) override;
  int Read(int32_t data_type, RValue* out) override;
  void Peek(int32_t offset, int32_t data_type, RValue* out) override;
  void Poke(int32_t offset, int32_t data_type, const RValue* value) override;
};

// A new buffer of the class its type calls for. alignment is taken as buffer_create takes it
// (masked with 0x1FF, rounded up to a power of two, 0 counting as 1); size must be 0 to
// kBufferMaxSize. Null when the memory can't be had.
IBuffer* Buffer_New(int32_t size, BufferType type, int32_t alignment);
// A buffer of alignment 1 over a block of the memory manager (taken over; null for size 0), with
// used = size and position 0.
IBuffer* Buffer_Adopt(uint8_t* block, int32_t size, BufferType type);

// ---- Id table -----------------------------------------------------------------------------------
// The first 32 slots, doubling when full; a new buffer takes the lowest free slot, which is
// reserved while the buffer is built. Ids are reused as soon as they are free.
extern std::mutex* const g_pBufferMutex;

// The buffer at id, or null when there is none.
IBuffer* Buffer_Get(int64_t id);
// Enters a buffer under the lowest free id and owns it from then on; -1 (and the buffer freed)
// when the table can't grow.
int32_t Buffer_Register(IBuffer* buffer);
// A new registered buffer (see Buffer_New); -1 when the memory can't be had.
int32_t Buffer_Create(int32_t size, BufferType type, int32_t alignment);
// A new registered buffer holding a copy of size bytes, position 0, used = size.
int32_t Buffer_CreateFromBytes(const void* bytes, int32_t size, BufferType type, int32_t alignment);
// buffer_delete: raises "Cannot delete buffer, it's in use by %d others" while refCount is above
// 0; an invalid id does nothing. True when a buffer was freed.
bool Buffer_Delete(int64_t id);
// The use count of asynchronous operations. Release prints the console lines of a gone buffer, a
// bad index and a count below zero.
void Buffer_AddRef(int64_t id);
void Buffer_Release(int64_t id);
int32_t Buffer_TableLength();
// Frees every buffer and the table, and forgets an open asynchronous group (shutdown).
void Buffer_FreeAll();

// ---- What other subsystems provide ----------------------------------------------------------------
// Surfaces, installed by graphics. Without it no surface exists.
struct BufferSurfaceAccess {
  // False when there is no such surface.
  bool (*size)(int32_t surface, int32_t* width, int32_t* height);
  // width x height x 4 bytes, rows top-down, in the surface's byte order.
  void (*read)(int32_t surface, uint8_t* pixels);
  void (*write)(int32_t surface, const uint8_t* pixels);
};
void Buffer_SetSurfaceAccess(const BufferSurfaceAccess* access);
const BufferSurfaceAccess* Buffer_GetSurfaceAccess();
// Whether a surface exists for the buffer builtins, and its size in bytes.
bool Buffer_SurfaceBytes(int32_t surface, size_t* bytes);

// Whole-file reads and writes of script-named files. The default takes a name as a path from the
// working directory; the file subsystem installs its save-area and bundle resolvers here.
struct BufferFileAccess {
  bool (*read_whole)(const char* name, std::vector<uint8_t>* out);
  bool (*write_whole)(const char* name, const void* bytes, size_t size);
};
// Null restores the default.
void Buffer_SetFileAccess(const BufferFileAccess* access);
const BufferFileAccess& Buffer_GetFileAccess();
// A whole file through the file access; false for "http://" and "https://" names and for a file
// that can't be read.
bool Buffer_ReadFile(const char* name, std::vector<uint8_t>* out);
