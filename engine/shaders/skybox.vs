#version 330
// The full-screen quad, with the view-space ray through each corner for the sky to look along.
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_ProjTransform;
in vec3 a_Position;
out vec3 v_Ray;

void main() {
  gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0);
  vec4 far = inverse(u_ProjTransform) * vec4(gl_Position.xy / gl_Position.w, 1.0, 1.0);
  v_Ray = far.xyz / far.w;
}
