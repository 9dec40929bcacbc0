#version 330
// 4 by 4 texels of feedback to one: the largest of each component.
uniform sampler2D u_PostSourceTexture;
out vec4 o_Color;

void main() {
  ivec2 size = textureSize(u_PostSourceTexture, 0);
  ivec2 first = ivec2(gl_FragCoord.xy) * 4;
  vec4 extent = vec4(-1e30);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x)
      if (all(lessThan(first + ivec2(x, y), size)))
        extent = max(extent, texelFetch(u_PostSourceTexture, first + ivec2(x, y), 0));
  o_Color = extent;
}
