#version 330 core
// The text library's glyph quads. A vertex carries: position (z = 1000 * character index + line
// index, not a depth), normal (x half the glyph's width, negative on the quad's left corners; y a
// packed sprite value; z effect flags), colour, uv, and a pair (font scale, half the glyph's height,
// negative on the top corners), so that each corner knows its glyph's centre.
// In-line sprite frames: packed = 4096 * floor(1024 * speed) + 64 * frames + frame; an animated
// sprite has one quad per frame, and only the frame of the moment is drawn.
// Effects by flag bit: 1 wave, 2 shake, 3 rainbow, 4 wobble, 5 pulse, 6 wheel, 7 cycle (the vertex
// colour's four bytes are hues), 8 jitter, 9 blink, 10 slant; their sizes and speeds are the 21
// values of u_aDataFields, in that order.
in vec3 in_Position;
in vec3 in_Normal;
in vec4 in_Colour;
in vec2 in_TextureCoord;
in vec2 in_TextureCoord1;

uniform mat4 tv_Matrices[5];
uniform float u_fTime;                // animation time, in frames
uniform float u_aDataFields[21];
uniform vec4 u_vColourBlend;          // rgb 0..1 and alpha
uniform vec2 u_vSkew;                 // x sheared by y, y by x, about the text's origin
uniform vec4 u_vGradient;             // the lower corners' tint, alpha = amount
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

const float kPi = 3.14159265;

out vec4 v_colour;
out vec2 v_uv;
out float v_font_scale;               // text pixels per texel of the glyph's atlas

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

bool effect(float bit) { return mod(floor(in_Normal.z / exp2(bit)), 2.0) == 1.0; }

// A repeatable pseudo-random number from 0 to 1.
float noise(float seed) { return fract(sin(seed * 12.9898) * 43758.5453); }

vec3 hsv_to_rgb(vec3 c) {
  vec3 p = abs(fract(c.xxx + vec3(1.0, 2.0 / 3.0, 1.0 / 3.0)) * 6.0 - 3.0);
  return c.z * mix(vec3(1.0), clamp(p - 1.0, 0.0, 1.0), c.y);
}

vec2 rotate(vec2 v, float degrees) {
  float a = radians(degrees);
  return vec2(v.x * cos(a) - v.y * sin(a), v.x * sin(a) + v.y * cos(a));
}

void main() {
  float index = floor(in_Position.z / 1000.0);
  vec2 centre_offset = vec2(in_Normal.x, in_TextureCoord1.y);
  vec2 position = in_Position.xy;
  vec2 centre = position - centre_offset;
  float visible = 1.0;

  // An animated in-line sprite: the quad of the current frame only.
  if (in_Normal.y > 0.0) {
    float speed = floor(in_Normal.y / 4096.0) / 1024.0;
    float frames = floor(mod(in_Normal.y, 4096.0) / 64.0);
    float frame = mod(in_Normal.y, 64.0);
    if (speed > 0.0 && frames > 1.0 && frame != mod(floor(u_fTime * speed), frames)) visible = 0.0;
  }

  float time = u_fTime;
  vec2 offset = centre_offset;
  if (effect(4.0)) offset = rotate(offset, u_aDataFields[7] * sin(u_aDataFields[8] * time));
  if (effect(5.0)) offset *= 1.0 + u_aDataFields[9] * (0.5 + 0.5 * sin(u_aDataFields[10] * time + index));
  if (effect(8.0)) {
    float step_time = floor(time * u_aDataFields[19]);
    offset *= mix(u_aDataFields[17], u_aDataFields[18], noise(index + step_time));
    offset = rotate(offset, u_aDataFields[20] * 10.0 * (noise(index * 3.0 + step_time) - 0.5));
  }
  position = centre + offset;
  if (effect(10.0)) position.x -= 0.25 * (position.y - centre.y);
  if (effect(1.0)) position.y += u_aDataFields[0] * sin(u_aDataFields[2] * time + u_aDataFields[1] * index / 100.0);
  if (effect(2.0)) {
    float step_time = floor(time * u_aDataFields[4]);
    position += u_aDataFields[3] * (vec2(noise(index + step_time), noise(index + step_time + 0.5)) - 0.5) * 2.0;
  }
  if (effect(6.0)) {
    float a = u_aDataFields[13] * time + u_aDataFields[12] * index;
    position += u_aDataFields[11] * vec2(cos(a), sin(a));
  }
  // Skew: the text shears about its origin, x by y and y by x.
  position = vec2(position.x + u_vSkew.x * position.y, position.y + u_vSkew.y * position.x);

  float t = reveal(index);
  if (t < 1.0 && u_iTypewriterMethod != 0) {
    // Glyphs ease in from their start offset, scale and rotation as they are revealed.
    vec2 scale = mix(u_vTypewriterStartScale, vec2(1.0), t);
    vec2 middle = position - centre_offset;
    position = middle + rotate(centre_offset * scale, (1.0 - t) * u_fTypewriterStartRotation);
    position += (1.0 - t) * u_vTypewriterStartPos;
  }
  gl_Position = tv_Matrices[4] * vec4(position, 0.0, 1.0);

  vec4 colour = in_Colour;
  if (effect(7.0)) {
    // Colour cycling: the four hues in the colour's bytes in turn, at the cycle's saturation and value.
    float phase = mod(u_aDataFields[14] * time / 60.0, 4.0);
    float from = floor(phase);
    vec4 hues = in_Colour;
    float a = from == 0.0 ? hues.r : from == 1.0 ? hues.g : from == 2.0 ? hues.b : hues.a;
    float b = from == 0.0 ? hues.g : from == 1.0 ? hues.b : from == 2.0 ? hues.a : hues.r;
    colour = vec4(hsv_to_rgb(vec3(mix(a, b, fract(phase)), u_aDataFields[15] / 255.0, u_aDataFields[16] / 255.0)), 1.0);
  }
  if (effect(3.0)) {
    vec3 rainbow = hsv_to_rgb(vec3(fract(index / 50.0 + u_aDataFields[6] * time / 10.0), 1.0, 1.0));
    colour.rgb = mix(colour.rgb, rainbow, u_aDataFields[5]);
  }
  // The gradient tints the lower corners.
  if (centre_offset.y > 0.0) colour.rgb = mix(colour.rgb, u_vGradient.rgb, u_vGradient.a);
  colour *= u_vColourBlend;
  colour.rgb = mix(colour.rgb, u_vFlash.rgb, u_vFlash.a);
  if (index >= u_vRegionActive.x && index <= u_vRegionActive.y) colour.rgb = mix(colour.rgb, u_vRegionColour.rgb, u_vRegionColour.a);
  if (effect(9.0)) colour.a *= u_fBlinkState;
  float fade = u_fTypewriterAlphaDuration > 0.0 ? clamp(t / u_fTypewriterAlphaDuration, 0.0, 1.0) : step(0.999, t);
  colour.a *= u_iTypewriterMethod == 0 ? 1.0 : fade;
  colour.a *= visible;
  v_colour = colour;
  v_uv = in_TextureCoord;
  v_font_scale = in_TextureCoord1.x;
}
