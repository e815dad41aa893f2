#version 330 core
// The text library's glyph quads. A vertex carries: position (z = 1000 * character index + line
// index, not a depth), normal (x half the glyph's width, y a packed sprite value, z effect flags),
// colour, uv, and a pair (font scale, half the glyph's height).
in vec3 in_Position;
in vec3 in_Normal;
in vec4 in_Colour;
in vec2 in_TextureCoord;
in vec2 in_TextureCoord1;

uniform mat4 tv_Matrices[5];
uniform vec4 u_vColourBlend;          // rgb 0..1 and alpha
uniform vec2 u_vSkew;                 // x and y shear by height and width
uniform vec4 u_vFlash;                // flash colour, alpha = amount
uniform float u_fBlinkState;          // 1 shown, 0 hidden, for glyphs flagged to blink
uniform vec4 u_vRegionActive;         // x: first, y: last character of the active region
uniform vec4 u_vRegionColour;         // its colour, alpha = amount
uniform int u_iTypewriterMethod;      // 0 whole text; above 0 a reveal, 16 and above hiding
uniform int u_iTypewriterCharMax;
uniform float u_fTypewriterWindowArray[64];
uniform float u_fTypewriterSmoothness;
uniform vec2 u_vTypewriterStartPos;
uniform vec2 u_vTypewriterStartScale;
uniform float u_fTypewriterStartRotation;
uniform float u_fTypewriterAlphaDuration;

const float kBlinkFlag = 512.0;

out vec4 v_colour;
out vec2 v_uv;

// 0 not yet shown .. 1 shown, from the reveal windows (pairs of head and tail positions).
float reveal(float index) {
  if (u_iTypewriterMethod == 0) return 1.0;
  float shown = 0.0;
  for (int i = 0; i < 64; i += 2) {
    float head = u_fTypewriterWindowArray[i];
    float smoothness = max(u_fTypewriterSmoothness, 0.0001);
    shown = max(shown, clamp((head - index) / smoothness, 0.0, 1.0));
  }
  if (u_iTypewriterCharMax > 0 && index >= float(u_iTypewriterCharMax)) shown = 0.0;
  return u_iTypewriterMethod >= 16 ? 1.0 - shown : shown;
}

void main() {
  float index = floor(in_Position.z / 1000.0);
  vec2 centre_offset = vec2(in_Normal.x, in_TextureCoord1.y);
  vec2 position = in_Position.xy;
  position.x += u_vSkew.x * (in_TextureCoord1.y - (position.y - in_Position.y));
  position.y += u_vSkew.y * in_Normal.x;
  float t = reveal(index);
  if (t < 1.0 && u_iTypewriterMethod != 0) {
    // Glyphs ease in from their start offset and scale as they are revealed.
    vec2 scale = mix(u_vTypewriterStartScale, vec2(1.0), t);
    position = position + (1.0 - t) * u_vTypewriterStartPos;
    position = position * scale + (1.0 - scale) * (position + centre_offset);
  }
  gl_Position = tv_Matrices[4] * vec4(position, 0.0, 1.0);

  vec4 colour = in_Colour * u_vColourBlend;
  colour.rgb = mix(colour.rgb, u_vFlash.rgb, u_vFlash.a);
  if (index >= u_vRegionActive.x && index <= u_vRegionActive.y) colour.rgb = mix(colour.rgb, u_vRegionColour.rgb, u_vRegionColour.a);
  if (mod(floor(in_Normal.z / kBlinkFlag), 2.0) == 1.0) colour.a *= u_fBlinkState;
  float fade = u_fTypewriterAlphaDuration > 0.0 ? clamp(t / u_fTypewriterAlphaDuration, 0.0, 1.0) : step(0.999, t);
  colour.a *= u_iTypewriterMethod == 0 ? 1.0 : fade;
  v_colour = colour;
  v_uv = in_TextureCoord;
}
