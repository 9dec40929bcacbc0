#version 330
// The source as it is; a bilinear fetch halfway between texels averages them (the downsample).
uniform sampler2D u_PostSourceTexture;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() { o_Color = texture(u_PostSourceTexture, v_TexCoord); }
