#version 330
// Linear depth (0 near, 1 far) as grey, near bright, with a square root to spread the near range.
uniform sampler2D u_PostSourceTexture;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() { o_Color = vec4(vec3(1.0 - sqrt(clamp(texture(u_PostSourceTexture, v_TexCoord).r, 0.0, 1.0))), 1.0); }
