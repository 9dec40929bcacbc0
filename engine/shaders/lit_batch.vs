#version 330
// lit.vs for instanced drawing: each instance's transform, one row a texel, comes first.
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_WorldViewTransform;
uniform sampler2D u_BatchTransforms;
uniform vec4 u_BatchIndices;  // x: the first instance's row in the block
in vec3 a_Position;
in vec3 a_Normal;
out vec3 v_ViewPosition;
out vec3 v_ViewNormal;

void main() {
  int row = gl_InstanceID + int(u_BatchIndices.x);
  mat4 instance = mat4(texelFetch(u_BatchTransforms, ivec2(0, row), 0), texelFetch(u_BatchTransforms, ivec2(1, row), 0),
                       texelFetch(u_BatchTransforms, ivec2(2, row), 0), texelFetch(u_BatchTransforms, ivec2(3, row), 0));
  vec4 position = instance * vec4(a_Position, 1.0);
  v_ViewPosition = (u_WorldViewTransform * position).xyz;
  v_ViewNormal = (u_WorldViewTransform * (instance * vec4(a_Normal, 0.0))).xyz;
  gl_Position = u_WorldViewProjTransform * position;
}
