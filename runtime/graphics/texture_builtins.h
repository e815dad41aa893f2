#pragma once
// The texture and texture-group builtins (texture_get_width ... texturegroup_set_mode), registered
// in their table order. draw_texture_flush belongs to the draw family (its hook is installed with
// the texture resolver); texture_set_stage to the shader family, which registers it through
// Texture_RegisterStageBuiltins (a name already in the table is left alone).
void Texture_RegisterBuiltins();
void Texture_RegisterStageBuiltins();
