#version 330
// lit_forward.fs for virtual textures: the pages' albedo, unlit.
#include "vt.glsl"
in vec2 v_TexCoord;
out vec4 o_Color;

void main() {
  vec2 at = vtCacheCoord(v_TexCoord, vtMip(v_TexCoord, 0.0));
  vec3 albedo = at.x >= 0.0 ? textureLod(u_VTDiffuse, at, 0.0).rgb : vec3(0.5);
  o_Color = vec4(albedo, 1.0);
}
