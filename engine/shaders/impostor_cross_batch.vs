#version 330
// A far instance's two crossed quads, placed by its transform from the batch block.
#include "batch.glsl"
uniform mat4 u_WorldViewProjTransform;
uniform mat4 u_WorldViewTransform;
uniform vec4 u_ImpostorFade;  // x: the distance where instances start to fade, y: where they are gone
in vec3 a_Position;
in vec4 a_Color;  // r: 0 on the quad across y, 1 on the quad across x
in vec2 a_TexCoord;
out vec3 v_ViewPosition;
out vec2 v_TexCoord;
out mat3 v_ToView;
flat out vec3 v_Plane;
out float v_Fade;

void main() {
  mat4 instance = batchTransform();
  mat4 toView = u_WorldViewTransform * instance;
  vec4 position = instance * vec4(a_Position, 1.0);
  v_ViewPosition = (u_WorldViewTransform * position).xyz;
  v_TexCoord = a_TexCoord;
  v_ToView = mat3(toView);
  // Each quad's image was taken looking at its negative side.
  v_Plane = a_Color.r < 0.5 ? vec3(0.0, -1.0, 0.0) : vec3(-1.0, 0.0, 0.0);
  float distance = length(toView[3].xyz);
  v_Fade = clamp((u_ImpostorFade.y - distance) / max(u_ImpostorFade.y - u_ImpostorFade.x, 0.001), 0.0, 1.0);
  gl_Position = u_WorldViewProjTransform * position;
}
