// Procedural meshes: the icosahedron's counts, its corners on the sphere and faces outward, the
// light volume's radius covering the unit sphere, the extrudable form closed over every edge.
#include "vorn/shapes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "support/renderer_fixture.h"

namespace {

using namespace vorn;

size_t distinctCorners(std::vector<Triangle> const& triangles) {
  auto less = [](ka::Vec3<float> const& a, ka::Vec3<float> const& b) { return std::memcmp(&a, &b, sizeof a) < 0; };
  std::set<ka::Vec3<float>, decltype(less)> corners(less);
  for (Triangle const& t : triangles) corners.insert(t.begin(), t.end());
  return corners.size();
}

TEST(Shapes, TheIcosahedronHas20FacesOn12CornersAnd80On42OnceSubdivided) {
  for (auto [depth, faces, corners] : {std::tuple{0, 20u, 12u}, std::tuple{1, 80u, 42u}, std::tuple{2, 320u, 162u}}) {
    std::vector<Triangle> triangles = icosahedronTriangles(2.5f, depth);
    EXPECT_EQ(triangles.size(), faces) << depth;
    EXPECT_EQ(distinctCorners(triangles), corners) << "corners are shared by their exact bytes";
    for (Triangle const& t : triangles) {
      for (auto const& p : t) EXPECT_NEAR(ka::length(p), 2.5, 2.5 * 2e-5);
      ka::Vec3<float> centre = (t[0] + t[1] + t[2]) * (1.0f / 3);
      EXPECT_GT(ka::dot(ka::cross(t[1] - t[0], t[2] - t[0]), centre), 0) << "counter-clockwise seen from outside";
    }
  }
}

TEST(Shapes, TheLightVolumesRadiusCoversTheUnitSphere) {
  // Every face of the depth-1 volume lies at least 1 from the centre, in double precision.
  double nearest = 1e9;
  for (Triangle const& t : icosahedronTriangles(1.0704663f, 1)) {
    double a[3] = {t[0].x, t[0].y, t[0].z}, b[3] = {t[1].x, t[1].y, t[1].z}, c[3] = {t[2].x, t[2].y, t[2].z};
    double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    nearest = std::min(nearest, (n[0] * a[0] + n[1] * a[1] + n[2] * a[2]) / length);
  }
  EXPECT_GE(nearest, 1.0 - 1e-6);
  EXPECT_LE(nearest, 1.0 + 1e-3) << "and not much more";
}

class ShapeMeshTest : public RendererFixture {
 protected:
  ShapeMeshTest() : RendererFixture(16, 16) {}
  int primitives(ka::RefNoCount<Mesh> mesh) { return mesh->getMaterialGroups().at(0).primitiveCount; }
  Material material{library.get(), "solid_unlit"};
};

TEST_F(ShapeMeshTest, MeshesHoldTheirTrianglesWithinTheirBounds) {
  ka::Ref<Mesh> sphere = makeIcosahedron(ren.get(), material, 3, 1);
  EXPECT_EQ(primitives(sphere), 80);
  EXPECT_NEAR(sphere->getVertexBuffer()->aabbMax().z, 3, 1e-4);
  // Faces apart: 20 faces and two triangles over each of the 30 edges.
  EXPECT_EQ(primitives(makeExtrudableIcosahedron(ren.get(), material, 1, 0)), 20 + 2 * 30);
  EXPECT_EQ(primitives(makeExtrudableIcosahedron(ren.get(), material, 1, 1)), 80 + 2 * 120);
  ka::Ref<Mesh> box = makeOpenGLFrustumBox(ren.get(), material);
  EXPECT_EQ(primitives(box), 12);
  EXPECT_EQ(box->getVertexBuffer()->aabbMin(), (ka::Vec3<float>{-1, -1, -1}));
  EXPECT_EQ(box->getVertexBuffer()->aabbMax(), (ka::Vec3<float>{1, 1, 1}));
}

TEST_F(ShapeMeshTest, TheBoxBufferHasEachFacesFourCornersOnItsPlaneWithItsNormal) {
  ka::AABB const box{{-1, 0, 2}, {3, 4, 5}};
  ka::Ref<RasMeshVertexBuffer> buffer = makeBoxVertexBuffer(ren.get(), box);
  EXPECT_EQ(buffer->format(), VF_Position3Normal3TexCoord2);
  EXPECT_EQ(buffer->stride(), 32);
  EXPECT_EQ(buffer->aabbMin(), box.min);
  EXPECT_EQ(buffer->aabbMax(), box.max);
  auto const* vertex = static_cast<float const*>(buffer->map());
  ASSERT_NE(vertex, nullptr);
  float const low[3] = {-1, 0, 2}, high[3] = {3, 4, 5};
  for (int face = 0; face < 6; ++face) {
    int axis = face / 2;
    float sign = face % 2 ? -1.0f : 1.0f;
    std::set<std::pair<float, float>> texture;
    for (int corner = 0; corner < 4; ++corner, vertex += 8) {
      EXPECT_EQ(vertex[axis], sign > 0 ? high[axis] : low[axis]) << face << " " << corner;
      for (int i = 0; i < 3; ++i) EXPECT_EQ(vertex[3 + i], i == axis ? sign : 0.0f) << face << " " << corner;
      texture.insert({vertex[6], vertex[7]});
    }
    EXPECT_EQ(texture, (std::set<std::pair<float, float>>{{0, 0}, {1, 0}, {0, 1}, {1, 1}})) << face;
  }
  buffer->unmap();
}

}  // namespace
