#version 330
// Each pixel's log luminance, weighted by the exposure weighting texture: attachment 0 holds the
// log (for its weight to average), attachment 1 the weight.
uniform sampler2D u_PostSourceTexture;
uniform sampler2D u_ExposureWeighting;
in vec2 v_TexCoord;
layout(location = 0) out vec4 o_LogLuminance;
layout(location = 1) out vec4 o_Weight;

void main() {
  vec3 colour = texture(u_PostSourceTexture, v_TexCoord).rgb;
  float luminance = dot(colour, vec3(0.2126, 0.7152, 0.0722));
  o_LogLuminance = vec4(log(luminance + 0.0001));
  o_Weight = vec4(texture(u_ExposureWeighting, v_TexCoord).r);
}
