// Builtins of vertex formats, vertex buffers and shaders, with the unchecked write handlers that
// tsl_release_mode swaps in.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "graphics/asset_shaders.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/gr_texture.h"
#include "graphics/shader.h"
#include "graphics/vertex_buffer.h"
#include "graphics/window.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgInt;
using gfx_fn::Real;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

// ---- Formats ---------------------------------------------------------------------------------------

KV_BUILTIN(F_FormatBegin) {
  *result = RV_Undefined();
  if (argc != 0) return KVError("vertex_format_begin(): Illegal argument count");
  if (!VertexFormat_Begin()) KVError("vertex_format_begin(): Can't start a new format, still creating another one.");
}

void add_element(const char* name, int32_t type, int32_t usage) {
  VertexFormat* f = VertexFormat_UnderConstruction();
  if (f == nullptr) return KVError("%s(): haven't started a new format.", name);
  if (f->elements.size() >= 32) return KVError("%s(): Too many elements", name);
  VertexFormat_Add(type, usage);
}

template <int32_t kType, int32_t kUsage>
void add_fixed(const char* name, RValue* result) {
  *result = RV_Undefined();
  add_element(name, kType, kUsage);
}

KV_BUILTIN(F_FormatAddPosition) { add_fixed<2, 1>("vertex_format_add_position", result); }
KV_BUILTIN(F_FormatAddPosition3d) { add_fixed<3, 1>("vertex_format_add_position_3d", result); }
KV_BUILTIN(F_FormatAddColour) { add_fixed<5, 2>("vertex_format_add_colour", result); }
KV_BUILTIN(F_FormatAddNormal) { add_fixed<3, 3>("vertex_format_add_normal", result); }
KV_BUILTIN(F_FormatAddTexcoord) { add_fixed<2, 4>("vertex_format_add_textcoord", result); }

KV_BUILTIN(F_FormatAddCustom) {
  *result = RV_Undefined();
  const int32_t type = ArgInt(argc, argv, 0);
  int32_t usage = ArgInt(argc, argv, 1);
  if (type < 1 || type > 6) return KVError("vertex_format_add_custom(): illegal types");
  if (usage < 1 || usage > 14) return KVError("vertex_format_add_custom(): illegal usage");
  if (usage == 5 || usage == 6) usage = kVertexUsageTexcoord;
  add_element("vertex_format_add_custom", type, usage);
}

KV_BUILTIN(F_FormatEnd) {
  *result = RV_Undefined();
  const int32_t id = VertexFormat_End();
  if (id == -1) return KVError("vertex_format_end(): Can't end format, you haven't started one yet.");
  Real(result, id);
}

KV_BUILTIN(F_FormatDelete) {
  *result = RV_Undefined();
  VertexFormat_Delete(ArgInt(argc, argv, 0));
}

// ---- Buffers ---------------------------------------------------------------------------------------

KV_BUILTIN(F_CreateBuffer) {
  *result = RV_Undefined();
  if (argc != 0) return KVError("vertex_create_buffer: Illegal argument count");
  Real(result, VertexBuffer_Create(32768));
}

KV_BUILTIN(F_CreateBufferExt) {
  Real(result, VertexBuffer_Create(static_cast<uint32_t>(std::max(256, ArgInt(argc, argv, 0)))));
}

KV_BUILTIN(F_DeleteBuffer) {
  *result = RV_Undefined();
  if (argc != 1) return KVError("vertex_delete_buffer: Illegal argument count");
  if (!VertexBuffer_Delete(KVGetInt32(argv, 0))) KVError("vertex_delete_buffer: Invalid vertex buffer specified");
}

VertexBuffer* writable(int32_t id) {
  VertexBuffer* b = VertexBuffer_Get(id);
  return b != nullptr && !b->frozen ? b : nullptr;
}

KV_BUILTIN(F_Begin) {
  *result = RV_Undefined();
  const int32_t id = ArgInt(argc, argv, 0);
  if (writable(id) == nullptr) return KVError("Illegal vertex buffer specified");
  const int32_t format = ArgInt(argc, argv, 1);
  if (VertexFormat_Get(format) == nullptr) return KVError("Illegal vertex format specified");
  Vertex_Begin(id, format);
}

