// One direction of the separable 13-tap Gaussian: four texels of (weight, offset), each offset
// folding two taps into one bilinear fetch on either side.
uniform sampler2D u_PostSourceTexture;
uniform sampler2D u_BlurWeightsTexture;
in vec2 v_TexCoord;
out vec4 o_Color;

vec4 blur(vec2 axis) {
  vec2 step = axis / vec2(textureSize(u_PostSourceTexture, 0));
  vec2 centre = texelFetch(u_BlurWeightsTexture, ivec2(0, 0), 0).rg;
  vec3 sum = texture(u_PostSourceTexture, v_TexCoord).rgb * centre.x;
  for (int i = 1; i < 4; ++i) {
    vec2 tap = texelFetch(u_BlurWeightsTexture, ivec2(0, i), 0).rg;
    sum += (texture(u_PostSourceTexture, v_TexCoord + step * tap.y).rgb +
            texture(u_PostSourceTexture, v_TexCoord - step * tap.y).rgb) * tap.x;
  }
  return vec4(sum, 1.0);
}
