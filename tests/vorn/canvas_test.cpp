#include "vorn/canvas.h"

#include <gtest/gtest.h>

#include "support/picture_file.h"
#include "support/renderer_fixture.h"
#include "vorn/font.h"
#include "vorn/rasren_private/scene.h"

namespace {

using namespace vorn;

// Records what a walk of a canvas visits, with where each item's first corner ends up.
class RecordingVisitor : public CanvasVisitor {
 public:
  void visitTextItem(ka::RefNoCount<TextItem> item, ka::Mat4x4f const& matrix) override {
    seen.push_back(item.get());
    firstCorners.push_back(ka::transformPoint(item->origin(), matrix));
  }
  void visitQuadItem(ka::RefNoCount<QuadItem> item, ka::Mat4x4f const& matrix) override {
    seen.push_back(item.get());
    firstCorners.push_back(ka::transformPoint(item->positions()[0], matrix));
  }
  void visitPolyLineItem(ka::RefNoCount<PolyLineItem> item, ka::Mat4x4f const& matrix) override {
    seen.push_back(item.get());
    firstCorners.push_back(item->points().empty() ? ka::Vec3<float>{} : ka::transformPoint(item->points()[0], matrix));
  }
  std::vector<CanvasItem*> seen;
  std::vector<ka::Vec3<float>> firstCorners;
};

TEST(Canvas, VisitsShownItemsInOrderUnderNestedTransforms) {
  ka::Ref<Canvas> outer(new Canvas), inner(new Canvas);
  ka::Ref<QuadItem> a(new QuadItem), b(new QuadItem), hidden(new QuadItem);
  ka::Ref<PolyLineItem> line(new PolyLineItem);
  line->setPoints({1, 1, 0}, {2, 2, 0});
  hidden->hidden = true;
  inner->setTransform(ka::Mat4x4f::scaleTranslation({2, 2, 1}, {0, 0, 0}));
  inner->addItem(b.get()).addItem(hidden.get());
  outer->setTransform(ka::Mat4x4f::translation({10, 0, 0}));
  outer->addItem(line.get()).addItem(inner.get()).addItemFront(a.get());
  b->setLowerLeft({1, 1, 0}, {0, 0});

  RecordingVisitor visitor;
  outer->visit(visitor, ka::Mat4x4f::identity());
  ASSERT_EQ(visitor.seen, (std::vector<CanvasItem*>{a.get(), line.get(), b.get()}));
  // The inner canvas's own transform applies first, then the outer one's.
  EXPECT_EQ(visitor.firstCorners[2], (ka::Vec3<float>{12, 2, 0}));
  EXPECT_EQ(visitor.firstCorners[1], (ka::Vec3<float>{11, 1, 0}));

  inner->hidden = true;
  RecordingVisitor without;
  outer->visit(without, ka::Mat4x4f::identity());
  EXPECT_EQ(without.seen, (std::vector<CanvasItem*>{a.get(), line.get()}));
}

TEST(Canvas, ItemsAreInsertedBeforeOthersAndRemovedOnlyIfThere) {
  ka::Ref<Canvas> canvas(new Canvas);
  ka::Ref<QuadItem> a(new QuadItem), b(new QuadItem), c(new QuadItem), stranger(new QuadItem);
  canvas->addItem(a.get()).addItemBefore(b.get(), a.get()).addItemBefore(c.get(), stranger.get());
  RecordingVisitor visitor;
  canvas->visit(visitor, ka::Mat4x4f::identity());
  EXPECT_EQ(visitor.seen, (std::vector<CanvasItem*>{b.get(), a.get(), c.get()}));
  canvas->removeItem(stranger.get(), false).removeItem(a.get(), true);
  EXPECT_EQ(canvas->itemCount(), 2u);
  EXPECT_DEATH(canvas->removeItem(stranger.get(), true), "Trying to remove canvas element not contained in canvas");
}

TEST(Canvas, AQuadIsInBoundsFromItsLowerLeftToItsUpperRightCornerInclusive) {
  QuadItem quad;
  quad.setLowerLeft({1, 2, 0}, {0, 0}).setUpperRight({5, 6, 0}, {1, 1});
  EXPECT_TRUE(quad.inBounds2D({1, 2}));
  EXPECT_TRUE(quad.inBounds2D({5, 6}));
  EXPECT_TRUE(quad.inBounds2D({3, 4}));
  EXPECT_FALSE(quad.inBounds2D({5.01f, 4}));
  EXPECT_FALSE(quad.inBounds2D({0.99f, 4}));
}

class CanvasSceneTest : public RendererFixture {
 protected:
  CanvasSceneTest() : RendererFixture(16, 16) {}

