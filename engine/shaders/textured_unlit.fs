#version 330
// Premultiplied texels tinted by the vertex colour.
uniform sampler2D u_Texture;
in vec4 v_Color;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() { o_Color = texture(u_Texture, v_TexCoord) * v_Color; }
