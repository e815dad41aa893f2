// Vertex writing (stage 9): each page's glyph quads go into one vertex buffer per texture, with
// the running colour, effect flags and character index of every glyph; events and regions are
// stored by character. Stage 10 sets the padding flags. Then the model's and the page's submit,
// freeze and flush, and the building of a model through all ten stages.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "graphics/shader.h"
#include "graphics/texture_table.h"
#include "graphics/vertex_buffer.h"
#include "text/scribble_generator.h"

namespace scribble {

namespace {

// The vertex of the page format: position, normal, colour, uv, and the pair (font scale, half height).
struct TextVertex {
  float x, y, z;
  float nx, ny, nz;
  uint32_t colour;
  float u, v;
  float scale, half_height;
};
static_assert(sizeof(TextVertex) == 44);

Generator& generator() {
  static Generator gen;
  return gen;
}

// A quad as two triangles. The half width and half height are negative on the left and top
// corners, so that the shader finds the glyph's centre from any corner (to turn, scale and shear
// the glyph about it).
void put_quad(VertexBuffer* b, uint32_t stride, float l, float t, float r, float bottom, float z, const float normal[3],
              uint32_t colour, float u0, float v0, float u1, float v1, float scale, float half_height) {
  const float hw = normal[0];
  const TextVertex corners[4] = {
      {l, t, z, -hw, normal[1], normal[2], colour, u0, v0, scale, -half_height},
      {r, t, z, hw, normal[1], normal[2], colour, u1, v0, scale, -half_height},
      {r, bottom, z, hw, normal[1], normal[2], colour, u1, v1, scale, half_height},
      {l, bottom, z, -hw, normal[1], normal[2], colour, u0, v1, scale, half_height},
  };
  static constexpr int kOrder[6] = {0, 1, 3, 1, 2, 3};
  for (const int c : kOrder) {
    VertexBuffer_MakeRoom(b, stride);
    std::memcpy(b->data + b->writeOffset, &corners[c], sizeof(TextVertex));
    b->writeOffset += stride;
    ++b->vertexCount;
  }
}

}  // namespace

VertexRecord& Page::vertex_buffer(const Glyph& glyph) {
  // One buffer per texture and shader: a distance-field atlas may share its page with other images.
  const int64_t key = glyph.texture * 2 + (glyph.msdf ? 1 : 0);
  const auto it = texture_to_buffer.find(key);
  if (it != texture_to_buffer.end()) return buffers[it->second];
  VertexRecord record;
  record.buffer = VertexBuffer_Create(static_cast<uint32_t>(sizeof(TextVertex) * 6 * 16));
  Vertex_Begin(record.buffer, vertex_format());
  record.shader = glyph.msdf ? kShaderMsdf : kShaderStandard;
  record.texture = glyph.texture;
  const TextureSlot* slot = Texture_Slot(Texture_SlotOfHandle(glyph.texture));
  record.texel_w = slot != nullptr && slot->inUse != 0 ? slot->texelWidth : 1.0;
  record.texel_h = slot != nullptr && slot->inUse != 0 ? slot->texelHeight : 1.0;
  record.msdf_range = glyph.msdf_pxrange;
  record.msdf_thickness = glyph.msdf_thickness;
  texture_to_buffer[key] = buffers.size();
  buffers.push_back(record);
  return buffers.back();
}

void Page::freeze() {
  for (VertexRecord& record : buffers) {
    if (!record.frozen) tsl::call("vertex_freeze", nullptr, nullptr, {RV_Real(record.buffer)});
    record.frozen = true;
  }
  frozen = true;
}

void Page::flush() {
  for (const VertexRecord& record : buffers) {
    if (record.buffer >= 0) VertexBuffer_Delete(record.buffer);
  }
  buffers.clear();
  texture_to_buffer.clear();
  events.clear();
  regions.clear();
}

namespace {

void submit_buffer(const VertexRecord& record) {
  RValue texture = RV_Undefined();
  texture.ptr = reinterpret_cast<void*>(static_cast<intptr_t>(record.texture));
  texture.flags = 0;
  texture.kind = kRVPtr;
  if (record.texture < 0) texture = RV_Real(-1);
  tsl::call("vertex_submit", nullptr, nullptr, {RV_Real(record.buffer), RV_Real(4), texture});
}

}  // namespace

void Page::submit(double msdf_feather, bool double_draw) {
  const double thickness_offset = initialize().msdf_thickness_offset;
  int32_t shader = -1;
  for (const VertexRecord& record : buffers) {
    const VertexBuffer* b = VertexBuffer_Get(record.buffer);
    if (b == nullptr || (b->vertexCount == 0 && !b->frozen)) continue;
    if (record.shader != shader) {
      shader = record.shader;
      // Without a compiled text shader (no device) the buffers go through the built-in shaders.
      Shader_Set(Shader_IsCompiled(shader) ? shader : -1);
    }
    if (record.shader != kShaderMsdf) {
      submit_buffer(record);
      continue;
    }
    const bool filtered = RV_ToBool(*tsl::call("gpu_get_tex_filter", nullptr, nullptr, {}));
    tsl::call("gpu_set_tex_filter", nullptr, nullptr, {RV_Bool(true)});
    // Setting a uniform draws what is batched first, so each submit keeps the values it was made under.
    set_uniform_f(kShaderMsdf, "u_vTexel", {static_cast<float>(record.texel_w), static_cast<float>(record.texel_h)});
    set_uniform_f(kShaderMsdf, "u_fMSDFRange", {static_cast<float>(record.msdf_range)});
    set_uniform_f(kShaderMsdf, "u_fMSDFFeather", {static_cast<float>(msdf_feather)});
    set_uniform_f(kShaderMsdf, "u_fMSDFThicknessOffset", {static_cast<float>(thickness_offset + record.msdf_thickness)});
    set_uniform_f(kShaderMsdf, "u_fSecondDraw", {0});
    submit_buffer(record);
    if (double_draw) {
      set_uniform_f(kShaderMsdf, "u_fSecondDraw", {1});
      submit_buffer(record);
      set_uniform_f(kShaderMsdf, "u_fSecondDraw", {0});
    }
    tsl::call("gpu_set_tex_filter", nullptr, nullptr, {RV_Bool(filtered)});
  }
  Shader_Set(-1);
}

void Model::submit(int32_t page, double msdf_feather, bool double_draw) {
  if (flushed || pages.empty()) return;
  last_drawn = initialize().frames;
  page = std::clamp(page, 0, static_cast<int32_t>(pages.size()) - 1);
  if (has_arabic || has_thai) double_draw = false;
  pages[static_cast<size_t>(page)]->submit(msdf_feather, double_draw);
}

void Model::flush() {
  for (auto& page : pages) page->flush();
  pages.clear();
  flushed = true;
  if (LibraryState* s = state()) {
    const auto it = s->mcache_dict.find(cache_name);
    if (it != s->mcache_dict.end() && it->second.expired()) s->mcache_dict.erase(it);
  }
}

void generator_write_vbuffs(Generator& gen) {
  Model& model = *gen.model;
  const int32_t format = vertex_format();
  const VertexFormat* f = VertexFormat_Get(format);
  const uint32_t stride = f != nullptr ? f->stride : sizeof(TextVertex);
  Element& element = *gen.element;

  uint32_t colour = (element.starting_colour_ & 0xFFFFFFu) | 0xFF000000u;
  int32_t effects = 0;
  // Colour cycling: the four hues go in the vertex colour's bytes, and effect bit 7 tells the shader.
  bool cycling = false;
  uint32_t cycle_hues = 0;
  size_t control = 0;
  std::string region;
  int32_t region_start = 0;
  std::vector<std::array<double, 4>> region_boxes;
  auto region_close = [&](Page& page, int32_t at) {
    if (region.empty()) return;
    page.regions.push_back(Region{region, region_start, at - 1, std::move(region_boxes)});
    region_boxes.clear();
    region.clear();
  };

  for (const auto& page_ptr : model.pages) {
    Page& page = *page_ptr;
    page.glyph_codes.clear();
    auto apply_controls = [&](int32_t upto) {
      while (control < gen.controls.size() && gen.controls[control].glyph_count <= upto) {
        const Control& c = gen.controls[control];
        const int32_t position = c.glyph_count - page.glyph_start;
        switch (c.type) {
          case kControlColour: colour = static_cast<uint32_t>(c.number); break;
          case kControlEffects: effects = static_cast<int32_t>(c.number); break;
          case kControlCycle:
            cycling = c.defined;
            cycle_hues = 0;
            for (size_t i = 0; i < 4; ++i) cycle_hues |= (std::min<uint32_t>(c.cycle[i], 255)) << (8 * i);
            break;
          case kControlEvent:
            c.event->position = position;
            page.events[position].push_back(c.event);
            break;
          case kControlRegion:
            region_close(page, position);
            if (c.defined) {
              region = c.text;
              region_start = position;
            }
            break;
          default: break;
        }
        ++control;
      }
    };
    for (int32_t g = page.glyph_start; g <= page.glyph_end; ++g) {
      apply_controls(g);
      const Glyph& glyph = gen.glyphs[static_cast<size_t>(g)];
      page.glyph_codes.push_back(static_cast<uint32_t>(std::max(glyph.code, 0)));
      const int32_t code = glyph.code;
      if (code == 10 || code == 32 || code == 160 || code == 8203 || code == 9 || code == 0) continue;
      const float z = static_cast<float>(glyph.animation_index);
      const float half_w = static_cast<float>(glyph.width * 0.5);
      const float half_h = static_cast<float>(glyph.height * 0.5);
      float left = static_cast<float>(glyph.x + glyph.xoff);
      float top = static_cast<float>(glyph.y + glyph.yoff);
      float right = left + static_cast<float>(glyph.width);
      float bottom = top + static_cast<float>(glyph.height);
      if (code == -1) {
        // An in-line sprite. A still one is one quad of its image; an animated one has a quad per
        // frame, from its starting image on, and the shader draws the frame of the moment.
        const bool animated = glyph.sprite_speed > 0 && glyph.sprite_frames > 1;
        const int32_t quads = animated ? glyph.sprite_frames : 1;
        const uint32_t sprite_colour = 0xFF000000u | colour;
        for (int32_t k = 0; k < quads; ++k) {
          const int32_t image = (glyph.sprite_image + k) % std::max(1, glyph.sprite_frames);
          const RValue sprite = RV_Real(glyph.sprite);
          const RValue frame_image = RV_Real(image);
          const Value texture = tsl::call("sprite_get_texture", nullptr, nullptr, {sprite, frame_image});
          const Value uvs = tsl::call("sprite_get_uvs", nullptr, nullptr, {sprite, frame_image});
          Glyph frame = glyph;
          frame.texture = RV_Kind(*texture) == kRVPtr
                              ? static_cast<int64_t>(reinterpret_cast<intptr_t>(texture.get()->ptr))
                              : static_cast<int64_t>(RV_ToDouble(*texture));
          float uv[4] = {0, 0, 1, 1};
          if (RV_Kind(*uvs) == kRVArray && uvs.get()->pArray->length >= 4) {
            for (int i = 0; i < 4; ++i) uv[i] = static_cast<float>(RV_ToDouble(uvs.get()->pArray->pArray[i]));
          }
          const float packed = static_cast<float>(4096.0 * std::floor(1024.0 * glyph.sprite_speed) +
                                                  64.0 * glyph.sprite_frames + (animated ? k : image));
          const float normal[3] = {half_w, packed, static_cast<float>(effects)};
          VertexRecord& record = page.vertex_buffer(frame);
          put_quad(VertexBuffer_Get(record.buffer), stride, left, top, right, bottom, z, normal, sprite_colour, uv[0],
                   uv[1], uv[2], uv[3], static_cast<float>(glyph.font_scale), half_h);
        }
        if (!region.empty()) region_boxes.push_back({left, top, right, bottom});
        continue;
      }
      if (glyph.texture < 0) continue;
      // With a bezier curve, the quad is placed and turned along the curve at its centre.
      if (!gen.bezier_lengths.empty()) {
        const auto& b = element.bezier_array_;
        const double centre = 0.5 * (left + right);
        size_t seg = 1;
        while (seg + 1 < gen.bezier_lengths.size() && gen.bezier_lengths[seg] < centre) ++seg;
        const double l0 = gen.bezier_lengths[seg - 1], l1 = gen.bezier_lengths[seg];
        const double t = ((seg - 1) + (l1 > l0 ? (centre - l0) / (l1 - l0) : 0)) / 19.0;
        const double u = 1 - t;
        const double px = 3 * u * u * t * b[0] + 3 * u * t * t * b[2] + t * t * t * b[4];
        const double py = 3 * u * u * t * b[1] + 3 * u * t * t * b[3] + t * t * t * b[5];
        left = static_cast<float>(px - half_w);
        right = static_cast<float>(px + half_w);
        top += static_cast<float>(py);
        bottom += static_cast<float>(py);
      }
      if (!region.empty()) region_boxes.push_back({left, top, right, bottom});
      const float normal[3] = {half_w, 0, static_cast<float>(cycling ? effects | (1 << 7) : effects)};
      VertexRecord& record = page.vertex_buffer(glyph);
      put_quad(VertexBuffer_Get(record.buffer), stride, left, top, right, bottom, z, normal, cycling ? cycle_hues : colour,
               static_cast<float>(glyph.u0), static_cast<float>(glyph.v0), static_cast<float>(glyph.u1),
               static_cast<float>(glyph.v1), static_cast<float>(glyph.font_scale), half_h);
    }
    // Controls at the page's end (an event behind the last character) belong to this page.
    apply_controls(page.glyph_end + 1);
    region_close(page, page.glyph_end + 1 - page.glyph_start);
    for (VertexRecord& record : page.buffers) {
      Vertex_End(record.buffer);
      if (element.freeze_) {
        tsl::call("vertex_freeze", nullptr, nullptr, {RV_Real(record.buffer)});
        record.frozen = true;
      }
    }
    if (element.freeze_) page.frozen = true;
    // In-line images go through the standard shader even in a text of distance-field fonts only.
    for (const VertexRecord& record : page.buffers) {
      if (record.shader == kShaderStandard) model.uses_standard_font = true;
    }
  }
  model.glyph_count = static_cast<int32_t>(gen.glyphs.size());
}

void generator_set_padding_flags(Generator& gen) {
  Model& model = *gen.model;
  model.pad_bbox_t = model.valign == 1 || model.valign == 2;
  model.pad_bbox_b = model.valign != 2;
  if (gen.uses_halign_center || (gen.uses_halign_left && gen.uses_halign_right)) {
    model.pad_bbox_l = model.pad_bbox_r = true;
  } else if (gen.uses_halign_left) {
    model.pad_bbox_l = false;
    model.pad_bbox_r = true;
  } else if (gen.uses_halign_right) {
    model.pad_bbox_l = true;
    model.pad_bbox_r = false;
  } else {
    model.pad_bbox_l = false;
    model.pad_bbox_r = true;
  }
}

std::shared_ptr<Model> build_model(Element& element, const std::string& cache_name) {
  LibraryState& s = initialize();
  const auto previous = s.mcache_dict.find(cache_name);
  if (previous != s.mcache_dict.end()) {
    if (auto live = previous->second.lock(); live && !live->flushed) {
      trace("Warning! Rebuilding model \"" + cache_name + "\"");
      live->flush();
    }
  }
  auto model = std::make_shared<Model>();
  model->cache_name = cache_name;
  model->last_drawn = s.frames;
  s.mcache_dict[cache_name] = model;
  s.mcache_name_array.push_back(cache_name);

  Generator& gen = generator();
  gen.reset(model.get(), &element);
  generator_limits(gen, element);
  generator_parse(gen, element);
  generator_devanagari(gen);
  generator_build_words(gen);
  generator_finalize_bidi(gen);
  generator_build_lines(gen);
  generator_build_pages(gen);
  generator_position_glyphs(gen);
  generator_write_vbuffs(gen);
  generator_set_padding_flags(gen);
  gen.glyphs.clear();
  gen.controls.clear();
  return model;
}

}  // namespace scribble
