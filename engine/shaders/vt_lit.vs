#version 330
// lit.vs with the virtual texture's coordinate.
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_WorldViewTransform;
in vec3 a_Position;
in vec3 a_Normal;
in vec2 a_TexCoord;
out vec3 v_ViewPosition;
out vec3 v_ViewNormal;
out vec2 v_TexCoord;

void main() {
  v_ViewPosition = (u_WorldViewTransform * vec4(a_Position, 1.0)).xyz;
  v_ViewNormal = (u_WorldViewTransform * vec4(a_Normal, 0.0)).xyz;
  v_TexCoord = a_TexCoord;
  gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0);
}
