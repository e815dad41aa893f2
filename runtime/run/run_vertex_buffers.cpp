// Vertex buffers from buffers and buffers from vertex buffers: the one place that sees both.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/function_table.h"
#include "graphics/vertex_buffer.h"
#include "run/run_builtins.h"
#include "storage/buffer.h"

namespace {

// Bytes of a buffer from offset, wrapping in a wrap buffer and clipped to its end otherwise.
std::vector<uint8_t> buffer_bytes(const IBuffer* b, int64_t offset, int64_t size) {
  std::vector<uint8_t> out;
  if (b->size <= 0 || size <= 0) return out;
  if (b->type == kBufferWrap) {
    out.resize(static_cast<size_t>(size));
    int64_t at = ((offset % b->size) + b->size) % b->size;
    for (int64_t i = 0; i < size; ++i) {
      out[static_cast<size_t>(i)] = b->data[at];
      if (++at == b->size) at = 0;
    }
    return out;
  }
  if (offset < 0 || offset >= b->size) return out;
  const int64_t n = std::min<int64_t>(size, b->size - offset);
  out.assign(b->data + offset, b->data + offset + n);
  return out;
}

void from_buffer(RValue* result, int argc, RValue* argv, bool ext) {
  const std::string name = ext ? "vertex_create_buffer_from_buffer_ext" : "vertex_create_buffer_from_buffer";
  *result = RV_Real(-1);
  if (argc != (ext ? 4 : 2)) return KVError("%s: Illegal argument count", name.c_str());
  IBuffer* b = Buffer_Get(KVGetInt64(argv, 0));
  if (b == nullptr) return KVError("%s: specified buffer doesn't exists", name.c_str());
  const int32_t format = KVGetInt32(argv, 1);
  const VertexFormat* f = VertexFormat_Get(format);
  if (f == nullptr || f->stride == 0) return KVError("%s: specified vertex format doesn't exist", name.c_str());
  std::vector<uint8_t> bytes;
  if (ext) {
    const int64_t count = std::max<int64_t>(0, KVGetInt64(argv, 3));
    bytes = buffer_bytes(b, KVGetInt64(argv, 2), count * f->stride);
  } else {
    bytes.assign(b->data, b->data + b->size);
  }
  const int32_t id = VertexBuffer_CreateFrom(bytes.data(), static_cast<uint32_t>(bytes.size()), format);
  if (id < 0) return KVError("%s: could not create vertex buffer", name.c_str());
  *result = RV_Real(id);
}

void F_VertexFromBuffer(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  from_buffer(result, argc, argv, false);
}
void F_VertexFromBufferExt(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  from_buffer(result, argc, argv, true);
}

// The vertex buffer whose vertices a buffer may be made from; null with the error raised.
const VertexBuffer* readable(const char* name, int32_t id, const char* bad, const char* frozen, const char* empty) {
  const VertexBuffer* v = VertexBuffer_Get(id);
  if (v == nullptr) {
    KVError("%s: %s", name, bad);
    return nullptr;
  }
  if (v->frozen) {
    KVError("%s: %s", name, frozen);
    return nullptr;
  }
  if (v->vertexCount == 0 || v->format == -1 || VertexFormat_Get(v->format) == nullptr) {
    KVError("%s: %s", name, empty);
    return nullptr;
  }
  return v;
}

void to_buffer(RValue* result, int argc, RValue* argv, bool ext) {
  const char* name = ext ? "buffer_create_from_vertex_buffer_ext" : "buffer_create_from_vertex_buffer";
  *result = RV_Real(-1);
  if (argc < 3) return KVError("%s: Illegal argument count", name);
  const VertexBuffer* v = readable(name, KVGetInt32(argv, 0), "Specified vertex buffer doesn't exist.",
                                   "Can't create buffer from frozen vertex buffer.",
                                   "Can't create buffer from empty vertex buffer.");
  if (v == nullptr) return;
  const int32_t type = KVGetInt32(argv, 1);
  const int32_t alignment = KVGetInt32(argv, 2);
  if (alignment < 1 || alignment > 1024) return KVError("%s: Illegal alignment size", name);
  const uint32_t stride = VertexFormat_Get(v->format)->stride;
  int64_t first = 0, count = v->vertexCount;
  if (ext) {
    first = std::clamp<int64_t>(argc > 3 ? KVGetInt64(argv, 3) : 0, 0, v->vertexCount);
    count = std::clamp<int64_t>(argc > 4 ? KVGetInt64(argv, 4) : 0, 0, v->vertexCount - first);
  }
  const int32_t id = Buffer_CreateFromBytes(v->data + first * stride, static_cast<int32_t>(count * stride),
                                            static_cast<BufferType>(type), alignment);
  if (id < 0) return KVError("%s: Error occurred created buffer", name);
  *result = RV_Real(id);
}

void F_BufferFromVertex(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  to_buffer(result, argc, argv, false);
}
void F_BufferFromVertexExt(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  to_buffer(result, argc, argv, true);
}

void F_BufferCopyFromVertex(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const char* name = "buffer_copy_from_vertex_buffer";
  *result = RV_Undefined();
  if (argc < 5) return KVError("%s: Illegal argument count", name);
  const VertexBuffer* v = readable(name, KVGetInt32(argv, 0), "Illegal Vertex Buffer Index",
                                   "Can't copy from frozen vertex buffer.", "Can't copy from empty vertex buffer.");
  if (v == nullptr) return;
  const int64_t start = KVGetInt64(argv, 1);
  int64_t count = KVGetInt64(argv, 2);
  if (count <= 0) return KVError("%s: Specified number of verts invalid.", name);
  if (start < 0 || start >= v->vertexCount) return KVError("%s: Specified start vertex out of range.", name);
  const VertexFormat* f = VertexFormat_Get(v->format);
  if (f == nullptr || f->stride == 0) return KVError("%s: vertex format is invalid.", name);
  IBuffer* dest = Buffer_Get(KVGetInt64(argv, 3));
  if (dest == nullptr) return KVError("%s: Illegal Destination Buffer Index", name);
  count = std::min<int64_t>(count, v->vertexCount - start);
  dest->PutBytesAt(KVGetInt64(argv, 4), v->data + start * f->stride, static_cast<size_t>(count * f->stride));
}

}  // namespace

void Run_RegisterVertexBufferBuiltins() {
  Function_Add("vertex_create_buffer_from_buffer", F_VertexFromBuffer, -1, 0);
  Function_Add("vertex_create_buffer_from_buffer_ext", F_VertexFromBufferExt, -1, 0);
  Function_Add("buffer_create_from_vertex_buffer", F_BufferFromVertex, 3, 0);
  Function_Add("buffer_create_from_vertex_buffer_ext", F_BufferFromVertexExt, 5, 0);
  Function_Add("buffer_copy_from_vertex_buffer", F_BufferCopyFromVertex, 5, 0);
}
