#version 330 core
// Passes a sprite quad through: position by the world-view-projection matrix, colour and uv as given.
in vec3 in_Position;
in vec4 in_Colour;
in vec2 in_TextureCoord;

uniform mat4 tv_Matrices[5];  // view, projection, world, world-view, world-view-projection

out vec4 v_colour;
out vec2 v_uv;

void main() {
  gl_Position = tv_Matrices[4] * vec4(in_Position, 1.0);
  v_colour = in_Colour;
  v_uv = in_TextureCoord;
}
