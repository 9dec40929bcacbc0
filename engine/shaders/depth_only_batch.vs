#version 330
// depth_only.vs for instanced drawing.
uniform mat4 u_WorldViewProjTransform;
uniform sampler2D u_BatchTransforms;
in vec3 a_Position;

void main() {
  mat4 instance = mat4(texelFetch(u_BatchTransforms, ivec2(0, gl_InstanceID), 0),
                       texelFetch(u_BatchTransforms, ivec2(1, gl_InstanceID), 0),
                       texelFetch(u_BatchTransforms, ivec2(2, gl_InstanceID), 0),
                       texelFetch(u_BatchTransforms, ivec2(3, gl_InstanceID), 0));
  gl_Position = u_WorldViewProjTransform * (instance * vec4(a_Position, 1.0));
}
