// SHDR reader.
#include "graphics/asset_shaders.h"

#include "core/console.h"
#include "data/asset_load.h"
#include "data/game_data.h"

using namespace datawin;

namespace {

AssetTable<ShaderAsset> g_shaders;

bool fail(const char* what, uint32_t offset) { return Asset_LoadError("SHDR", what, offset); }

bool read_blob(ByteCursor& cur, bool sized, ShaderBlob* blob) {
  uint32_t offset = 0, size = 0;
  if (!cur.read_u32(&offset) || (sized && !cur.read_u32(&size))) return fail("blob block cut off", cur.offset());
  if (offset == 0) return true;
  if (!Asset_SpanInImage(offset, sized ? size : 1)) return fail("blob outside the file", cur.offset() - (sized ? 8 : 4));
  blob->data = cur.image() + offset;
  blob->size = size;
  return true;
}

bool read_blocks(ByteCursor& cur, ShaderAsset* shader) {
  if (!cur.read_i32(&shader->block_version)) return fail("blob block cut off", cur.offset());
  if (shader->block_version >= 1) {
    for (uint32_t i = 0; i < shdr::kSizedBlobs; ++i) {
      if (!read_blob(cur, true, &shader->blobs[i])) return false;
    }
  }
  if (shader->block_version >= 2) {
    if (!read_blob(cur, false, &shader->blobs[4]) || !cur.skip(4) || !read_blob(cur, false, &shader->blobs[5])) {
      return fail("blob block cut off", cur.offset());
    }
  }
  return true;
}

bool read_shader(uint32_t offset, ShaderAsset* shader, const char** name) {
  ByteCursor cur = Asset_RecordCursor(offset);
  int32_t attributes = 0;
  if (!cur.read_string(name) || !cur.read_u32(&shader->kind)) return fail("shader record cut off or bad name", cur.offset());
  for (const char*& program : shader->programs) {
    if (!cur.read_string(&program)) return fail("bad program text", cur.offset());
  }
  if (!cur.read_i32(&attributes) || attributes < 0 || !cur.fits(static_cast<uint32_t>(attributes), 4)) {
    return fail("attribute list passes the end of the file", cur.offset());
  }
  shader->attributes.resize(attributes);
  for (const char*& attribute : shader->attributes) {
    if (!cur.read_string(&attribute)) return fail("bad attribute name", cur.offset());
  }
  shader->record = cur.image() + offset;
  shader->extended = (shader->kind & shdr::kExtendedBit) != 0;
  shader->kind &= ~shdr::kExtendedBit;
  return !shader->extended || read_blocks(cur, shader);
}

}  // namespace

const AssetTable<ShaderAsset>& Shader_Table() { return g_shaders; }
ShaderAsset* Shader_Get(int32_t index) { return g_shaders.get(index); }
int32_t Shader_Find(const char* name) { return g_shaders.find(name); }
void Shader_Clear() { g_shaders.clear(); }

void Shader_MarkInvalid(int32_t index, const char* error_text) {
  ShaderAsset* shader = g_shaders.get(index);
  if (shader == nullptr) return;
  shader->valid = false;
  if (error_text != nullptr && error_text[0] != '\0') {
    shader->error_text = error_text;
    return;
  }
  shader->error_text = "Invalid shader";
  g_ReleaseConsole->Output("Invalid shader (is it marked as incompatible type for this target?) \"%s\":\n",
                           g_shaders.name(index));
}

bool Shader_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_shaders.clear();
  if (!Asset_ReadPointerList(cur, "SHDR", &offsets)) return false;
  g_shaders.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto shader = std::make_unique<ShaderAsset>();
    const char* name = nullptr;
    if (!read_shader(offsets[i], shader.get(), &name)) return false;
    g_shaders.set(i, std::move(shader), name);
  }
  return true;
}
