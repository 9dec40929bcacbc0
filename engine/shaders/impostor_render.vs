#version 330
// The mesh seen from one side for its impostor; the normal stays in the mesh's own space.
uniform mat4 u_WorldViewProjTransform;
in vec3 a_Position;
in vec3 a_Normal;
out vec3 v_Normal;

void main() {
  v_Normal = a_Normal;
  gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0);
}
