#include "vorn/parameterblock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "vorn/rasterizer.h"

namespace {

using vorn::BoundParameterBlock;
using vorn::MaterialBindingTable;
using vorn::ParameterBlock;

// A texture that is only an identity.
struct Blank : vorn::Texture {
  vorn::TextureFactory* factory() const override { return nullptr; }
  int width() const override { return 1; }
  int height() const override { return 1; }
  void setBits(int, void const*, size_t, vorn::TextureCubeFace) override {}
  void updateBits(int, int, int, size_t, size_t, void const*, vorn::TextureCubeFace) override {}
  void updateBits(int, int, int, size_t, size_t, size_t, void const*, vorn::TextureCubeFace) override {}
  void setDynamic(bool) override {}
  void setDescriptor(uint64_t) override {}
  void generateMips() override {}
};

TEST(ParameterBlock, EqualParametersInAnyOrderAreEqualWithEqualHashes) {
  ka::Ref<vorn::Texture> texture(new Blank);
  ParameterBlock a, b;
  a.setVec("tint", {1, 0, 0, 1});
  a.setMatrix("world", ka::Mat4x4f::identity());
  a.setTexture("diffuse", texture.get());
  a.setVec("alpha", {0.5f, 0, 0, 0});
  b.setVec("alpha", {0.5f, 0, 0, 0});
  b.setTexture("diffuse", texture.get());
  b.setVec("tint", {0, 0, 0, 0});
  b.setMatrix("world", ka::Mat4x4f::identity());
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a < b || b < a) << "a strict order tells them apart";
  b.setVec("tint", {1, 0, 0, 1});  // replaced, not added
  EXPECT_TRUE(a == b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_FALSE(a < b || b < a);

  EXPECT_EQ(a.vecParam("absent", {7, 7, 7, 7}), (ka::Vec4<float>{7, 7, 7, 7}));
  EXPECT_EQ(a.vectors().size(), 2u) << "asking for an absent name adds nothing";
  EXPECT_EQ(a.textureParam("diffuse", nullptr).get(), texture.get());

  // Fewer vectors order first, whatever the names.
  ParameterBlock small;
  small.setVec("zzz", {0, 0, 0, 0});
  EXPECT_TRUE(small < a);
  EXPECT_FALSE(a < small);
}

TEST(ParameterBlock, HashIsFnv1OverNamesAndValues) {
  ParameterBlock empty;
  EXPECT_EQ(empty.hash(), 0xcbf29ce484222325ull) << "the offset basis";
  // One vector "a" of zeros: the name's byte, a zero byte, then 16 zero bytes, each multiplied
  // first and XORed after.
  ParameterBlock one;
  one.setVec("a", {0, 0, 0, 0});
  uint64_t h = 0xaf63bd4c8601b7beull;  // FNV-1 of the one byte "a"
  for (int i = 0; i < 17; ++i) h *= 0x100000001b3ull;
  EXPECT_EQ(one.hash(), h);
}

TEST(MaterialBindingTable, NumbersNamesInOrderOfFirstUseFromAnyThread) {
  MaterialBindingTable table;
  EXPECT_EQ(table.getSlot("a"), 0u);
  EXPECT_EQ(table.getSlot("b"), 1u);
  EXPECT_EQ(table.getSlot("a"), 0u);

  std::vector<std::thread> threads;
  std::vector<std::vector<unsigned>> seen(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&table, &seen, t] {
      for (int i = 0; i < 100; ++i) seen[size_t(t)].push_back(table.getSlot("p" + std::to_string(i)));
    });
  }
  for (std::thread& thread : threads) thread.join();
  // Every thread saw the same slot for a name, and the slots are dense.
  for (int t = 1; t < 4; ++t) EXPECT_EQ(seen[size_t(t)], seen[0]);
  std::vector<unsigned> sorted = seen[0];
  std::sort(sorted.begin(), sorted.end());
  for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(sorted[i], i + 2);
}

TEST(BoundParameterBlock, NamesBecomeSlotsSharedAcrossKindsInNameOrder) {
  ka::Ref<vorn::Texture> texture(new Blank);
  ParameterBlock block;
  block.setVec("zeta", {1, 2, 3, 4});
  block.setVec("alpha", {5, 6, 7, 8});
  block.setTexture("zeta", texture.get());
  block.setMatrix("world", ka::Mat4x4f::identity());
  MaterialBindingTable table;
  table.getSlot("world");
  BoundParameterBlock bound(block, &table);
  ASSERT_EQ(bound.vectors().size(), 2u);
  // In name order: "alpha" is first although "zeta" was set first; slots in order of first use.
  EXPECT_EQ(bound.vectors()[0].slot, 1u);
  EXPECT_EQ(bound.vectors()[0].value[3], 8.0f);
  EXPECT_EQ(bound.vectors()[1].slot, 2u);
  EXPECT_EQ(bound.matrices()[0].slot, 0u);
  EXPECT_EQ(bound.matrices()[0].value[5], 1.0f);
  ASSERT_EQ(bound.textures().size(), 1u);
  EXPECT_EQ(bound.textures()[0].slot, 2u) << "a vector and a texture of one name share a slot";
  EXPECT_EQ(bound.textures()[0].texture.get(), texture.get());

  BoundParameterBlock unbound(block, nullptr);
  EXPECT_TRUE(unbound.vectors().empty() && unbound.matrices().empty() && unbound.textures().empty());
  EXPECT_TRUE(BoundParameterBlock::sEmpty->vectors().empty());
}

}  // namespace
