#version 330 core
// A hit: the sprite's shape in plain white, keeping its alpha (and the draw alpha).
in vec4 v_colour;
in vec2 v_uv;

uniform sampler2D tv_BaseTexture;

out vec4 out_colour;

void main() {
  float alpha = texture(tv_BaseTexture, v_uv).a * v_colour.a;
  out_colour = vec4(1.0, 1.0, 1.0, alpha);
}
