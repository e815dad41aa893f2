// draw_primitive_begin ... draw_primitive_end: a private array of layout-24 vertices drawn as one
// batch request at the end.
#include <cstring>

#include "graphics/batcher.h"
#include "graphics/draw.h"
#include "graphics/gr_texture.h"

namespace {

struct PrimitiveBuilder {
  int32_t kind = 0;
  GRTexture* texture = nullptr;
  bool page_relative = false;
  float source_x = 0.0f, source_y = 0.0f, target_width = 0.0f, target_height = 0.0f;
  int32_t count = 0;
  VertexTextured vertices[kPrimitiveMaxVertices];
};

PrimitiveBuilder g_builder;

int32_t primitives_of(int32_t kind, int32_t n) {
  switch (kind) {
    case kPrimPointList: return n;
    case kPrimLineList: return n / 2;
    case kPrimLineStrip: return n - 1;
    case kPrimTriangleList: return n / 3;
    case kPrimTriangleStrip:
    case kPrimTriangleFan: return n - 2;
    default: return 0;
  }
}

}  // namespace

void Draw_PrimitiveBegin(int32_t kind, GRTexture* texture, bool page_relative, float source_x, float source_y,
                         float target_width, float target_height) {
  g_builder.kind = kind;
  g_builder.texture = texture;
  g_builder.page_relative = page_relative;
  g_builder.source_x = source_x;
  g_builder.source_y = source_y;
  g_builder.target_width = target_width;
  g_builder.target_height = target_height;
  g_builder.count = 0;
}

void Draw_PrimitiveVertex(float x, float y, float u, float v, uint32_t colour) {
  if (g_builder.count >= kPrimitiveMaxVertices) return;
  if (g_builder.page_relative && g_builder.texture != nullptr) {
    u = (g_builder.target_width * u + g_builder.source_x) / static_cast<float>(g_builder.texture->width_);
    v = (g_builder.target_height * v + g_builder.source_y) / static_cast<float>(g_builder.texture->height_);
  }
  g_builder.vertices[g_builder.count++] = VertexTextured{u, v, colour, x, y, GR_Depth()};
}

void Draw_PrimitiveEnd() {
  const int32_t n = g_builder.count;
  g_builder.count = 0;
  if (primitives_of(g_builder.kind, n) < 1) return;
  GRTexture* texture = g_builder.texture != nullptr ? g_builder.texture : GR_WhiteTexture();
  void* out = GR_Alloc_Verts(g_builder.kind, texture, kFormatTextured, n);
  std::memcpy(out, g_builder.vertices, sizeof(VertexTextured) * static_cast<size_t>(n));
}
