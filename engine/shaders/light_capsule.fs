#version 330
// Lit from the nearest point of the segment from the centre along the sweep axis.
#include "gbuffer.glsl"
#include "light_common.glsl"
uniform vec4 u_light_center_radius;
uniform vec4 u_light_sweep_axis;

void main() {
  Surface s = readSurface();
  vec3 axis = u_light_sweep_axis.xyz;
  vec3 start = u_light_center_radius.xyz;
  float along = clamp(dot(s.position - start, axis) / max(dot(axis, axis), 1e-12), 0.0, 1.0);
  vec3 toLight = start + axis * along - s.position;
  float distance = length(toLight);
  float attenuation = pointAttenuation(distance, u_light_center_radius.w);
  o_Color = vec4(shade(s, toLight / max(distance, 1e-6), true) * attenuation, 0.0);
}