KV_BUILTIN(F_End) {
  *result = RV_Undefined();
  VertexBuffer* b = writable(ArgInt(argc, argv, 0));
  if (b == nullptr) return KVError("Illegal vertex buffer specified.");
  if (b->writtenMask != 0) return KVError("Must finish writing vertex before end.");
  b->format = b->buildFormat;
  b->buildFormat = -1;
}

// The checked write: finds the element by usage and type (type only when usage is 0), in any
// order, and completes the vertex when every element is written.
void checked_write(const char* name, int argc, RValue* argv, int want, int32_t usage, int32_t type, const void* bytes,
                   uint32_t size) {
  if (argc != want) return KVError("VERTEX BUILDER: Illegal argument count");
  VertexBuffer* b = writable(KVGetInt32(argv, 0));
  if (b == nullptr) return KVError("VERTEX BUILDER: Illegal vertex buffer specified.");
  if (b->buildFormat == -1) return KVError("VERTEX BUILDER: Must use vertex_begin() before writing to buffer");
  VertexFormat* f = b->formatPtr;
  if (f == nullptr) return KVError("VERTEX BUILDER: vertex format invalid\n\n");
  if (b->writtenMask == 0) VertexBuffer_MakeRoom(b, f->stride);
  const VertexFormatElement* element = nullptr;
  bool any = false;
  for (const VertexFormatElement& e : f->elements) {
    if (e.type != type || (usage != 0 && e.usage != usage)) continue;
    any = true;
    if ((b->writtenMask & e.bit) == 0) {
      element = &e;
      break;
    }
  }
  if (!any) return KVError("VERTEX BUILDER: Vertex format does not contain selected type.\n\n");
  if (element == nullptr) return KVError("VERTEX BUILDER: element already written, must write the whole vertex first\n\n");
  if (((element->bit - 1) & f->elementMask & ~b->writtenMask) != 0) {
    g_ReleaseConsole->Output(
        "warning - %s - vertex buffer is being filled out of order, should be filled in same order as format "
        "declaration\n",
        name);
  }
  b->writtenMask |= element->bit;
  std::memcpy(b->data + b->writeOffset + element->offset, bytes, size);
  if (b->writtenMask == f->elementMask) {
    b->writtenMask = 0;
    ++b->vertexCount;
    b->writeOffset += f->stride;
  }
}

void unchecked_write(int argc, RValue* argv, const void* bytes, uint32_t size) {
  if (argc < 1) return;
  VertexBuffer* b = VertexBuffer_Get(KVGetInt32(argv, 0));
  if (b != nullptr && b->data != nullptr) VertexBuffer_PutUnchecked(b, bytes, size);
}

template <int kFloats>
void floats_of(int argc, RValue* argv, float* out) {
  for (int i = 0; i < kFloats; ++i) out[i] = static_cast<float>(Arg(argc, argv, i + 1));
}

uint32_t colour_of(int argc, RValue* argv) {
  const int32_t a = std::clamp(static_cast<int32_t>(Arg(argc, argv, 2) * 255.0), 0, 255);
  return (gfx_fn::ArgColour(argc, argv, 1) & 0xFFFFFFu) | (static_cast<uint32_t>(a) << 24);
}

uint32_t ubyte4_of(int argc, RValue* argv) {
  uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v |= (static_cast<uint32_t>(ArgInt(argc, argv, i + 1)) & 0xFFu) << (8 * i);
  return v;
}

#define FLOAT_WRITE(fn, name, n, usage, type)                                    \
  KV_BUILTIN(F_##fn) {                                                          \
    *result = RV_Undefined();                                                   \
    float v[n];                                                                 \
    floats_of<n>(argc, argv, v);                                                \
    checked_write(name, argc, argv, (n) + 1, usage, type, v, sizeof(v));        \
  }                                                                             \
  KV_BUILTIN(F_##fn##Unchecked) {                                               \
    *result = RV_Undefined();                                                   \
    float v[n];                                                                 \
    floats_of<n>(argc, argv, v);                                                \
    unchecked_write(argc, argv, v, sizeof(v));                                  \
  }

