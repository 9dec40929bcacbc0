#version 330
#include "gbuffer.glsl"
#include "light_common.glsl"
uniform vec4 u_light_center_radius;

void main() {
  Surface s = readSurface();
  vec3 toLight = u_light_center_radius.xyz - s.position;
  float distance = length(toLight);
  float attenuation = pointAttenuation(distance, u_light_center_radius.w);
  o_Color = vec4(shade(s, toLight / max(distance, 1e-6), false) * attenuation, 0.0);
}
