#version 330
// Three by three texels to one: the weighted mean of their values and the mean of their weights.
// The last reduction (PostBrightParams.x 1) turns the mean log back into a luminance.
uniform sampler2D u_PostSourceTexture;
uniform sampler2D u_PostAlphaTexture;
uniform vec4 u_PostBrightParams;
layout(location = 0) out vec4 o_LogLuminance;
layout(location = 1) out vec4 o_Weight;

void main() {
  ivec2 corner = ivec2(gl_FragCoord.xy) * 3;
  float weighted = 0.0, weights = 0.0;
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) {
      float w = texelFetch(u_PostAlphaTexture, corner + ivec2(x, y), 0).r;
      // A texel of no weight holds 0 / 0 from below: skipped, not multiplied by 0.
      if (w > 0.0) {
        weighted += texelFetch(u_PostSourceTexture, corner + ivec2(x, y), 0).r * w;
        weights += w;
      }
    }
  }
  // No weight at all gives 0 / 0: the read-back ignores it.
  float mean = weighted / weights;
  o_LogLuminance = vec4(u_PostBrightParams.x > 0.5 ? exp(mean) : mean);
  o_Weight = vec4(weights / 9.0);
}
