#version 330
// A capsule light's volume: the extrudable icosahedron round the segment's start, its faces that
// look along the sweep axis moved to the segment's end, the edge strips between them stretched.
uniform mat4 u_WorldViewTransform;
uniform mat4 u_ProjTransform;
uniform vec4 u_light_sweep_axis;  // view space
in vec3 a_Position;
in vec3 a_Normal;

void main() {
  vec4 position = u_WorldViewTransform * vec4(a_Position, 1.0);
  vec3 normal = (u_WorldViewTransform * vec4(a_Normal, 0.0)).xyz;
  if (dot(normal, u_light_sweep_axis.xyz) > 0.0) position.xyz += u_light_sweep_axis.xyz;
  gl_Position = u_ProjTransform * position;
}
