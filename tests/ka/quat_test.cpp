#include "ka/quat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "support/math.h"

namespace {

using ka::Mat3x3f;
using ka::Mat4x4f;
using ka::Quatd;
using ka::Quatf;
using ka::Vec3;
using mathtest::near;

static_assert(std::is_aggregate_v<Quatf> && sizeof(Quatf) == 16);
static_assert(Quatf::identity().transform(Vec3<float>{1, 2, 3}) == Vec3<float>{1, 2, 3});

::testing::AssertionResult sameRotation(Quatf const& a, Quatf const& b, float tolerance = 1e-5f) {
  if (ka::nearlySame(a, b, 1 - tolerance)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << a << " and " << b << " are not the same rotation";
}

TEST(Quat, FromAxisAngleNormalisesTheAxisAndMatchesTheRotationMatrix) {
  Quatf q = Quatf::fromAxisAngle({0, 0, 2}, 1.5707963f);
  EXPECT_NEAR(q.z, std::sqrt(0.5f), 1e-7);
  EXPECT_NEAR(q.w, std::sqrt(0.5f), 1e-7);
  EXPECT_TRUE(near(q.transform({1, 0, 0}), {0, 1, 0}, 1e-6f));

  std::mt19937 rng(1);
  for (int i = 0; i < 500; ++i) {
    Vec3<float> axis = mathtest::randomVec(rng, -3, 3);
    float angle = mathtest::uniform(rng, -7, 7);
    Quatf r = Quatf::fromAxisAngle(axis, angle);
    ASSERT_NEAR(ka::dot(r, r), 1, 1e-5);
    ASSERT_TRUE(near(r.asMatrix(), Mat4x4f::rotation(axis, angle), 1e-5)) << i;
  }
}

TEST(Quat, FromAxisAngleBelowTheThresholdIsTheIdentity) {
  EXPECT_EQ(Quatf::fromAxisAngle({1, 2, 3}, 1.9e-5f), Quatf::identity());
  EXPECT_EQ(Quatf::fromAxisAngle({1, 2, 3}, -1.9e-5f), Quatf::identity());
  EXPECT_NE(Quatf::fromAxisAngle({1, 2, 3}, 2.1e-5f), Quatf::identity());
  // A zero axis with a large angle: no NaN.
  Quatf z = Quatf::fromAxisAngle({0, 0, 0}, 1);
  EXPECT_EQ(z.x, 0);
  EXPECT_TRUE(std::isfinite(z.w));
  // A rotation vector: direction the axis, length the angle.
  EXPECT_TRUE(sameRotation(Quatf::fromAxis({0, 0.5f, 0}), Quatf::fromAxisAngle({0, 1, 0}, 0.5f)));
  EXPECT_EQ(Quatf::fromAxis({0, 0, 0}), Quatf::identity());
}

TEST(Quat, MatricesAxesAndTransformAgree) {
  std::mt19937 rng(2);
  for (int i = 0; i < 500; ++i) {
    Quatf q = mathtest::randomRotation(rng);
    Vec3<float> v = mathtest::randomVec(rng, -10, 10), t = mathtest::randomVec(rng, -10, 10);
    ASSERT_TRUE(near(q.transform(v), ka::mul(v, q.asRotationMatrix()), 1e-4f));
    ASSERT_TRUE(near(q.transform(v), ka::transformPoint(v, q.asMatrix()), 1e-4f));
    ASSERT_TRUE(near(q.transform(v) + t, ka::transformPoint(v, q.asMatrixWithTranslation(t)), 1e-4f));
    ASSERT_TRUE(near(q.transformXAxis(), q.transform({1, 0, 0}), 1e-6f));
    ASSERT_TRUE(near(q.transformYAxis(), q.transform({0, 1, 0}), 1e-6f));
    ASSERT_TRUE(near(q.transformZAxis(), q.transform({0, 0, 1}), 1e-6f));
    ASSERT_TRUE(near(q.conjugate().transform(q.transform(v)), v, 1e-4f));
  }
}

TEST(Quat, ProductTurnsTheRightOperandFirst) {
  std::mt19937 rng(3);
  for (int i = 0; i < 500; ++i) {
    Quatf a = mathtest::randomRotation(rng), b = mathtest::randomRotation(rng);
    Vec3<float> v = mathtest::randomVec(rng, -5, 5);
    ASSERT_TRUE(near((a * b).transform(v), a.transform(b.transform(v)), 1e-4f));
    ASSERT_TRUE(near((a * b).asMatrix(), ka::mul(b.asMatrix(), a.asMatrix()), 1e-5));
  }
  Quatf x = Quatf::fromAxisAngle({1, 0, 0}, 0.5f);
  EXPECT_TRUE(sameRotation(x * x, Quatf::fromAxisAngle({1, 0, 0}, 1.0f)));
  EXPECT_TRUE(sameRotation(x * x.conjugate(), Quatf::identity()));
}

TEST(Quat, FromMatrixRoundTripsOnEveryBranch) {
  std::mt19937 rng(4);
  std::vector<Quatf> cases;
  for (int i = 0; i < 1000; ++i) cases.push_back(mathtest::randomRotation(rng));
  // Half turns and near half turns, where the trace is negative and each diagonal entry leads.
  for (Vec3<float> axis : {Vec3<float>{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}, {0, 1, 1}})
    for (float angle : {3.1415926f, 3.0f, -2.5f}) cases.push_back(Quatf::fromAxisAngle(axis, angle));
  cases.push_back(Quatf::identity());
  for (Quatf const& q : cases) {
    Quatf back = Quatf::fromMatrix(q.asRotationMatrix());
    ASSERT_TRUE(sameRotation(back, q)) << q;
    ASSERT_GE(back.w, 0);
    ASSERT_TRUE(sameRotation(Quatf::fromMatrix(q.asMatrixWithTranslation({1, 2, 3})), q));
  }
  EXPECT_TRUE(
      sameRotation(Quatf::fromMatrix(Mat3x3f::rotation({0, 1, 0}, 0.3f)), Quatf::fromAxisAngle({0, 1, 0}, 0.3f)));
}

TEST(Quat, FromDirToDirTurnsOneUnitVectorIntoTheOther) {
  std::mt19937 rng(5);
  for (int i = 0; i < 1000; ++i) {
    Vec3<float> from = mathtest::randomDirection(rng), to = mathtest::randomDirection(rng);
    Quatf q = Quatf::fromDirToDir(from, to, {0, 0, 0});
    ASSERT_NEAR(ka::dot(q, q), 1, 1e-4);
    ASSERT_TRUE(near(q.transform(from), to, 2e-3f)) << from << " " << to;
  }
  Quatf same = Quatf::fromDirToDir({0, 1, 0}, {0, 1, 0}, {1, 0, 0});
  EXPECT_EQ(same, Quatf::identity());
}

TEST(Quat, FromDirToDirForOppositeVectorsUsesTheFallback) {
  // h is the fallback: the result is (cross(from, h), dot(from, h)).
  Quatf q = Quatf::fromDirToDir({1, 0, 0}, {-1, 0, 0}, {0, 1, 0});
  EXPECT_EQ(q, (Quatf{0, 0, 1, 0}));
  EXPECT_TRUE(near(q.transform({1, 0, 0}), {-1, 0, 0}, 1e-6f));
  Quatf r = Quatf::fromDirToDir({0, 0, 1}, {0, 0, -1}, {1, 0, 0});
  EXPECT_EQ(r, (Quatf{0, 1, 0, 0}));
  // Just within the threshold: |from + to|^2 below 1e-6 still takes the fallback.
  Vec3<float> to = ka::normalize(Vec3<float>{-1, 0.0009f, 0});
  EXPECT_EQ(Quatf::fromDirToDir({1, 0, 0}, to, {0, 0, 1}), (Quatf{0, -1, 0, 0}));
}

TEST(Quat, FromVecToVecTakesAnyLengthAndOppositeVectors) {
  std::mt19937 rng(6);
  for (int i = 0; i < 500; ++i) {
    Vec3<float> from = mathtest::randomVec(rng, -5, 5), to = mathtest::randomVec(rng, -5, 5);
    Quatf q = Quatf::fromVecToVec(from, to);
    ASSERT_TRUE(near(q.transform(ka::normalize(from)), ka::normalize(to), 2e-3f));
  }
  for (Vec3<float> v : {Vec3<float>{3, 0, 0}, {0, -2, 0}, {0, 0, 1}, {1, 2, 3}}) {
    Quatf q = Quatf::fromVecToVec(v, -v * 2.0f);
    EXPECT_NEAR(ka::dot(q, q), 1, 1e-5);
    EXPECT_TRUE(near(q.transform(ka::normalize(v)), -ka::normalize(v), 1e-5f)) << v;
  }
}

TEST(Quat, NearlySameCountsTheNegativeAsTheSame) {
  Quatf q = Quatf::fromAxisAngle({1, 2, 3}, 0.8f);
  EXPECT_TRUE(ka::nearlySame(q, q, 0.9999f));
  EXPECT_TRUE(ka::nearlySame(q, -q, 0.9999f));
  EXPECT_FALSE(ka::nearlySame(q, Quatf::fromAxisAngle({1, 2, 3}, 0.9f), 0.9999f));
  EXPECT_TRUE(ka::nearlySame(q, Quatf::fromAxisAngle({1, 2, 3}, 0.9f), 0.99f));
  // "Exceeds": equal to the tolerance is not enough.
  EXPECT_FALSE(ka::nearlySame(Quatf::identity(), Quatf::identity(), 1.0f));
}

TEST(Quat, ClampRotation) {
  // A rotation within the limit stays as it is.
  Quatf small = Quatf::fromAxisAngle({0, 0, 1}, 0.5f);
  EXPECT_EQ(ka::clampRotation(small, 1.0f), small);
  // One beyond it: vector part times sin(max / 2), w = cos(max / 2). For a unit quaternion the
  // vector part is sin(angle / 2) long, and it is not normalised first.
  Quatf big = Quatf::fromAxisAngle({0, 0, 1}, 2.0f);
  Quatf c = ka::clampRotation(big, 1.0f);
  EXPECT_FLOAT_EQ(c.z, std::sin(1.0f) * std::sin(0.5f));
  EXPECT_FLOAT_EQ(c.w, std::cos(0.5f));
  EXPECT_EQ(c.x, 0);
  // The size of maxAngle counts, not its sign.
  EXPECT_EQ(ka::clampRotation(big, -1.0f), c);
  // With w negative, the vector part is negated.
  Quatf n = ka::clampRotation(-big, 1.0f);
  EXPECT_FLOAT_EQ(n.z, std::sin(1.0f) * std::sin(0.5f));
  EXPECT_FLOAT_EQ(n.w, std::cos(0.5f));
  // From half of maxAngle at 1.5707964 up, nothing changes, even for a quaternion that is not a unit one.
  Quatf odd{3, 4, 0, -1};
  EXPECT_EQ(ka::clampRotation(odd, 3.1415928f), odd);
  EXPECT_NE(ka::clampRotation(odd, 3.14f), odd);
  Quatf clamped = ka::clampRotation(odd, 3.14f);
  EXPECT_FLOAT_EQ(clamped.x, -3 * std::sin(1.57f));
  EXPECT_FLOAT_EQ(clamped.y, -4 * std::sin(1.57f));
}

TEST(Quat, DoublePrecision) {
  Quatd q = Quatd::fromAxisAngle({0, 0, 1}, 1.5707963267948966);
  Vec3<double> v = q.transform({1, 0, 0});
  EXPECT_NEAR(v.x, 0, 1e-15);
  EXPECT_NEAR(v.y, 1, 1e-15);
  Quatd back = Quatd::fromMatrix(q.asRotationMatrix());
  EXPECT_TRUE(ka::nearlySame(back, q, 1 - 1e-12));
  Quatd opposite = Quatd::fromDirToDir({0, 1, 0}, {0, -1, 0}, {0, 0, 1});
  EXPECT_EQ(opposite, (Quatd{1, 0, 0, 0}));
  EXPECT_EQ(ka::clampRotation(Quatd::identity(), 0.1), Quatd::identity());
}

TEST(Quat, StreamForm) {
  std::ostringstream os;
  os << Quatf{1, 2, 3, 4} << ' ' << Quatd{0, 0, 0, 1};
  EXPECT_EQ(os.str(), "Quat<float>(1,2,3,4) Quat<double>(0,0,0,1)");
}

}  // namespace
