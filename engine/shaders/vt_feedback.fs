#version 330
// The page this pixel wants, for the read-back. The feedback target is a quarter of the view's
// size, so its derivatives are four times the view's: two mips finer brings them back.
#include "vt.glsl"
in vec2 v_TexCoord;
out vec4 o_Feedback;

void main() { o_Feedback = vtFeedback(v_TexCoord, -2.0); }
