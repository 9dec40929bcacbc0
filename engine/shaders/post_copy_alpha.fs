#version 330
// The source's alpha as grey, opaque.
uniform sampler2D u_PostSourceTexture;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() { o_Color = vec4(vec3(texture(u_PostSourceTexture, v_TexCoord).a), 1.0); }
