#version 330
uniform vec4 u_Color;
in vec4 v_Color;
out vec4 o_Color;

void main() { o_Color = u_Color * v_Color; }
