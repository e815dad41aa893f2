#pragma once
// The texture and texture-group builtins (texture_get_width ... texturegroup_set_mode), registered
// in their table order. draw_texture_flush and texture_set_stage belong to the batcher and shader
// families, which call Texture_FreeAllDevice and Texture_Get themselves.
void Texture_RegisterBuiltins();
