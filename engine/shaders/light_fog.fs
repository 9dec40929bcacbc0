#version 330
// Blends towards the fog's colour by how far the view ray to the surface runs inside its sphere.
#include "gbuffer.glsl"
#include "light_common.glsl"
uniform vec4 u_light_fog_color;
uniform vec4 u_light_fog_density;
uniform vec4 u_light_fog_center_radius;

void main() {
  Surface s = readSurface();
  float toSurface = length(s.position);
  vec3 ray = s.position / max(toSurface, 1e-6);
  vec3 centre = u_light_fog_center_radius.xyz;
  float radius = u_light_fog_center_radius.w;
  float middle = dot(centre, ray);
  float h2 = radius * radius - (dot(centre, centre) - middle * middle);
  if (h2 <= 0.0) discard;
  float h = sqrt(h2);
  float inside = max(0.0, min(middle + h, toSurface) - max(middle - h, 0.0));
  o_Color = vec4(u_light_fog_color.rgb, 1.0 - exp(-u_light_fog_density.x * inside));
}
