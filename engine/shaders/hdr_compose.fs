#version 330
// Exposure for the adapted luminance (key 0.18), the bloom added, then Reinhard per channel.
uniform sampler2D u_PostSourceTexture;
uniform sampler2D u_Bloom;
uniform vec4 u_HdrAvgLuminance;
in vec2 v_TexCoord;
out vec4 o_Color;

void main() {
  vec3 colour = texture(u_PostSourceTexture, v_TexCoord).rgb + texture(u_Bloom, v_TexCoord).rgb;
  vec3 x = colour * (0.18 / u_HdrAvgLuminance.x);
  o_Color = vec4(x / (vec3(1.0) + x), 1.0);
}
