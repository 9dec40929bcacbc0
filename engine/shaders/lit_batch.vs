#version 330
// lit.vs for instanced drawing: each instance's transform, one row a texel, comes first.
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_WorldViewTransform;
uniform sampler2D u_BatchTransforms;
in vec3 a_Position;
in vec3 a_Normal;
out vec3 v_ViewPosition;
out vec3 v_ViewNormal;

void main() {
  mat4 instance = mat4(texelFetch(u_BatchTransforms, ivec2(0, gl_InstanceID), 0),
                       texelFetch(u_BatchTransforms, ivec2(1, gl_InstanceID), 0),
                       texelFetch(u_BatchTransforms, ivec2(2, gl_InstanceID), 0),
                       texelFetch(u_BatchTransforms, ivec2(3, gl_InstanceID), 0));
  vec4 position = instance * vec4(a_Position, 1.0);
  v_ViewPosition = (u_WorldViewTransform * position).xyz;
  v_ViewNormal = (u_WorldViewTransform * (instance * vec4(a_Normal, 0.0))).xyz;
  gl_Position = u_WorldViewProjTransform * position;
}
