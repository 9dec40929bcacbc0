#include "vorn/ras_memory_tracker.h"

#include <gtest/gtest.h>

#include "vorn/rasterizer.h"

namespace {

using namespace vorn::ras;

TEST(RasMemoryTracker, TotalsByCategoryAndTypeInDescriptorOrder) {
  RasterizerResourceMemoryTracker tracker;
  tracker.setCategoryName(4, "Render Target");
  tracker.setCategoryName(7, "PNG-sourced texture");
  tracker.addResource(makeDescriptor(7, RT_Texture2D), 100);
  tracker.addResource(makeDescriptor(4, RT_CompressedCubemap), 50);
  tracker.addResource(makeDescriptor(7, RT_Texture2D), 20);
  tracker.addResource(makeDescriptor(9, RT_VertexBuffer), 8);
  tracker.removeResource(makeDescriptor(4, RT_CompressedCubemap), 50);
  tracker.removeResource(makeDescriptor(3, RT_IndexBuffer), 10);  // never added: nothing changes
  tracker.removeResource(makeDescriptor(9, RT_VertexBuffer), 10);  // below zero wraps in 32 bits

  auto expect = [&] {
    auto const& dump = tracker.dumpAllocationList();
    ASSERT_EQ(dump.size(), 3u) << "a total of 0 stays listed, a descriptor never added does not";
    EXPECT_EQ(dump[0].name, "Render Target : Compressed Cubemap");
    EXPECT_EQ(dump[0].size, 0u);
    EXPECT_EQ(dump[1].name, "PNG-sourced texture : 2D Texture");
    EXPECT_EQ(dump[1].size, 120u);
    EXPECT_EQ(dump[2].name, "Unnamed Category : Vertex Buffer");
    EXPECT_EQ(dump[2].size, 0xFFFFFFFEu);
  };
  expect();
  expect();  // a second dump is the same list, not a doubled one
}

TEST(RasMemoryTracker, TypeNames) {
  EXPECT_STREQ(getNameFromType(RT_Texture3D), "3D Texture");
  EXPECT_STREQ(getNameFromType(RT_CompressedTexture2D), "Compressed 2D Texture");
  EXPECT_STREQ(getNameFromType(ResourceType(5)), "Unknown");
}

}  // namespace
