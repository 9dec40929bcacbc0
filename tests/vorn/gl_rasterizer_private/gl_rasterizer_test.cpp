#include "vorn/gl_rasterizer_private/gl_rasterizer.h"

#include <cstring>
#include <thread>

#include "gl_fixture.h"
#include "ka/logsink.h"
#include "support/log_lines.h"
#include "support/picture_file.h"
#include "support/raw_gl_program.h"
#include "vorn/gl_rasterizer.h"
#include "vorn/ras_memory_tracker.h"

namespace {

using namespace vorn;
using namespace vorn::ras;
using Bytes = std::vector<unsigned char>;

class GLRasterizerTest : public GLFixture {
 protected:
  int64_t event(char const* name) const {
    auto const& events = profiler.runningData().events;
    for (auto const& [key, count] : events) {
      if (std::strcmp(key, name) == 0) return count;
    }
    return 0;
  }
  void frames(int count) {
    for (int i = 0; i < count; ++i) {
      ras->beginScene();
      ras->endScene();
    }
  }
};

// Positions at attribute 0, one flat colour.
GLuint flatProgram() {
  GLuint program = linkRawProgram(
      "#version 330\nlayout(location = 0) in vec2 p;\nvoid main() { gl_Position = vec4(p, 0, 1); }\n",
      "#version 330\nout vec4 c;\nvoid main() { c = vec4(1, 1, 0, 1); }\n");
  EXPECT_NE(program, 0u);
  return program;
}

TEST_F(GLRasterizerTest, StartsLoggingWhatItFoundWithTheGammaCorrectPipelineOnMesa) {
  ka::LogSinkMemory log(0);
  ras.reset();
  ras = std::make_unique<GLRasterizer>(profiler, nullptr);
  ras->init();
  char const* lines[] = {"HAL initializing...", "OpenGL Vendor: ", "OpenGL Renderer: llvmpipe", "OpenGL Version: 4.5",
                         "OpenGL Shader Language Version: ", "Gamma correct pipeline enabled.",
                         "Ranged mapping disabled.", "Advanced instancing disabled.",
                         "Advanced shader models disabled.", "Buffer textures disabled."};
  std::string text = logText(log);
  size_t at = 0;
  for (char const* line : lines) {
    size_t found = text.find(line, at);
    EXPECT_NE(found, std::string::npos) << line << " in this order in\n" << text;
    if (found != std::string::npos) at = found;
  }
  EXPECT_EQ(ras->capabilities(), uint32_t(GLRasterizer::CAP_GammaCorrect));
  EXPECT_TRUE(ras->srgbEnabled());
  EXPECT_TRUE(glIsEnabled(GL_FRAMEBUFFER_SRGB));
  GLint alignment = 0;
  glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
  EXPECT_EQ(alignment, 1);
  glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
  EXPECT_EQ(alignment, 1);
  EXPECT_EQ(getGLVersionString().substr(0, 3), "4.5");
}

TEST_F(GLRasterizerTest, TrianglesDrawFromArraysAndFrom16And32BitIndices) {
  ka::Ref<RenderTarget> t = target(16, 16, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  GLuint program = flatProgram();
  glUseProgram(program);
  // Two triangles that make the left half of the target, and a stray one over the right half.
  float const corners[] = {-1, -1, 0, -1, 0, 1, -1, -1, 0, 1, -1, 1, 0, -1, 1, -1, 1, 1};
  ka::Ref<VertexBuffer> vertices = ras->createVertexBuffer(sizeof corners, BU_Static, 0);
  vertices->setBits(corners, sizeof corners);
  static_cast<GLVertexBuffer*>(vertices.get())->bindBuffer();
  glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 8, nullptr);
  glEnableVertexAttribArray(0);

  auto leftHalfOnly = [&](char const* how) {
    Bytes pixels = read(t, 0, 4);
    EXPECT_EQ(pixel(pixels, 16, 3, 12), (Bytes{255, 255, 0, 255})) << how;
    EXPECT_EQ(pixel(pixels, 16, 4, 3), (Bytes{255, 255, 0, 255})) << how;
    EXPECT_EQ(pixel(pixels, 16, 12, 3), (Bytes{0, 0, 0, 255})) << how;
    EXPECT_EQ(pixel(pixels, 16, 12, 12), (Bytes{0, 0, 0, 255})) << how;
    return pixels;
  };
  clearTo({0, 0, 0, 1});
  ras->drawPrimitive(PRIM_Triangles, 0, 2);
  EXPECT_TRUE(writeGLPicturePng("gl-triangles", 16, 16, 4, leftHalfOnly("arrays")));

  // The indices of the left half start after two unused ones, so the offset is in bytes of the format.
  for (IndexFormat format : {IF_UInt16, IF_UInt32}) {
    uint32_t const wide[] = {8, 8, 0, 1, 2, 3, 4, 5};
    uint16_t const narrow[] = {8, 8, 0, 1, 2, 3, 4, 5};
    ka::Ref<IndexBuffer> indices = ras->createIndexBuffer(format, 8, BU_Static, 0);
    if (format == IF_UInt16) {
      indices->setBits(narrow, sizeof narrow);
    } else {
      indices->setBits(wide, sizeof wide);
    }
    ras->setIndices(indices);
    clearTo({0, 0, 0, 1});
    ras->drawIndexedPrimitive(PRIM_Triangles, 0, 0, 6, 2, 2);
    leftHalfOnly(format == IF_UInt16 ? "16-bit indices" : "32-bit indices");
  }
  EXPECT_EQ(event("draw prim"), 1);
  EXPECT_EQ(event("draw indexed prim"), 2);
  EXPECT_EQ(event("tris"), 6);
  EXPECT_DEATH(ras->drawIndexedPrimitive(PRIM_Triangles, 1, 0, 6, 0, 1), "non-zero base_vertex_index");
  EXPECT_DEATH(ras->drawPrimitive(PrimitiveType(3), 0, 1), "unsupported primitive type");
  glDisableVertexAttribArray(0);
  glUseProgram(0);
  glDeleteProgram(program);
}

TEST_F(GLRasterizerTest, BatchesNoteTheirEventsEvenWithNothingToDraw) {
  ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  ras->drawBatch(PRIM_Lines, 0, 0, 5);
  ras->drawBatch(PRIM_Lines, 0, 2, 3);
  EXPECT_EQ(event("draw batches"), 2);
  EXPECT_EQ(event("draw batch total"), 8);
  EXPECT_EQ(event("lines"), 2) << "not multiplied by the instances";

  ka::Ref<IndexBuffer> indices = ras->createIndexBuffer(IF_UInt16, 6, BU_Static, 0);
  indices->setBits(Bytes(12, 0).data(), 12);
  ras->setIndices(indices);
  ras->drawIndexedBatch(PRIM_Points, 0, 0, 1, 0, 2, 3);
  EXPECT_EQ(event("draw indexed batches"), 1);
  EXPECT_EQ(event("draw indexed batch total"), 3);
  EXPECT_EQ(event("points"), 6) << "multiplied by the instances";
}

TEST_F(GLRasterizerTest, ReleasedObjectsAreDestroyedAtTheNextEndSceneWhateverThreadLetThemGo) {
  ka::Ref<Texture> texture = ras->createTexture(TF_A8R8G8B8, 4, 4, 1, TF_AllLinear, false, 7);
  ras->bindOnChannel(1, texture.get());
  ras->setTexture(1, nullptr, true);
  GLuint name = static_cast<GLTexture*>(texture.get())->name();
  ka::Ref<VertexBuffer> big = ras->createVertexBuffer(GLRasterizer::kRecycleLimit + 1, BU_Static, 0);
  static_cast<GLVertexBuffer*>(big.get())->bindBuffer();
  GLuint bufferName = static_cast<GLVertexBuffer*>(big.get())->store.name();
  auto const& totals = ras->memoryTracker().dumpAllocationList();
  ASSERT_FALSE(totals.empty());

  std::thread other([&] {
    texture.reset();
    big.reset();
  });
  other.join();
  EXPECT_TRUE(glIsTexture(name)) << "nothing is touched before the frame ends";
  EXPECT_TRUE(glIsBuffer(bufferName));
  ras->endScene();
  EXPECT_FALSE(glIsTexture(name));
  EXPECT_FALSE(glIsBuffer(bufferName));
  for (auto const& entry : ras->memoryTracker().dumpAllocationList()) {
    EXPECT_EQ(entry.size, 0u) << entry.name;
  }
}

TEST_F(GLRasterizerTest, SmallBuffersAreRecycledForThreeFramesAndDestroyedByTheFourth) {
  size_t const sizes[] = {64, GLRasterizer::kRecycleLimit};
  for (size_t size : sizes) {
    ka::Ref<VertexBuffer> buffer = ras->createVertexBuffer(size, BU_Dynamic, 0);
    VertexBuffer* first = buffer.get();
    buffer.reset();
    EXPECT_EQ(ras->pooledVertexBuffers(), 1u);
    frames(1);
    EXPECT_EQ(ras->createVertexBuffer(size, BU_Static, 0).get(), first) << size << " bytes come back from the pool";
    EXPECT_EQ(ras->createVertexBuffer(size, BU_Stream, 0).get() == first, false) << "stream buffers are always new";
    // Now both are in the pool (a stream buffer enters it too) until the fourth frame's end.
    EXPECT_EQ(ras->pooledVertexBuffers(), 2u);
    frames(3);
    EXPECT_EQ(ras->pooledVertexBuffers(), 2u);
    frames(1);
    EXPECT_EQ(ras->pooledVertexBuffers(), 0u);
  }

  ka::Ref<VertexBuffer> tooBig = ras->createVertexBuffer(GLRasterizer::kRecycleLimit + 1, BU_Static, 0);
  tooBig.reset();
  EXPECT_EQ(ras->pooledVertexBuffers(), 0u);

  ka::Ref<IndexBuffer> indices = ras->createIndexBuffer(IF_UInt32, 16, BU_Static, 0);
  IndexBuffer* firstIndices = indices.get();
  indices.reset();
  // The pool knows sizes in bytes: 32 16-bit indices are the same 64 bytes.
  EXPECT_EQ(ras->createIndexBuffer(IF_UInt16, 32, BU_Static, 0).get(), firstIndices);
}

TEST_F(GLRasterizerTest, ResourcesMayOutliveTheRasterizer) {
  ka::Ref<Texture> texture = ras->createTexture(TF_A8R8G8B8, 4, 4, 1, TF_AllLinear, false, 0);
  ras->bindOnChannel(0, texture.get());
  ka::Ref<VertexBuffer> vertices = ras->createVertexBuffer(64, BU_Static, 0);
  vertices->setBits(Bytes(64, 1).data(), 64);
  ka::Ref<IndexBuffer> indices = ras->createIndexBuffer(IF_UInt16, 4, BU_Static, 0);
  ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8, 1, TF_D24S8);
  ka::Ref<Texture> attached = t->getTexture(0);
  GLuint name = static_cast<GLTexture*>(texture.get())->name();
  ras.reset();
  EXPECT_FALSE(glIsTexture(name)) << "GL names go with the rasterizer";
  // Bare objects now: setting does nothing, and letting go deletes them at once.
  texture->setBits(0, Bytes(64, 0).data(), 0, CUBE_PositiveX);
  EXPECT_FALSE(static_cast<GLTexture*>(texture.get())->uploadPending());
  vertices->setBits(Bytes(64, 2).data(), 64);
  EXPECT_FALSE(t->downloadTextureData(0, Bytes(64).data()));
  texture.reset();
  vertices.reset();
  indices.reset();
  t.reset();
  attached.reset();
}

TEST_F(GLRasterizerTest, AVendorWithoutTheGammaCorrectPipelineGetsAPlainDefaultTarget) {
  ras.reset();
  auto const realGetString = epoxy_glGetString;
  static decltype(epoxy_glGetString) sReal;
  sReal = realGetString;
  epoxy_glGetString = [](GLenum name) -> GLubyte const* {
    if (name == GL_VENDOR) return reinterpret_cast<GLubyte const*>("ATI Technologies Inc.");
    return sReal(name);
  };
  glDisable(GL_FRAMEBUFFER_SRGB);
  ras = std::make_unique<GLRasterizer>(profiler, nullptr);
  ras->init();
  epoxy_glGetString = realGetString;
  EXPECT_EQ(ras->capabilities(), 0u);
  EXPECT_FALSE(glIsEnabled(GL_FRAMEBUFFER_SRGB));
  ras->resize(4, 4);
  ras->beginScene();
  clearTo({0.5f, 0.5f, 0.5f, 1});
  EXPECT_EQ(pixel(read(ras->getDefaultRenderTarget(), 0, 4), 4, 0, 0), (Bytes{128, 128, 128, 255}));
}

}  // namespace
