#version 330
#include "gbuffer.glsl"
#include "light_common.glsl"

void main() { o_Color = vec4(pointLight(readSurface(), false), 0.0); }
