// The G-buffer's encodings (docs/shading.md): octahedral normals at 16 bits a coordinate, and
// depth stored as (d - near) / (far - near).
uniform vec4 u_GBufferDepth_range;

vec2 signNotZero(vec2 v) { return vec2(v.x >= 0.0 ? 1.0 : -1.0, v.y >= 0.0 ? 1.0 : -1.0); }

vec4 encodeNormal(vec3 n) {
  vec2 p = n.xy / (abs(n.x) + abs(n.y) + abs(n.z));
  if (n.z < 0.0) p = (1.0 - abs(p.yx)) * signNotZero(p);
  vec2 v = floor((p * 0.5 + 0.5) * 65535.0 + 0.5);
  vec2 hi = floor(v / 256.0);
  vec2 lo = v - hi * 256.0;
  return vec4(hi.x, lo.x, hi.y, lo.y) / 255.0;
}

vec3 decodeNormal(vec4 stored) {
  vec4 b = floor(stored * 255.0 + 0.5);
  vec2 p = vec2(b.x * 256.0 + b.y, b.z * 256.0 + b.w) / 65535.0 * 2.0 - 1.0;
  vec3 n = vec3(p, 1.0 - abs(p.x) - abs(p.y));
  if (n.z < 0.0) n.xy = (1.0 - abs(n.yx)) * signNotZero(n.xy);
  return normalize(n);
}

float encodeDepth(float viewZ) { return (-viewZ - u_GBufferDepth_range.x) * u_GBufferDepth_range.z; }
float decodeDepth(float stored) { return stored * u_GBufferDepth_range.y + u_GBufferDepth_range.x; }
