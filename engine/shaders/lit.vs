#version 330
// A lit surface: view-space position and normal for the G-buffer.
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_WorldViewTransform;
in vec3 a_Position;
in vec3 a_Normal;
out vec3 v_ViewPosition;
out vec3 v_ViewNormal;

void main() {
  v_ViewPosition = (u_WorldViewTransform * vec4(a_Position, 1.0)).xyz;
  v_ViewNormal = (u_WorldViewTransform * vec4(a_Normal, 0.0)).xyz;
  gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0);
}
