#version 330 core
// Font baking: each glyph drawn once more with a round ring of any thickness behind it, in the
// outline colour. The ring covers every texel within the thickness of the glyph's shape.
in vec4 v_colour;
in vec2 v_uv;

uniform sampler2D tv_BaseTexture;
uniform vec2 u_vTexel;              // one texel of the glyph surface
uniform vec4 u_vOutlineColor;       // rgb 0..1, alpha
uniform float u_fOutlineThickness;  // in texels

out vec4 out_colour;

void main() {
  vec4 glyph = texture(tv_BaseTexture, v_uv);
  int reach = int(ceil(u_fOutlineThickness));
  float limit = u_fOutlineThickness * u_fOutlineThickness + 0.25;
  float ring = 0.0;
  for (int x = -reach; x <= reach; ++x) {
    for (int y = -reach; y <= reach; ++y) {
      if (float(x * x + y * y) <= limit) ring = max(ring, texture(tv_BaseTexture, v_uv + vec2(x, y) * u_vTexel).a);
    }
  }
  vec4 outline = vec4(u_vOutlineColor.rgb, u_vOutlineColor.a * ring);
  // The glyph over its outline.
  float alpha = glyph.a + outline.a * (1.0 - glyph.a);
  vec3 colour = alpha > 0.0 ? (glyph.rgb * glyph.a + outline.rgb * outline.a * (1.0 - glyph.a)) / alpha : vec3(0.0);
  out_colour = vec4(colour, alpha) * v_colour;
}
