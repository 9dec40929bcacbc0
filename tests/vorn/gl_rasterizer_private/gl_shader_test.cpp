#include "vorn/gl_rasterizer_private/gl_shader.h"

#include <fstream>

#include "gl_fixture.h"
#include "ka/logsink.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "vorn/filesystem.h"
#include "vorn/gl_rasterizer_private/gl_parameter_block.h"
#include "vorn/gl_rasterizer_private/gl_program.h"
#include "vorn/gl_rasterizer_private/gl_vertex_layout.h"
#include "vorn/parameterblock.h"
#include "vorn/rasmesh.h"

namespace {

using namespace vorn;
using namespace vorn::ras;
using Bytes = std::vector<unsigned char>;

class GLShaderTest : public GLFixture {
 protected:
  GLShaderTest() {
    std::filesystem::create_directories(dir.path() + "/shaders");
    fs->mount(dir.path(), "/", true);
  }
  void write(std::string const& name, std::string const& text) {
    std::ofstream(dir.path() + "/shaders/" + name, std::ios::binary) << text;
  }
  std::string load(std::string const& name, bool* ok = nullptr) {
    std::string text;
    bool loaded = GlShaderBuilder::loadAndPreprocessShaderCode(fs, name, text);
    if (ok) *ok = loaded;
    return loaded ? text : "<failed>";
  }
  ka::Ref<HalShaderProgram> program(std::string const& vs, std::string const& fs_) {
    return ras->createShaderProgram(ras->createVertexShader(fs, vs), ras->createPixelShader(fs, fs_));
  }

