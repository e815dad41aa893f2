#pragma once
// The shaders of chunk SHDR, as read: the kind, four {vertex, fragment} program texts (one pair per
// shading language; this platform's device compiles the first pair, GLSL), the attribute names
// and the optional block of blobs. Compiling belongs to the device; it records the outcome here:
// a shader that fails keeps its slot, marked invalid, with its error text ("Invalid shader" when
// the compiler gave none). The table is emptied, every old shader released, before a chunk fills it.
#include <cstdint>
#include <string>
#include <vector>

#include "data/asset_table.h"
#include "datawin/format/font_shader_layout.h"

struct ShaderBlob {
  const uint8_t* data = nullptr;
  uint32_t size = 0;  // 0 for blobs 5 and 6, whose size the record doesn't give
};

struct ShaderAsset {
  const uint8_t* record = nullptr;
  uint32_t kind = 0;  // top bit cleared
  const char* programs[2 * datawin::shdr::kProgramPairs] = {};  // null where the file has none
  std::vector<const char*> attributes;
  bool extended = false;
  int32_t block_version = 0;
  ShaderBlob blobs[6];
  bool valid = true;
  std::string error_text;
};

const AssetTable<ShaderAsset>& Shader_Table();
ShaderAsset* Shader_Get(int32_t index);
int32_t Shader_Find(const char* name);
// Records a failed compile: the shader stays, invalid, with the text, and an empty text prints
// "Invalid shader (is it marked as incompatible type for this target?) \"<name>\":\n" on the
// error console and keeps "Invalid shader".
void Shader_MarkInvalid(int32_t index, const char* error_text);

bool Shader_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Shader_Clear();
