// An instance's transform in a batch block: a 4 by 4 texture row per instance, one column of
// the matrix a texel, the draw's first row in u_BatchIndices.x.
uniform sampler2D u_BatchTransforms;
uniform vec4 u_BatchIndices;

mat4 batchTransform() {
  int row = gl_InstanceID + int(u_BatchIndices.x);
  return mat4(texelFetch(u_BatchTransforms, ivec2(0, row), 0), texelFetch(u_BatchTransforms, ivec2(1, row), 0),
              texelFetch(u_BatchTransforms, ivec2(2, row), 0), texelFetch(u_BatchTransforms, ivec2(3, row), 0));
}
