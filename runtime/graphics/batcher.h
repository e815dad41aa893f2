#pragma once
// The vertex batcher. Drawing code asks for room for n vertices of a primitive type, texture and
// vertex format and writes them straight into the returned memory; calls that agree on all three
// and find no render state dirty join the open batch, so a run of sprites on one page with one
// state costs one draw. Strips and fans never join (the next call opens a new batch). The memory
// handed out is a mapped device vertex buffer from a ring (a buffer used in this frame is only
// appended to, never rewritten), so each vertex is written once, where it is drawn from; a batch
// that outgrows the rest of its buffer goes on in another one and is still one draw of the batch.
// Fans (drawn expanded to triangle lists) and devices that can't map are staged in memory and
// copied at the flush. A flush unmaps, binds the texture, draws, and only then applies the pending
// render state: a state change reaches the device after the vertices drawn before it.
// The memory returned stays valid until the next GR_Alloc_Verts or GR_Flush; it is not cleared.
// Quads (GR_Alloc_Quads) are part of a triangle-list batch like any other triangle list, and count
// six vertices there (in vertex_count, the statistics and the size reckoning that ends a batch),
// but each is stored as its four corners and reaches the device through one shared index pattern,
// so a page of sprites sends two thirds of the vertices it would as lists.
// Formats: 16, 24 and 36 are the built-in layouts (see the table in batcher.cpp); a value with
// bit 24 set is a custom format resolved through the vertex-format hook. Main thread only.
#include <cstddef>
#include <cstdint>

#include "platform/device.h"

class GRTexture;

constexpr uint32_t kFormatCustomBit = 0x01000000;
constexpr uint32_t kFormatColour = 16;      // float x, y, z; uint32 colour
constexpr uint32_t kFormatTextured = 24;    // float u, v; uint32 colour; float x, y, z
constexpr uint32_t kFormatNormal = 36;      // float x, y, z, nx, ny, nz; uint32 colour; float u, v
constexpr int32_t kMaxBatchVerts = 16384;
constexpr size_t kMinVertexBufferBytes = 0x90000;
constexpr int32_t kSubmitVerts = 8192;  // vertices drawn between hand-overs of the device's queue

enum BatchPrimitive : int32_t {
  kPrimPointList = 1,
  kPrimLineList = 2,
  kPrimLineStrip = 3,
  kPrimTriangleList = 4,
  kPrimTriangleStrip = 5,
  kPrimTriangleFan = 6,
};

struct VertexColour {  // layout 16
  float x, y, z;
  uint32_t colour;
};
struct VertexTextured {  // layout 24
  float u, v;
  uint32_t colour;
  float x, y, z;
};
struct VertexNormal {  // layout 36
  float x, y, z;
  float nx, ny, nz;
  uint32_t colour;
  float u, v;
};
static_assert(sizeof(VertexColour) == 16 && sizeof(VertexTextured) == 24 && sizeof(VertexNormal) == 36);

void* GR_Alloc_Verts(int32_t prim, GRTexture* texture, uint32_t format, int32_t count);
// Memory for `quads` quads of four vertices each, in the order top left, top right, bottom right,
// bottom left: drawn as the triangles (0 1 2) and (2 3 0), exactly as the six-vertex list
// 0 1 2 2 3 0 would be. A quad joins and splits batches as six triangle-list vertices do.
void* GR_Alloc_Quads(GRTexture* texture, uint32_t format, int32_t quads);
// Gives back the last `count` triangle-list vertices of the open batch (six for each quad).
void GR_Return_Verts(int32_t count);
void GR_Flush();
void GR_End_Batch_Frame();
// The one draw call: count vertices of a device buffer from start_byte.
void GR_Draw_Submitted(int32_t prim, int32_t vertex_count, size_t start_byte, uint32_t format, DeviceBufferId buffer);

// Bytes per vertex of a format; 1 (with the console line) for an unknown custom format.
int32_t GR_FormatStride(uint32_t format);

// Custom formats (vertex_format_*): the layout and element mask of an id; false for an unknown id.
// Mask bits: 2 position, 4 colour, 16 texture coordinate, 8 normal.
using CustomFormatResolver = bool (*)(uint32_t format, VertexLayout* layout, uint32_t* element_mask);
void GR_SetCustomFormatResolver(CustomFormatResolver resolver);

// The user program that draws from now on (0: the built-in shader sets). The shader layer sets it
// after a flush; with one set, any format the program can read may be drawn.
void GR_SetUserProgram(DeviceProgramId program);
DeviceProgramId GR_UserProgram();

// The depth all 2D drawing writes, clamped to -16000..16000.
// A named device event span (colour 0xRRGGBB) for graphics debuggers; nothing is flushed.
void GR_BeginEvent(const char* name, uint32_t colour);
void GR_EndEvent();

void GR_Set_Depth(float z);
float GR_Depth();

struct BatchStats {
  uint32_t frame_index = 0;
  int32_t vertex_count = 0;      // in the open batch
  int32_t prim_type = -1;        // of the open batch
  int32_t drawn_this_frame = 0;  // vertices
  int32_t max_drawn_per_frame = 0;
  int32_t max_batch_verts = 0;
  int32_t draws_this_frame = 0;
  int32_t draws_last_frame = 0;
  int32_t buffers = 0;           // device vertex buffers in the ring
};
BatchStats GR_Batch_Stats();

// The device the batcher draws with (null: batches are dropped at the flush).
void GR_Batch_SetDevice(IDevice* device);
// Forgets the device buffers (the device is gone) and the open batch.
void GR_Batch_ReleaseDevice();
