#pragma once
// Vertex formats and vertex buffers of scripts. A format lists its elements (type, usage, offset,
// bit); its id is a counter with bit 24 set, which the batcher resolves through this module. A
// buffer is CPU memory written element by element, growing by half plus one vertex, until it is
// submitted to the batcher or frozen into a device buffer (its CPU copy then goes for good).
// Checked writes find the element by usage and type and may come in any order (with a console
// warning); unchecked writes (the direct entries, and the builtins under tsl_release_mode) follow
// the calls' order. Errors of the checked forms are script errors with the literal messages.
// Main thread only.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/device.h"

constexpr int32_t kVertexTypeFloat1 = 1;
constexpr int32_t kVertexTypeFloat2 = 2;
constexpr int32_t kVertexTypeFloat3 = 3;
constexpr int32_t kVertexTypeFloat4 = 4;
constexpr int32_t kVertexTypeColour = 5;
constexpr int32_t kVertexTypeUbyte4 = 6;

constexpr int32_t kVertexUsagePosition = 1;
constexpr int32_t kVertexUsageColour = 2;
constexpr int32_t kVertexUsageNormal = 3;
constexpr int32_t kVertexUsageTexcoord = 4;

struct VertexFormatElement {
  uint32_t offset = 0;
  int32_t type = 0;
  int32_t usage = 0;
  uint32_t bit = 0;
};

struct VertexFormat {
  int32_t id = 0;
  std::vector<VertexFormatElement> elements;
  uint32_t elementMask = 0;
  uint32_t stride = 0;
  uint32_t usageMask = 0;
  VertexLayout layout;        // what the device reads; built at the end
  uint32_t builtinMask = 0;   // the batcher's element mask: 2 position, 4 colour, 8 normal, 16 uv
};

struct VertexBuffer {
  uint8_t* data = nullptr;
  uint32_t capacity = 0;
  uint32_t writeOffset = 0;
  uint32_t elementsWritten = 0;
  uint32_t elementsPerVertex = 0;
  uint32_t writtenMask = 0;
  uint32_t vertexCount = 0;
  bool frozen = false;
  int32_t buildFormat = -1;
  int32_t format = -1;
  VertexFormat* formatPtr = nullptr;
  DeviceBufferId deviceBuffer = 0;
  size_t deviceBytes = 0;
};

// Bytes of an element type; 0 for an unknown type.
uint32_t VertexType_Size(int32_t type);

// Formats. Begin/Add/End give false with no message; the builtins say why.
VertexFormat* VertexFormat_Get(int32_t id);
VertexFormat* VertexFormat_UnderConstruction();
bool VertexFormat_Begin();
bool VertexFormat_Add(int32_t type, int32_t usage);
int32_t VertexFormat_End();  // the new id, -1 with none begun
void VertexFormat_Delete(int32_t id);

// Buffers: ids are table slots, the first free one reused.
int32_t VertexBuffer_Create(uint32_t size);
VertexBuffer* VertexBuffer_Get(int32_t id);
bool VertexBuffer_Delete(int32_t id);
// A ready-to-submit buffer holding count whole vertices of a format from bytes.
int32_t VertexBuffer_CreateFrom(const uint8_t* bytes, uint32_t size, int32_t format);
int32_t VertexBuffer_TableSize();

// Makes room for one more vertex of `stride` bytes behind writeOffset (growth by half plus one
// vertex), and the unchecked write of `size` bytes at writeOffset.
void VertexBuffer_MakeRoom(VertexBuffer* buffer, uint32_t stride);
void VertexBuffer_PutUnchecked(VertexBuffer* buffer, const void* bytes, uint32_t size);

// The direct entries of compiled code: no argument values, the unchecked behaviour.
void Vertex_Begin(int32_t id, int32_t format);
void Vertex_End(int32_t id);
void Vertex_Argb(int32_t id, uint32_t argb);
void Vertex_Colour(int32_t id, uint32_t colour, double alpha);
void Vertex_Float2(int32_t id, float a, float b);
void Vertex_Float3(int32_t id, float a, float b, float c);

// Freezing: false when the buffer can't be frozen (the builtin has said why).
bool VertexBuffer_Freeze(VertexBuffer* buffer);
// The device is going: frozen buffers lose their device buffers (and with them their contents).
void Vertex_Free_Device_Buffers();
// Everything freed: formats, buffers and the counter (game end, tests).
void Vertex_FreeAll();

// tsl_release_mode: true puts the unchecked handlers into the builtin table.
void Vertex_SetReleaseMode(bool unchecked);
void Vertex_RegisterBuiltins();
