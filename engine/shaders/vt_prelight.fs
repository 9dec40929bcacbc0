#version 330
// lit_prelight.fs whose albedo and specular come from the virtual texture's pages; grey until
// some page of the place is resident.
#include "gbuffer.glsl"
#include "ambient.glsl"
#include "vt.glsl"
in vec3 v_ViewPosition;
in vec3 v_ViewNormal;
in vec2 v_TexCoord;
layout(location = 0) out vec4 o_Scene;
layout(location = 1) out vec4 o_Material;
layout(location = 2) out vec4 o_Depth;
layout(location = 3) out vec4 o_Normal;

void main() {
  vec2 at = vtCacheCoord(v_TexCoord, vtMip(v_TexCoord, 0.0));
  vec3 albedo = vec3(0.5);
  float specular = 0.0;
  if (at.x >= 0.0) {
    albedo = textureLod(u_VTDiffuse, at, 0.0).rgb;
    specular = textureLod(u_VTMaterial, at, 0.0).r;
  }
  vec3 n = normalize(v_ViewNormal);
  o_Scene = vec4(albedo * ambientLight(n), 1.0);
  o_Material = vec4(albedo, specular);
  o_Depth = vec4(encodeDepth(v_ViewPosition.z));
  o_Normal = encodeNormal(n);
}
