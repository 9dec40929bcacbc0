// The ambient light of the environment: a 2 by 2 lookup of sky, horizon and ground colours
// blended by how far a normal turns towards the ambient direction.
uniform vec4 u_g_LightAmbientDir;
uniform sampler2D u_g_LightAmbientLookup;

// Ground at t = 0, horizon at 0.5, sky at 1.
vec3 ambientLight(vec3 n) {
  float t = dot(n, normalize(u_g_LightAmbientDir.xyz)) * 0.5 + 0.5;
  vec3 sky = texelFetch(u_g_LightAmbientLookup, ivec2(0, 0), 0).rgb;
  vec3 horizon = texelFetch(u_g_LightAmbientLookup, ivec2(1, 0), 0).rgb;
  vec3 ground = texelFetch(u_g_LightAmbientLookup, ivec2(0, 1), 0).rgb;
  return t < 0.5 ? mix(ground, horizon, t * 2.0) : mix(horizon, sky, t * 2.0 - 1.0);
}
