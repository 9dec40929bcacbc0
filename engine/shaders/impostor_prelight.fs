#version 330
// lit_prelight.fs for impostors: albedo and normal from the impostor's pictures, no specular.
#include "gbuffer.glsl"
#include "ambient.glsl"
#include "prelight.glsl"
#include "impostor.glsl"

void main() { writeSurface(impostorAlbedo().rgb, 0.0, vec3(0.0), impostorViewNormal(), v_ViewPosition.z); }
