#include "vorn/material.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using vorn::Material;
using vorn::MaterialLibrary;

class MaterialTest : public ::testing::Test {
 protected:
  ~MaterialTest() override { vorn::releaseMaterialLibrary(library); }
  Material lit(float red) {
    Material m(library, "lit");
    m.setVec("tint", {red, 0, 0, 1});
    return m;
  }
  MaterialLibrary* library = vorn::createMaterialLibrary();
};

TEST_F(MaterialTest, EqualMaterialsFreezeIntoOneObject) {
  Material a = lit(1), b = lit(1), c = lit(0.5f);
  EXPECT_TRUE(a == b);
  EXPECT_NE(a.data(), b.data());
  a.freeze();
  b.freeze();
  c.freeze();
  EXPECT_EQ(a.data(), b.data()) << "the second freeze returns the first's object";
  EXPECT_NE(a.data(), c.data());
  EXPECT_FALSE(a == c) << "two frozen materials are equal only as one object";
  EXPECT_EQ(library->frozenCount(), 2u);
  EXPECT_NE(a.hash(), 0u);
}

TEST_F(MaterialTest, ChangesCopyOnlyWhenTheyChangeSomething) {
  Material a = lit(1);
  Material shared = a;
  shared.setVec("tint", {1, 0, 0, 1});
  EXPECT_EQ(shared.data(), a.data()) << "setting the present value keeps the sharing";
  shared.setVec("tint", {0, 1, 0, 1});
  EXPECT_NE(shared.data(), a.data());
  EXPECT_EQ(a.vecParam("tint", {}), (ka::Vec4<float>{1, 0, 0, 1})) << "the other handle is untouched";

  a.freeze();
  Material keep = a;  // keeps the frozen object alive
  vorn::MaterialData* frozen = a.data();
  a.setShader("unlit");
  EXPECT_NE(a.data(), frozen);
  EXPECT_FALSE(a.data()->frozen());
  a.setShader("lit");
  a.freeze();
  EXPECT_EQ(a.data(), frozen) << "back to the old value, frozen again: the object already frozen";
}

TEST_F(MaterialTest, TheFreezeCacheKeepsThirtyTwoSourcesMostRecentFirst) {
  std::vector<Material> sources;
  for (int i = 0; i < 33; ++i) {
    sources.push_back(lit(float(i) / 64));
    Material keep = sources.back();  // shared, so freezing makes a copy and caches the pair
    sources.back().freeze();
    sources.back() = keep;
  }
  EXPECT_EQ(library->freezeCacheSize(), MaterialLibrary::kFreezeCacheSize) << "the 33rd evicts the oldest";
  // The oldest was evicted; its frozen object was only held by the cache, so it went too.
  EXPECT_EQ(library->frozenCount(), 32u);
}

TEST_F(MaterialTest, BoundBlocksNeedFrozenDataAndFollowTheLastTable) {
  Material m = lit(1);
  EXPECT_EQ(m.getBoundParameterBlock(nullptr).get(), vorn::BoundParameterBlock::sEmpty);
  EXPECT_EQ(Material().getBoundParameterBlock(nullptr).get(), vorn::BoundParameterBlock::sEmpty);
  vorn::MaterialBindingTable first, second;
  ka::Ref<vorn::BoundParameterBlock> bound = m.getBoundParameterBlock(&first);
  EXPECT_TRUE(m.data()->frozen()) << "asking froze it";
  EXPECT_EQ(m.getBoundParameterBlock(&first), bound);
  EXPECT_NE(m.getBoundParameterBlock(&second), bound);
  Material loose = lit(0.25f);
  EXPECT_DEATH(loose.data()->boundParams(&first), "Material data not frozen!");
}

TEST_F(MaterialTest, MaterialsOutliveTheirLibrary) {
  Material a = lit(1);
  a.freeze();
  vorn::releaseMaterialLibrary(library);
  library = nullptr;
  EXPECT_EQ(a.library(), nullptr);
  a.setVec("tint", {0, 0, 1, 1});
  EXPECT_EQ(a.vecParam("tint", {}), (ka::Vec4<float>{0, 0, 1, 1}));
}

TEST_F(MaterialTest, ThreadsSetAndFreezeSharedMaterials) {
  Material base = lit(1);
  std::vector<std::thread> threads;
  std::vector<Material> results(4);
  for (size_t t = 0; t < results.size(); ++t) {
    threads.emplace_back([&, t] {
      Material mine = base;  // shares the data with the others
      for (int i = 0; i < 200; ++i) {
        mine.setVec("tint", {float(i % 3), float(t), 0, 1});
        mine.freeze();
        Material again = mine;
        again.setVec("glow", {float(i % 2), 0, 0, 0});
        again.freeze();
      }
      results[t] = mine;
    });
  }
  for (auto& thread : threads) thread.join();
  for (size_t t = 0; t < results.size(); ++t) {
    EXPECT_TRUE(results[t].data()->frozen());
    EXPECT_EQ(results[t].vecParam("tint", {}).y, float(t));
  }
}

}  // namespace
