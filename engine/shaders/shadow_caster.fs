#version 330
// A shadow caster's depth, pushed back by twice its slope across a texel: a surface at a grazing
// angle to the light would otherwise shadow itself in stripes.
void main() {
  float z = gl_FragCoord.z;
  gl_FragDepth = min(1.0, z + 2.0 * max(abs(dFdx(z)), abs(dFdy(z))));
}
