#version 330
// lit_forward.fs for impostors: the albedo, unlit.
#include "impostor.glsl"
out vec4 o_Color;

void main() { o_Color = vec4(impostorAlbedo().rgb, 1.0); }