FLOAT_WRITE(Position, "vertex_position", 2, kVertexUsagePosition, kVertexTypeFloat2)
FLOAT_WRITE(Position3d, "vertex_position_3d", 3, kVertexUsagePosition, kVertexTypeFloat3)
FLOAT_WRITE(Texcoord, "vertex_texcoord", 2, kVertexUsageTexcoord, kVertexTypeFloat2)
FLOAT_WRITE(Normal, "vertex_normal", 3, kVertexUsageNormal, kVertexTypeFloat3)
FLOAT_WRITE(Float1, "vertex_float1", 1, 0, kVertexTypeFloat1)
FLOAT_WRITE(Float2, "vertex_float2", 2, 0, kVertexTypeFloat2)
FLOAT_WRITE(Float3, "vertex_float3", 3, 0, kVertexTypeFloat3)
FLOAT_WRITE(Float4, "vertex_float4", 4, 0, kVertexTypeFloat4)

KV_BUILTIN(F_Colour) {
  *result = RV_Undefined();
  const uint32_t v = colour_of(argc, argv);
  checked_write("vertex_colour", argc, argv, 3, kVertexUsageColour, kVertexTypeColour, &v, 4);
}
KV_BUILTIN(F_ColourUnchecked) {
  *result = RV_Undefined();
  const uint32_t v = colour_of(argc, argv);
  unchecked_write(argc, argv, &v, 4);
}
KV_BUILTIN(F_Argb) {
  *result = RV_Undefined();
  const uint32_t v = gfx_fn::ArgColour(argc, argv, 1);
  checked_write("vertex_argb", argc, argv, 2, kVertexUsageColour, kVertexTypeColour, &v, 4);
}
KV_BUILTIN(F_ArgbUnchecked) {
  *result = RV_Undefined();
  const uint32_t v = gfx_fn::ArgColour(argc, argv, 1);
  unchecked_write(argc, argv, &v, 4);
}
KV_BUILTIN(F_Ubyte4) {
  *result = RV_Undefined();
  const uint32_t v = ubyte4_of(argc, argv);
  checked_write("vertex_ubyte4", argc, argv, 5, 0, kVertexTypeUbyte4, &v, 4);
}
KV_BUILTIN(F_Ubyte4Unchecked) {
  *result = RV_Undefined();
  const uint32_t v = ubyte4_of(argc, argv);
  unchecked_write(argc, argv, &v, 4);
}

// Draws a buffer: a frozen one as its own draw call from its device buffer, a small one through
// one batch allocation, a large list in chunks of whole primitives.
void submit(VertexBuffer* b, int32_t prim, GRTexture* texture, bool checked) {
  if (b->frozen) {
    GR_Flush();
    if (IDevice* device = Graphics_Device()) device->BindTexture(0, texture != nullptr ? texture->DeviceTexture() : 0);
    GR_Draw_Submitted(prim, static_cast<int32_t>(b->vertexCount), 0, static_cast<uint32_t>(b->format), b->deviceBuffer);
    return;
  }
  VertexFormat* f = VertexFormat_Get(b->format);
  if (f == nullptr) {
    if (checked) KVError("vertex_submit: vertex format invalid");
    return;
  }
  if (checked && Shader_Current() < 0 &&
      ((f->usageMask & (1u << kVertexUsagePosition)) == 0 || (f->usageMask & (1u << kVertexUsageColour)) == 0)) {
    return KVError(
        "vertex_submit: vertex format not supported by fixed function emulation (at a minimum you need position and "
        "colour)");
  }
  const uint32_t stride = std::max<uint32_t>(f->stride, 1);
  const uint32_t count = b->vertexCount;
  if (count == 0) return;
  if (static_cast<size_t>(count) * stride < kMinVertexBufferBytes && count < static_cast<uint32_t>(kMaxBatchVerts)) {
    void* out = GR_Alloc_Verts(prim, texture, static_cast<uint32_t>(f->id), static_cast<int32_t>(count));
    std::memcpy(out, b->data, static_cast<size_t>(count) * stride);
    return;
  }
  int32_t step = 0;
  if (prim == kPrimPointList) step = 1;
  if (prim == kPrimLineList) step = 2;
  if (prim == kPrimTriangleList) step = 3;
  if (step == 0) {
    g_ReleaseConsole->Output("vertex_submit()::size exceeds maximum allowable size\n");
    return;
  }
  uint32_t chunk = std::min<uint32_t>(static_cast<uint32_t>(kMinVertexBufferBytes / stride), kMaxBatchVerts);
  chunk -= chunk % static_cast<uint32_t>(step);
  for (uint32_t first = 0; first < count && chunk > 0; first += chunk) {
    const uint32_t n = std::min(chunk, count - first);
    void* out = GR_Alloc_Verts(prim, texture, static_cast<uint32_t>(f->id), static_cast<int32_t>(n));
    std::memcpy(out, b->data + static_cast<size_t>(first) * stride, static_cast<size_t>(n) * stride);
  }
}

