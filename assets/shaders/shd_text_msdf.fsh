#version 330 core
// Distance-field glyphs, after the standard text vertex program (shd_text.vsh: effects, colours,
// reveal). The median of the atlas's three channels is the signed distance to the glyph's edge:
// 0.5 on the edge, rising inwards by 1 over u_fMSDFRange texels. Measured in screen pixels it
// becomes coverage over a soft edge u_fMSDFFeather screen pixels wide, so the glyphs stay sharp
// (or evenly soft) at any scale.
// Around the fill lie an optional border, u_fBorderThickness pixels of the text wide, and an
// optional shadow: the bordered shape again, moved by the shadow's offset and softened. With a
// border or a shadow the page is drawn twice: the first pass lays every glyph's shadow, border and
// fill, the second (u_fSecondDraw = 1) only the fills again, so that no glyph's border or shadow
// lies over its neighbour's fill.
in vec4 v_colour;
in vec2 v_uv;
in float v_font_scale;

uniform sampler2D tv_BaseTexture;
uniform vec2 u_vTexel;                    // one texel of the atlas, in uv
uniform float u_fMSDFRange;               // distance range of the field, in texels
uniform float u_fMSDFThicknessOffset;     // added to the distance: above 0 thickens the glyphs
uniform float u_fMSDFFeather;             // width of the soft edge, in screen pixels
uniform float u_fSecondDraw;              // 1 while the fills are laid again
uniform vec4 u_vBorderColour;             // rgb
uniform float u_fBorderThickness;         // in pixels of the text; 0 none
uniform vec4 u_vShadowColour;             // rgb and alpha; alpha 0 none
uniform vec3 u_vShadowOffsetAndSoftness;  // offset in pixels of the text; softness as a share of the range

out vec4 out_colour;

float median(vec3 v) { return max(min(v.r, v.g), min(max(v.r, v.g), v.b)); }

// The signed distance at uv, in texels, positive inside.
float field(vec2 uv) { return (median(texture(tv_BaseTexture, uv).rgb) - 0.5 + u_fMSDFThicknessOffset) * u_fMSDFRange; }

// top laid over bottom, both with straight alpha.
vec4 over(vec4 top, vec4 bottom) {
  float a = top.a + bottom.a * (1.0 - top.a);
  if (a <= 0.0) return vec4(0.0);
  return vec4((top.rgb * top.a + bottom.rgb * bottom.a * (1.0 - top.a)) / a, a);
}

void main() {
  // Screen pixels per texel, from how fast the uv changes across the screen.
  vec2 texels = vec2(length(vec2(dFdx(v_uv.x), dFdy(v_uv.x))), length(vec2(dFdx(v_uv.y), dFdy(v_uv.y)))) / u_vTexel;
  float pixels_per_texel = 1.0 / max(0.5 * (texels.x + texels.y), 1e-6);
  float feather = max(u_fMSDFFeather, 1e-3);
  float text_per_texel = max(v_font_scale, 1e-6);

  float inside = field(v_uv) * pixels_per_texel;
  vec4 fill = vec4(v_colour.rgb, v_colour.a * clamp(inside / feather + 0.5, 0.0, 1.0));
  if (u_fSecondDraw > 0.5) {
    out_colour = fill;
    return;
  }

  float border_texels = max(u_fBorderThickness, 0.0) / text_per_texel;
  float border = 0.0;
  if (u_fBorderThickness > 0.0) border = clamp((inside + border_texels * pixels_per_texel) / feather + 0.5, 0.0, 1.0);
  float shadow = 0.0;
  if (u_vShadowColour.a > 0.0) {
    vec2 shadow_uv = v_uv - u_vShadowOffsetAndSoftness.xy / text_per_texel * u_vTexel;
    float shadow_inside = field(shadow_uv) + border_texels;
    float softness = max(u_vShadowOffsetAndSoftness.z * u_fMSDFRange, 0.5 * feather / pixels_per_texel);
    shadow = smoothstep(-softness, softness, shadow_inside);
  }
  vec4 under = over(vec4(u_vBorderColour.rgb, v_colour.a * border),
                    vec4(u_vShadowColour.rgb, v_colour.a * u_vShadowColour.a * shadow));
  out_colour = over(fill, under);
}
