// The built-in shader sets in GLSL 330 core. One source pair serves all four sets; the set is
// chosen by defines put in front of the source (TEXTURED, LIT); PLAIN leaves the alpha test and
// fog out of the pixel stage, for the draws that use neither.
#include "platform/gl/gl_device.h"

namespace {

const char kVertex[] = R"(
in vec3 in_Position;
in vec4 in_Colour;
in vec2 in_TextureCoord;
in vec3 in_Normal;

// Matrices arrive row-major for row vectors; read column-major they are the transposes, so the
// product below is the row-vector product position x matrix.
uniform mat4 u_world;
uniform mat4 u_worldView;
uniform mat4 u_worldViewProj;
uniform vec2 u_clipScale;  // y flip and guard band: exact powers of two
uniform bool u_fogEnable;
uniform float u_fogStart;
uniform float u_rcpFogRange;
uniform bool u_lighting;
uniform vec4 u_ambient;
uniform vec4 u_dirLightDir[8];
uniform vec4 u_dirLightColour[8];
uniform vec4 u_pointLightPos[8];
uniform vec4 u_pointLightColour[8];

out vec4 v_colour;
out vec2 v_uv;
out float v_fog;

vec4 lit_colour(vec4 colour) {
#ifdef LIT
  if (!u_lighting) return colour;
  vec3 n = normalize(mat3(u_world) * in_Normal);
  vec3 p = (u_world * vec4(in_Position, 1.0)).xyz;
  vec4 sum = vec4(0.0);
  for (int i = 0; i < 8; ++i) {
    sum += max(dot(-n, u_dirLightDir[i].xyz), 0.0) * u_dirLightColour[i];
    vec3 d = p - u_pointLightPos[i].xyz;
    float l = length(d);
    float inside = (l < u_pointLightPos[i].w && l > 0.0) ? 1.0 : 0.0;
    sum += inside * max(dot(-n, d / max(l, 1e-20)), 0.0) * u_pointLightColour[i];
  }
  return vec4(min(sum.rgb * colour.rgb + u_ambient.rgb, vec3(1.0)), colour.a);
#else
  return colour;
#endif
}

void main() {
  vec4 position = u_worldViewProj * vec4(in_Position, 1.0);
  float view_z = (u_worldView * vec4(in_Position, 1.0)).z;
  v_fog = u_fogEnable ? (view_z - u_fogStart) * u_rcpFogRange : 0.0;
  v_colour = lit_colour(in_Colour);
#ifdef TEXTURED
  v_uv = in_TextureCoord;
#else
  v_uv = vec2(0.0);
#endif
  position.xy *= u_clipScale;
  position.z = position.z * 2.0 - position.w;
  gl_Position = position;
}
)";

const char kPixel[] = R"(
in vec4 v_colour;
in vec2 v_uv;
in float v_fog;

uniform sampler2D u_texture;
uniform bool u_fogEnable;
uniform vec3 u_fogColour;
uniform bool u_alphaTest;
uniform float u_alphaRef;

out vec4 out_colour;

void main() {
#ifdef TEXTURED
  vec4 colour = texture(u_texture, v_uv) * v_colour;
#else
  vec4 colour = v_colour;
#endif
#ifdef PLAIN
  out_colour = colour;
#else
  if (u_alphaTest && u_alphaRef >= colour.a) discard;
  if (u_fogEnable) colour.rgb = colour.rgb + clamp(v_fog, 0.0, 1.0) * (u_fogColour - colour.rgb);
  out_colour = colour;
#endif
}
)";

}  // namespace

const char* GlShaders_VertexSource() { return kVertex; }
const char* GlShaders_PixelSource() { return kPixel; }