  Material textured(ka::Color4f const& colour) {
    ka::Ref<Texture> texture = ren->createTexture(TF_A8R8G8B8, 128, 128, 1, TF_AllLinear, false, 0);
    textures.push_back(texture);
    std::vector<uint32_t> texels(128 * 128, ka::Color4b{uint8_t(colour.r * 255), uint8_t(colour.g * 255),
                                                        uint8_t(colour.b * 255), 255}.packed());
    texture->setBits(0, texels.data(), 0, CUBE_PositiveX);
    Material material(library.get(), "textured_unlit_transparent_nohdr");
    material.setTexture("Texture", texture.get());
    return material;
  }
  ka::Ref<QuadItem> quad(Material const& material, float x0, float y0, float x1, float y1) {
    ka::Ref<QuadItem> item(new QuadItem);
    item->setMaterial(material)
        .setLowerLeft({x0, y0, 0}, {0, 0})
        .setLowerRight({x1, y0, 0}, {1, 0})
        .setUpperLeft({x0, y1, 0}, {0, 1})
        .setUpperRight({x1, y1, 0}, {1, 1});
    return item;
  }
  // Each mesh instance of the scene: its draw order and its draw calls' primitive counts.
  std::vector<std::pair<int, std::vector<int>>> instances(ka::RefNoCount<ren::Scene> scene) {
    std::vector<std::pair<int, std::vector<int>>> out;
    static_cast<RasRenScene*>(scene.get())->forEachMesh([&](RasRenMeshInstance* instance) {
      std::vector<int> counts;
      for (auto const& call : instance->drawCalls()) counts.push_back(call.primitiveCount);
      out.emplace_back(instance->drawCalls().empty() ? 0 : instance->drawCalls()[0].drawOrder, counts);
    });
    return out;
  }

