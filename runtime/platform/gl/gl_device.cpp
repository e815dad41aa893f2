#include "platform/gl/gl_device.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/window_host.h"

namespace {

struct GlTexture {
  GLuint texture = 0;
  GLuint framebuffer = 0;
  GLuint depth = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t levels = 1;  // GL_TEXTURE_MAX_LEVEL + 1: sampling never reaches past the levels given
  bool live = false;
  // A target's depth-stencil buffer is attached only while draws test depth or stencil: software
  // rasterisers take their fast paths (whole rectangles, 8-bit shading) only for targets without
  // one. Clears made while it is detached wait here and reach it when it is attached again; no
  // draw can touch it meanwhile, so it then holds exactly what it would have held.
  bool depth_attached = false;
  bool depth_clear_pending = false;
  bool stencil_clear_pending = false;
  float depth_clear = 1.0f;
  uint8_t stencil_clear = 0;
};

struct GlBuffer {
  GLuint buffer = 0;
  size_t bytes = 0;
  bool live = false;
  bool mapped = false;
};

struct Program {
  GLuint program = 0;
  uint64_t constants_sent = 0;  // the constants version this program last received
  float clip_scale_sent[2] = {0.0f, 0.0f};
  GLint world = -1, world_view = -1, wvp = -1, clip_scale = -1;
  GLint fog_enable_v = -1, fog_start = -1, rcp_fog_range = -1, lighting = -1, ambient = -1;
  GLint dir_dir = -1, dir_colour = -1, point_pos = -1, point_colour = -1;
  GLint texture = -1, fog_enable_p = -1, fog_colour = -1, alpha_test = -1, alpha_ref = -1;
};

// A user program and what the device feeds it.
struct UserProgram {
  GLuint program = 0;
  GLint matrices = -1;  // tv_Matrices[0]
  uint64_t constants_sent = 0;
  float flip_sent = 0.0f;
};

// A uniform's type as the runtime sees it, from GL's: float, int or bool vectors, square 4 x 4
// matrices and samplers; false for the rest.
bool uniform_shape(GLenum type, DeviceUniform* u) {
  switch (type) {
    case GL_FLOAT: u->type = UniformType::kFloat; u->columns = 1; return true;
    case GL_FLOAT_VEC2: u->type = UniformType::kFloat; u->columns = 2; return true;
    case GL_FLOAT_VEC3: u->type = UniformType::kFloat; u->columns = 3; return true;
    case GL_FLOAT_VEC4: u->type = UniformType::kFloat; u->columns = 4; return true;
    case GL_INT: case GL_BOOL: u->type = UniformType::kInt; u->columns = 1; return true;
    case GL_INT_VEC2: case GL_BOOL_VEC2: u->type = UniformType::kInt; u->columns = 2; return true;
    case GL_INT_VEC3: case GL_BOOL_VEC3: u->type = UniformType::kInt; u->columns = 3; return true;
    case GL_INT_VEC4: case GL_BOOL_VEC4: u->type = UniformType::kInt; u->columns = 4; return true;
    case GL_FLOAT_MAT4: u->type = UniformType::kMatrix; u->columns = 4; u->rows = 4; return true;
    case GL_SAMPLER_2D: u->type = UniformType::kSampler; return true;
    default: return false;
  }
}

GLenum blend_factor(uint8_t factor) {
  switch (factor) {
    case 1: return GL_ZERO;
    case 2: return GL_ONE;
    case 3: return GL_SRC_COLOR;
    case 4: return GL_ONE_MINUS_SRC_COLOR;
    case 5: return GL_SRC_ALPHA;
    case 6: return GL_ONE_MINUS_SRC_ALPHA;
    case 7: return GL_DST_ALPHA;
    case 8: return GL_ONE_MINUS_DST_ALPHA;
    case 9: return GL_DST_COLOR;
    case 10: return GL_ONE_MINUS_DST_COLOR;
    case 11: return GL_SRC_ALPHA_SATURATE;
    case 14: return GL_CONSTANT_COLOR;
    case 15: return GL_ONE_MINUS_CONSTANT_COLOR;
    default: return GL_ONE;
  }
}

GLenum compare_func(uint8_t func) {
  static const GLenum kFuncs[] = {GL_NEVER, GL_LESS, GL_EQUAL, GL_LEQUAL, GL_GREATER, GL_NOTEQUAL, GL_GEQUAL, GL_ALWAYS};
  return func >= 1 && func <= 8 ? kFuncs[func - 1] : GL_ALWAYS;
}

GLenum stencil_op(uint8_t op) {
  static const GLenum kOps[] = {GL_KEEP, GL_ZERO, GL_REPLACE, GL_INCR, GL_DECR, GL_INVERT, GL_INCR_WRAP, GL_DECR_WRAP};
  return op >= 1 && op <= 8 ? kOps[op - 1] : GL_KEEP;
}

GLenum primitive_mode(PrimitiveType type) {
  switch (type) {
    case PrimitiveType::kPointList: return GL_POINTS;
    case PrimitiveType::kLineList: return GL_LINES;
    case PrimitiveType::kLineStrip: return GL_LINE_STRIP;
    case PrimitiveType::kTriangleStrip: return GL_TRIANGLE_STRIP;
    default: return GL_TRIANGLES;
  }
}

GLuint compile(GLenum stage, const std::string& source, std::string* error) {
  const GLuint shader = glCreateShader(stage);
  const char* text = source.c_str();
  glShaderSource(shader, 1, &text, nullptr);
  glCompileShader(shader);
  GLint ok = 0;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (ok == GL_TRUE) return shader;
  char log[2048] = {};
  glGetShaderInfoLog(shader, sizeof(log) - 1, nullptr, log);
  *error = log;
  glDeleteShader(shader);
  return 0;
}

class GlDevice final : public IDevice {
 public:
  explicit GlDevice(IWindowHost* host) : host_(host) {}

