// Virtual texturing in a material's shader (docs/virtual-textures.md): the mip a pixel wants, the
// feedback address that asks for its page, and sampling through the page map from the finest
// resident page at or above that mip.
uniform sampler2D u_PageMap;        // RGBA8: cache column, row, their high bits, maxMip - mip
uniform vec4 u_VT_PAGEMAP_PARAMS;   // pages across, pages down, 0, the last mip
uniform vec4 u_VT_ID;               // x: the texture's id
uniform vec4 u_VT_CACHE_PARAMS;     // cache width, height, page size, log2 of the page size
uniform vec4 u_VT_UV_PARAMS;        // 1 - 4 / page, 2 / page, page / cache width, page / cache height
uniform vec4 u_VT_MIP_PARAMS;       // x: mip bias
uniform sampler2D u_VTDiffuse;
uniform sampler2D u_VTNormal;
uniform sampler2D u_VTMaterial;

// The texture wraps: coordinates outside 0 to 1 repeat it.
float vtMip(vec2 uv, float extraBias) {
  vec2 texels = uv * u_VT_PAGEMAP_PARAMS.xy * u_VT_CACHE_PARAMS.z;
  vec2 dx = dFdx(texels), dy = dFdy(texels);
  float lod = 0.5 * log2(max(max(dot(dx, dx), dot(dy, dy)), 1e-8));
  return clamp(floor(lod + u_VT_MIP_PARAMS.x + extraBias), 0.0, u_VT_PAGEMAP_PARAMS.w);
}

// The page at mip 0 under `uv`, x and y in 0 to 4095.
ivec2 vtPage0(vec2 uv) {
  vec2 pages = u_VT_PAGEMAP_PARAMS.xy;
  return ivec2(clamp(floor(fract(uv) * pages), vec2(0.0), pages - 1.0));
}

vec4 vtFeedback(vec2 uv, float extraBias) {
  uint mip = uint(vtMip(uv, extraBias));
  uvec2 page = uvec2(vtPage0(uv));
  uint id = uint(u_VT_ID.x);
  return vec4(float(page.x & 255u), float(page.y & 255u), float(((page.x >> 8) & 15u) | (((page.y >> 8) & 15u) << 4)),
              float(mip | (id << 4))) / 255.0;
}

// Where `uv` lies in the cache, from the finest page resident at `mip` or coarser; x < 0 when
// no page of any mip is resident.
vec2 vtCacheCoord(vec2 uv, float mip) {
  ivec2 page0 = vtPage0(uv);
  for (int level = int(mip); level <= int(u_VT_PAGEMAP_PARAMS.w); ++level) {
    vec4 texel = floor(texelFetch(u_PageMap, page0 >> level, level) * 255.0 + 0.5);
    if (texel.a == 255.0) continue;
    float column = texel.r + mod(texel.b, 16.0) * 256.0;
    float row = texel.g + floor(texel.b / 16.0) * 256.0;
    vec2 within = fract(fract(uv) * u_VT_PAGEMAP_PARAMS.xy / exp2(float(level)));
    return (vec2(column, row) + within * u_VT_UV_PARAMS.x + u_VT_UV_PARAMS.y) * u_VT_UV_PARAMS.zw;
  }
  return vec2(-1.0);
}
