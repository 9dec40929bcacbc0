#version 330
// depth_only.vs for instanced drawing.
#include "batch.glsl"
uniform mat4 u_WorldViewProjTransform;
in vec3 a_Position;

void main() { gl_Position = u_WorldViewProjTransform * (batchTransform() * vec4(a_Position, 1.0)); }
