#version 330
// Position alone, for passes that write only depth.
uniform mat4 u_WorldViewProjTransform;
in vec3 a_Position;

void main() { gl_Position = u_WorldViewProjTransform * vec4(a_Position, 1.0); }
