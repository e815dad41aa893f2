#version 330 core
// Font baking: each glyph drawn over its shadow, the glyph's shape moved by an offset in the
// shadow colour.
in vec4 v_colour;
in vec2 v_uv;

uniform sampler2D tv_BaseTexture;
uniform vec2 u_vTexel;          // one texel of the glyph surface
uniform vec4 u_vShadowColour;   // rgb 0..1, alpha
uniform vec2 u_vShadowOffset;   // in texels

out vec4 out_colour;

void main() {
  vec4 glyph = texture(tv_BaseTexture, v_uv);
  float shade = texture(tv_BaseTexture, v_uv - u_vShadowOffset * u_vTexel).a * u_vShadowColour.a;
  float alpha = glyph.a + shade * (1.0 - glyph.a);
  vec3 colour = alpha > 0.0 ? (glyph.rgb * glyph.a + u_vShadowColour.rgb * shade * (1.0 - glyph.a)) / alpha : vec3(0.0);
  out_colour = vec4(colour, alpha) * v_colour;
}
