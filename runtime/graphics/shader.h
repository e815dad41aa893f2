#pragma once
// User shaders on the device: the data file's GLSL pairs compiled once the device and the shader
// table both exist, their uniforms and samplers as the device lists them, and the pending and
// current shader of drawing. A shader that fails to compile keeps its slot, marked invalid with
// the compiler's log (printed on the release console), and drawing goes on with the built-in
// shaders; setting it raises the log as a script error. Setting a shader flushes the batch.
// Uniform handles are indices into the current shader's uniform list. Main thread only.
#include <cstdint>
#include <string>
#include <vector>

#include "platform/device.h"

struct ShaderProgram {
  DeviceProgramId program = 0;
  std::vector<DeviceUniform> uniforms;  // no samplers
  std::vector<DeviceUniform> samplers;
  int32_t errorKind = -1;  // 0 vertex, 1 fragment, -1 none
  int32_t baseTextureStage = 0;
  int32_t matricesUniform = -1;
};

// Compiles every shader of the table that isn't compiled yet (a no-op without a device).
void Shader_CompileAll();
// Forgets the device programs (the device is gone or being rebuilt); the next compile makes them.
void Shader_ReleaseDevice();
// Everything back to the start: programs freed, no shader set.
void Shader_FreeAll();

// The compiled state of a shader; null for an unknown index.
const ShaderProgram* Shader_Program(int32_t index);
bool Shader_IsCompiled(int32_t index);

// shader_set / shader_reset: -1 resets. Raises the shader's error text when it failed to compile.
void Shader_Set(int32_t index);
int32_t Shader_Current();  // -1 for the built-in shaders
// Applies a pending change now (flushing first).
void Shader_ApplyPending();

// Index in the uniform or sampler list of a shader, by the name or its "_"-prefixed form
// (samplers also "sampler__" + name); -1 when it has none.
int32_t Shader_FindUniform(int32_t index, const char* name);
int32_t Shader_FindSampler(int32_t index, const char* name);

// Sets count values (floats or int32, or whole 4 x 4 matrices for a matrix uniform) of uniform
// `handle` of the current shader; false with nothing done for a bad handle or no user shader.
bool Shader_SetUniformFloats(int32_t handle, const float* values, int32_t count);
bool Shader_SetUniformInts(int32_t handle, const int32_t* values, int32_t count);
