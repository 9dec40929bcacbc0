#version 330
// lit_prelight.fs whose albedo and specular come from the virtual texture's pages; grey until
// some page of the place is resident.
#include "gbuffer.glsl"
#include "ambient.glsl"
#include "prelight.glsl"
#include "vt.glsl"
in vec3 v_ViewPosition;
in vec3 v_ViewNormal;
in vec2 v_TexCoord;

void main() {
  vec2 at = vtCacheCoord(v_TexCoord, vtMip(v_TexCoord, 0.0));
  vec3 albedo = vec3(0.5);
  float specular = 0.0;
  if (at.x >= 0.0) {
    albedo = textureLod(u_VTDiffuse, at, 0.0).rgb;
    specular = textureLod(u_VTMaterial, at, 0.0).r;
  }
  writeSurface(albedo, specular, vec3(0.0), normalize(v_ViewNormal), v_ViewPosition.z);
}
