// Small procedural meshes for the renderer: a subdivided icosahedron (light volumes), one whose
// faces can be pushed apart along their normals, and the box of the clip-space cube.
#pragma once

#include <array>
#include <vector>

#include "ka/vecmath.h"
#include "vorn/material.h"
#include "vorn/mesh_builder.h"
#include "vorn/rasmesh.h"

namespace vorn {

using Triangle = std::array<ka::Vec3<float>, 3>;

// The 20 faces of the unit icosahedron, each split into four `subdivisions` times with the new
// corners put back on the sphere, scaled by `radius`; counter-clockwise seen from outside.
std::vector<Triangle> icosahedronTriangles(float radius, int subdivisions);

ka::Ref<Mesh> makeIcosahedron(MeshFactory* factory, Material const& material, float radius, int subdivisions);
// Each face with its own normal in its vertices, and between every two faces two triangles over
// their common edge, of no area until a vertex shader moves faces apart along their normals: the
// surface stays closed when it is extruded.
ka::Ref<Mesh> makeExtrudableIcosahedron(MeshFactory* factory, Material const& material, float radius,
                                        int subdivisions);
// The box's six faces, one after the other (+x, -x, +y, -y, +z, -z), each as four corners in
// triangle-strip order with the face's normal and texture coordinates 0 and 1: 24 vertices of the
// "Position3Normal3TexCoord2" format (32 bytes; no vertex format of this renderer has 48).
ka::Ref<RasMeshVertexBuffer> makeBoxVertexBuffer(MeshFactory* factory, ka::AABB const& box);
// The box's six faces with their normals, counter-clockwise seen from outside, in the builder's
// current material.
void addLitBox(MeshBuilder<VertexP3N3>& builder, ka::AABB const& box);
// The cube from -1 to 1 on every axis, faces counter-clockwise seen from outside.
ka::Ref<Mesh> makeOpenGLFrustumBox(MeshFactory* factory, Material const& material);

}  // namespace vorn
