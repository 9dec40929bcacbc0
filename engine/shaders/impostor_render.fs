#version 330
// Albedo with coverage in alpha, and the normal in the mesh's own space as 0 to 1.
uniform vec4 u_Color;
in vec3 v_Normal;
layout(location = 0) out vec4 o_Diffuse;
layout(location = 1) out vec4 o_Normal;

void main() {
  o_Diffuse = vec4(u_Color.rgb, 1.0);
  o_Normal = vec4(normalize(v_Normal) * 0.5 + 0.5, 1.0);
}
