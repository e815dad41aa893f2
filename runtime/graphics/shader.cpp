#include "graphics/shader.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "core/console.h"
#include "core/error.h"
#include "graphics/asset_shaders.h"
#include "graphics/batcher.h"
#include "graphics/window.h"

namespace {

std::vector<ShaderProgram> g_programs;  // by shader index
std::vector<bool> g_compiled;           // tried on the current device
int32_t g_pending = -1;
int32_t g_current = -1;

ShaderProgram* program_of(int32_t index) {
  if (index < 0 || static_cast<size_t>(index) >= g_programs.size()) return nullptr;
  return &g_programs[static_cast<size_t>(index)];
}

void compile_one(IDevice* device, int32_t index) {
  ShaderAsset* asset = Shader_Get(index);
  if (asset == nullptr) return;
  ShaderProgram& p = g_programs[static_cast<size_t>(index)];
  p = ShaderProgram{};
  const char* vertex = asset->programs[0];
  const char* fragment = asset->programs[1];
  // One text standing alone is the compiler's message for that program.
  if (vertex == nullptr || fragment == nullptr) {
    p.errorKind = vertex != nullptr ? 0 : 1;
    Shader_MarkInvalid(index, vertex != nullptr ? vertex : fragment);
    return;
  }
  std::string log;
  std::vector<DeviceUniform> all;
  p.program = device->CreateProgram(vertex, fragment, &log, &all);
  if (p.program == 0) {
    p.errorKind = log.rfind("vertex", 0) == 0 ? 0 : 1;
    const char* name = Shader_Table().name(index);
    g_ReleaseConsole->Output("Error compiling shader \"%s\":\n%s\n", name != nullptr ? name : "", log.c_str());
    Shader_MarkInvalid(index, log.c_str());
    return;
  }
  for (const DeviceUniform& u : all) {
    if (u.type == UniformType::kSampler) {
      if (std::strcmp(u.name, "tv_BaseTexture") == 0) p.baseTextureStage = u.sampler_unit;
      p.samplers.push_back(u);
    } else {
      if (std::strcmp(u.name, "tv_Matrices") == 0) p.matricesUniform = static_cast<int32_t>(p.uniforms.size());
      p.uniforms.push_back(u);
    }
  }
  asset->valid = true;
  asset->error_text.clear();
}

// The current user program and its uniform at a handle, or null.
const DeviceUniform* current_uniform(int32_t handle, DeviceProgramId* program) {
  Shader_ApplyPending();
  const ShaderProgram* p = program_of(g_current);
  if (p == nullptr || p->program == 0 || handle < 0 || static_cast<size_t>(handle) >= p->uniforms.size()) {
    return nullptr;
  }
  // Quads already queued were meant to draw with the value the uniform holds now.
  GR_Flush();
  *program = p->program;
  return &p->uniforms[static_cast<size_t>(handle)];
}

// Sends values to a uniform. An array takes whole elements, up to its length (more is refused, and
// so is less than one element); a plain uniform takes what is given, the rest of it zero.
template <typename From>
void send(DeviceProgramId program, const DeviceUniform& u, const From* values, int32_t count) {
  IDevice* device = Graphics_Device();
  if (device == nullptr) return;
  const int32_t per = u.type == UniformType::kMatrix ? 16 : u.columns;
  int32_t elements = 1;
  if (u.elements > 0) {
    elements = count / per;
    if (elements < 1) {
      g_ReleaseConsole->Output("Trying to set too little data for shader uniform %s...\n", u.name);
      return;
    }
    if (elements > u.elements) {
      g_ReleaseConsole->Output("Trying to set too much data for shader uniform %s...\n", u.name);
      return;
    }
  }
  const size_t total = static_cast<size_t>(elements) * static_cast<size_t>(per);
  if (u.type == UniformType::kInt) {
    std::vector<int32_t> out(total, 0);
    for (size_t i = 0; i < total && i < static_cast<size_t>(count); ++i) out[i] = static_cast<int32_t>(values[i]);
    device->SetProgramUniform(program, u.location, u.type, u.columns, elements, out.data());
  } else {
    std::vector<float> out(total, 0.0f);
    for (size_t i = 0; i < total && i < static_cast<size_t>(count); ++i) out[i] = static_cast<float>(values[i]);
    device->SetProgramUniform(program, u.location, u.type, u.columns, elements, out.data());
  }
}

}  // namespace

