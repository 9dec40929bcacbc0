// The impostor's texels: uncovered ones and, near the fade distance, a dithered share of the
// rest are discarded.
uniform sampler2D u_DiffuseTexture;
uniform sampler2D u_NormalTexture;
in vec3 v_ViewPosition;
in vec2 v_TexCoord;
in mat3 v_ToView;
flat in vec3 v_Plane;
in float v_Fade;

vec4 impostorAlbedo() {
  vec4 texel = texture(u_DiffuseTexture, v_TexCoord);
  float dither = fract(52.9829189 * fract(dot(gl_FragCoord.xy, vec2(0.06711056, 0.00583715))));
  if (texel.a < 0.5 || v_Fade <= dither) discard;
  return texel;
}

// Seen from behind, the picture is mirrored, and so are its normals across the quad.
vec3 impostorViewNormal() {
  vec3 n = texture(u_NormalTexture, v_TexCoord).xyz * 2.0 - 1.0;
  if (dot(v_ToView * v_Plane, -v_ViewPosition) < 0.0) n -= 2.0 * dot(n, v_Plane) * v_Plane;
  return normalize(v_ToView * n);
}