  ~GlDevice() override {
    for (GlTexture& t : textures_) release_texture(&t);
    for (GlBuffer& b : buffers_) {
      if (b.live) glDeleteBuffers(1, &b.buffer);
    }
    for (Program(&pair)[2] : programs_) {
      for (Program& p : pair) {
        if (p.program != 0) glDeleteProgram(p.program);
      }
    }
    for (UserProgram& p : user_programs_) {
      if (p.program != 0) glDeleteProgram(p.program);
    }
    if (!samplers_.empty()) glDeleteSamplers(static_cast<GLsizei>(samplers_.size()), samplers_.data());
    if (quad_indices_ != 0) glDeleteBuffers(1, &quad_indices_);
    if (vao_ != 0) glDeleteVertexArrays(1, &vao_);
  }

  bool Init(std::string* error) {
    if (epoxy_gl_version() < 33) {
      *error = "OpenGL 3.3 or later is needed";
      return false;
    }
    for (int set = 0; set < static_cast<int>(ShaderSet::kCount); ++set) {
      for (bool plain : {false, true}) {
        if (!build_program(static_cast<ShaderSet>(set), plain, error)) return false;
      }
    }
    glGenVertexArrays(1, &vao_);
    glBindVertexArray(vao_);
    make_quad_indices();
    samplers_.resize(kTextureStages);
    glGenSamplers(kTextureStages, samplers_.data());
    for (int stage = 0; stage < kTextureStages; ++stage) {
      SetSampler(stage, SamplerDesc{});
      glBindSampler(stage, samplers_[stage]);
    }
    debug_groups_ = epoxy_gl_version() >= 43 || epoxy_has_gl_extension("GL_KHR_debug");
    anisotropy_ = epoxy_has_gl_extension("GL_EXT_texture_filter_anisotropic") ||
                  epoxy_has_gl_extension("GL_ARB_texture_filter_anisotropic");
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &max_texture_size_);
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, max_viewport_);
    GLint samples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &samples);
    for (uint32_t count : {2u, 4u, 8u, 16u}) {
      if (static_cast<GLint>(count) <= samples) msaa_levels_ |= count;
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glEnable(GL_SCISSOR_TEST);
    glDisable(GL_DITHER);
    // Blend factors 14 and 15 name the constant blend factor, which is always white.
    glBlendColor(1.0f, 1.0f, 1.0f, 1.0f);
    SetBlend(BlendDesc{});
    SetDepthStencil(DepthStencilDesc{});
    SetRaster(RasterDesc{});
    SetRenderTarget(0);
    int32_t w = 0, h = 0;
    BackBufferSize(&w, &h);
    SetViewport(DeviceRect{0, 0, w, h});
    SetScissor(DeviceRect{0, 0, 16384, 16384});
    return true;
  }

  void BackBufferSize(int32_t* width, int32_t* height) override { host_->DrawableSize(width, height); }
  int32_t MaxTextureSize() override { return max_texture_size_; }
  uint32_t MultisampleLevels() override { return msaa_levels_; }

  DeviceTextureId CreateTexture(int32_t width, int32_t height, const void* pixels, bool render_target,
                                bool with_depth) override {
    if (width <= 0 || height <= 0 || width > max_texture_size_ || height > max_texture_size_) return 0;
    GlTexture t;
    t.width = width;
    t.height = height;
    glGenTextures(1, &t.texture);
    glActiveTexture(GL_TEXTURE0 + kScratchUnit);
    glBindTexture(GL_TEXTURE_2D, t.texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, 0);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    if (render_target) {
      // Targets keep their texels blue first, as the window's back buffer does, so that the
      // present's blit of a target the size of the window is a plain copy of rows; what is drawn,
      // sampled and read back is the same in either order.
      glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
      if (pixels != nullptr) glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    } else {
      glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    if (render_target) {
      glGenFramebuffers(1, &t.framebuffer);
      glBindFramebuffer(GL_FRAMEBUFFER, t.framebuffer);
      glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, t.texture, 0);
      bool complete = true;
      if (with_depth) {
        glGenRenderbuffers(1, &t.depth);
        glBindRenderbuffer(GL_RENDERBUFFER, t.depth);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, width, height);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, t.depth);
        complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, 0);
      }
      complete = complete && glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
      glBindFramebuffer(GL_FRAMEBUFFER, current_framebuffer());
      if (!complete) {
        release_texture(&t);
        return 0;
      }
    }
    t.live = true;
    for (size_t i = 0; i < textures_.size(); ++i) {
      if (!textures_[i].live) {
        textures_[i] = t;
        return static_cast<DeviceTextureId>(i + 1);
      }
    }
    textures_.push_back(t);
    return static_cast<DeviceTextureId>(textures_.size());
  }

  void UpdateTexture(DeviceTextureId id, int32_t x, int32_t y, int32_t width, int32_t height,
                     const void* pixels) override {
    GlTexture* t = texture(id);
    if (t == nullptr || pixels == nullptr || width <= 0 || height <= 0) return;
    if (x < 0 || y < 0 || x + width > t->width || y + height > t->height) return;
    glActiveTexture(GL_TEXTURE0 + kScratchUnit);
    glBindTexture(GL_TEXTURE_2D, t->texture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
  }

  void SetTextureMipLevel(DeviceTextureId id, int32_t level, int32_t width, int32_t height,
                          const void* pixels) override {
    GlTexture* t = texture(id);
    if (t == nullptr || t->framebuffer != 0 || pixels == nullptr || level != t->levels || level > 30) return;
    if (width != std::max(t->width >> level, 1) || height != std::max(t->height >> level, 1)) return;
    glActiveTexture(GL_TEXTURE0 + kScratchUnit);
    glBindTexture(GL_TEXTURE_2D, t->texture);
    glTexImage2D(GL_TEXTURE_2D, level, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, level);
    glBindTexture(GL_TEXTURE_2D, 0);
    t->levels = level + 1;
  }

  void DestroyTexture(DeviceTextureId id) override {
    GlTexture* t = texture(id);
    if (t == nullptr) return;
    if (id == target_) SetRenderTarget(0);
    for (DeviceTextureId& bound : bound_) {
      if (bound == id) bound = 0;
    }
    release_texture(t);
  }

  void BindTexture(int32_t stage, DeviceTextureId id) override {
    if (stage < 0 || stage >= kTextureStages) return;
    GlTexture* t = texture(id);
    bound_[stage] = t != nullptr ? id : 0;
    glActiveTexture(GL_TEXTURE0 + stage);
    glBindTexture(GL_TEXTURE_2D, t != nullptr ? t->texture : 0);
  }

  void SetRenderTarget(DeviceTextureId id) override {
    GlTexture* t = texture(id);
    if (t != nullptr && t->framebuffer == 0) return;
    target_ = t != nullptr ? id : 0;
    glBindFramebuffer(GL_FRAMEBUFFER, current_framebuffer());
    // The front face is the one that runs clockwise in the finished picture. GL counts windings
    // in its own window coordinates, y up: the window shows them as they are, while a target's
    // flipped rows mirror them.
    glFrontFace(target_ != 0 ? GL_CCW : GL_CW);
    apply_viewport();
    apply_scissor();
  }

  void SetViewport(const DeviceRect& rect) override {
    viewport_ = rect;
    apply_viewport();
    apply_scissor();
  }

  void SetScissor(const DeviceRect& rect) override {
    scissor_ = rect;
    apply_scissor();
  }

  void Clear(uint32_t flags, uint32_t colour, float depth, uint8_t stencil) override {
    GlTexture* t = texture(target_);
    if (t != nullptr && t->depth != 0) {
      // The clear covers the whole target, so the depth-stencil buffer can wait detached with the
      // values it is to hold.
      if (flags & kClearDepth) {
        t->depth_clear_pending = true;
        t->depth_clear = depth;
      }
      if (flags & kClearStencil) {
        t->stencil_clear_pending = true;
        t->stencil_clear = stencil;
      }
      if (t->depth_attached && (flags & (kClearDepth | kClearStencil)) != 0) detach_depth(t);
      flags &= ~static_cast<uint32_t>(kClearDepth | kClearStencil);
    }
    GLbitfield bits = 0;
    if (flags & kClearColour) bits |= GL_COLOR_BUFFER_BIT;
    if (flags & kClearDepth) bits |= GL_DEPTH_BUFFER_BIT;
    if (flags & kClearStencil) bits |= GL_STENCIL_BUFFER_BIT;
    if (bits == 0) return;
    // A clear covers the whole target whatever the masks and the scissor say.
    glDisable(GL_SCISSOR_TEST);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glDepthMask(GL_TRUE);
    glStencilMask(0xFF);
    glClearColor((colour & 0xFF) / 255.0f, ((colour >> 8) & 0xFF) / 255.0f, ((colour >> 16) & 0xFF) / 255.0f,
                 ((colour >> 24) & 0xFF) / 255.0f);
    glClearDepth(depth);
    glClearStencil(stencil);
    glClear(bits);
    glEnable(GL_SCISSOR_TEST);
    apply_write_masks();
  }

  void SetBlend(const BlendDesc& desc) override {
    blend_ = desc;
    if (desc.enable) {
      glEnable(GL_BLEND);
    } else {
      glDisable(GL_BLEND);
    }
    glBlendFuncSeparate(blend_factor(desc.src), blend_factor(desc.dest), blend_factor(desc.src_alpha),
                        blend_factor(desc.dest_alpha));
    glBlendEquation(GL_FUNC_ADD);
    apply_write_masks();
  }

  void SetDepthStencil(const DepthStencilDesc& desc) override {
    depth_ = desc;
    if (desc.depth_test) {
      glEnable(GL_DEPTH_TEST);
    } else {
      glDisable(GL_DEPTH_TEST);
    }
    glDepthFunc(compare_func(desc.depth_func));
    if (desc.stencil) {
      glEnable(GL_STENCIL_TEST);
    } else {
      glDisable(GL_STENCIL_TEST);
    }
    glStencilFunc(compare_func(desc.stencil_func), desc.stencil_ref, desc.stencil_read_mask);
    glStencilOp(stencil_op(desc.stencil_fail), stencil_op(desc.stencil_depth_fail), stencil_op(desc.stencil_pass));
    apply_write_masks();
  }

  void SetRaster(const RasterDesc& desc) override {
    glPolygonMode(GL_FRONT_AND_BACK, desc.wireframe ? GL_LINE : GL_FILL);
    if (desc.cull == 1 || desc.cull == 2) {
      glEnable(GL_CULL_FACE);
      glCullFace(desc.cull == 1 ? GL_FRONT : GL_BACK);
    } else {
      glDisable(GL_CULL_FACE);
    }
  }

  void SetSampler(int32_t stage, const SamplerDesc& desc) override {
    if (stage < 0 || stage >= static_cast<int32_t>(samplers_.size())) return;
    const GLuint s = samplers_[stage];
    GLenum min = desc.min_linear ? GL_LINEAR : GL_NEAREST;
    if (desc.mip_filter == 0) min = desc.min_linear ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST;
    if (desc.mip_filter >= 1) min = desc.min_linear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_LINEAR;
    glSamplerParameteri(s, GL_TEXTURE_MIN_FILTER, static_cast<GLint>(min));
    glSamplerParameteri(s, GL_TEXTURE_MAG_FILTER, desc.mag_linear ? GL_LINEAR : GL_NEAREST);
    glSamplerParameteri(s, GL_TEXTURE_WRAP_S, desc.repeat_u ? GL_REPEAT : GL_CLAMP_TO_EDGE);
    glSamplerParameteri(s, GL_TEXTURE_WRAP_T, desc.repeat_v ? GL_REPEAT : GL_CLAMP_TO_EDGE);
    glSamplerParameteri(s, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    glSamplerParameterf(s, GL_TEXTURE_MIN_LOD, desc.min_lod);
    glSamplerParameterf(s, GL_TEXTURE_MAX_LOD, desc.max_lod);
    glSamplerParameterf(s, GL_TEXTURE_LOD_BIAS, desc.lod_bias);
    if (anisotropy_) {
      const float aniso = desc.mip_filter == 2 ? static_cast<float>(std::clamp(desc.max_anisotropy, 1, 16)) : 1.0f;
      glSamplerParameterf(s, GL_TEXTURE_MAX_ANISOTROPY_EXT, aniso);
    }
  }

  void SetConstants(const ShaderConstants& constants) override {
    constants_ = constants;
    ++constants_version_;
  }

  DeviceBufferId CreateVertexBuffer(size_t bytes) override {
    GlBuffer b;
    b.bytes = bytes;
    glGenBuffers(1, &b.buffer);
    glBindBuffer(GL_ARRAY_BUFFER, b.buffer);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(bytes), nullptr, GL_STREAM_DRAW);
    b.live = true;
    bound_layout_buffer_ = 0;
    for (size_t i = 0; i < buffers_.size(); ++i) {
      if (!buffers_[i].live) {
        buffers_[i] = b;
        return static_cast<DeviceBufferId>(i + 1);
      }
    }
    buffers_.push_back(b);
    return static_cast<DeviceBufferId>(buffers_.size());
  }

  void WriteVertexBuffer(DeviceBufferId id, size_t offset, const void* data, size_t bytes, bool discard) override {
    GlBuffer* b = buffer(id);
    if (b == nullptr || bytes == 0 || offset + bytes > b->bytes) return;
    glBindBuffer(GL_ARRAY_BUFFER, b->buffer);
    const GLbitfield access = GL_MAP_WRITE_BIT | (discard ? GL_MAP_INVALIDATE_BUFFER_BIT
                                                          : GL_MAP_INVALIDATE_RANGE_BIT | GL_MAP_UNSYNCHRONIZED_BIT);
    void* mapped = glMapBufferRange(GL_ARRAY_BUFFER, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(bytes),
                                    access);
    if (mapped != nullptr) {
      std::memcpy(mapped, data, bytes);
      glUnmapBuffer(GL_ARRAY_BUFFER);
    } else {
      glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(bytes), data);
    }
  }

  // Only the written part of the range is flushed to the buffer; a software renderer hands out the
  // buffer's own memory, so the vertices are written once, where they are drawn from.
  uint8_t* MapVertexBuffer(DeviceBufferId id, size_t offset, size_t bytes, bool discard) override {
    GlBuffer* b = buffer(id);
    if (b == nullptr || b->mapped || bytes == 0 || offset + bytes > b->bytes) return nullptr;
    glBindBuffer(GL_ARRAY_BUFFER, b->buffer);
    const GLbitfield access = GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT |
                              (discard ? GL_MAP_INVALIDATE_BUFFER_BIT
                                       : GL_MAP_INVALIDATE_RANGE_BIT | GL_MAP_UNSYNCHRONIZED_BIT);
    void* mapped = glMapBufferRange(GL_ARRAY_BUFFER, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(bytes),
                                    access);
    b->mapped = mapped != nullptr;
    return static_cast<uint8_t*>(mapped);
  }

  void UnmapVertexBuffer(DeviceBufferId id, size_t written) override {
    GlBuffer* b = buffer(id);
    if (b == nullptr || !b->mapped) return;
    glBindBuffer(GL_ARRAY_BUFFER, b->buffer);
    if (written > 0) glFlushMappedBufferRange(GL_ARRAY_BUFFER, 0, static_cast<GLsizeiptr>(written));
    glUnmapBuffer(GL_ARRAY_BUFFER);
    b->mapped = false;
  }

  void DestroyVertexBuffer(DeviceBufferId id) override {
    GlBuffer* b = buffer(id);
    if (b == nullptr) return;
    glDeleteBuffers(1, &b->buffer);
    *b = GlBuffer{};
    bound_layout_buffer_ = 0;
  }

  void Draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId id, size_t first_byte,
            int32_t vertex_count) override {
    GlBuffer* b = buffer(id);
    if (b == nullptr || vertex_count <= 0 || !begin_draw(shader)) return;
    const GLint first = bind_layout(layout, b->buffer, first_byte);
    if (type != PrimitiveType::kTriangleList) {
      glDrawArrays(primitive_mode(type), first, vertex_count);
      return;
    }
    // Mesa's software rasteriser sees two triangles of a screen-aligned quad as one rectangle only
    // when both arrive in one of its segments of at most 4095 vertices; a list cut at a multiple
    // of 6 keeps every quad whole.
    for (int32_t start = 0; start < vertex_count; start += kTriangleListChunk) {
      glDrawArrays(GL_TRIANGLES, first + start, std::min(kTriangleListChunk, vertex_count - start));
    }
  }

  // Every piece reads the shared index pattern from its start, moved to its first quad by the base
  // vertex. Mesa's software rasteriser cuts indexed draws into segments of at most 1023 indices and
  // finds rectangles only in segments of whole quads: a piece is 170 quads (1020 indices).
  void DrawQuads(const VertexLayout& layout, ShaderSet shader, DeviceBufferId id, size_t first_byte,
                 int32_t quad_count) override {
    GlBuffer* b = buffer(id);
    if (b == nullptr || quad_count <= 0 || quad_indices_ == 0 || !begin_draw(shader)) return;
    const GLint first = bind_layout(layout, b->buffer, first_byte);
    // One call for all pieces: the driver checks its state once.
    piece_counts_.clear();
    piece_bases_.clear();
    for (int32_t start = 0; start < quad_count; start += kQuadChunk) {
      piece_counts_.push_back(6 * std::min(kQuadChunk, quad_count - start));
      piece_bases_.push_back(first + 4 * start);
    }
    piece_offsets_.resize(piece_counts_.size(), nullptr);
    glMultiDrawElementsBaseVertex(GL_TRIANGLES, piece_counts_.data(), GL_UNSIGNED_SHORT, piece_offsets_.data(),
                                  static_cast<GLsizei>(piece_counts_.size()), piece_bases_.data());
  }

  DeviceProgramId CreateProgram(const char* vertex, const char* fragment, std::string* log,
                                std::vector<DeviceUniform>* uniforms) override {
    std::string error;
    const GLuint vs = compile(GL_VERTEX_SHADER, vertex != nullptr ? vertex : "", &error);
    if (vs == 0) {
      *log = "vertex shader: " + error;
      return 0;
    }
    const GLuint ps = compile(GL_FRAGMENT_SHADER, fragment != nullptr ? fragment : "", &error);
    if (ps == 0) {
      glDeleteShader(vs);
      *log = "fragment shader: " + error;
      return 0;
    }
    const GLuint g = glCreateProgram();
    glAttachShader(g, vs);
    glAttachShader(g, ps);
    for (int a = 0; a < static_cast<int>(VertexAttribute::kCount); ++a) {
      glBindAttribLocation(g, static_cast<GLuint>(a), kVertexAttributeNames[a]);
    }
    for (int a = 0; a < kExtraVertexAttributes; ++a) {
      glBindAttribLocation(g, static_cast<GLuint>(static_cast<int>(VertexAttribute::kCount) + a),
                           kExtraAttributeNames[a]);
    }
    glLinkProgram(g);
    glDeleteShader(vs);
    glDeleteShader(ps);
    GLint ok = 0;
    glGetProgramiv(g, GL_LINK_STATUS, &ok);
    if (ok != GL_TRUE) {
      char text[2048] = {};
      glGetProgramInfoLog(g, sizeof(text) - 1, nullptr, text);
      *log = std::string("link: ") + text;
      glDeleteProgram(g);
      return 0;
    }
    UserProgram p;
    p.program = g;
    p.matrices = glGetUniformLocation(g, "tv_Matrices[0]");
    uniforms->clear();
    GLint count = 0;
    glGetProgramiv(g, GL_ACTIVE_UNIFORMS, &count);
    glUseProgram(g);
    // The base texture reads stage 0, where drawing binds its texture; other samplers follow.
    int32_t unit = 1;
    for (GLint i = 0; i < count; ++i) {
      char name[128] = {};
      GLint size = 0;
      GLenum type = 0;
      glGetActiveUniform(g, static_cast<GLuint>(i), sizeof(name) - 1, nullptr, &size, &type, name);
      DeviceUniform u;
      if (!uniform_shape(type, &u)) continue;
      std::string plain = name;
      const size_t bracket = plain.find('[');
      if (bracket != std::string::npos) {
        plain.resize(bracket);
        u.elements = size;
      }
      if (plain.size() >= sizeof(u.name)) continue;
      std::memcpy(u.name, plain.c_str(), plain.size() + 1);
      u.location = glGetUniformLocation(g, name);
      if (u.type == UniformType::kSampler) {
        u.sampler_unit = plain == "tv_BaseTexture" ? 0 : unit++;
        glUniform1i(u.location, u.sampler_unit);
      }
      uniforms->push_back(u);
    }
    glUseProgram(program_);
    for (size_t i = 0; i < user_programs_.size(); ++i) {
      if (user_programs_[i].program == 0) {
        user_programs_[i] = p;
        return static_cast<DeviceProgramId>(i + 1);
      }
    }
    user_programs_.push_back(p);
    return static_cast<DeviceProgramId>(user_programs_.size());
  }

  void DestroyProgram(DeviceProgramId id) override {
    UserProgram* p = user_program(id);
    if (p == nullptr) return;
    if (program_ == p->program) {
      glUseProgram(0);
      program_ = 0;
    }
    glDeleteProgram(p->program);
    *p = UserProgram{};
    if (user_program_ == id) user_program_ = 0;
  }

  void UseProgram(DeviceProgramId id) override { user_program_ = user_program(id) != nullptr ? id : 0; }

  // Debug groups where the context has them; the colour has no place in GL's groups.
  void BeginEvent(const char* name, uint32_t colour) override {
    if (debug_groups_) glPushDebugGroup(GL_DEBUG_SOURCE_APPLICATION, colour, -1, name);
  }
  void EndEvent() override {
    if (debug_groups_) glPopDebugGroup();
  }

  void SetProgramUniform(DeviceProgramId id, int32_t location, UniformType type, int32_t columns, int32_t count,
                         const void* data) override {
    UserProgram* p = user_program(id);
    if (p == nullptr || location < 0 || count <= 0) return;
    if (program_ != p->program) {
      glUseProgram(p->program);
      program_ = p->program;
    }
    const auto* f = static_cast<const GLfloat*>(data);
    const auto* n = static_cast<const GLint*>(data);
    switch (type) {
      case UniformType::kMatrix:
        glUniformMatrix4fv(location, count, GL_FALSE, f);
        break;
      case UniformType::kInt:
      case UniformType::kSampler:
        if (columns == 1) glUniform1iv(location, count, n);
        if (columns == 2) glUniform2iv(location, count, n);
        if (columns == 3) glUniform3iv(location, count, n);
        if (columns == 4) glUniform4iv(location, count, n);
        break;
      case UniformType::kFloat:
        if (columns == 1) glUniform1fv(location, count, f);
        if (columns == 2) glUniform2fv(location, count, f);
        if (columns == 3) glUniform3fv(location, count, f);
        if (columns == 4) glUniform4fv(location, count, f);
        break;
    }
  }

  bool ReadPixels(const DeviceRect& rect, uint32_t* out) override {
    int32_t tw = 0, th = 0;
    target_size(&tw, &th);
    if (rect.w <= 0 || rect.h <= 0 || rect.x < 0 || rect.y < 0 || rect.x + rect.w > tw || rect.y + rect.h > th) {
      return false;
    }
    if (target_ != 0) {
      glReadBuffer(GL_COLOR_ATTACHMENT0);
      glReadPixels(rect.x, rect.y, rect.w, rect.h, GL_RGBA, GL_UNSIGNED_BYTE, out);
      return true;
    }
    // The back buffer's rows run bottom-up.
    glReadBuffer(GL_BACK);
    glReadPixels(rect.x, th - rect.y - rect.h, rect.w, rect.h, GL_RGBA, GL_UNSIGNED_BYTE, out);
    std::vector<uint32_t> row(static_cast<size_t>(rect.w));
    for (int32_t top = 0, bottom = rect.h - 1; top < bottom; ++top, --bottom) {
      uint32_t* a = out + static_cast<size_t>(top) * rect.w;
      uint32_t* c = out + static_cast<size_t>(bottom) * rect.w;
      std::memcpy(row.data(), a, rect.w * sizeof(uint32_t));
      std::memcpy(a, c, rect.w * sizeof(uint32_t));
      std::memcpy(c, row.data(), rect.w * sizeof(uint32_t));
    }
    return true;
  }

  void Flush() override { glFlush(); }

  // A framebuffer blit: no shader, no vertices, and the flip is the blit's own reversed rows.
  void CopyToBackBuffer(DeviceTextureId id, bool linear) override {
    GlTexture* t = texture(id);
    if (t == nullptr || t->framebuffer == 0) return;
    int32_t bw = 0, bh = 0;
    BackBufferSize(&bw, &bh);
    if (bw <= 0 || bh <= 0) return;
    glBindFramebuffer(GL_READ_FRAMEBUFFER, t->framebuffer);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    glDisable(GL_SCISSOR_TEST);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    const bool same_size = bw == t->width && bh == t->height;
    glBlitFramebuffer(0, 0, t->width, t->height, 0, bh, bw, 0, GL_COLOR_BUFFER_BIT,
                      linear && !same_size ? GL_LINEAR : GL_NEAREST);
    glEnable(GL_SCISSOR_TEST);
    apply_write_masks();
    glBindFramebuffer(GL_FRAMEBUFFER, current_framebuffer());
  }

  bool Present(int32_t sync_interval) override {
    return host_->SwapBuffers(sync_interval);
  }

 private:
  static constexpr int kScratchUnit = kTextureStages;  // uploads never disturb a stage's binding
  static constexpr int32_t kMaxGuardFactor = 8;
  static constexpr int32_t kTriangleListChunk = 4092;
  static constexpr int32_t kQuadChunk = 170;  // quads a piece of DrawQuads

  GlTexture* texture(DeviceTextureId id) {
    if (id == 0 || id > textures_.size() || !textures_[id - 1].live) return nullptr;
    return &textures_[id - 1];
  }

  GlBuffer* buffer(DeviceBufferId id) {
    if (id == 0 || id > buffers_.size() || !buffers_[id - 1].live) return nullptr;
    return &buffers_[id - 1];
  }

  // Attaches the depth-stencil buffer of target t (when it has one) and applies the clears that
  // waited for it.
  void attach_depth(GlTexture* t) {
    if (t == nullptr || t->depth == 0 || t->depth_attached) return;
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, t->depth);
    t->depth_attached = true;
    GLbitfield bits = 0;
    if (t->depth_clear_pending) bits |= GL_DEPTH_BUFFER_BIT;
    if (t->stencil_clear_pending) bits |= GL_STENCIL_BUFFER_BIT;
    t->depth_clear_pending = t->stencil_clear_pending = false;
    if (bits == 0) return;
    glDisable(GL_SCISSOR_TEST);
    glDepthMask(GL_TRUE);
    glStencilMask(0xFF);
    glClearDepth(t->depth_clear);
    glClearStencil(t->stencil_clear);
    glClear(bits);
    glEnable(GL_SCISSOR_TEST);
    apply_write_masks();
  }

  void detach_depth(GlTexture* t) {
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, 0);
    t->depth_attached = false;
  }

  void release_texture(GlTexture* t) {
    if (t->framebuffer != 0) glDeleteFramebuffers(1, &t->framebuffer);
    if (t->depth != 0) glDeleteRenderbuffers(1, &t->depth);
    if (t->texture != 0) glDeleteTextures(1, &t->texture);
    *t = GlTexture{};
  }

  GLuint current_framebuffer() {
    GlTexture* t = texture(target_);
    return t != nullptr ? t->framebuffer : 0;
  }

  void target_size(int32_t* w, int32_t* h) {
    GlTexture* t = texture(target_);
    if (t != nullptr) {
      *w = t->width;
      *h = t->height;
    } else {
      BackBufferSize(w, h);
    }
  }

  // Rectangles come from the top-left corner. A target is drawn flipped, so its rows already run
  // top-down; the back buffer's run bottom-up.
  DeviceRect to_gl(const DeviceRect& r) {
    if (target_ != 0) return r;
    int32_t w = 0, h = 0;
    target_size(&w, &h);
    return DeviceRect{r.x, h - r.y - r.h, r.w, r.h};
  }

  // The guard band: the built-in shader sets draw through a viewport k times the requested one about
  // the same centre, with clip x and y divided by k in the vertex shader. k is a power of two, so
  // both steps are exact and every vertex lands where it would without the band, but a triangle
  // that crosses the edge of the viewport stays inside the clip volume: rasterisers without a
  // guard band of their own (software ones) send every such triangle through their slow clipping
  // path. The scissor, always within the requested viewport, keeps the pixels inside it. User
  // programs may write clip coordinates of their own and keep the plain viewport.
  static int32_t guard_factor(int32_t size, int32_t max_size) {
    if (size <= 0 || size % 2 != 0) return 1;  // the widened viewport's corner must stay whole
    int32_t k = 1;
    while (k < kMaxGuardFactor && 2 * k * size <= max_size) k *= 2;
    return k;
  }

  void apply_viewport() {
    const DeviceRect r = to_gl(viewport_);
    const int32_t w = std::max(r.w, 0), h = std::max(r.h, 0);
    guard_x_ = guard_on_ ? guard_factor(w, max_viewport_[0]) : 1;
    guard_y_ = guard_on_ ? guard_factor(h, max_viewport_[1]) : 1;
    glViewport(r.x - (guard_x_ - 1) * w / 2, r.y - (guard_y_ - 1) * h / 2, guard_x_ * w, guard_y_ * h);
  }

  void apply_scissor() {
    const int32_t left = std::max(scissor_.x, viewport_.x), top = std::max(scissor_.y, viewport_.y);
    const int32_t right = std::min(scissor_.x + scissor_.w, viewport_.x + viewport_.w);
    const int32_t bottom = std::min(scissor_.y + scissor_.h, viewport_.y + viewport_.h);
    const DeviceRect r = to_gl(DeviceRect{left, top, std::max(right - left, 0), std::max(bottom - top, 0)});
    glScissor(r.x, r.y, r.w, r.h);
  }

  void apply_write_masks() {
    glColorMask((blend_.write_mask & 1) != 0, (blend_.write_mask & 2) != 0, (blend_.write_mask & 4) != 0,
                (blend_.write_mask & 8) != 0);
    glDepthMask(depth_.depth_write ? GL_TRUE : GL_FALSE);
    glStencilMask(depth_.stencil_write_mask);
  }

  bool build_program(ShaderSet set, bool plain, std::string* error) {
    std::string defines = "#version 330 core\n";
    if (plain) defines += "#define PLAIN\n";
    if (set != ShaderSet::kColour) defines += "#define TEXTURED\n";
    if (set == ShaderSet::kNormalLit) defines += "#define LIT\n";
    const GLuint vs = compile(GL_VERTEX_SHADER, defines + GlShaders_VertexSource(), error);
    if (vs == 0) {
      *error = "built-in shader failed to compile: " + *error;
      return false;
    }
    const GLuint ps = compile(GL_FRAGMENT_SHADER, defines + GlShaders_PixelSource(), error);
    if (ps == 0) {
      *error = "built-in shader failed to compile: " + *error;
      glDeleteShader(vs);
      return false;
    }
    Program& p = programs_[static_cast<int>(set)][plain ? 1 : 0];
    p.program = glCreateProgram();
    glAttachShader(p.program, vs);
    glAttachShader(p.program, ps);
    for (int a = 0; a < static_cast<int>(VertexAttribute::kCount); ++a) {
      glBindAttribLocation(p.program, static_cast<GLuint>(a), kVertexAttributeNames[a]);
    }
    glBindFragDataLocation(p.program, 0, "out_colour");
    glLinkProgram(p.program);
    glDeleteShader(vs);
    glDeleteShader(ps);
    GLint ok = 0;
    glGetProgramiv(p.program, GL_LINK_STATUS, &ok);
    if (ok != GL_TRUE) {
      char log[2048] = {};
      glGetProgramInfoLog(p.program, sizeof(log) - 1, nullptr, log);
      *error = std::string("built-in shader failed to link: ") + log;
      return false;
    }
    const GLuint g = p.program;
    p.world = glGetUniformLocation(g, "u_world");
    p.world_view = glGetUniformLocation(g, "u_worldView");
    p.wvp = glGetUniformLocation(g, "u_worldViewProj");
    p.clip_scale = glGetUniformLocation(g, "u_clipScale");
    p.fog_enable_v = glGetUniformLocation(g, "u_fogEnable");
    p.fog_start = glGetUniformLocation(g, "u_fogStart");
    p.rcp_fog_range = glGetUniformLocation(g, "u_rcpFogRange");
    p.lighting = glGetUniformLocation(g, "u_lighting");
    p.ambient = glGetUniformLocation(g, "u_ambient");
    p.dir_dir = glGetUniformLocation(g, "u_dirLightDir");
    p.dir_colour = glGetUniformLocation(g, "u_dirLightColour");
    p.point_pos = glGetUniformLocation(g, "u_pointLightPos");
    p.point_colour = glGetUniformLocation(g, "u_pointLightColour");
    p.texture = glGetUniformLocation(g, "u_texture");
    p.fog_colour = glGetUniformLocation(g, "u_fogColour");
    p.alpha_test = glGetUniformLocation(g, "u_alphaTest");
    p.alpha_ref = glGetUniformLocation(g, "u_alphaRef");
    glUseProgram(g);
    if (p.texture >= 0) glUniform1i(p.texture, 0);
    glUseProgram(0);
    return true;
  }

  UserProgram* user_program(DeviceProgramId id) {
    if (id == 0 || id > user_programs_.size() || user_programs_[id - 1].program == 0) return nullptr;
    return &user_programs_[id - 1];
  }

  // tv_Matrices with the clip conventions of send_constants folded into the projection and the
  // full product: y negated into a render target, depth 0..1 onto -1..1 (z' = 2z - w).
  void send_user_matrices(UserProgram* p) {
    const float flip = target_ != 0 ? -1.0f : 1.0f;
    if (p->matrices < 0 || (p->constants_sent == constants_version_ && p->flip_sent == flip)) return;
    const ShaderConstants& c = constants_;
    float m[5][16];
    std::memcpy(m[0], c.view, sizeof(m[0]));
    std::memcpy(m[1], c.projection, sizeof(m[1]));
    std::memcpy(m[2], c.world, sizeof(m[2]));
    std::memcpy(m[3], c.world_view, sizeof(m[3]));
    std::memcpy(m[4], c.world_view_projection, sizeof(m[4]));
    for (int k : {1, 4}) {
      for (int row = 0; row < 4; ++row) {
        float* r = &m[k][row * 4];
        r[1] *= flip;
        r[2] = 2.0f * r[2] - r[3];
      }
    }
    glUniformMatrix4fv(p->matrices, 5, GL_FALSE, &m[0][0]);
    p->constants_sent = constants_version_;
    p->flip_sent = flip;
  }

  void send_constants(Program* p) {
    const float flip = target_ != 0 ? -1.0f : 1.0f;
    const float scale[2] = {1.0f / static_cast<float>(guard_x_), flip / static_cast<float>(guard_y_)};
    if (scale[0] != p->clip_scale_sent[0] || scale[1] != p->clip_scale_sent[1]) {
      glUniform2f(p->clip_scale, scale[0], scale[1]);
      p->clip_scale_sent[0] = scale[0];
      p->clip_scale_sent[1] = scale[1];
    }
    if (p->constants_sent == constants_version_) return;
    const ShaderConstants& c = constants_;
    glUniformMatrix4fv(p->world, 1, GL_FALSE, c.world);
    glUniformMatrix4fv(p->world_view, 1, GL_FALSE, c.world_view);
    glUniformMatrix4fv(p->wvp, 1, GL_FALSE, c.world_view_projection);
    glUniform1i(p->fog_enable_v, c.fog ? 1 : 0);
    glUniform1f(p->fog_start, c.fog_start);
    glUniform1f(p->rcp_fog_range, c.rcp_fog_range);
    glUniform3fv(p->fog_colour, 1, c.fog_colour);
    glUniform1i(p->alpha_test, c.alpha_test ? 1 : 0);
    glUniform1f(p->alpha_ref, c.alpha_ref);
    if (p->lighting >= 0) {
      glUniform1i(p->lighting, c.lighting ? 1 : 0);
      glUniform4fv(p->ambient, 1, c.ambient);
      glUniform4fv(p->dir_dir, kMaxLights, &c.dir_light_dir[0][0]);
      glUniform4fv(p->dir_colour, kMaxLights, &c.dir_light_colour[0][0]);
      glUniform4fv(p->point_pos, kMaxLights, &c.point_light_pos[0][0]);
      glUniform4fv(p->point_colour, kMaxLights, &c.point_light_colour[0][0]);
    }
    p->constants_sent = constants_version_;
  }

  // The program of a draw, with its constants sent and the depth-stencil buffer attached when the
  // draw needs it; false for a shader set that doesn't exist.
  bool begin_draw(ShaderSet shader) {
    const int set = static_cast<int>(shader);
    if (set < 0 || set >= static_cast<int>(ShaderSet::kCount)) return false;
    UserProgram* user = user_program(user_program_);
    if (guard_on_ != (user == nullptr)) {
      guard_on_ = user == nullptr;
      apply_viewport();
    }
    if (user != nullptr) {
      if (program_ != user->program) {
        glUseProgram(user->program);
        program_ = user->program;
      }
      send_user_matrices(user);
    } else {
      // Without fog and alpha test the pixel stage is a plain sample times colour: software
      // rasterisers have fast paths for such programs that a discard or a branch rules out.
      Program& p = programs_[set][!constants_.fog && !constants_.alpha_test ? 1 : 0];
      if (program_ != p.program) {
        glUseProgram(p.program);
        program_ = p.program;
      }
      send_constants(&p);
    }
    if (depth_.depth_test || depth_.stencil) attach_depth(texture(target_));
    return true;
  }

  // The shared index pattern of DrawQuads: corners 0 1 2 2 3 0 of kQuadChunk quads, in the element
  // buffer of the one vertex array.
  void make_quad_indices() {
    std::vector<GLushort> indices(static_cast<size_t>(6 * kQuadChunk));
    static constexpr GLushort kCorners[6] = {0, 1, 2, 2, 3, 0};
    for (int32_t q = 0; q < kQuadChunk; ++q) {
      for (int i = 0; i < 6; ++i) indices[static_cast<size_t>(6 * q + i)] = static_cast<GLushort>(4 * q + kCorners[i]);
    }
    glGenBuffers(1, &quad_indices_);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, quad_indices_);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, static_cast<GLsizeiptr>(indices.size() * sizeof(GLushort)), indices.data(),
                 GL_STATIC_DRAW);
  }

  // Points the attributes at a vertex boundary of the buffer at or before first_byte and returns
  // the vertex of first_byte from there: batches that follow one another in a buffer of one format
  // then draw without touching the attributes.
  GLint bind_layout(const VertexLayout& layout, GLuint gl_buffer, size_t first_byte) {
    // A stride of 0 (tightly packed) can't be counted in vertices: that layout keeps the byte.
    const size_t stride = layout.stride > 0 ? static_cast<size_t>(layout.stride) : first_byte + 1;
    const auto first = static_cast<GLint>(first_byte / stride);
    first_byte %= stride;
    if (bound_layout_buffer_ == gl_buffer && bound_first_byte_ == first_byte &&
        std::memcmp(&bound_layout_, &layout, sizeof(layout)) == 0) {
      return first;
    }
    glBindBuffer(GL_ARRAY_BUFFER, gl_buffer);
    constexpr int kBuiltIn = static_cast<int>(VertexAttribute::kCount);
    for (int a = 0; a < kBuiltIn + kExtraVertexAttributes; ++a) {
      const VertexElement& e = a < kBuiltIn ? layout.elements[a] : layout.extra[a - kBuiltIn];
      const GLuint location = static_cast<GLuint>(a);
      if (e.components <= 0) {
        glDisableVertexAttribArray(location);
        continue;
      }
      const void* pointer = reinterpret_cast<const void*>(first_byte + static_cast<size_t>(e.offset));
      glEnableVertexAttribArray(location);
      if (e.attribute == VertexAttribute::kColour || e.storage == ElementStorage::kUnorm8) {
        glVertexAttribPointer(location, 4, GL_UNSIGNED_BYTE, GL_TRUE, layout.stride, pointer);
      } else if (e.storage == ElementStorage::kUint8) {
        glVertexAttribPointer(location, 4, GL_UNSIGNED_BYTE, GL_FALSE, layout.stride, pointer);
      } else {
        glVertexAttribPointer(location, e.components, GL_FLOAT, GL_FALSE, layout.stride, pointer);
      }
    }
    // Absent attributes read as constants: white colour, zero uv and normal.
    if (layout.elements[static_cast<int>(VertexAttribute::kColour)].components <= 0) {
      glVertexAttrib4f(static_cast<GLuint>(VertexAttribute::kColour), 1.0f, 1.0f, 1.0f, 1.0f);
    }
    bound_layout_ = layout;
    bound_layout_buffer_ = gl_buffer;
    bound_first_byte_ = first_byte;
    return first;
  }

  IWindowHost* host_;
  std::vector<GlTexture> textures_;
  std::vector<GlBuffer> buffers_;
  Program programs_[static_cast<int>(ShaderSet::kCount)][2];  // [set][plain pixel stage]
  std::vector<UserProgram> user_programs_;
  DeviceProgramId user_program_ = 0;
  std::vector<GLuint> samplers_;
  GLuint vao_ = 0;
  GLuint quad_indices_ = 0;
  std::vector<GLsizei> piece_counts_;  // DrawQuads' pieces
  std::vector<GLint> piece_bases_;
  std::vector<const void*> piece_offsets_;
  GLuint program_ = 0;
  DeviceTextureId target_ = 0;
  DeviceTextureId bound_[kTextureStages] = {};
  DeviceRect viewport_;
  DeviceRect scissor_;
  BlendDesc blend_;
  DepthStencilDesc depth_;
  ShaderConstants constants_;
  uint64_t constants_version_ = 1;
  VertexLayout bound_layout_;
  GLuint bound_layout_buffer_ = 0;
  size_t bound_first_byte_ = 0;
  GLint max_texture_size_ = 2048;
  GLint max_viewport_[2] = {4096, 4096};
  bool guard_on_ = true;
  int32_t guard_x_ = 1, guard_y_ = 1;
  uint32_t msaa_levels_ = 0;
  bool anisotropy_ = false;
  bool debug_groups_ = false;
};

}  // namespace

std::unique_ptr<IDevice> GlDevice_Create(IWindowHost* host, std::string* error) {
  if (host == nullptr || !host->IsOpen()) {
    *error = "no window to draw into";
    return nullptr;
  }
  auto device = std::make_unique<GlDevice>(host);
  if (!device->Init(error)) return nullptr;
  return device;
}