  TempDir dir;
  ka::Ref<Filesystem> fs = createStdioFilesystem();
};

char const* const kVertex =
    "#version 330\nin vec3 a_Position;\nin vec4 a_Color;\nout vec4 colour;\n"
    "void main() { colour = a_Color; gl_Position = vec4(a_Position, 1); }\n";

TEST_F(GLShaderTest, IncludesAreExpandedInPlaceAndReadOnce) {
  write("common.glsl", "float half_(float x) { return x * 0.5; }");
  write("a.fs", "#version 330\n#include \"common.glsl\"\nvoid main() {}\n#include \"common.glsl\" // again\n");
  EXPECT_EQ(load("a.fs"),
            "#version 330\nfloat half_(float x) { return x * 0.5; }\nvoid main() {}\n"
            "float half_(float x) { return x * 0.5; } // again\n");
  // Kept for the run: a changed include is not read again.
  write("common.glsl", "changed");
  EXPECT_NE(load("a.fs").find("half_"), std::string::npos);

  write("open.fs", "#include \"common.glsl\n");
  write("none.fs", "#include common.glsl\n");
  write("missing.fs", "#include \"absent.glsl\"\n");
  bool ok = true;
  for (char const* bad : {"open.fs", "none.fs", "missing.fs", "no-such.fs"}) {
    load(bad, &ok);
    EXPECT_FALSE(ok) << bad;
  }
}

TEST_F(GLShaderTest, SizeLimitsHoldAtTheirExactEdges) {
  ka::LogSinkMemory log(0);
  bool ok = false;
  write("big.vs", std::string(GlShaderBuilder::kMaxShaderBytes, ' '));
  load("big.vs", &ok);
  EXPECT_TRUE(ok) << "exactly the limit";
  write("big.vs", std::string(GlShaderBuilder::kMaxShaderBytes + 1, ' '));
  load("big.vs", &ok);
  EXPECT_FALSE(ok);
  EXPECT_EQ(countLines(log, "Shader file too large."), 1);

  write("edge.glsl", std::string(GlShaderBuilder::kMaxIncludeBytes, ' '));
  write("over.glsl", std::string(GlShaderBuilder::kMaxIncludeBytes + 1, ' '));
  write("edge.fs", "#include \"edge.glsl\"");
  write("over.fs", "#include \"over.glsl\"");
  load("edge.fs", &ok);
  EXPECT_TRUE(ok);
  load("over.fs", &ok);
  EXPECT_FALSE(ok);
}

TEST_F(GLShaderTest, ACompileFailureIsLoggedWithTheSourceAndHealsOnceFixed) {
  ka::LogSinkMemory log(0);
  write("flat.vs", kVertex);
  write("flat.fs", "#version 330\nin vec4 colour;\nout vec4 c;\nvoid main() { c = colour }\n");
  EXPECT_FALSE(ras->createPixelShader(fs, "flat.fs"));
  std::string text = logText(log);
  EXPECT_NE(text.find("Error compiling shader flat.fs:\n#version 330\nin vec4 colour;"), std::string::npos) << text;
  EXPECT_NE(text.find("error"), std::string::npos) << "the driver's own words follow";
  EXPECT_FALSE(ras->createPixelShader(fs, "absent.fs"));
  EXPECT_NE(logText(log).find("Failed to load pixel shader file: absent.fs"), std::string::npos);

  write("flat.fs", "#version 330\nin vec4 colour;\nout vec4 c;\nvoid main() { c = colour; }\n");
  EXPECT_TRUE(ras->createPixelShader(fs, "flat.fs"));
  EXPECT_TRUE(program("flat.vs", "flat.fs"));
}

TEST_F(GLShaderTest, ALinkFailureNamesBothShaders) {
  ka::LogSinkMemory log(0);
  write("flat.vs", kVertex);
  // Compiles alone, but has no main to link.
  write("odd.fs", "#version 330\nout vec4 c;\nvoid helper() { c = vec4(1); }\n");
  EXPECT_FALSE(program("flat.vs", "odd.fs"));
  EXPECT_EQ(countLines(log, "Failed to link shader program: vertex shader flat.vs and pixel shader odd.fs"), 1)
      << logText(log);
}

TEST_F(GLShaderTest, UniformsAreFoundByNameAndTexturesSetTheirSizes) {
  write("flat.vs", kVertex);
  write("lit.fs",
        "#version 330\nin vec4 colour;\nout vec4 c;\nuniform vec4 u_Color[4];\nuniform vec3 Tint;\n"
        "uniform sampler2D u_Diffuse;\nuniform vec4 u_Diffuse_size;\n"
        "void main() { c = colour * u_Color[1] * vec4(Tint, 1) * texture(u_Diffuse, vec2(0)) * u_Diffuse_size; }\n");
  ka::Ref<HalShaderProgram> p = program("flat.vs", "lit.fs");
  ASSERT_TRUE(p);
  auto* gl = static_cast<GlHalShaderProgram*>(p.get());
  for (char const* key : {"Color", "Tint", "Diffuse", "Diffuse_size"}) {
    EXPECT_EQ(gl->uniforms().count(key), 1u) << key;
  }
  EXPECT_EQ(gl->uniforms().at("Diffuse").textureUnit, 0);
  ASSERT_EQ(gl->attributes().size(), 2u);

  MaterialBindingTable& table = *ras->getBindingTable();
  ka::Ref<Texture> texture = ras->createTexture(TF_A8R8G8B8, 8, 2, 1, TF_AllLinear, false, 0);
  p->textureBlock()->setTexture(int(table.getSlot("Diffuse")), texture.get());
  p->parameterBlock()->setVector(int(table.getSlot("Tint")), {0.25f, 0.5f, 0.75f, 9});
  ras->setShaderProgram(p);
  ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  ras->drawPrimitive(PRIM_Points, 0, 0);
  float size[4] = {}, tint[4] = {-1, -1, -1, -1};
  glGetUniformfv(gl->name(), glGetUniformLocation(gl->name(), "u_Diffuse_size"), size);
  glGetUniformfv(gl->name(), glGetUniformLocation(gl->name(), "Tint"), tint);
  EXPECT_EQ(std::vector<float>(size, size + 4), (std::vector<float>{8, 2, 0.125f, 0.5f}));
  EXPECT_EQ(std::vector<float>(tint, tint + 3), (std::vector<float>{0.25f, 0.5f, 0.75f})) << "a vec3 takes three";

  p->textureBlock()->setTexture(int(table.getSlot("Diffuse")), nullptr);
  ras->drawPrimitive(PRIM_Points, 0, 0);
  glGetUniformfv(gl->name(), glGetUniformLocation(gl->name(), "u_Diffuse_size"), size);
  EXPECT_EQ(std::vector<float>(size, size + 4), (std::vector<float>{1, 1, 1, 1}));
}

TEST_F(GLShaderTest, AMeshStreamFeedsTheAttributesItHasAndNoOthers) {
  write("flat.vs", kVertex);
  write("flat.fs", "#version 330\nin vec4 colour;\nout vec4 c;\nvoid main() { c = colour; }\n");
  ka::Ref<HalShaderProgram> p = program("flat.vs", "flat.fs");
  ASSERT_TRUE(p);
  // Position3Color4bTexCoord2: three floats, four colour bytes, two floats.
  struct Vertex {
    float x, y, z;
    unsigned char rgba[4];
    float u, v;
  } const vertices[] = {{-1, -1, 0, {255, 0, 128, 255}, 0, 0},
                        {3, -1, 0, {255, 0, 128, 255}, 0, 0},
                        {-1, 3, 0, {255, 0, 128, 255}, 0, 0}};
  using Element = HalVertexLayout::VertexElement;
  std::vector<Element> elements{
      {"a_Position", 0, HalVertexLayout::FMT_Float, 3, -1, 0, 0, HalVertexLayout::USAGE_Position},
      {"a_Color", 0, HalVertexLayout::FMT_UInt8Normalized, 1, -1, 12, 0, HalVertexLayout::USAGE_Color},
      {"a_TexCoord", 0, HalVertexLayout::FMT_Float, 2, -1, 16, 0, HalVertexLayout::USAGE_TexCoord},
  };
  ka::Ref<VertexBuffer> buffer = ras->createVertexBuffer(sizeof vertices, BU_Static, 0);
  buffer->setBits(vertices, sizeof vertices);
  ka::Ref<RasMeshVertexBuffer> stream(
      new RasMeshVertexBuffer(VF_Position3Color4bTexCoord2, elements, sizeof(Vertex), buffer));
  ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  clearTo({0, 0, 0, 1});
  ras->setShaderProgram(p);
  ras->setStreamSource(stream.get());
  // An attribute array left on from elsewhere is switched off: the mesh has nothing for it.
  glEnableVertexAttribArray(7);
  GlHalVertexLayout::sEnabledIndices |= 1u << 7;
  ras->drawPrimitive(PRIM_Triangles, 0, 1);
  EXPECT_EQ(pixel(read(t, 0, 4), 4, 1, 1), (Bytes{255, 0, 128, 255}));
  GLint on = 1;
  glGetVertexAttribiv(7, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &on);
  EXPECT_EQ(on, 0);
}

TEST_F(GLShaderTest, AProgramMadeMidFrameLeavesTheCurrentOneDrawing) {
  write("flat.vs", kVertex);
  write("red.fs", "#version 330\nout vec4 c;\nvoid main() { c = vec4(1, 0, 0, 1); }\n");
  write("green.fs", "#version 330\nout vec4 c;\nvoid main() { c = vec4(0, 1, 0, 1); }\n");
  float const corners[] = {-1, -1, 0, 3, -1, 0, -1, 3, 0};
  ka::Ref<VertexBuffer> buffer = ras->createVertexBuffer(sizeof corners, BU_Static, 0);
  buffer->setBits(corners, sizeof corners);
  ka::Ref<RasMeshVertexBuffer> stream(new RasMeshVertexBuffer(
      VF_Position3, {{"a_Position", 0, HalVertexLayout::FMT_Float, 3, -1, 0, 0, HalVertexLayout::USAGE_Position}}, 12,
      buffer));
  ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  ka::Ref<HalShaderProgram> red = program("flat.vs", "red.fs");
  ras->setShaderProgram(red);
  ras->setStreamSource(stream.get());
  ras->drawPrimitive(PRIM_Triangles, 0, 1);
  ka::Ref<HalShaderProgram> green = program("flat.vs", "green.fs");  // uses itself while linking
  ras->drawPrimitive(PRIM_Triangles, 0, 1);
  EXPECT_EQ(pixel(read(t, 0, 4), 4, 2, 2), (Bytes{255, 0, 0, 255}));
}

TEST_F(GLShaderTest, ABgraPictureThroughAnSrgbTextureAndASwizzleReadsBackAsItWas) {
  // The UI's picture is B, G, R, A bytes; its texture is "A8R8G8B8" (R, G, B, A in memory) and the
  // material swaps the channels back, so that nothing swaps them twice.
  write("quad.vs",
        "#version 330\nin vec3 a_Position;\nin vec2 a_TexCoord;\nout vec2 uv;\n"
        "void main() { uv = a_TexCoord; gl_Position = vec4(a_Position, 1); }\n");
  write("bgra.fs",
        "#version 330\nin vec2 uv;\nuniform sampler2D u_Picture;\nout vec4 c;\n"
        "void main() { c = texture(u_Picture, uv).bgra; }\n");
  ka::Ref<HalShaderProgram> p = program("quad.vs", "bgra.fs");
  ASSERT_TRUE(p);
  int const w = 8, h = 8;
  Bytes bgra(size_t(w * h * 4));
  for (int i = 0; i < w * h; ++i) {
    bgra[size_t(i * 4 + 0)] = static_cast<unsigned char>(i * 4);       // blue
    bgra[size_t(i * 4 + 1)] = static_cast<unsigned char>(255 - i * 3);  // green
    bgra[size_t(i * 4 + 2)] = static_cast<unsigned char>(i * 2 + 40);   // red
    bgra[size_t(i * 4 + 3)] = 255;
  }
  ka::Ref<Texture> picture = ras->createTexture(TF_A8R8G8B8, w, h, 1, TextureFilter(0), true, 0);
  picture->setBits(0, bgra.data(), 0, CUBE_PositiveX);
  // Two triangles over the target; the picture's first row at the top.
  float const quad[] = {-1, -1, 0, 0, 1, 1, -1, 0, 1, 1, 1, 1, 0, 1, 0, -1, -1, 0, 0, 1, 1, 1, 0, 1, 0, -1, 1, 0, 0, 0};
  ka::Ref<VertexBuffer> buffer = ras->createVertexBuffer(sizeof quad, BU_Static, 0);
  buffer->setBits(quad, sizeof quad);
  ka::Ref<RasMeshVertexBuffer> stream(new RasMeshVertexBuffer(
      VF_Position3Normal3TexCoord2,
      {{"a_Position", 0, HalVertexLayout::FMT_Float, 3, -1, 0, 0, HalVertexLayout::USAGE_Position},
       {"a_TexCoord", 0, HalVertexLayout::FMT_Float, 2, -1, 12, 0, HalVertexLayout::USAGE_TexCoord}},
      20, buffer));
  ka::Ref<RenderTarget> t = target(w, h, TF_A8R8G8B8, 1, TF_D0, true);
  ras->setRenderTarget(t);
  ras->setShaderProgram(p);
  p->textureBlock()->setTexture(int(ras->getBindingTable()->getSlot("Picture")), picture.get());
  ras->setStreamSource(stream.get());
  HalRasterizerState::Desc noCull;
  noCull.solid = true;
  noCull.writeMask = 15;
  noCull.cullMode = 3;
  ras->setRasterizerState(ras->createRasterizerState(noCull));
  ras->drawPrimitive(PRIM_Triangles, 0, 2);
  Bytes shown = read(t, 0, 4);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      Bytes got = pixel(shown, w, x, h - 1 - y);
      unsigned char const* source = &bgra[size_t((y * w + x) * 4)];
      EXPECT_NEAR(got[0], source[2], 1) << x << "," << y << " red";
      EXPECT_NEAR(got[1], source[1], 1) << x << "," << y << " green";
      EXPECT_NEAR(got[2], source[0], 1) << x << "," << y << " blue";
    }
  }
}

}  // namespace
