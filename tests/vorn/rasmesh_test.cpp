#include "vorn/rasmesh.h"

#include <cstring>
#include <fstream>
#include <thread>

#include "gl_rasterizer_private/gl_fixture.h"
#include "support/temp_dir.h"
#include "vorn/filesystem.h"

namespace {

using namespace vorn;
using namespace vorn::ras;
using Element = HalVertexLayout::VertexElement;

class RasMeshTest : public GLFixture {
 protected:
  RasMeshFactory factory{*ras};
};

TEST_F(RasMeshTest, ElementMapsFollowTheFormatTablesFromAnyThread) {
  std::vector<RasMeshVertexBuffer::Elements const*> seen(4);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < seen.size(); ++t) {
    threads.emplace_back([&, t] { seen[t] = &factory.getVertexElementMap(VF_Position3Weights4bBones4bNormal3TexCoord2); });
  }
  for (auto& thread : threads) thread.join();
  for (auto const* list : seen) EXPECT_EQ(list, seen[0]) << "built once";
  std::vector<std::string> names;
  for (Element const& e : *seen[0]) names.push_back(e.name + "@" + std::to_string(e.offset));
  EXPECT_EQ(names, (std::vector<std::string>{"a_Position@0", "a_Weights@12", "a_Bones@16", "a_Normal@20",
                                             "a_TexCoord@32"}));
  auto const& coloured = factory.getVertexElementMap(VF_Position3Color4bTexCoord4);
  EXPECT_EQ(coloured.back().name, "a_TexCoord7");
  EXPECT_EQ(coloured.back().offset, 0) << "kept: the eighth coordinate reads the position";
  auto const& floats = factory.getVertexElementMap(VF_Position3Color8fTexCoord6);
  EXPECT_EQ(floats[1].name, "a_FColor");
  EXPECT_EQ(floats[2].name, "a_FColor1");
  EXPECT_EQ(floats[2].usageIndex, 1u);
  EXPECT_DEATH(factory.getVertexElementMap(VF_None), "Invalid vertex format");
}

TEST_F(RasMeshTest, VertexDataSetsTheBounds) {
  float const points[] = {0, 0, 0, 4, 2, 0, 2, 0, 6};
  ka::Ref<RasMeshVertexBuffer> buffer = factory.createVertexBuffer(VF_Position3, 3, BU_Static, 0);
  buffer->setBits(points, sizeof points);
  EXPECT_EQ(buffer->aabbMin(), (ka::Vec3<float>{0, 0, 0}));
  EXPECT_EQ(buffer->aabbMax(), (ka::Vec3<float>{4, 2, 6}));
  EXPECT_EQ(buffer->sphereCentre(), (ka::Vec3<float>{2, 1, 3}));
  EXPECT_FLOAT_EQ(buffer->sphereRadius(), std::sqrt(4.0f + 1 + 9));
  ka::Ref<RasMeshVertexBuffer> noPositions = factory.createVertexBuffer(VF_TexCoord4, 3, BU_Static, 0);
  float const uvs[12] = {};
  noPositions->setBits(uvs, sizeof uvs);
  EXPECT_EQ(noPositions->sphereRadius(), -1.0f);
}

// Every attribute of every vertex format, echoed by a shader as the colour of a full-target
// triangle, reads back as it was written.
TEST_F(RasMeshTest, EveryAttributeOfEveryFormatReachesItsShader) {
  TempDir dir;
  std::filesystem::create_directories(dir.path() + "/shaders");
  ka::Ref<Filesystem> fs = createStdioFilesystem();
  fs->mount(dir.path(), "/", true);
  std::ofstream(dir.path() + "/shaders/echo.fs") << "#version 330\nin vec4 v;\nout vec4 c;\nvoid main() { c = v; }\n";
  ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  float const corners[3][3] = {{-1, -1, 0}, {3, -1, 0}, {-1, 3, 0}};
  int checked = 0;
  for (int f = 0; f < int(VF_Matrix); ++f) {
    auto format = VertexFormat(f);
    VertexFormatInfo const& info = getVertexFormatInfo(format);
    if (info.position < 0) continue;
    auto const& elements = factory.getVertexElementMap(format);
    // Each attribute's bytes: floats from 0.1 up, bytes from 40 up, the same in all three vertices.
    std::vector<unsigned char> vertices(size_t(info.stride) * 3);
    for (int v = 0; v < 3; ++v) {
      unsigned char* vertex = vertices.data() + size_t(v * info.stride);
      for (size_t a = 0; a < elements.size(); ++a) {
        Element const& e = elements[a];
        if (e.usage == HalVertexLayout::USAGE_Position) continue;
        for (uint32_t k = 0; k < 4; ++k) {
          if (e.format == HalVertexLayout::FMT_Float && k < e.count) {
            float value = 0.1f * float(a) + 0.05f * float(k);
            std::memcpy(vertex + e.offset + 4 * k, &value, 4);
          } else if (e.format != HalVertexLayout::FMT_Float) {
            vertex[e.offset + int(k)] = static_cast<unsigned char>(40 + 10 * a + 5 * k);
          }
        }
      }
      std::memcpy(vertex + info.position, corners[v], sizeof corners[v]);
    }
    ka::Ref<RasMeshVertexBuffer> buffer = factory.createVertexBuffer(format, 3, BU_Static, 0);
    buffer->setBits(vertices.data(), vertices.size());
    for (size_t a = 0; a < elements.size(); ++a) {
      Element const& e = elements[a];
      if (e.usage == HalVertexLayout::USAGE_Position || e.offset == 0) continue;
      bool bytes = e.format != HalVertexLayout::FMT_Float;
      int components = bytes ? 4 : int(e.count);
      std::string type = components == 2 ? "vec2" : components == 3 ? "vec3" : "vec4";
      std::string colour = components == 2 ? "vec4(x, 0, 1)" : components == 3 ? "vec4(x, 1)" : "x";
      if (e.usage == HalVertexLayout::USAGE_Bones) colour = "x / 255.0";  // whole numbers, not normalised
      std::string name = "echo" + std::to_string(f) + "_" + std::to_string(a) + ".vs";
      std::ofstream(dir.path() + "/shaders/" + name)
          << "#version 330\nin vec3 a_Position;\nin " << type << " " << e.name << ";\nout vec4 v;\n"
          << "void main() { " << type << " x = " << e.name << "; v = " << colour
          << "; gl_Position = vec4(a_Position, 1); }\n";
      ka::Ref<HalShaderProgram> program =
          ras->createShaderProgram(ras->createVertexShader(fs, name), ras->createPixelShader(fs, "echo.fs"));
      ASSERT_TRUE(program) << name;
      ras->setShaderProgram(program);
      ras->setStreamSource(buffer.get());
      clearTo({0, 0, 0, 0});
      ras->drawPrimitive(PRIM_Triangles, 0, 1);
      std::vector<unsigned char> got = pixel(read(t, 0, 4), 4, 1, 1);
      for (int k = 0; k < 4; ++k) {
        double expected = k >= components ? (k == 3 ? 255 : 0)
                          : bytes         ? 40 + 10 * double(a) + 5 * k
                                          : (0.1 * double(a) + 0.05 * k) * 255;
        EXPECT_NEAR(got[size_t(k)], expected, 1.0) << format << " " << e.name << " channel " << k;
      }
      ++checked;
    }
  }
  EXPECT_GT(checked, 30);
}

}  // namespace