GRTexture* texture_arg(int argc, RValue* argv, int n) {
  if (n >= argc) return nullptr;
  const int64_t handle = KVGetPtrOrInt(argv, n);
  if (handle == -1) return nullptr;
  GRTexturePageRect rect;
  bool page = false;
  return GR_ResolveTexture(handle, &rect, &page);
}

KV_BUILTIN(F_Submit) {
  *result = RV_Undefined();
  if (argc != 3) return KVError("vertex_submit: Illegal argument count");
  VertexBuffer* b = VertexBuffer_Get(KVGetInt32(argv, 0));
  if (b == nullptr) return KVError("vertex_submit: Illegal vertex buffer specified.");
  if (b->format == -1) return KVError("vertex_submit: Must finish with vertex_end() before submitting.");
  const int32_t prim = KVGetInt32(argv, 1);
  if (prim < 1 || prim > (b->frozen ? 5 : 6)) return KVError("vertex_submit: Primitive type error.");
  submit(b, prim, texture_arg(argc, argv, 2), true);
}

KV_BUILTIN(F_SubmitUnchecked) {
  *result = RV_Undefined();
  VertexBuffer* b = VertexBuffer_Get(ArgInt(argc, argv, 0));
  if (b == nullptr || b->format == -1) return;
  submit(b, ArgInt(argc, argv, 1), texture_arg(argc, argv, 2), false);
}

KV_BUILTIN(F_Freeze) {
  *result = RV_Undefined();
  if (argc != 1) return KVError("vertex_freeze: Illegal argument count");
  VertexBuffer* b = writable(KVGetInt32(argv, 0));
  if (b == nullptr) return KVError("vertex_freeze: Illegal vertex buffer specified.");
  if (b->buildFormat != -1) return KVError("vertex_freeze: must end the vertex builder first");
  Real(result, VertexBuffer_Freeze(b) ? 0 : -1);
}

KV_BUILTIN(F_FreezeUnchecked) {
  VertexBuffer* b = writable(ArgInt(argc, argv, 0));
  Real(result, b != nullptr && VertexBuffer_Freeze(b) ? 0 : -1);
}

KV_BUILTIN(F_GetNumber) {
  Real(result, 0);
  if (argc != 1) return KVError("vertex_get_number: Illegal argument count");
  VertexBuffer* b = VertexBuffer_Get(KVGetInt32(argv, 0));
  if (b == nullptr) return KVError("vertex_get_number: specified vertex buffer doesn't exists");
  Real(result, b->vertexCount);
}

KV_BUILTIN(F_GetBufferSize) {
  Real(result, 0);
  VertexBuffer* b = VertexBuffer_Get(ArgInt(argc, argv, 0));
  if (b == nullptr) return KVError("Vertex Buffer index is out of range");
  Real(result, b->capacity);
}

// ---- Shaders ---------------------------------------------------------------------------------------

bool shader_arg(int argc, RValue* argv, int32_t* index) {
  *index = ArgInt(argc, argv, 0);
  if (Shader_Get(*index) != nullptr) return true;
  KVError("Illegal shader handle");
  return false;
}

KV_BUILTIN(F_ShaderSet) {
  *result = RV_Undefined();
  const int32_t index = ArgInt(argc, argv, 0);
  if (index == -1) return Shader_Set(-1);
  if (Shader_Get(index) == nullptr) return KVError("Illegal shader handle");
  Shader_Set(index);
}

KV_BUILTIN(F_ShaderReset) {
  *result = RV_Undefined();
  Shader_Set(-1);
}

KV_BUILTIN(F_ShaderCurrent) { Real(result, Shader_Current()); }

KV_BUILTIN(F_ShaderGetName) {
  *result = RV_Undefined();
  const int32_t index = ArgInt(argc, argv, 0);
  const char* name = Shader_Table().name(index);
  if (name == nullptr) return KVError("Illegal shader index %d", index);
  RV_SetString(result, name);
}

KV_BUILTIN(F_ShaderGetUniform) {
  Real(result, -1);
  int32_t index = 0;
  if (shader_arg(argc, argv, &index)) Real(result, Shader_FindUniform(index, gfx_fn::ArgString(argc, argv, 1)));
}