  std::vector<ka::Ref<Texture>> textures;
};

TEST_F(CanvasSceneTest, MaterialChangesMakeGroupsOfOneMeshAndLinesShareIt) {
  ka::Ref<Canvas> canvas(new Canvas);
  Material red = textured({1, 0, 0, 1}), blue = textured({0, 0, 1, 1});
  ka::Ref<PolyLineItem> line(new PolyLineItem), dot(new PolyLineItem);
  line->setPoints({{0, 0, 0}, {8, 8, 0}, {16, 0, 0}}).setColor({0, 1, 0, 1});
  dot->setPoints({{3, 3, 0}});
  canvas->addItem(quad(red, 0, 0, 8, 8).get())
      .addItem(quad(red, 8, 0, 16, 8).get())
      .addItem(line.get())
      .addItem(dot.get())
      .addItem(quad(blue, 4, 4, 12, 12).get());
  ka::Ref<ren::Scene> scene = canvas->makeScene(ren.get(), library.get());
  // One mesh: two quads of one material in one group, the line's two segments, the blue quad; the
  // one-point line adds nothing.
  using Instances = std::vector<std::pair<int, std::vector<int>>>;
  EXPECT_EQ(instances(scene), (Instances{{1, {4, 2, 2}}}));

  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
  ren->addViewport(viewport.get());
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  Bytes pixels = frame();
  writeGLPicturePng("canvas-groups", width, height, 4, pixels);
  EXPECT_EQ(at(pixels, 1, 6), (Bytes{255, 0, 0, 255}));
  EXPECT_EQ(at(pixels, 14, 6), (Bytes{255, 0, 0, 255}));
  EXPECT_EQ(at(pixels, 8, 10), (Bytes{0, 0, 255, 255}));
}

TEST_F(CanvasSceneTest, APresenceReplacesOnlyTheInstancesItMade) {
  ka::Ref<ren::Scene> scene = ren->createScene();
  scene->addMesh(solidRect({0, 1, 0, 1}, 0, 0, 4, 4).get(), ka::Mat4x4f::identity(), ren::TK_World);
  ka::Ref<Canvas> canvas(new Canvas);
  canvas->addItem(quad(textured({1, 0, 0, 1}), 0, 0, 8, 8).get());
  CanvasScenePresence presence(canvas.get(), scene.get(), ren.get(), library.get());
  presence.update();
  presence.update();
  EXPECT_EQ(presence.instances().size(), 1u);
  EXPECT_EQ(static_cast<RasRenScene*>(scene.get())->meshCount(), 2u);
  presence.clear();
  EXPECT_EQ(static_cast<RasRenScene*>(scene.get())->meshCount(), 1u);
  presence.update();
  presence.release();
  EXPECT_EQ(static_cast<RasRenScene*>(scene.get())->meshCount(), 2u) << "released instances stay";
}

TEST(MeshBuilder, SharesEqualVerticesAndCutsMeshesBeforeIndicesOverflow) {
  MeshBuilder<VertexP3C4bT2> builder(nullptr);
  VertexP3C4bT2 a{{0, 0, 0}, ~0u, {0, 0}}, b{{1, 0, 0}, ~0u, {1, 0}}, c{{1, 1, 0}, ~0u, {1, 1}},
      d{{0, 1, 0}, ~0u, {0, 1}};
  builder.addTri(a, b, c);
  builder.addTri(c, d, a);
  EXPECT_EQ(builder.vertexCount(), 4u);
  EXPECT_EQ(builder.indexCount(), 6u);
  for (int i = 2; i < 65536 / 3; ++i) builder.addTri(a, b, c);
  EXPECT_EQ(builder.indexCount(), 65535u);
  // 65535 + 3 would pass 65536: the triangle starts a new mesh.
  builder.addTri(a, b, d);
  EXPECT_EQ(builder.indexCount(), 3u);
  EXPECT_EQ(builder.vertexCount(), 3u);
}

TEST_F(CanvasSceneTest, TextBreaksTheBatchSoThatQuadTextQuadDrawInThatOrder) {
  std::unique_ptr<FontEngine> engine(createNullFontEngine());
  ka::Ref<Font> font = engine->createFont({"any", 10});
  ka::Ref<TextItem> text(new TextItem);
  text->setFont(font).setText("ab").appendChar(0xe9).appendText("!").setOrigin({2, 3, 0});
  EXPECT_EQ(text->text(), "ab\xc3\xa9!");
  EXPECT_FLOAT_EQ(text->width(), 4) << "four code points of the null font's advance 1";
  EXPECT_FLOAT_EQ(text->height(), 10);

  Material red = textured({1, 0, 0, 1});
  ka::Ref<Canvas> canvas(new Canvas);
  canvas->setTransform(ka::Mat4x4f::translation({1, 0, 0}));
  canvas->addItem(quad(red, 0, 0, 8, 8).get()).addItem(text.get()).addItem(quad(red, 8, 0, 16, 8).get());
  ka::Ref<ren::Scene> scene = canvas->makeScene(ren.get(), library.get());
  using Instances = std::vector<std::pair<int, std::vector<int>>>;
  EXPECT_EQ(instances(scene), (Instances{{1, {2}}, {3, {2}}})) << "one material, yet two meshes";
  auto const& texts = static_cast<RasRenScene*>(scene.get())->texts();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts[0]->drawOrder(), 2);
  EXPECT_EQ(texts[0]->text(), text->text());
  EXPECT_EQ(ka::transformPoint(texts[0]->origin(), texts[0]->transform()), (ka::Vec3<float>{3, 3, 0}));
}

}  // namespace
