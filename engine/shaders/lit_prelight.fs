#version 330
// Writes the G-buffer: emissive plus ambient light, the material, the depth and the normal.
#include "gbuffer.glsl"
#include "ambient.glsl"
uniform vec4 u_Color;       // albedo
uniform vec4 u_Specular;    // x: specular intensity
uniform vec4 u_Emissive;
in vec3 v_ViewPosition;
in vec3 v_ViewNormal;
layout(location = 0) out vec4 o_Scene;
layout(location = 1) out vec4 o_Material;
layout(location = 2) out vec4 o_Depth;
layout(location = 3) out vec4 o_Normal;

void main() {
  vec3 n = normalize(v_ViewNormal);
  o_Scene = vec4(u_Emissive.rgb + u_Color.rgb * ambientLight(n), 1.0);
  o_Material = vec4(u_Color.rgb, u_Specular.x);
  o_Depth = vec4(encodeDepth(v_ViewPosition.z));
  o_Normal = encodeNormal(n);
}
