// Vectors and matrices: row vectors, projections, lookAt, inverses of random matrices, planes, boxes, ifloorLog2.
#include "ka/vecmath.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <sstream>
#include <type_traits>

#include "ka/numutil.h"
#include "support/math.h"

namespace {

using ka::Mat3x3d;
using ka::Mat3x3f;
using ka::Mat4x4f;
using ka::Vec2;
using ka::Vec3;
using ka::Vec4;
using mathtest::near;

template <class T>
std::string str(T const& value) {
  std::ostringstream os;
  os << value;
  return os.str();
}

// Plain aggregates of the sizes the rasterizer's vertex and constant layouts count on.
static_assert(std::is_trivially_copyable_v<Vec2<float>> && std::is_trivially_copyable_v<Vec4<float>>);
static_assert(std::is_aggregate_v<Vec3<float>> && std::is_aggregate_v<Mat4x4f> && std::is_aggregate_v<ka::AABB>);
static_assert(sizeof(Vec3<double>) == 24 && sizeof(Vec2<int>) == 8);
static_assert(sizeof(Vec3<float>[10]) == 120, "no padding between array elements");
static_assert(Vec3<float>{1, 2, 3} + Vec3<float>{1, 1, 1} == Vec3<float>{2, 3, 4}, "constexpr arithmetic");

TEST(Vecmath, VectorArithmetic) {
  Vec3<float> a{1, 2, 3}, b{4, 5, 6};
  EXPECT_EQ(a * b, (Vec3<float>{4, 10, 18}));
  EXPECT_EQ(ka::cross(a, b), (Vec3<float>{-3, 6, -3}));
  EXPECT_EQ(ka::lerp(a, b, 0.5f), (Vec3<float>{2.5f, 3.5f, 4.5f}));
  EXPECT_EQ(ka::min(a, Vec3<float>{0, 5, 3}), (Vec3<float>{0, 2, 3}));
  EXPECT_EQ(ka::max(a, Vec3<float>{0, 5, 3}), (Vec3<float>{1, 5, 3}));
  EXPECT_TRUE(near(ka::normalize(Vec3<float>{3, 0, 4}), {0.6f, 0, 0.8f}, 1e-7f));
  // The epsilon is added to the length, so zero normalises to zero, not NaN.
  EXPECT_EQ(ka::normalize(Vec3<float>{0, 0, 0}), (Vec3<float>{0, 0, 0}));
  EXPECT_EQ(ka::normalize(Vec4<double>{0, 0, 0, 0}), (Vec4<double>{0, 0, 0, 0}));
  EXPECT_EQ(ka::kNormalizeEpsilon, std::numeric_limits<float>::min());
}

TEST(Vecmath, StreamForms) {
  EXPECT_EQ(str(Vec3<float>{1, 2.5f, -3}), "Vec3<float>(1,2.5,-3)");
  EXPECT_EQ(str(Vec4<unsigned>{1, 2, 3, 4}), "Vec4<unsigned>(1,2,3,4)");
  EXPECT_EQ(str(Mat3x3f::identity()), "Mat3x3<float>((1,0,0),(0,1,0),(0,0,1))");
  EXPECT_EQ(str(Mat4x4f::translation({1, 2, 3})), "Mat4x4f((1,0,0,0),(0,1,0,0),(0,0,1,0),(1,2,3,1))");
  EXPECT_EQ(str(ka::AABB{{0, 0, 0}, {1, 1, 1}}), "AABB(min=Vec3<float>(0,0,0),max=Vec3<float>(1,1,1))");
  EXPECT_EQ(str(ka::Sphere{{0, 0, 0}, 2}), "Sphere(center=Vec3<float>(0,0,0),radius=2)");
}

TEST(Vecmath, RowVectorsTranslationInTheLastRowAndMulAppliesTheFirstFirst) {
  Mat4x4f t = Mat4x4f::translation({1, 0, 0});
  EXPECT_EQ(t.m[3][0], 1);
  EXPECT_EQ(t.translationPart(), (Vec3<float>{1, 0, 0}));
  Mat4x4f s = Mat4x4f::scaleTranslation({2, 2, 2}, {0, 0, 0});
  // Scale, then translate: (1,1,1) -> (2,2,2) -> (3,2,2); the other order gives (4,2,2).
  EXPECT_EQ(ka::transformPoint({1, 1, 1}, ka::mul(s, t)), (Vec3<float>{3, 2, 2}));
  EXPECT_EQ(ka::transformPoint({1, 1, 1}, ka::mul(t, s)), (Vec3<float>{4, 2, 2}));
  EXPECT_EQ(ka::transformDirection({1, 1, 1}, ka::mul(s, t)), (Vec3<float>{2, 2, 2}));
  EXPECT_EQ(ka::mul(Vec4<float>{1, 1, 1, 1}, t), (Vec4<float>{2, 1, 1, 1}));
  // rotationTranslation: rotate, then translate.
  Mat4x4f rt = Mat4x4f::rotationTranslation(Mat3x3f::rotation({0, 0, 1}, 1.5707963f), {0, 0, 5});
  EXPECT_TRUE(near(ka::transformPoint({1, 0, 0}, rt), {0, 1, 5}, 1e-6f));
}

TEST(Vecmath, RotationIsCounterClockwiseAboutTheNormalisedAxis) {
  float quarter = 1.5707963f;
  EXPECT_TRUE(near(ka::transformPoint({1, 0, 0}, Mat4x4f::rotation({0, 0, 1}, quarter)), {0, 1, 0}, 1e-6f));
  EXPECT_TRUE(near(ka::transformPoint({0, 1, 0}, Mat4x4f::rotation({1, 0, 0}, quarter)), {0, 0, 1}, 1e-6f));
  EXPECT_TRUE(near(ka::transformPoint({0, 0, 1}, Mat4x4f::rotation({0, 1, 0}, quarter)), {1, 0, 0}, 1e-6f));
  EXPECT_TRUE(near(Mat4x4f::rotation({0, 0, 7}, 0.3f), Mat4x4f::rotation({0, 0, 1}, 0.3f), 1e-6));
}

TEST(Vecmath, PerspectiveMapsNearToZeroOrMinusOneAndFarToOne) {
  for (float n : {0.1f, 1.0f, 3.0f}) {
    float f = 1000;
    Mat4x4f d3d = Mat4x4f::perspective(ka::CSC_Direct3D, 1, 0.75f, n, f);
    Mat4x4f gl = Mat4x4f::perspective(ka::CSC_OpenGL, 1, 0.75f, n, f);
    EXPECT_EQ(d3d, Mat4x4f::perspectiveDirect3D(1, 0.75f, n, f));
    EXPECT_EQ(gl, Mat4x4f::perspectiveOpenGL(1, 0.75f, n, f));
    EXPECT_NEAR(ka::projectPoint({0, 0, -n}, d3d).z, 0, 1e-6) << n;
    EXPECT_NEAR(ka::projectPoint({0, 0, -n}, gl).z, -1, 1e-6) << n;
    EXPECT_NEAR(ka::projectPoint({0, 0, -f}, d3d).z, 1, 1e-5) << n;
    EXPECT_NEAR(ka::projectPoint({0, 0, -f}, gl).z, 1, 1e-5) << n;
    // Width and height are the size of the view at the near distance.
    EXPECT_TRUE(near(ka::projectPoint({0.5f, 0.375f, -n}, gl), {1, 1, -1}, 1e-5f)) << n;
    Vec3<float> corner = ka::projectPoint({-1.0f, -0.75f, -2 * n}, d3d);
    EXPECT_NEAR(corner.x, -1, 1e-5) << n;
    EXPECT_NEAR(corner.y, -1, 1e-5) << n;
    // Clip w is the distance in front of the camera.
    EXPECT_EQ(ka::mul(Vec4<float>{0, 0, -n, 1}, gl).w, n);
  }
}

TEST(Vecmath, OrthographicMapsTheBoxOntoClipSpace) {
  for (auto convention : {ka::CSC_Direct3D, ka::CSC_OpenGL}) {
    float zNear = convention == ka::CSC_Direct3D ? 0 : -1;
    Mat4x4f m = Mat4x4f::orthographic(convention, 10, 50, -4, 6, 1, 9);
    EXPECT_TRUE(near(ka::projectPoint({10, -4, -1}, m), {-1, -1, zNear}, 1e-6f)) << convention;
    EXPECT_TRUE(near(ka::projectPoint({50, 6, -9}, m), {1, 1, 1}, 1e-6f)) << convention;
    EXPECT_TRUE(near(ka::projectPoint({30, 1, -5}, m), {0, 0, (zNear + 1) / 2}, 1e-6f)) << convention;
  }
  EXPECT_EQ(Mat4x4f::orthographic(ka::CSC_Direct3D, 0, 8, 0, 6, -1, 1),
            Mat4x4f::orthographicDirect3D(0, 8, 0, 6, -1, 1));
  EXPECT_EQ(Mat4x4f::orthographic(ka::CSC_OpenGL, 0, 8, 0, 6, -1, 1), Mat4x4f::orthographicOpenGL(0, 8, 0, 6, -1, 1));
}

TEST(VecmathDeathTest, AnotherClipSpaceConventionDies) {
  EXPECT_DEATH(Mat4x4f::perspective(ka::ClipSpaceConvention(2), 1, 1, 1, 10), "invalid clip space convention");
  EXPECT_DEATH(Mat4x4f::orthographic(ka::ClipSpaceConvention(-1), 0, 1, 0, 1, -1, 1), "invalid clip space convention");
}

TEST(Vecmath, LookAtTakesTheTargetFirst) {
  Vec3<float> target{1, 2, 3}, eye{1, 2, 13}, up{0, 1, 0};
  Mat4x4f view = Mat4x4f::lookAt(target, eye, up);
  // The eye goes to the origin and the target straight ahead, down negative z.
  EXPECT_TRUE(near(ka::transformPoint(eye, view), {0, 0, 0}, 1e-5f));
  EXPECT_TRUE(near(ka::transformPoint(target, view), {0, 0, -10}, 1e-5f));
  EXPECT_TRUE(near(ka::transformPoint(eye + up, view), {0, 1, 0}, 1e-5f));
  EXPECT_TRUE(near(Mat3x3f::lookAt(target, eye, up), view.upper3x3(), 0));

  std::mt19937 rng(11);
  for (int i = 0; i < 200; ++i) {
    Vec3<float> e = mathtest::randomVec(rng, -20, 20), t = e + mathtest::randomDirection(rng) * 5.0f;
    Mat4x4f v = Mat4x4f::lookAt(t, e, {0, 0, 1});
    ASSERT_TRUE(near(ka::transformPoint(t, v), {0, 0, -5}, 1e-4f));
    ASSERT_NEAR(v.determinant(), 1, 1e-5);
  }

  // Degenerate: the eye at the target, or looking along `up`. No NaN.
  EXPECT_TRUE(mathtest::finite(Mat4x4f::lookAt({1, 2, 3}, {1, 2, 3}, {0, 1, 0})));
  EXPECT_TRUE(mathtest::finite(Mat4x4f::lookAt({0, 5, 0}, {0, 0, 0}, {0, 1, 0})));
  EXPECT_TRUE(mathtest::finite(Mat3x3d::lookAt({0, 0, 0}, {0, 0, 0}, {0, 1, 0})));
}

TEST(Vecmath, DeterminantsAndTransposes) {
  Mat4x4f s = Mat4x4f::scaleTranslation({2, 3, 4}, {5, 6, 7});
  EXPECT_EQ(s.determinant(), 24);
  EXPECT_EQ(s.determinant3x4(), 24);
  // 1 * 1 * det([[-2, -1], [-3, 0]]) = -3.
  EXPECT_FLOAT_EQ(Mat4x4f::perspectiveOpenGL(2, 2, 1, 3).determinant(), -3);
  Mat4x4f m{{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}}};
  EXPECT_EQ(m.transpose(), (Mat4x4f{{{1, 5, 9, 13}, {2, 6, 10, 14}, {3, 7, 11, 15}, {4, 8, 12, 16}}}));
  EXPECT_EQ(m.transpose3x3(), (Mat4x4f{{{1, 5, 9, 4}, {2, 6, 10, 8}, {3, 7, 11, 12}, {13, 14, 15, 16}}}));
}

