#include "vorn/vertex_pool.h"

#include "gl_rasterizer_private/gl_fixture.h"

namespace {

using namespace vorn;
using namespace vorn::ras;

class VertexPoolTest : public GLFixture {
 protected:
  RasMeshFactory meshes{*ras};
};

TEST_F(VertexPoolTest, BucketsHandOutTheSmallestSizeThatFitsUntilItRunsOut) {
  RasVertexBucketPool pool(meshes, VF_Position3Color4bTexCoord2);
  int capacity = 0;
  EXPECT_TRUE(pool.getBuffer(512, capacity));
  EXPECT_EQ(capacity, 512);
  EXPECT_TRUE(pool.getBuffer(513, capacity));
  EXPECT_EQ(capacity, 1024);
  for (int i = 1; i < 64; ++i) ASSERT_TRUE(pool.getBuffer(100, capacity)) << i;
  EXPECT_FALSE(pool.getBuffer(512, capacity)) << "the 65th small request finds nothing, though larger ones have room";
  EXPECT_FALSE(pool.getBuffer(524289, capacity)) << "larger than the largest bucket";
  ka::Ref<RasMeshVertexBuffer> largest = pool.getBuffer(524288, capacity);
  ASSERT_TRUE(largest);
  EXPECT_EQ(largest->stride(), 24);
  pool.nextFrame();
  EXPECT_EQ(pool.getBuffer(524288, capacity), largest) << "a new frame hands the same buffers out again";
}

TEST_F(VertexPoolTest, ARangeGivesWhatIsLeftIfTheMinimumFitsAndUploadsOnlyThat) {
  RasVertexPool pool(meshes, VF_Position3, 60);
  int actual = -1;
  ASSERT_NE(pool.mapRange(10, actual, 10), nullptr);
  EXPECT_EQ(actual, 10);
  pool.unmap();
  // 50 left: 100 wanted with a minimum of 10 gives the 50.
  auto* vertices = static_cast<float*>(pool.mapRange(100, actual, 10));
  ASSERT_NE(vertices, nullptr);
  EXPECT_EQ(actual, 50);
  for (int i = 0; i < 50 * 3; ++i) vertices[i] = float(i);
  pool.unmap();
  EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << "nothing was sent past the buffer";
  // What the buffer holds at the range's end is what was written there.
  auto* gl = static_cast<GLVertexBuffer*>(pool.buffer()->buffer());
  gl->bindBuffer();
  float last = 0;
  glGetBufferSubData(GL_ARRAY_BUFFER, (60 * 3 - 1) * 4, 4, &last);
  EXPECT_EQ(last, 149.0f);
  EXPECT_EQ(pool.mapRange(100, actual, 10), nullptr);
  EXPECT_EQ(actual, 0);
  pool.nextFrame();
  EXPECT_EQ(pool.used(), 0);
  EXPECT_NE(pool.mapRange(5, actual, 1), nullptr);
}

TEST_F(VertexPoolTest, MeshesFindTheirGroupsIgnoringCase) {
  ka::Ref<RasMeshVertexBuffer> vertices = meshes.createVertexBuffer(VF_Position3, 3, BU_Static, 0);
  ka::Ref<RasMeshIndexBuffer> indices = meshes.createIndexBuffer(IF_UInt16, 3, BU_Static, 0);
  std::vector<MaterialGroup> groups(3);
  groups[0].name = "Hull";
  groups[1].name = "glass";
  groups[2].name = "GLASS";
  ka::Ref<Mesh> mesh = meshes.createMesh(vertices.get(), indices.get(), groups);
  EXPECT_EQ(mesh->getMaterialGroupIndex("hull"), 0);
  EXPECT_EQ(mesh->getMaterialGroupIndex("Glass"), 1) << "the first of that name";
  EXPECT_EQ(mesh->getMaterialGroupIndex("glas"), -1);
  EXPECT_EQ(mesh->getVertexBuffer(), vertices);
}

}  // namespace
