#version 330
// depth_only.vs for instanced drawing.
uniform mat4 u_WorldViewProjTransform;
uniform sampler2D u_BatchTransforms;
uniform vec4 u_BatchIndices;  // x: the first instance's row in the block
in vec3 a_Position;

void main() {
  int row = gl_InstanceID + int(u_BatchIndices.x);
  mat4 instance = mat4(texelFetch(u_BatchTransforms, ivec2(0, row), 0), texelFetch(u_BatchTransforms, ivec2(1, row), 0),
                       texelFetch(u_BatchTransforms, ivec2(2, row), 0), texelFetch(u_BatchTransforms, ivec2(3, row), 0));
  gl_Position = u_WorldViewProjTransform * (instance * vec4(a_Position, 1.0));
}
