#include "vorn/ras_private/rasterizer_impl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "vorn/rasmesh.h"

namespace {

using namespace vorn;
using namespace vorn::ras;
using Log = std::vector<std::string>;

// Every state object writes its name when applied.
template <class Base>
struct Recorded : Base {
  Recorded(Log& log, std::string name) : log(log), name(std::move(name)) {}
  void apply() override { log.push_back(name); }
  Log& log;
  std::string name;
};

struct FakeLayout : Recorded<HalVertexLayout> {
  using Recorded::Recorded;
  void rebind() override { log.push_back("rebind"); }
};
struct FakeParameters : Recorded<HalParameterBlock> {
  using Recorded::Recorded;
  void setMatrix(int, ka::Mat4x4f const&) override {}
  void setMatrixArray(int, ka::Mat4x4f const*, int) override {}
  void setVector(int, ka::Vec4<float> const&) override {}
};
struct FakeTextures : Recorded<HalTextureBlock> {
  using Recorded::Recorded;
  void setTexture(int, ka::RefNoCount<Texture const>) override {}
  void setTextureBuffer(int, ka::RefNoCount<TextureBuffer const>) override {}
};
struct FakeProgram : Recorded<HalShaderProgram> {
  FakeProgram(Log& log)
      : Recorded(log, "program"), layout(new FakeLayout(log, "layout")), parameters(new FakeParameters(log, "parameters")),
        textures(new FakeTextures(log, "textures")) {}
  HalVertexLayout* vertexLayout() const override { return layout.get(); }
  HalParameterBlock* parameterBlock() const override { return parameters.get(); }
  HalTextureBlock* textureBlock() const override { return textures.get(); }
  ka::Ref<FakeLayout> layout;
  ka::Ref<FakeParameters> parameters;
  ka::Ref<FakeTextures> textures;
};

struct FakeFactory : HalObjectFactory {
  explicit FakeFactory(Log& log) : log(log) {}
  ka::Ref<HalVertexLayout> createHalVertexLayout(ka::RefNoCount<HalVertexShader>,
                                                 std::vector<HalVertexLayout::VertexElement> const&) override {
    return nullptr;
  }
  ka::Ref<HalVertexShader> createHalVertexShader(ka::RefNoCount<Filesystem>, std::string const& name) override {
    ++shaderBuilds;
    if (name == "broken.vs") return nullptr;
    return new Recorded<HalVertexShader>(log, name);
  }
  ka::Ref<HalPixelShader> createHalPixelShader(ka::RefNoCount<Filesystem>, std::string const& name) override {
    return new Recorded<HalPixelShader>(log, name);
  }
  ka::Ref<HalParameterBlock> createHalParameterBlock() override { return nullptr; }
  ka::Ref<HalDepthState> createHalDepthState(HalDepthState::Desc const&) override {
    return new Recorded<HalDepthState>(log, "depth");
  }
  ka::Ref<HalRasterizerState> createHalRasterizerState(HalRasterizerState::Desc const&) override {
    return new Recorded<HalRasterizerState>(log, "rasterizer");
  }
  ka::Ref<HalBlendState> createHalBlendState(HalBlendState::Desc const&) override {
    return new Recorded<HalBlendState>(log, "blend");
  }
  Log& log;
  int shaderBuilds = 0;
};

// The caching layer with no graphics interface under it: draws only apply the dirty state.
class FakeRasterizer : public RasterizerImpl {
 public:
  FakeRasterizer(FakeFactory& factory, Log& log) : RasterizerImpl(factory), log_(log) {}
  int getClipSpaceConvention() const override { return 1; }
  bool needHalfPixelOffset() const override { return false; }
  bool hasBottomLeftOrigin() const override { return true; }
  TextureFactory* getTextureFactory() override { return nullptr; }
  TextureBufferFactory* getTextureBufferFactory() override { return nullptr; }
  MaterialBindingTable* getBindingTable() const override { return nullptr; }
  ka::Ref<VertexBuffer> createVertexBuffer(size_t, BufferUse, uint32_t) override { return nullptr; }
  ka::Ref<IndexBuffer> createIndexBuffer(IndexFormat, size_t, BufferUse, uint32_t) override { return nullptr; }
  ka::Ref<HalShaderProgram> createShaderProgram(ka::RefNoCount<HalVertexShader>,
                                                ka::RefNoCount<HalPixelShader>) override {
    return nullptr;
  }
  ka::Ref<RenderTarget> createRenderTarget(int, TextureFormat*, bool*, TextureFormat, int, int, int,
                                           TextureFilter) override {
    return nullptr;
  }
  ka::Ref<RenderTarget> setRenderTarget(ka::RefNoCount<RenderTarget>) override { return nullptr; }
  void getBackbufferSize(int& w, int& h) override { w = h = 0; }
  ka::Ref<RenderTarget> getDefaultRenderTarget() override { return nullptr; }
  bool beginScene() override { return true; }
  void enableSRGB(bool) override {}
  void clear(ClearFlags, ka::Color4f const&, float, int) override {}
  void setIndices(ka::RefNoCount<IndexBuffer>) override {}
  void drawIndexedPrimitive(PrimitiveType, int, int, int, int, int) override { applyDirtyState(); }
  void drawPrimitive(PrimitiveType, int, int) override { applyDirtyState(); }
  void drawIndexedBatch(PrimitiveType, int, int, int, int, int, int) override { applyDirtyState(); }
  void drawBatch(PrimitiveType, int, int, int) override { applyDirtyState(); }
  void endScene() override {}
  Presenter* getPresenter() override { return nullptr; }
  void resize(int, int) override {}
  ka::Ref<Fence> addFence() override { return nullptr; }
  void applyTextureChannel(int channel) override { log_.push_back("channel " + std::to_string(channel)); }

