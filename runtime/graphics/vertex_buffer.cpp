#include "graphics/vertex_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "core/memory.h"
#include "graphics/batcher.h"
#include "graphics/window.h"

namespace {

struct FormatTable {
  std::unordered_map<int32_t, std::unique_ptr<VertexFormat>> formats;
  VertexFormat* last = nullptr;  // the last format found
  int32_t counter = 0;
  std::unique_ptr<VertexFormat> building;
  uint32_t nextBit = 1;
};

FormatTable g_formats;
std::vector<VertexBuffer*> g_buffers;

// The device side of an element: which attribute it feeds. The first position, colour, uv and
// normal are the built-in attributes; later ones take the extra slots by usage, then any free one.
void place_element(VertexFormat* f, const VertexFormatElement& e) {
  VertexElement out;
  out.offset = static_cast<int32_t>(e.offset);
  switch (e.type) {
    case kVertexTypeColour:
      out.components = 4;
      out.storage = ElementStorage::kUnorm8;
      break;
    case kVertexTypeUbyte4:
      out.components = 4;
      out.storage = ElementStorage::kUint8;
      break;
    default:
      out.components = e.type;
      break;
  }
  auto take_builtin = [&](VertexAttribute attribute, uint32_t mask_bit) {
    VertexElement& slot = f->layout.elements[static_cast<int>(attribute)];
    if (slot.components != 0) return false;
    out.attribute = attribute;
    slot = out;
    f->builtinMask |= mask_bit;
    return true;
  };
  if (e.usage == kVertexUsagePosition && take_builtin(VertexAttribute::kPosition, 2)) return;
  if (e.usage == kVertexUsageColour && take_builtin(VertexAttribute::kColour, 4)) return;
  if (e.usage == kVertexUsageNormal && take_builtin(VertexAttribute::kNormal, 8)) return;
  if (e.usage == kVertexUsageTexcoord && take_builtin(VertexAttribute::kTexCoord, 16)) return;
  // Extra slots: texture coordinates 1..3, a second colour, then the last two for anything.
  int first = 4, last = kExtraVertexAttributes - 1;
  if (e.usage == kVertexUsageTexcoord) first = 0;
  if (e.usage == kVertexUsageColour) first = 3;
  for (int i = first; i <= last; ++i) {
    if (f->layout.extra[i].components == 0) {
      out.attribute = VertexAttribute::kTexCoord;
      f->layout.extra[i] = out;
      return;
    }
  }
  for (int i = 0; i < kExtraVertexAttributes; ++i) {
    if (f->layout.extra[i].components == 0) {
      out.attribute = VertexAttribute::kTexCoord;
      f->layout.extra[i] = out;
      return;
    }
  }
}

bool resolve_custom(uint32_t format, VertexLayout* layout, uint32_t* mask) {
  const VertexFormat* f = VertexFormat_Get(static_cast<int32_t>(format));
  if (f == nullptr) return false;
  *layout = f->layout;
  *mask = f->builtinMask;
  return true;
}

}  // namespace

uint32_t VertexType_Size(int32_t type) {
  switch (type) {
    case kVertexTypeFloat1: return 4;
    case kVertexTypeFloat2: return 8;
    case kVertexTypeFloat3: return 12;
    case kVertexTypeFloat4: return 16;
    case kVertexTypeColour:
    case kVertexTypeUbyte4: return 4;
    default: return 0;
  }
}

VertexFormat* VertexFormat_Get(int32_t id) {
  if (g_formats.last != nullptr && g_formats.last->id == id) return g_formats.last;
  auto it = g_formats.formats.find(id);
  if (it == g_formats.formats.end()) return nullptr;
  g_formats.last = it->second.get();
  return g_formats.last;
}

VertexFormat* VertexFormat_UnderConstruction() { return g_formats.building.get(); }

bool VertexFormat_Begin() {
  if (g_formats.building) return false;
  g_formats.building = std::make_unique<VertexFormat>();
  g_formats.nextBit = 1;
  GR_SetCustomFormatResolver(resolve_custom);
  return true;
}