KV_BUILTIN(F_ShaderGetSamplerIndex) {
  Real(result, -1);
  int32_t index = 0;
  if (shader_arg(argc, argv, &index)) Real(result, Shader_FindSampler(index, gfx_fn::ArgString(argc, argv, 1)));
}

KV_BUILTIN(F_ShaderIsCompiled) {
  Real(result, 0);
  int32_t index = 0;
  if (shader_arg(argc, argv, &index)) Real(result, Shader_IsCompiled(index) ? 1 : 0);
}

KV_BUILTIN(F_ShadersAreSupported) { Real(result, Graphics_Device() != nullptr ? 1 : 0); }

KV_BUILTIN(F_SetUniformF) {
  float v[4] = {};
  const int32_t n = std::clamp(argc - 1, 0, 4);
  for (int32_t i = 0; i < n; ++i) v[i] = KVGetFloat(argv, i + 1);
  gfx_fn::Bool(result, Shader_SetUniformFloats(ArgInt(argc, argv, 0), v, n));
}

KV_BUILTIN(F_SetUniformI) {
  int32_t v[4] = {};
  const int32_t n = std::clamp(argc - 1, 0, 4);
  for (int32_t i = 0; i < n; ++i) v[i] = KVGetInt32(argv, i + 1);
  gfx_fn::Bool(result, Shader_SetUniformInts(ArgInt(argc, argv, 0), v, n));
}

// The values of an array argument; false (with the error raised) when it isn't a non-empty array.
bool array_values(int argc, RValue* argv, std::vector<double>* out) {
  RefDynamicArrayOfRValue* array = gfx_fn::ArrayArg(argc, argv, 1);
  if (array == nullptr) {
    KVError("Illegal argument type");
    return false;
  }
  if (array->length <= 0) {
    KVError("Illegal array count");
    return false;
  }
  out->resize(static_cast<size_t>(array->length));
  for (int32_t i = 0; i < array->length; ++i) (*out)[static_cast<size_t>(i)] = RV_ToDouble(array->pArray[i]);
  return true;
}

KV_BUILTIN(F_SetUniformFArray) {
  gfx_fn::Bool(result, false);
  std::vector<double> values;
  if (!array_values(argc, argv, &values)) return;
  std::vector<float> f(values.begin(), values.end());
  gfx_fn::Bool(result, Shader_SetUniformFloats(ArgInt(argc, argv, 0), f.data(), static_cast<int32_t>(f.size())));
}

KV_BUILTIN(F_SetUniformIArray) {
  gfx_fn::Bool(result, false);
  std::vector<double> values;
  if (!array_values(argc, argv, &values)) return;
  std::vector<int32_t> n(values.size());
  for (size_t i = 0; i < values.size(); ++i) n[i] = static_cast<int32_t>(values[i]);
  gfx_fn::Bool(result, Shader_SetUniformInts(ArgInt(argc, argv, 0), n.data(), static_cast<int32_t>(n.size())));
}

KV_BUILTIN(F_SetUniformMatrix) {
  float m[16];
  GR_Get_Matrix(kMatrixWorld, m);
  gfx_fn::Bool(result, Shader_SetUniformFloats(ArgInt(argc, argv, 0), m, 16));
}

KV_BUILTIN(F_SetUniformMatrixArray) {
  gfx_fn::Bool(result, false);
  std::vector<double> values;
  if (!array_values(argc, argv, &values)) return;
  values.resize(values.size() / 16 * 16);
  std::vector<float> f(values.begin(), values.end());
  gfx_fn::Bool(result, Shader_SetUniformFloats(ArgInt(argc, argv, 0), f.data(), static_cast<int32_t>(f.size())));
}

struct Swappable {
  const char* name;
  TSL_Builtin checked;
  TSL_Builtin unchecked;
  int argc;
};

