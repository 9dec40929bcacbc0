#version 330
// Writes the G-buffer: emissive plus ambient light, the material, the depth and the normal.
#include "gbuffer.glsl"
uniform vec4 u_Color;       // albedo
uniform vec4 u_Specular;    // x: specular intensity
uniform vec4 u_Emissive;
uniform vec4 u_g_LightAmbientDir;
uniform sampler2D u_g_LightAmbientLookup;
in vec3 v_ViewPosition;
in vec3 v_ViewNormal;
layout(location = 0) out vec4 o_Scene;
layout(location = 1) out vec4 o_Material;
layout(location = 2) out vec4 o_Depth;
layout(location = 3) out vec4 o_Normal;

// Ground at t = 0, horizon at 0.5, sky at 1.
vec3 ambientLight(vec3 n) {
  float t = dot(n, normalize(u_g_LightAmbientDir.xyz)) * 0.5 + 0.5;
  vec3 sky = texelFetch(u_g_LightAmbientLookup, ivec2(0, 0), 0).rgb;
  vec3 horizon = texelFetch(u_g_LightAmbientLookup, ivec2(1, 0), 0).rgb;
  vec3 ground = texelFetch(u_g_LightAmbientLookup, ivec2(0, 1), 0).rgb;
  return t < 0.5 ? mix(ground, horizon, t * 2.0) : mix(horizon, sky, t * 2.0 - 1.0);
}

void main() {
  vec3 n = normalize(v_ViewNormal);
  o_Scene = vec4(u_Emissive.rgb + u_Color.rgb * ambientLight(n), 1.0);
  o_Material = vec4(u_Color.rgb, u_Specular.x);
  o_Depth = vec4(encodeDepth(v_ViewPosition.z));
  o_Normal = encodeNormal(n);
}