bool VertexFormat_Add(int32_t type, int32_t usage) {
  VertexFormat* f = g_formats.building.get();
  if (f == nullptr || g_formats.nextBit == 0) return false;
  VertexFormatElement e;
  e.offset = f->stride;
  e.type = type;
  e.usage = usage;
  e.bit = g_formats.nextBit;
  f->elements.push_back(e);
  f->stride = e.offset + VertexType_Size(type);
  f->elementMask |= e.bit;
  f->usageMask |= 1u << usage;
  g_formats.nextBit <<= 1;
  return true;
}

int32_t VertexFormat_End() {
  if (!g_formats.building) return -1;
  std::unique_ptr<VertexFormat> f = std::move(g_formats.building);
  f->id = g_formats.counter++ | static_cast<int32_t>(kFormatCustomBit);
  f->layout.stride = static_cast<int32_t>(f->stride);
  for (const VertexFormatElement& e : f->elements) place_element(f.get(), e);
  const int32_t id = f->id;
  g_formats.formats[id] = std::move(f);
  return id;
}

void VertexFormat_Delete(int32_t id) {
  GR_Flush();
  auto it = g_formats.formats.find(id);
  if (it == g_formats.formats.end()) return;
  if (g_formats.last == it->second.get()) g_formats.last = nullptr;
  for (VertexBuffer* b : g_buffers) {
    if (b != nullptr && b->formatPtr == it->second.get()) b->formatPtr = nullptr;
  }
  g_formats.formats.erase(it);
}

int32_t VertexBuffer_Create(uint32_t size) {
  auto* b = new VertexBuffer();
  b->capacity = size;
  b->data = static_cast<uint8_t*>(MemoryManager::Alloc(size, __FILE__, __LINE__, true));
  for (size_t i = 0; i < g_buffers.size(); ++i) {
    if (g_buffers[i] == nullptr) {
      g_buffers[i] = b;
      return static_cast<int32_t>(i);
    }
  }
  const size_t at = g_buffers.size();
  g_buffers.resize(at == 0 ? 32 : at * 2, nullptr);
  g_buffers[at] = b;
  return static_cast<int32_t>(at);
}

VertexBuffer* VertexBuffer_Get(int32_t id) {
  if (id < 0 || static_cast<size_t>(id) >= g_buffers.size()) return nullptr;
  return g_buffers[static_cast<size_t>(id)];
}

int32_t VertexBuffer_TableSize() { return static_cast<int32_t>(g_buffers.size()); }

bool VertexBuffer_Delete(int32_t id) {
  VertexBuffer* b = VertexBuffer_Get(id);
  if (b == nullptr) return false;
  if (b->deviceBuffer != 0) {
    GR_Flush();
    if (IDevice* device = Graphics_Device()) device->DestroyVertexBuffer(b->deviceBuffer);
  }
  MemoryManager::Free(b->data);
  delete b;
  g_buffers[static_cast<size_t>(id)] = nullptr;
  return true;
}

int32_t VertexBuffer_CreateFrom(const uint8_t* bytes, uint32_t size, int32_t format) {
  VertexFormat* f = VertexFormat_Get(format);
  if (f == nullptr || f->stride == 0) return -1;
  const int32_t id = VertexBuffer_Create(std::max<uint32_t>(256, size));
  VertexBuffer* b = VertexBuffer_Get(id);
  if (size > 0) std::memcpy(b->data, bytes, size);
  b->vertexCount = size / f->stride;
  b->writeOffset = b->vertexCount * f->stride;
  b->format = format;
  b->formatPtr = f;
  b->elementsPerVertex = static_cast<uint32_t>(f->elements.size());
  return id;
}

// ---- Unchecked writing -----------------------------------------------------------------------------

