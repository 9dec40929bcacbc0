#version 330
// What glows: the part of the HDR colour above display white.
uniform sampler2D u_PostSourceTexture;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() { o_Color = vec4(max(texture(u_PostSourceTexture, v_TexCoord).rgb - vec3(1.0), vec3(0.0)), 1.0); }