 private:
  Log& log_;
};

class RasterizerImplTest : public ::testing::Test {
 protected:
  RasterizerImplTest() { ras.init(); }
  Log take() {
    Log taken;
    taken.swap(log);
    return taken;
  }
  Log log;
  FakeFactory factory{log};
  FakeRasterizer ras{factory, log};
};

TEST_F(RasterizerImplTest, EqualDescriptionsShareOneObjectAndPaddingCounts) {
  HalRasterizerState::Desc a;
  a.solid = true;
  a.cullMode = 1;
  HalRasterizerState::Desc b;
  b.solid = true;
  b.cullMode = 1;
  EXPECT_EQ(ras.createRasterizerState(a), ras.createRasterizerState(b));
  // The byte between writeMask and cullMode is padding; garbage there makes a different object.
  static_assert(offsetof(HalRasterizerState::Desc, cullMode) > offsetof(HalRasterizerState::Desc, writeMask) + 1);
  reinterpret_cast<unsigned char*>(&b)[offsetof(HalRasterizerState::Desc, writeMask) + 1] = 0xFF;
  EXPECT_NE(ras.createRasterizerState(a), ras.createRasterizerState(b));
  // The defaults are the unique objects of their descriptions.
  HalDepthState::Desc depth;
  depth.enable = true;
  depth.writeMask = true;
  depth.func = 2;
  EXPECT_EQ(ras.createDepthState(depth).get(), ras.getDefaultState(ST_Depth));
  EXPECT_EQ(ras.getDefaultState(ST_ShaderProgram), nullptr);
}

TEST_F(RasterizerImplTest, ADrawAppliesWhatChangedInTheFixedOrder) {
  ka::Ref<FakeProgram> program(new FakeProgram(log));
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  // After init every state is dirty but no program is set; channel 0 goes first every time, then
  // every channel, all of which start dirty.
  Log first{"depth", "rasterizer", "blend", "channel 0"};
  for (int channel = 0; channel < RasterizerImpl::kTextureChannels; ++channel) {
    first.push_back("channel " + std::to_string(channel));
  }
  EXPECT_EQ(take(), first);
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  EXPECT_EQ(take().size(), 1u);

  ras.setShaderProgram(program);
  ras.setBlendState(ka::RefNoCount<HalBlendState>(static_cast<HalBlendState*>(ras.getDefaultState(ST_Blend))));
  HalDepthState::Desc other;
  other.func = 7;
  ka::Ref<HalDepthState> always = ras.createDepthState(other);
  ras.setDepthState(always);
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  EXPECT_EQ(take(), (Log{"rebind", "layout", "depth", "program", "parameters", "textures", "channel 0"}));
  ras.setShaderProgram(program);
  ras.setDepthState(always);
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  EXPECT_EQ(take(), Log{"channel 0"}) << "setting what is set costs nothing";
}

TEST_F(RasterizerImplTest, AProgramLetGoWhileCurrentLivesUntilReplaced) {
  ka::Ref<FakeProgram> program(new FakeProgram(log));
  FakeProgram* current = program.get();
  ras.setShaderProgram(program);
  program.reset();
  EXPECT_EQ(current->refCount(), 1) << "the cache holds it";
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  Log applied = take();
  EXPECT_NE(std::find(applied.begin(), applied.end(), "program"), applied.end());
  ras.setShaderProgram(nullptr);  // now it goes
}

TEST_F(RasterizerImplTest, ChannelsBindAtTheNextDrawOrAtOnce) {
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  take();
  struct NoTexture : Texture {
    TextureFactory* factory() const override { return nullptr; }
    int width() const override { return 1; }
    int height() const override { return 1; }
    void setBits(int, void const*, size_t, TextureCubeFace) override {}
    void updateBits(int, int, int, size_t, size_t, void const*, TextureCubeFace) override {}
    void updateBits(int, int, int, size_t, size_t, size_t, void const*, TextureCubeFace) override {}
    void setDynamic(bool) override {}
    void setDescriptor(uint64_t) override {}
    void generateMips() override {}
  };
  ka::Ref<Texture> a(new NoTexture), b(new NoTexture);
  ras.setTexture(5, a, false);
  ras.setTexture(63, b, true);
  EXPECT_EQ(take(), Log{"channel 63"});
  ras.setTexture(63, b, true);
  EXPECT_EQ(take(), Log{}) << "the same texture again does nothing";
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  EXPECT_EQ(take(), (Log{"channel 0", "channel 5"})) << "63 was bound at once, so it stays clean";
  EXPECT_EQ(ras.dirtyTextureChannels(), 0u);
  EXPECT_EQ(ras.textureChannel(5).texture.get(), a.get());
}

TEST_F(RasterizerImplTest, StreamsAndShadersAreRemembered) {
  ras.drawPrimitive(PRIM_Triangles, 0, 1);
  ras.setStreamSource(std::vector<ka::RefNoCount<RasMeshVertexBuffer const>>{});
  EXPECT_TRUE(ras.dirtyStateMask() & (1u << ST_VertexStreams));
  EXPECT_TRUE(ras.streamSources().empty());
  ka::Ref<RasMeshVertexBuffer> stream(new RasMeshVertexBuffer(VF_Position3Normal3, {}, 24, nullptr));
  ras.setStreamSource(stream.get());
  EXPECT_EQ(ras.currentVertexFormat(), VF_Position3Normal3);
  EXPECT_EQ(ras.streamSources().size(), 1u);

  ka::Ref<HalVertexShader> first = ras.createVertexShader(nullptr, "flat.vs");
  EXPECT_EQ(ras.createVertexShader(nullptr, "flat.vs"), first);
  EXPECT_EQ(factory.shaderBuilds, 1);
  // A shader that does not build is tried again on each request, so an edited file can heal.
  EXPECT_FALSE(ras.createVertexShader(nullptr, "broken.vs"));
  EXPECT_FALSE(ras.createVertexShader(nullptr, "broken.vs"));
  EXPECT_EQ(factory.shaderBuilds, 3);
}

TEST(HashMemory, MixesWholeWordsThenTheRemainingBytes) {
  EXPECT_EQ(hash_memory(nullptr, 0), 0u);
  unsigned char const one[1] = {1};
  EXPECT_EQ(hash_memory(one, 1), 0x9e3779bau);
  uint64_t const word = 5;
  uint64_t const expected = (0 ^ (0 + 0 + 5 + 0x9e3779b9ull));
  EXPECT_EQ(hash_memory(&word, 8), expected);
  unsigned char nine[9] = {5, 0, 0, 0, 0, 0, 0, 0, 2};
  uint64_t h = expected;
  h ^= (h >> 2) + (h << 6) + 2 + 0x9e3779b9ull;
  EXPECT_EQ(hash_memory(nine, 9), h);
}

}  // namespace