const Swappable kWrites[] = {
    {"vertex_position", F_Position, F_PositionUnchecked, 3},
    {"vertex_position_3d", F_Position3d, F_Position3dUnchecked, 4},
    {"vertex_colour", F_Colour, F_ColourUnchecked, 3},
    {"vertex_color", F_Colour, F_ColourUnchecked, 3},
    {"vertex_argb", F_Argb, F_ArgbUnchecked, 2},
    {"vertex_texcoord", F_Texcoord, F_TexcoordUnchecked, 3},
    {"vertex_normal", F_Normal, F_NormalUnchecked, 4},
    {"vertex_float1", F_Float1, F_Float1Unchecked, 2},
    {"vertex_float2", F_Float2, F_Float2Unchecked, 3},
    {"vertex_float3", F_Float3, F_Float3Unchecked, 4},
    {"vertex_float4", F_Float4, F_Float4Unchecked, 5},
    {"vertex_ubyte4", F_Ubyte4, F_Ubyte4Unchecked, 5},
    {"vertex_submit", F_Submit, F_SubmitUnchecked, 3},
    {"vertex_freeze", F_Freeze, F_FreezeUnchecked, 1},
};

const BuiltinRow kRows[] = {
    {"vertex_format_begin", F_FormatBegin, 0},
    {"vertex_format_add_position", F_FormatAddPosition, 0},
    {"vertex_format_add_position_3d", F_FormatAddPosition3d, 0},
    {"vertex_format_add_colour", F_FormatAddColour, 0},
    {"vertex_format_add_color", F_FormatAddColour, 0},
    {"vertex_format_add_normal", F_FormatAddNormal, 0},
    {"vertex_format_add_textcoord", F_FormatAddTexcoord, 0},
    {"vertex_format_add_texcoord", F_FormatAddTexcoord, 0},
    {"vertex_format_add_custom", F_FormatAddCustom, 2},
    {"vertex_format_end", F_FormatEnd, 0},
    {"vertex_format_delete", F_FormatDelete, 1},
    {"vertex_create_buffer", F_CreateBuffer, -1},
    {"vertex_create_buffer_ext", F_CreateBufferExt, 1},
    {"vertex_delete_buffer", F_DeleteBuffer, -1},
    {"vertex_begin", F_Begin, 2},
    {"vertex_end", F_End, 1},
    {"vertex_get_number", F_GetNumber, -1},
    {"vertex_get_buffer_size", F_GetBufferSize, 1},
    {"shader_set", F_ShaderSet, 1},
    {"shader_reset", F_ShaderReset, 0},
    {"shader_current", F_ShaderCurrent, 0},
    {"shader_get_name", F_ShaderGetName, 1},
    {"shader_get_uniform", F_ShaderGetUniform, 2},
    {"shader_get_sampler_index", F_ShaderGetSamplerIndex, 2},
    {"shader_set_uniform_f", F_SetUniformF, -1},
    {"shader_set_uniform_i", F_SetUniformI, -1},
    {"shader_set_uniform_f_array", F_SetUniformFArray, 2},
    {"shader_set_uniform_i_array", F_SetUniformIArray, 2},
    {"shader_set_uniform_matrix", F_SetUniformMatrix, 1},
    {"shader_set_uniform_matrix_array", F_SetUniformMatrixArray, 2},
    {"shader_is_compiled", F_ShaderIsCompiled, 1},
    {"shaders_are_supported", F_ShadersAreSupported, 0},
};

// Effect objects are not built on this platform; the names hold their places.
const BuiltinRow kEffectRows[] = {
    {"fx_create", Graphics_NotAvailable, 1},           {"fx_get_name", Graphics_NotAvailable, 1},
    {"fx_get_parameter_names", Graphics_NotAvailable, 1}, {"fx_get_parameter", Graphics_NotAvailable, 2},
    {"fx_get_parameters", Graphics_NotAvailable, 1},   {"fx_get_single_layer", Graphics_NotAvailable, 1},
    {"fx_set_parameter", Graphics_NotAvailable, -1},   {"fx_set_parameters", Graphics_NotAvailable, 2},
    {"fx_set_single_layer", Graphics_NotAvailable, 2},
};

}  // namespace

void Vertex_SetReleaseMode(bool unchecked) {
  for (const Swappable& row : kWrites) Function_Set(row.name, unchecked ? row.unchecked : row.checked);
}

void Vertex_RegisterBuiltins() {
  Graphics_AddRows(kRows, static_cast<int>(std::size(kRows)));
  for (const Swappable& row : kWrites) {
    int32_t id = 0;
    if (!Function_Find(row.name, &id)) Function_Add(row.name, row.checked, row.argc, 0);
  }
  Graphics_AddRows(kEffectRows, static_cast<int>(std::size(kEffectRows)));
}
