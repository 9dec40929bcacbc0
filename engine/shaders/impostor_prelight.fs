#version 330
// lit_prelight.fs for impostors: albedo and normal from the impostor's pictures, no specular.
#include "gbuffer.glsl"
#include "ambient.glsl"
#include "impostor.glsl"
layout(location = 0) out vec4 o_Scene;
layout(location = 1) out vec4 o_Material;
layout(location = 2) out vec4 o_Depth;
layout(location = 3) out vec4 o_Normal;

void main() {
  vec3 albedo = impostorAlbedo().rgb;
  vec3 n = impostorViewNormal();
  o_Scene = vec4(albedo * ambientLight(n), 1.0);
  o_Material = vec4(albedo, 0.0);
  o_Depth = vec4(encodeDepth(v_ViewPosition.z));
  o_Normal = encodeNormal(n);
}
