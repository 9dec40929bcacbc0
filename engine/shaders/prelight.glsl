// The G-buffer's four outputs and how a lit surface fills them: emission plus ambient light, the
// material, the depth and the normal. Include gbuffer.glsl and ambient.glsl before this.
layout(location = 0) out vec4 o_Scene;
layout(location = 1) out vec4 o_Material;
layout(location = 2) out vec4 o_Depth;
layout(location = 3) out vec4 o_Normal;

// `n` is the view-space normal, normalised; `viewZ` the view-space depth.
void writeSurface(vec3 albedo, float specular, vec3 emissive, vec3 n, float viewZ) {
  o_Scene = vec4(emissive + albedo * ambientLight(n), 1.0);
  o_Material = vec4(albedo, specular);
  o_Depth = vec4(encodeDepth(viewZ));
  o_Normal = encodeNormal(n);
}
