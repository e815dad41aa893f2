#version 330 core
// Distance-field glyphs: the median of the three channels is the signed distance, turned into
// coverage over the field's range in screen pixels; an optional second pass draws the border.
in vec4 v_colour;
in vec2 v_uv;

uniform sampler2D tv_BaseTexture;
uniform vec2 u_vTexel;                // one texel of the atlas
uniform float u_fMSDFRange;           // distance range of the field, in texels, times the scale
uniform float u_fMSDFThicknessOffset;
uniform float u_fSecondDraw;          // 1 while drawing the border or shadow pass
uniform vec4 u_vBorderColour;
uniform float u_fBorderThickness;

out vec4 out_colour;

float median(vec3 v) { return max(min(v.r, v.g), min(max(v.r, v.g), v.b)); }

void main() {
  vec3 field = texture(tv_BaseTexture, v_uv).rgb;
  float distance = median(field) - 0.5 + u_fMSDFThicknessOffset;
  vec2 unit = u_vTexel / max(fwidth(v_uv), vec2(1e-6));
  float pixels = max(u_fMSDFRange * 0.5 * dot(unit, vec2(0.5)), 1.0);
  if (u_fSecondDraw > 0.5) {
    float border = clamp((distance + u_fBorderThickness / pixels) * pixels + 0.5, 0.0, 1.0);
    out_colour = vec4(u_vBorderColour.rgb, u_vBorderColour.a * border * v_colour.a);
    return;
  }
  float coverage = clamp(distance * pixels + 0.5, 0.0, 1.0);
  out_colour = vec4(v_colour.rgb, v_colour.a * coverage);
}
