#version 330
// lit.vs for instanced drawing.
#include "batch.glsl"
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_WorldViewTransform;
in vec3 a_Position;
in vec3 a_Normal;
out vec3 v_ViewPosition;
out vec3 v_ViewNormal;

void main() {
  mat4 instance = batchTransform();
  vec4 position = instance * vec4(a_Position, 1.0);
  v_ViewPosition = (u_WorldViewTransform * position).xyz;
  v_ViewNormal = (u_WorldViewTransform * (instance * vec4(a_Normal, 0.0))).xyz;
  gl_Position = u_WorldViewProjTransform * position;
}
