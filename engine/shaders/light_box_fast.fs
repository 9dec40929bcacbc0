#version 330
// Lights what lies inside the light's box (or frustum), through its gobo, where no shadow falls.
#include "gbuffer.glsl"
#include "light_common.glsl"
uniform vec4 u_light_dir;
uniform mat4 u_light_transform;
uniform sampler2D u_light_gobo;

void main() {
  Surface s = readSurface();
  vec4 q = u_light_transform * vec4(s.position, 1.0);
  vec3 inLight = q.xyz / q.w;
  if (q.w <= 0.0 || any(greaterThan(abs(inLight), vec3(1.0)))) discard;
  vec3 gobo = texture(u_light_gobo, inLight.xy * 0.5 + 0.5).rgb;
  o_Color = vec4(shade(s, -normalize(u_light_dir.xyz), false) * gobo * shadowFactor(s.position), 0.0);
}
