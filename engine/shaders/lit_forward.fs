#version 330
// A lit surface where there is no G-buffer: its albedo and emission, unlit.
uniform vec4 u_Color;
uniform vec4 u_Emissive;
in vec3 v_ViewPosition;
in vec3 v_ViewNormal;
out vec4 o_Color;

void main() { o_Color = vec4(u_Color.rgb + u_Emissive.rgb, u_Color.a); }
