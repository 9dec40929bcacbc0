#version 330
// The texture holds bytes in B, G, R, A order, as web pages are drawn; its channels are swapped back.
uniform sampler2D u_Texture;
in vec4 v_Color;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() { o_Color = texture(u_Texture, v_TexCoord).bgra * v_Color; }
