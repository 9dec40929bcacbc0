#version 330
// The unit quad placed over a rectangle of clip space, (x, y, width, height).
uniform vec4 u_PosAndScale;
in vec3 a_Position;
in vec2 a_TexCoord;
out vec2 v_TexCoord;

void main() {
  v_TexCoord = a_TexCoord;
  gl_Position = vec4(u_PosAndScale.xy + a_Position.xy * u_PosAndScale.zw, 0.0, 1.0);
}
