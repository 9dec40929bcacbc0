#version 330
#include "bloom_blur.glsl"

void main() { o_Color = blur(vec2(1.0, 0.0)); }
