#version 330
#include "gbuffer.glsl"
#include "light_common.glsl"
uniform vec4 u_light_dir;

void main() {
  Surface s = readSurface();
  o_Color = vec4(shade(s, -normalize(u_light_dir.xyz), true) * shadowFactor(s.position), 0.0);
}
