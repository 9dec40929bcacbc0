#version 330
// The reduced feedback as the region itself: min x, min y, max x, max y in the map's clip space.
uniform sampler2D u_PostSourceTexture;
out vec4 o_Color;

void main() {
  vec4 extent = texelFetch(u_PostSourceTexture, ivec2(0, 0), 0);
  o_Color = vec4(-extent.xy, extent.zw);
}
