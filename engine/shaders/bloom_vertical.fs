#version 330
#include "bloom_blur.glsl"

void main() { o_Color = blur(vec2(0.0, 1.0)); }
