// What every light reads of the G-buffer, and the shading of docs/shading.md. Included after
// gbuffer.glsl (includes do not nest).
uniform sampler2D u_GBufferMaterial;
uniform sampler2D u_GBufferDepth;
uniform sampler2D u_GBufferNormal;
uniform vec4 u_light_view_rect;  // the viewport in G-buffer pixels: x, y, 1 / width, 1 / height
uniform mat4 u_light_inverse_projection;
uniform vec4 u_light_diffuse;
uniform vec4 u_light_specular_color;
uniform vec4 u_SpecularPower;
out vec4 o_Color;

struct Surface {
  vec3 position;  // view space
  vec3 normal;
  vec3 albedo;
  float specular;
};

// The view-space point at a G-buffer pixel (its centre's coordinates): on the ray through it,
// where its stored depth says.
Surface readSurfaceAt(vec2 pixel) {
  ivec2 texel = ivec2(pixel);
  Surface s;
  float d = decodeDepth(texelFetch(u_GBufferDepth, texel, 0).r);
  vec2 ndc = (pixel - u_light_view_rect.xy) * u_light_view_rect.zw * 2.0 - 1.0;
  vec4 nearPoint = u_light_inverse_projection * vec4(ndc, -1.0, 1.0);
  vec4 farPoint = u_light_inverse_projection * vec4(ndc, 1.0, 1.0);
  nearPoint /= nearPoint.w;
  farPoint /= farPoint.w;
  s.position = mix(nearPoint.xyz, farPoint.xyz, (d + nearPoint.z) / (nearPoint.z - farPoint.z));
  s.normal = decodeNormal(texelFetch(u_GBufferNormal, texel, 0));
  vec4 material = texelFetch(u_GBufferMaterial, texel, 0);
  s.albedo = material.rgb;
  s.specular = material.a;
  return s;
}

Surface readSurface() { return readSurfaceAt(gl_FragCoord.xy); }

// Lambert and Blinn-Phong for the unit vector towards the light.
vec3 shade(Surface s, vec3 toLight, bool withSpecular) {
  float lambert = dot(s.normal, toLight);
  if (lambert <= 0.0) return vec3(0.0);
  vec3 colour = s.albedo * u_light_diffuse.rgb * lambert;
  if (withSpecular) {
    vec3 h = normalize(toLight + normalize(-s.position));
    float power = u_SpecularPower.x > 0.0 ? u_SpecularPower.x : 32.0;
    colour += s.specular * u_light_specular_color.rgb * pow(max(dot(s.normal, h), 0.0), power);
  }
  return colour;
}

float pointAttenuation(float distance, float radius) {
  float x = clamp(1.0 - (distance / radius) * (distance / radius), 0.0, 1.0);
  return x * x;
}

uniform sampler2DShadow u_light_shadow;
uniform vec4 u_light_shadow_region;  // scale and offset of the map's part in its texture
uniform mat4 u_light_shadow_transform;

// 1 where the light reaches the point, 0 where the shadow map holds something nearer the light;
// filtered over 2 by 2 texels. Beyond the map's far plane nothing is known: lit.
float shadowFactor(vec3 viewPosition) {
  vec4 q = u_light_shadow_transform * vec4(viewPosition, 1.0);
  vec3 p = q.xyz / q.w * 0.5 + 0.5;
  if (p.z > 1.0) return 1.0;
  vec2 uv = p.xy * u_light_shadow_region.xy + u_light_shadow_region.zw;
  return texture(u_light_shadow, vec3(uv, p.z - 0.002));
}

uniform vec4 u_light_dir;
uniform vec4 u_light_center_radius;
uniform vec4 u_light_sweep_axis;
uniform mat4 u_light_transform;
uniform sampler2D u_light_gobo;

vec3 directionalLight(Surface s) {
  return shade(s, -normalize(u_light_dir.xyz), true) * shadowFactor(s.position);
}

// From `centre`, falling to nothing at the light's radius.
vec3 lightFrom(Surface s, vec3 centre, bool withSpecular) {
  vec3 toLight = centre - s.position;
  float distance = length(toLight);
  return shade(s, toLight / max(distance, 1e-6), withSpecular) * pointAttenuation(distance, u_light_center_radius.w);
}

vec3 pointLight(Surface s, bool withSpecular) { return lightFrom(s, u_light_center_radius.xyz, withSpecular); }

// From the nearest point of the segment from the centre along the sweep axis.
vec3 capsuleLight(Surface s) {
  vec3 axis = u_light_sweep_axis.xyz;
  vec3 start = u_light_center_radius.xyz;
  float along = clamp(dot(s.position - start, axis) / max(dot(axis, axis), 1e-12), 0.0, 1.0);
  return lightFrom(s, start + axis * along, true);
}

// What lies inside the light's box (or frustum), through its gobo, where no shadow falls.
vec3 boxLight(Surface s, bool withSpecular) {
  vec4 q = u_light_transform * vec4(s.position, 1.0);
  vec3 inLight = q.xyz / q.w;
  if (q.w <= 0.0 || any(greaterThan(abs(inLight), vec3(1.0)))) return vec3(0.0);
  vec3 gobo = texture(u_light_gobo, inLight.xy * 0.5 + 0.5).rgb;
  return shade(s, -normalize(u_light_dir.xyz), withSpecular) * gobo * shadowFactor(s.position);
}
