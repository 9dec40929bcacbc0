#version 330
// Where the surfaces the camera sees fall in the shadow map's clip space: each texel takes 4 by 4
// pixels of the viewport and keeps (-min x, -min y, max x, max y) of theirs, so that reductions
// take the largest of each.
#include "gbuffer.glsl"
#include "light_common.glsl"

void main() {
  vec4 extent = vec4(-1e30);
  ivec2 first = ivec2(gl_FragCoord.xy) * 4;
  vec2 size = 1.0 / u_light_view_rect.zw;
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      vec2 inViewport = vec2(first + ivec2(x, y)) + 0.5;
      if (any(greaterThanEqual(inViewport, size))) continue;
      vec2 pixel = u_light_view_rect.xy + inViewport;
      // Nothing drawn there: the far plane, no surface.
      if (texelFetch(u_GBufferDepth, ivec2(pixel), 0).r >= 1.0) continue;
      vec4 q = u_light_shadow_transform * vec4(readSurfaceAt(pixel).position, 1.0);
      vec2 p = q.xy / q.w;
      extent = max(extent, vec4(-p, p));
    }
  }
  o_Color = extent;
}
