#version 330
// Writes the G-buffer: emissive plus ambient light, the material, the depth and the normal.
#include "gbuffer.glsl"
#include "ambient.glsl"
#include "prelight.glsl"
uniform vec4 u_Color;       // albedo
uniform vec4 u_Specular;    // x: specular intensity
uniform vec4 u_Emissive;
in vec3 v_ViewPosition;
in vec3 v_ViewNormal;

void main() { writeSurface(u_Color.rgb, u_Specular.x, u_Emissive.rgb, normalize(v_ViewNormal), v_ViewPosition.z); }
