#version 330
// Position, vertex colour and one texture coordinate, placed by the world-view-projection matrix.
uniform mat4 u_WorldViewProjTransform;
in vec3 a_Position;
in vec4 a_Color;
in vec2 a_TexCoord;
out vec4 v_Color;
out vec2 v_TexCoord;

void main() {
  v_Color = a_Color;
  v_TexCoord = a_TexCoord;
  gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0);
}