TEST(Vecmath, InversesAndDeterminantsOfRandomMatrices) {
  std::mt19937 rng(20240601);
  for (int i = 0; i < 1000; ++i) {
    Mat4x4f m = mathtest::randomAffine(rng);
    ASSERT_TRUE(near(ka::mul(m.inverse(), m), Mat4x4f::identity(), 1e-5)) << i;
    ASSERT_TRUE(near(ka::mul(m, m.inverse()), Mat4x4f::identity(), 1e-5)) << i;
    ASSERT_TRUE(near(ka::mul(m.inverse3x4(), m), Mat4x4f::identity(), 1e-5)) << i;
    ASSERT_TRUE(near(m.inverse3x4(), m.inverse(), 1e-5)) << i;
    // mul3x4 is mul for affine matrices.
    Mat4x4f other = mathtest::randomAffine(rng);
    ASSERT_TRUE(near(ka::mul3x4(m, other), ka::mul(m, other), 1e-4)) << i;
    float dm = m.determinant(), dother = other.determinant();
    ASSERT_NEAR(ka::mul(m, other).determinant(), dm * dother, 1e-4 * std::abs(dm * dother)) << i;
    ASSERT_NEAR(m.determinant3x4(), dm, 1e-5 * std::abs(dm)) << i;
    Mat3x3f r = m.upper3x3();
    ASSERT_TRUE(near(ka::mul(r.inverse(), r), Mat3x3f::identity(), 1e-5)) << i;
  }
  // A view-projection is not affine; the general inverse still undoes it.
  for (int i = 0; i < 200; ++i) {
    Mat4x4f view = mathtest::randomRotation(rng).asMatrixWithTranslation(mathtest::randomVec(rng, -5, 5));
    Mat4x4f proj = Mat4x4f::perspectiveOpenGL(mathtest::uniform(rng, 0.5f, 2), mathtest::uniform(rng, 0.5f, 2), 1, 10);
    Mat4x4f m = ka::mul(view, proj);
    ASSERT_TRUE(near(ka::mul(m.inverse(), m), Mat4x4f::identity(), 1e-5)) << i;
  }
  // Double precision 3x3.
  std::uniform_real_distribution<double> u(-1, 1);
  for (int i = 0; i < 200; ++i) {
    Mat3x3d m = ka::mul(Mat3x3d::rotation({u(rng), u(rng), u(rng)}, u(rng) * 3),
                        Mat3x3d{{{1.5 + u(rng), 0, 0}, {0, 1.5 + u(rng), 0}, {0, 0, 1.5 + u(rng)}}});
    ASSERT_TRUE(near(ka::mul(m.inverse(), m), Mat3x3d::identity(), 1e-12)) << i;
  }
  // As the scene viewport derives its near and far distances from a projection.
  Mat4x4f inv = Mat4x4f::perspectiveOpenGL(1, 0.75f, 2, 500).inverse();
  EXPECT_NEAR(std::abs(ka::projectPoint({0, 0, -1}, inv).z), 2, 1e-4);
  EXPECT_NEAR(std::abs(ka::projectPoint({0, 0, 1}, inv).z), 500, 0.1);
}

