#version 330
// Edge smoothing on the finished picture: where the luma of the four neighbours differs enough,
// blends along the edge's direction, one texel either side and then two.
uniform sampler2D u_PostSourceTexture;
in vec2 v_TexCoord;
out vec4 o_Color;

float luma(vec3 c) { return dot(c, vec3(0.299, 0.587, 0.114)); }

void main() {
  vec2 texel = 1.0 / vec2(textureSize(u_PostSourceTexture, 0));
  vec4 centre = texture(u_PostSourceTexture, v_TexCoord);
  float nw = luma(texture(u_PostSourceTexture, v_TexCoord + vec2(-1.0, 1.0) * texel).rgb);
  float ne = luma(texture(u_PostSourceTexture, v_TexCoord + vec2(1.0, 1.0) * texel).rgb);
  float sw = luma(texture(u_PostSourceTexture, v_TexCoord + vec2(-1.0, -1.0) * texel).rgb);
  float se = luma(texture(u_PostSourceTexture, v_TexCoord + vec2(1.0, -1.0) * texel).rgb);
  float m = luma(centre.rgb);
  float lumaMin = min(m, min(min(nw, ne), min(sw, se)));
  float lumaMax = max(m, max(max(nw, ne), max(sw, se)));
  if (lumaMax - lumaMin < max(0.0312, lumaMax * 0.125)) {
    o_Color = centre;
    return;
  }
  vec2 direction = vec2(-((nw + ne) - (sw + se)), (nw + sw) - (ne + se));
  float reduce = max((nw + ne + sw + se) * 0.25 * 0.125, 1.0 / 128.0);
  float scale = 1.0 / (min(abs(direction.x), abs(direction.y)) + reduce);
  direction = clamp(direction * scale, vec2(-8.0), vec2(8.0)) * texel;
  vec4 near = 0.5 * (texture(u_PostSourceTexture, v_TexCoord + direction * (1.0 / 3.0 - 0.5)) +
                     texture(u_PostSourceTexture, v_TexCoord + direction * (2.0 / 3.0 - 0.5)));
  vec4 far = near * 0.5 + 0.25 * (texture(u_PostSourceTexture, v_TexCoord - direction * 0.5) +
                                  texture(u_PostSourceTexture, v_TexCoord + direction * 0.5));
  float farLuma = luma(far.rgb);
  o_Color = (farLuma < lumaMin || farLuma > lumaMax) ? near : far;
}
