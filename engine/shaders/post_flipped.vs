#version 330
// As post.vs, reading the source upside down: a picture read back afterwards has its top row first.
uniform vec4 u_PosAndScale;
in vec3 a_Position;
in vec2 a_TexCoord;
out vec2 v_TexCoord;

void main() {
  v_TexCoord = vec2(a_TexCoord.x, 1.0 - a_TexCoord.y);
  gl_Position = vec4(u_PosAndScale.xy + a_Position.xy * u_PosAndScale.zw, 0.0, 1.0);
}