namespace {

inline void make_room(VertexBuffer* b, uint32_t stride) {
  if (b->capacity >= b->writeOffset + stride) return;
  const uint32_t grown = b->capacity + b->capacity / 2 + stride;
  b->data = static_cast<uint8_t*>(MemoryManager::ReAlloc(b->data, grown, __FILE__, __LINE__, false));
  b->capacity = grown;
}

inline VertexBuffer* direct(int32_t id) {
  if (id < 0 || static_cast<size_t>(id) >= g_buffers.size()) return nullptr;
  return g_buffers[static_cast<size_t>(id)];
}

}  // namespace

void VertexBuffer_MakeRoom(VertexBuffer* buffer, uint32_t stride) { make_room(buffer, stride); }

void VertexBuffer_PutUnchecked(VertexBuffer* b, const void* bytes, uint32_t size) {
  const uint32_t stride = b->formatPtr != nullptr ? b->formatPtr->stride : size;
  make_room(b, std::max(stride, size));
  std::memcpy(b->data + b->writeOffset, bytes, size);
  b->writeOffset += size;
  if (++b->elementsWritten >= b->elementsPerVertex) {
    ++b->vertexCount;
    b->elementsWritten = 0;
  }
}

void Vertex_Begin(int32_t id, int32_t format) {
  VertexBuffer* b = direct(id);
  if (b == nullptr) return;
  b->formatPtr = VertexFormat_Get(format);
  b->buildFormat = format;
  b->elementsPerVertex = b->formatPtr != nullptr ? static_cast<uint32_t>(b->formatPtr->elements.size()) : 0;
  b->writeOffset = b->elementsWritten = b->writtenMask = b->vertexCount = 0;
}

void Vertex_End(int32_t id) {
  VertexBuffer* b = direct(id);
  if (b == nullptr) return;
  b->format = b->buildFormat;
  b->buildFormat = -1;
}

void Vertex_Argb(int32_t id, uint32_t argb) {
  if (VertexBuffer* b = direct(id); b != nullptr && b->data != nullptr) VertexBuffer_PutUnchecked(b, &argb, 4);
}

void Vertex_Colour(int32_t id, uint32_t colour, double alpha) {
  const int32_t a = std::clamp(static_cast<int32_t>(alpha * 255.0), 0, 255);
  Vertex_Argb(id, (colour & 0xFFFFFFu) | (static_cast<uint32_t>(a) << 24));
}

void Vertex_Float2(int32_t id, float a, float b) {
  const float value[2] = {a, b};
  if (VertexBuffer* buffer = direct(id); buffer != nullptr && buffer->data != nullptr) {
    VertexBuffer_PutUnchecked(buffer, value, sizeof(value));
  }
}

void Vertex_Float3(int32_t id, float a, float b, float c) {
  const float value[3] = {a, b, c};
  if (VertexBuffer* buffer = direct(id); buffer != nullptr && buffer->data != nullptr) {
    VertexBuffer_PutUnchecked(buffer, value, sizeof(value));
  }
}

bool VertexBuffer_Freeze(VertexBuffer* b) {
  const uint32_t stride = b->formatPtr != nullptr ? b->formatPtr->stride : 0;
  const size_t bytes = static_cast<size_t>(b->vertexCount) * stride;
  IDevice* device = Graphics_Device();
  if (device != nullptr && bytes > 0) {
    b->deviceBuffer = device->CreateVertexBuffer(bytes);
    if (b->deviceBuffer != 0) device->WriteVertexBuffer(b->deviceBuffer, 0, b->data, bytes, true);
  }
  b->deviceBytes = bytes;
  b->frozen = true;
  MemoryManager::Free(b->data);
  b->data = nullptr;
  return true;
}

void Vertex_Free_Device_Buffers() {
  for (VertexBuffer* b : g_buffers) {
    if (b != nullptr) b->deviceBuffer = 0;
  }
}

void Vertex_FreeAll() {
  for (int32_t i = 0; i < static_cast<int32_t>(g_buffers.size()); ++i) VertexBuffer_Delete(i);
  g_buffers.clear();
  g_formats.formats.clear();
  g_formats.last = nullptr;
  g_formats.building.reset();
  g_formats.counter = 0;
  g_formats.nextBit = 1;
}
