#version 330
// A light's volume drawn flat, a quarter of its colour, to see where it reaches.
uniform vec4 u_light_diffuse;
out vec4 o_Color;

void main() { o_Color = vec4(u_light_diffuse.rgb * 0.25, 0.0); }
