#version 330 core
// A hovered button: the sprite lifted halfway to white and warmed, its alpha kept.
in vec4 v_colour;
in vec2 v_uv;

uniform sampler2D tv_BaseTexture;

out vec4 out_colour;

void main() {
  vec4 base = texture(tv_BaseTexture, v_uv) * v_colour;
  vec3 lifted = mix(base.rgb, vec3(1.0, 0.95, 0.8), 0.5);
  out_colour = vec4(lifted, base.a);
}
