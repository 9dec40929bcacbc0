#include "ka/hashutil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "ka/vecmath.h"

namespace {

using ka::Vec3;

uint64_t bits(float f) {
  uint32_t b;
  std::memcpy(&b, &f, 4);
  return b;
}

TEST(HashVec3, SeedIsXThenYAndZAreMixedIn) {
  Vec3<float> v{1.5f, -2, 3};
  EXPECT_EQ(ka::hash(v), ka::hashMix(ka::hashMix(bits(1.5f), bits(-2)), bits(3)));
  // x alone is not mixed: with y and z zero, two mixing steps of 0 follow it.
  EXPECT_EQ(ka::hash(Vec3<float>{1, 0, 0}), ka::hashMix(ka::hashMix(0x3f800000u, 0), 0));
  EXPECT_EQ(ka::hash(Vec3<float>{0, 0, 0}), ka::hashMix(ka::hashMix(0, 0), 0));
}

TEST(HashVec3, PlusAndMinusZeroHashAlike) {
  EXPECT_EQ(ka::hash(Vec3<float>{0.0f, 1.0f, 2.0f}), ka::hash(Vec3<float>{-0.0f, 1.0f, 2.0f}));
  EXPECT_EQ(ka::hash(Vec3<float>{1.0f, -0.0f, -0.0f}), ka::hash(Vec3<float>{1.0f, 0.0f, 0.0f}));
  EXPECT_EQ(ka::hash(Vec3<float>{0.0f, 1.0f, 2.0f}), ka::hashMix(ka::hashMix(0, bits(1)), bits(2)));
}

TEST(HashVec3, OrderMattersAndNaNPatternsAreUsedAsTheyStand) {
  EXPECT_NE(ka::hash(Vec3<float>{0, 1, 2}), ka::hash(Vec3<float>{0, 2, 1}));
  EXPECT_NE(ka::hash(Vec3<float>{1, 0, 2}), ka::hash(Vec3<float>{0, 1, 2}));
  float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(ka::hash(Vec3<float>{nan, 0, 0}), ka::hashMix(ka::hashMix(bits(nan), 0), 0));
  EXPECT_NE(ka::hash(Vec3<float>{nan, 0, 0}), ka::hash(Vec3<float>{-nan, 0, 0}));
}

}  // namespace
