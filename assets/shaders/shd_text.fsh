#version 330 core
// Glyphs: the atlas's coverage times the vertex colour.
in vec4 v_colour;
in vec2 v_uv;

uniform sampler2D tv_BaseTexture;

out vec4 out_colour;

void main() {
  out_colour = texture(tv_BaseTexture, v_uv) * v_colour;
}
