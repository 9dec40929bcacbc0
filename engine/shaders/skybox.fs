#version 330
// The sky's cube texture along the ray, turned into the sky's frame.
uniform samplerCube u_SkyboxTexture;
uniform mat4 u_SkyboxTransform;
in vec3 v_Ray;
out vec4 o_Color;

void main() { o_Color = vec4(texture(u_SkyboxTexture, (u_SkyboxTransform * vec4(v_Ray, 0.0)).xyz).rgb, 1.0); }