TEST(Vecmath, PlanesAndBoxes) {
  ka::Plane4<float> p = ka::Plane4<float>::fromPoints({0, 0, 1}, {1, 0, 1}, {0, 1, 1});
  EXPECT_EQ(p.n, (Vec3<float>{0, 0, 1}));
  EXPECT_EQ(p.d, -1);
  EXPECT_GT(p.distance({0, 0, 2}), 0);
  // Collinear points give a zero normal, not NaN.
  ka::Plane4<float> flat = ka::Plane4<float>::fromPoints({0, 0, 0}, {1, 1, 1}, {2, 2, 2});
  EXPECT_EQ(flat.n, (Vec3<float>{0, 0, 0}));
  EXPECT_EQ(flat.d, 0);

  ka::AABB box = ka::AABB::inverted();
  EXPECT_TRUE(box.empty());
  EXPECT_FALSE(box.contains({0, 0, 0}));
  box.addPoint({1, 2, 3});
  box.addPoint({-1, 0, 5});
  EXPECT_EQ(box, (ka::AABB{{-1, 0, 3}, {1, 2, 5}}));
  EXPECT_TRUE(box.contains({1, 2, 5}));
  EXPECT_FALSE(box.contains({1, 2, 5.5f}));
  EXPECT_EQ(box.corner(1), (Vec3<float>{1, 0, 3}));
  EXPECT_EQ(box.corner(6), (Vec3<float>{-1, 2, 5}));
  box.addBox({{0, 0, 0}, {0, 0, 0}});
  EXPECT_EQ(box.min, (Vec3<float>{-1, 0, 0}));
}

TEST(Numutil, IfloorLog2) {
  static_assert(ka::ifloorLog2(1) == 0 && ka::ifloorLog2(16) == 4 && ka::ifloorLog2(0x80000000u) == 31);
  EXPECT_EQ(ka::ifloorLog2(0), -1);
  EXPECT_EQ(ka::ifloorLog2(0xffffffffu), 31);
  // Every power of two and its neighbours, across each of the shift steps, and random values.
  for (int bit = 0; bit < 32; ++bit) {
    unsigned p = 1u << bit;
    EXPECT_EQ(ka::ifloorLog2(p), bit) << p;
    EXPECT_EQ(ka::ifloorLog2(p | 1), bit) << p;
    EXPECT_EQ(ka::ifloorLog2(p + p - 1), bit) << p;
  }
  std::mt19937 rng(2);
  for (int i = 0; i < 100000; ++i) {
    unsigned v = rng() >> (rng() % 32);
    ASSERT_EQ(ka::ifloorLog2(v), int(std::bit_width(v)) - 1) << v;
  }
}

}  // namespace
