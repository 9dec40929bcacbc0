#version 330
// shadow_caster.fs for impostors: only covered texels cast.
#include "impostor.glsl"

void main() {
  impostorAlbedo();
  float z = gl_FragCoord.z;
  gl_FragDepth = min(1.0, z + 2.0 * max(abs(dFdx(z)), abs(dFdy(z))));
}
