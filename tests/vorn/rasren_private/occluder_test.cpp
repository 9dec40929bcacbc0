#include "vorn/rasren_private/occluder.h"

#include <gtest/gtest.h>

#include "vorn/rasren_private/lod_group.h"
#include "vorn/rasren_private/texture.h"

namespace {

using namespace vorn;
using V = ka::Vec3<float>;

// A unit cube's corners around `centre`.
std::vector<V> cube(V const& centre, float half = 1) {
  std::vector<V> corners;
  for (int i = 0; i < 8; ++i)
    corners.push_back(centre + V{i & 1 ? half : -half, i & 2 ? half : -half, i & 4 ? half : -half});
  return corners;
}

TEST(SphereProjectionCuller, HidesWhatLiesWhollyInTheConeBehindTheCentre) {
  // The eye at the origin, a sphere of radius 5 at distance 20 straight ahead.
  ka::Ref<RasRenOccluder::Culler> culler = SphereProjectionCuller::make({{0, 0, -20}, 5}, {0, 0, 0});
  EXPECT_TRUE(culler->isConvexPointSetOccluded(cube({0, 0, -40}).data(), 8));
  // One corner outside the cone keeps the box.
  std::vector<V> corners = cube({0, 0, -40});
  corners[7] = {12, 0, -40};
  EXPECT_FALSE(culler->isConvexPointSetOccluded(corners.data(), 8));
  // In front of the centre counts as visible, even inside the cone.
  EXPECT_FALSE(culler->isConvexPointSetOccluded(cube({0, 0, -18}, 0.5f).data(), 8));
  EXPECT_TRUE(culler->isConvexPointSetOccluded(nullptr, 0)) << "an empty set counts as hidden";

  EXPECT_TRUE(culler->isSphereOccluded({0, 0, -40}, 1));
  EXPECT_FALSE(culler->isSphereOccluded({0, 0, -40}, 20)) << "larger than the shadow";
  EXPECT_FALSE(culler->isSphereOccluded({0, 0, -10}, 1)) << "nearer than the centre";
  EXPECT_TRUE(culler->isSpherePartiallyOccluded({9, 0, -40}, 2));
  EXPECT_FALSE(culler->isSpherePartiallyOccluded({30, 0, -40}, 2));
  EXPECT_TRUE(culler->areSpheresOccluded({{0, 0, -40}, {0.5f, 0, -45}}, 1));
  EXPECT_FALSE(culler->areSpheresOccluded({{0, 0, -40}, {30, 0, -45}}, 1));
}

TEST(SphereProjectionCuller, AnEyeInsideTheSphereHidesNothing) {
  ka::Ref<RasRenOccluder::Culler> culler = SphereProjectionCuller::make({{0, 0, -20}, 5}, {0, 0, -17});
  EXPECT_FALSE(culler->isConvexPointSetOccluded(cube({0, 0, -40}).data(), 8));
  EXPECT_FALSE(culler->isSphereOccluded({0, 0, -40}, 1));
  EXPECT_FALSE(culler->isConvexPointSetOccluded(nullptr, 0));
}

TEST(SphereOrthoCuller, HidesWhatLiesInTheCylinderBehindAndCountsOverlapsAsHidden) {
  V const viewDir{0, 0, -1};
  ka::Ref<RasRenOccluder::Culler> culler = SphereOrthoCuller::make({{0, 0, -20}, 5}, &viewDir);
  EXPECT_TRUE(culler->isConvexPointSetOccluded(cube({0, 0, -40}).data(), 8));
  EXPECT_TRUE(culler->isConvexPointSetOccluded(cube({3, 0, -40}).data(), 8));
  EXPECT_FALSE(culler->isConvexPointSetOccluded(cube({5, 0, -40}).data(), 8));
  EXPECT_FALSE(culler->isConvexPointSetOccluded(cube({0, 0, -10}).data(), 8)) << "in front";
  // A sphere that only overlaps the silhouette counts as hidden here, unlike in perspective.
  EXPECT_TRUE(culler->isSphereOccluded({7, 0, -40}, 3));
  EXPECT_FALSE(culler->isSphereOccluded({9, 0, -40}, 3));
}

TEST(RasRenLODGroup, TheLevelIsTheFirstCutoffBeyondTheDistanceAndWrapsToZero) {
  RasRenLODGroup group(nullptr);
  EXPECT_EQ(group.CalculateLODLevel({0, 0, 1000}), 0) << "no cutoffs";
  group.setCutoffs({100, 500});
  group.setReference(nullptr, {0, 0, 0});
  EXPECT_EQ(group.CalculateLODLevel({0, 0, 50}), 0);
  EXPECT_EQ(group.CalculateLODLevel({0, 200, 0}), 1);
  EXPECT_EQ(group.CalculateLODLevel({600, 0, 0}), 0);
  EXPECT_EQ(group.CalculateLODLevel({0, 0, 100}), 1) << "a cutoff belongs to the level beyond it";
}

TEST(RasRenTexture, SmallOneMipLinearPicturesAreAtlased) {
  EXPECT_TRUE(RasRenTexture::isAutoAtlased(TF_A8R8G8B8, 64, 64, 1, TF_AllLinear));
  EXPECT_TRUE(RasRenTexture::isAutoAtlased(TF_X8R8G8B8, 1, 64, 1, TF_MagLinear));
  EXPECT_FALSE(RasRenTexture::isAutoAtlased(TF_A8R8G8B8, 65, 64, 1, TF_AllLinear));
  EXPECT_FALSE(RasRenTexture::isAutoAtlased(TF_A8R8G8B8, 64, 64, 1, TextureFilter(6)));
  EXPECT_FALSE(RasRenTexture::isAutoAtlased(TF_A8R8G8B8, 64, 64, 2, TF_AllLinear));
  EXPECT_FALSE(RasRenTexture::isAutoAtlased(TF_A8B8G8R8, 64, 64, 1, TF_AllLinear));
}

}  // namespace
