#version 330
// A light's volume, or the full-screen quad of a directional light.
uniform mat4 u_WorldViewProjTransform;
in vec3 a_Position;

void main() { gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0); }