void Shader_CompileAll() {
  IDevice* device = Graphics_Device();
  const int32_t count = Shader_Table().count();
  g_programs.resize(static_cast<size_t>(count));
  g_compiled.resize(static_cast<size_t>(count), false);
  if (device == nullptr) return;
  for (int32_t i = 0; i < count; ++i) {
    if (g_compiled[static_cast<size_t>(i)]) continue;
    g_compiled[static_cast<size_t>(i)] = true;
    compile_one(device, i);
  }
}

void Shader_ReleaseDevice() {
  IDevice* device = Graphics_Device();
  for (ShaderProgram& p : g_programs) {
    if (device != nullptr && p.program != 0) device->DestroyProgram(p.program);
    p.program = 0;
  }
  std::fill(g_compiled.begin(), g_compiled.end(), false);
  GR_SetUserProgram(0);
  g_current = -1;
  g_pending = -1;
}

void Shader_FreeAll() {
  Shader_ReleaseDevice();
  g_programs.clear();
  g_compiled.clear();
}

const ShaderProgram* Shader_Program(int32_t index) {
  if (Shader_Get(index) == nullptr) return nullptr;
  Shader_CompileAll();
  return program_of(index);
}

bool Shader_IsCompiled(int32_t index) {
  const ShaderProgram* p = Shader_Program(index);
  const ShaderAsset* asset = Shader_Get(index);
  return p != nullptr && asset != nullptr && asset->valid && p->program != 0;
}

void Shader_Set(int32_t index) {
  g_pending = index;
  Shader_ApplyPending();
}

int32_t Shader_Current() { return g_pending; }

void Shader_ApplyPending() {
  if (g_pending == g_current) return;
  GR_Flush();
  g_current = g_pending;
  if (g_current < 0) {
    GR_SetUserProgram(0);
    return;
  }
  const ShaderProgram* p = Shader_Program(g_current);
  const ShaderAsset* asset = Shader_Get(g_current);
  if (p == nullptr || asset == nullptr || !asset->valid || p->program == 0) {
    // Drawing goes on with the built-in shaders.
    GR_SetUserProgram(0);
    const std::string text = asset != nullptr && !asset->error_text.empty() ? asset->error_text : "Invalid shader";
    KVError("%s", text.c_str());
    return;
  }
  GR_SetUserProgram(p->program);
}

int32_t Shader_FindUniform(int32_t index, const char* name) {
  const ShaderProgram* p = Shader_Program(index);
  if (p == nullptr || name == nullptr) return -1;
  const std::string prefixed = std::string("_") + name;
  for (size_t i = 0; i < p->uniforms.size(); ++i) {
    if (std::strcmp(p->uniforms[i].name, name) == 0 || prefixed == p->uniforms[i].name) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t Shader_FindSampler(int32_t index, const char* name) {
  const ShaderProgram* p = Shader_Program(index);
  if (p == nullptr || name == nullptr) return -1;
  const std::string prefixed = std::string("sampler__") + name;
  for (const DeviceUniform& u : p->samplers) {
    if (std::strcmp(u.name, name) == 0 || prefixed == u.name) return u.sampler_unit;
  }
  return -1;
}

bool Shader_SetUniformFloats(int32_t handle, const float* values, int32_t count) {
  DeviceProgramId program = 0;
  const DeviceUniform* u = current_uniform(handle, &program);
  if (u == nullptr) return false;
  send(program, *u, values, count);
  return true;
}

bool Shader_SetUniformInts(int32_t handle, const int32_t* values, int32_t count) {
  DeviceProgramId program = 0;
  const DeviceUniform* u = current_uniform(handle, &program);
  if (u == nullptr) return false;
  send(program, *u, values, count);
  return true;
}
