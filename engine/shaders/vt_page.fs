#version 330
// A page mapper's rectangle: its colour as albedo, a flat normal, its alpha as specular.
in vec4 v_Color;
in vec2 v_TexCoord;
layout(location = 0) out vec4 o_Diffuse;
layout(location = 1) out vec4 o_Normal;
layout(location = 2) out vec4 o_Material;

void main() {
  o_Diffuse = vec4(v_Color.rgb, 1.0);
  o_Normal = vec4(0.5, 0.5, 0.0, 0.0);
  o_Material = vec4(v_Color.a, 0.0, 0.0, 1.0);
}
