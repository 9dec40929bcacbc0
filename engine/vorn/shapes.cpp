#include "shapes.h"

#include <cstring>
#include <map>

#include "vorn/mesh_builder.h"

namespace vorn {

namespace {

constexpr float kUnitIcosahedron[12][3] = {
    {0, 0, -1},
    {0.85065f, -0.27639f, -0.44721f},
    {0.52573f, 0.72361f, -0.44721f},
    {-0.52573f, 0.72361f, -0.44721f},
    {-0.85065f, -0.27639f, -0.44721f},
    {0, -0.89443f, -0.44721f},
    {-0.85065f, 0.27639f, 0.44721f},
    {-0.52573f, -0.72361f, 0.44721f},
    {0.52573f, -0.72361f, 0.44721f},
    {0.85065f, 0.27639f, 0.44721f},
    {0, 0.89443f, 0.44721f},
    {0, 0, 1},
};

constexpr int kFaces[20][3] = {{0, 2, 1},  {0, 3, 2},  {0, 4, 3},  {0, 5, 4},  {0, 1, 5},  {1, 2, 9},  {2, 3, 10},
                               {3, 4, 6},  {4, 5, 7},  {5, 1, 8},  {6, 4, 7},  {7, 5, 8},  {8, 1, 9},  {9, 2, 10},
                               {10, 3, 6}, {6, 7, 11}, {7, 8, 11}, {8, 9, 11}, {9, 10, 11}, {10, 6, 11}};

ka::Vec3<float> corner(int index) {
  return {kUnitIcosahedron[index][0], kUnitIcosahedron[index][1], kUnitIcosahedron[index][2]};
}

void subdivide(Triangle const& unit, int depth, float radius, std::vector<Triangle>& out) {
  auto [a, b, c] = unit;
  if (depth < 1) {
    out.push_back({a * radius, b * radius, c * radius});
    return;
  }
  ka::Vec3<float> ab = ka::normalize(a + b), bc = ka::normalize(b + c), ca = ka::normalize(c + a);
  subdivide({a, ab, ca}, depth - 1, radius, out);
  subdivide({ab, b, bc}, depth - 1, radius, out);
  subdivide({ca, bc, c}, depth - 1, radius, out);
  subdivide({ab, bc, ca}, depth - 1, radius, out);
}

// Positions compare by their bytes, as the mesh builder shares vertices.
struct PositionBytes {
  bool operator()(ka::Vec3<float> const& a, ka::Vec3<float> const& b) const { return std::memcmp(&a, &b, sizeof a) < 0; }
};

}  // namespace

std::vector<Triangle> icosahedronTriangles(float radius, int subdivisions) {
  std::vector<Triangle> out;
  for (auto const& face : kFaces) subdivide({corner(face[0]), corner(face[1]), corner(face[2])}, subdivisions, radius, out);
  return out;
}

ka::Ref<Mesh> makeIcosahedron(MeshFactory* factory, Material const& material, float radius, int subdivisions) {
  MeshBuilder<VertexP3> builder(factory);
  builder.setMaterial(material);
  for (Triangle const& t : icosahedronTriangles(radius, subdivisions)) builder.addTri({t[0]}, {t[1]}, {t[2]});
  builder.flush();
  return builder.meshes().empty() ? nullptr : builder.meshes().front();
}

ka::Ref<Mesh> makeExtrudableIcosahedron(MeshFactory* factory, Material const& material, float radius,
                                        int subdivisions) {
  MeshBuilder<VertexP3N3> builder(factory);
  builder.setMaterial(material);
  std::vector<Triangle> triangles = icosahedronTriangles(radius, subdivisions);
  // Each directed edge's two corners as the face that has it sees them.
  std::map<std::pair<ka::Vec3<float>, ka::Vec3<float>>, std::pair<VertexP3N3, VertexP3N3>,
           bool (*)(std::pair<ka::Vec3<float>, ka::Vec3<float>> const&, std::pair<ka::Vec3<float>, ka::Vec3<float>> const&)>
      edges([](auto const& x, auto const& y) {
        PositionBytes less;
        if (less(x.first, y.first)) return true;
        if (less(y.first, x.first)) return false;
        return less(x.second, y.second);
      });
  for (Triangle const& t : triangles) {
    ka::Vec3<float> normal = ka::normalize(ka::cross(t[1] - t[0], t[2] - t[0]));
    VertexP3N3 v[3] = {{t[0], normal}, {t[1], normal}, {t[2], normal}};
    builder.addTri(v[0], v[1], v[2]);
    for (int i = 0; i < 3; ++i) edges[{t[i], t[(i + 1) % 3]}] = {v[i], v[(i + 1) % 3]};
  }
  // The neighbour across edge a->b sees it as b->a; each shared edge is closed once.
  for (auto const& [edge, corners] : edges) {
    auto other = edges.find({edge.second, edge.first});
    if (other == edges.end() || PositionBytes()(edge.second, edge.first)) continue;
    VertexP3N3 const& a = corners.first;
    VertexP3N3 const& b = corners.second;
    VertexP3N3 const& b2 = other->second.first;
    VertexP3N3 const& a2 = other->second.second;
    builder.addTri(b, a, a2);
    builder.addTri(a2, b2, b);
  }
  builder.flush();
  return builder.meshes().empty() ? nullptr : builder.meshes().front();
}

ka::Ref<RasMeshVertexBuffer> makeBoxVertexBuffer(MeshFactory* factory, ka::AABB const& box) {
  struct Vertex {
    ka::Vec3<float> position, normal;
    float u, v;
  };
  static_assert(sizeof(Vertex) == 32);
  float const low[3] = {box.min.x, box.min.y, box.min.z}, high[3] = {box.max.x, box.max.y, box.max.z};
  std::array<Vertex, 24> vertices;
  for (int face = 0; face < 6; ++face) {
    int axis = face / 2, first = (axis + 1) % 3, second = (axis + 2) % 3;
    float sign = face % 2 ? -1.0f : 1.0f;
    for (int corner = 0; corner < 4; ++corner) {
      int along = corner & 1, across = corner >> 1;  // strip order: (0, 0), (1, 0), (0, 1), (1, 1)
      float p[3], n[3] = {0, 0, 0};
      p[axis] = sign > 0 ? high[axis] : low[axis];
      p[first] = along ? high[first] : low[first];
      p[second] = across ? high[second] : low[second];
      n[axis] = sign;
      vertices[size_t(face * 4 + corner)] = {{p[0], p[1], p[2]}, {n[0], n[1], n[2]}, float(along), float(across)};
    }
  }
  ka::Ref<RasMeshVertexBuffer> buffer =
      factory->createVertexBuffer(VF_Position3Normal3TexCoord2, vertices.size(), ras::BU_Static, 0);
  buffer->setBits(vertices.data(), sizeof vertices);
  return buffer;
}

ka::Ref<Mesh> makeOpenGLFrustumBox(MeshFactory* factory, Material const& material) {
  MeshBuilder<VertexP3> builder(factory);
  builder.setMaterial(material);
  auto p = [](float x, float y, float z) { return VertexP3{{x, y, z}}; };
  // Each face's corners counter-clockwise seen from outside.
  VertexP3 const faces[6][4] = {
      {p(1, -1, -1), p(1, 1, -1), p(1, 1, 1), p(1, -1, 1)},      {p(-1, -1, 1), p(-1, 1, 1), p(-1, 1, -1), p(-1, -1, -1)},
      {p(-1, 1, -1), p(-1, 1, 1), p(1, 1, 1), p(1, 1, -1)},      {p(-1, -1, 1), p(-1, -1, -1), p(1, -1, -1), p(1, -1, 1)},
      {p(-1, -1, 1), p(1, -1, 1), p(1, 1, 1), p(-1, 1, 1)},      {p(1, -1, -1), p(-1, -1, -1), p(-1, 1, -1), p(1, 1, -1)},
  };
  for (auto const& f : faces) {
    builder.addTri(f[0], f[1], f[2]);
    builder.addTri(f[2], f[3], f[0]);
  }
  builder.flush();
  return builder.meshes().front();
}

void addLitBox(MeshBuilder<VertexP3N3>& builder, ka::AABB const& box) {
  ka::Vec3<float> centre = box.center(), half = (box.max - box.min) * 0.5f;
  float const size[3] = {half.x, half.y, half.z}, middle[3] = {centre.x, centre.y, centre.z};
  for (int axis = 0; axis < 3; ++axis) {
    for (float sign : {1.0f, -1.0f}) {
      // The two other axes, ordered so that the corners turn counter-clockwise seen from outside.
      int u = (axis + 1) % 3, v = (axis + 2) % 3;
      if (sign < 0) std::swap(u, v);
      auto corner = [&](float a, float b) {
        float p[3], n[3] = {0, 0, 0};
        p[axis] = middle[axis] + sign * size[axis];
        p[u] = middle[u] + a * size[u];
        p[v] = middle[v] + b * size[v];
        n[axis] = sign;
        return VertexP3N3{{p[0], p[1], p[2]}, {n[0], n[1], n[2]}};
      };
      VertexP3N3 c0 = corner(-1, -1), c1 = corner(1, -1), c2 = corner(1, 1), c3 = corner(-1, 1);
      builder.addTri(c0, c1, c2);
      builder.addTri(c2, c3, c0);
    }
  }
}

}  // namespace vorn
