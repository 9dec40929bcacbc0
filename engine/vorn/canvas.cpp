#include "vorn/canvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

#include "ka/die.h"
#include "ka/strutil.h"
#include "vorn/font.h"
#include "vorn/mesh_builder.h"

namespace vorn {
namespace {

uint32_t packColour(ka::Color4f const& c) {
  auto channel = [](float v) { return uint32_t(std::clamp(std::floor(v * 255 + 0.5f), 0.0f, 255.0f)); };
  return channel(c.r) | channel(c.g) << 8 | channel(c.b) << 16 | channel(c.a) << 24;
}

// Flattens items into as few meshes as material changes allow, each mesh getting the next draw
// order, so that the scene draws in the order of the list.
class CanvasMeshifier : public CanvasVisitor {
 public:
  CanvasMeshifier(MeshFactory* factory, MaterialLibrary* library, ka::RefNoCount<ren::Scene> scene,
                  std::vector<ka::Ref<ren::SceneInstance>>* instances)
      : builder_(factory), library_(library), scene_(scene), instances_(instances) {}

  void visitTextItem(ka::RefNoCount<TextItem> item, ka::Mat4x4f const& matrix) override {
    // What came before draws first.
    flush();
    ka::Ref<ren::TextInstance> text =
        scene_->addText(item->origin(), item->right(), item->up(), item->font(), item->text(), item->color(), matrix);
    text->setDrawOrder(nextDrawOrder_++);
    if (instances_) instances_->push_back(text);
  }

  void visitQuadItem(ka::RefNoCount<QuadItem> item, ka::Mat4x4f const& matrix) override {
    builder_.setMaterial(item->material());
    uint32_t colour = packColour(item->vertexColor());
    VertexP3C4bT2 corners[4];
    for (int i = 0; i < 4; ++i)
      corners[i] = {ka::transformPoint(item->positions()[i], matrix), colour, item->texCoords()[i]};
    if (builder_.indexCount() + 4 >= MeshBuilder<VertexP3C4bT2>::kMaxIndices + 1) builder_.flush();
    builder_.addTri(corners[0], corners[1], corners[3]);
    builder_.addTri(corners[3], corners[2], corners[0]);
  }

  void visitPolyLineItem(ka::RefNoCount<PolyLineItem> item, ka::Mat4x4f const& matrix) override {
    builder_.setMaterial(getSolidMaterial(item->color()));
    auto const& points = item->points();
    for (size_t i = 1; i < points.size(); ++i) {
      builder_.addLine({ka::transformPoint(points[i - 1], matrix), 0xffffffffu, {0, 0}},
                       {ka::transformPoint(points[i], matrix), 0xffffffffu, {0, 0}});
    }
  }

  void flush() {
    builder_.flush();
    for (ka::Ref<Mesh> const& mesh : builder_.meshes()) {
      ka::Ref<ren::MeshInstance> instance = scene_->addMesh(mesh.get(), ka::Mat4x4f::identity(), ren::TK_World);
      instance->setDrawOrder(nextDrawOrder_++);
      if (instances_) instances_->push_back(instance);
    }
    builder_.reset();
  }

 private:
  struct ColourOrder {
    bool operator()(ka::Color4f const& a, ka::Color4f const& b) const { return std::memcmp(&a, &b, sizeof a) < 0; }
  };

  Material getSolidMaterial(ka::Color4f const& colour) {
    auto found = solid_.find(colour);
    if (found != solid_.end()) return found->second;
    Material material(library_, "solid_unlit");
    material.setVec("Color", {colour.r, colour.g, colour.b, colour.a});
    material.freeze();
    solid_.emplace(colour, material);
    return material;
  }

  MeshBuilder<VertexP3C4bT2> builder_;
  MaterialLibrary* library_;
  ka::RefNoCount<ren::Scene> scene_;
  std::vector<ka::Ref<ren::SceneInstance>>* instances_;
  int nextDrawOrder_ = 1;
  std::map<ka::Color4f, Material, ColourOrder> solid_;
};

}  // namespace

TextItem& TextItem::setFont(ka::RefNoCount<Font const> font) {
  font_ = font.ref();
  return *this;
}

TextItem& TextItem::appendChar(int codepoint) {
  unsigned const point = unsigned(codepoint);
  text_ += ka::utf32_to_utf8(&point, &point + 1);
  return *this;
}

float TextItem::width() const { return font_ ? font_->getAdvance(ka::StringRange(text_)) : 0; }

float TextItem::height() const { return font_ ? font_->metrics().height : 0; }

bool QuadItem::inBounds2D(ka::Vec2<float> const& point) const {
  ka::Vec3<float> const& low = positions_[0];
  ka::Vec3<float> const& high = positions_[3];
  return point.x >= low.x && point.x <= high.x && point.y >= low.y && point.y <= high.y;
}

Canvas& Canvas::addItem(ka::RefNoCount<CanvasItem> item) {
  items_.push_back(item.ref());
  return *this;
}

Canvas& Canvas::addItemFront(ka::RefNoCount<CanvasItem> item) {
  items_.push_front(item.ref());
  return *this;
}

Canvas& Canvas::addItemBefore(ka::RefNoCount<CanvasItem> item, ka::RefNoCount<CanvasItem> before) {
  auto at = std::find_if(items_.begin(), items_.end(), [&](auto const& i) { return i.get() == before.get(); });
  items_.insert(at, item.ref());
  return *this;
}

Canvas& Canvas::removeItem(ka::RefNoCount<CanvasItem> item, bool mustExist) {
  auto at = std::find_if(items_.begin(), items_.end(), [&](auto const& i) { return i.get() == item.get(); });
  if (at != items_.end()) {
    items_.erase(at);
  } else if (mustExist) {
    ka::die("Trying to remove canvas element not contained in canvas which is invalid.");
  }
  return *this;
}

Canvas& Canvas::clear() {
  items_.clear();
  return *this;
}

void Canvas::visit(CanvasVisitor& visitor, ka::Mat4x4f const& parent) {
  ka::Mat4x4f matrix = ka::mul(transform_, parent);
  for (ka::Ref<CanvasItem> const& item : items_) {
    if (!item->hidden) item->visit(visitor, matrix);
  }
}

ka::Ref<ren::Scene> Canvas::makeScene(ren::Renderer* renderer, MaterialLibrary* library) {
  ka::Ref<ren::Scene> scene = renderer->createScene();
  CanvasMeshifier meshifier(renderer->getMeshFactory(), library, scene, nullptr);
  visit(meshifier, ka::Mat4x4f::identity());
  meshifier.flush();
  return scene;
}

void CanvasScenePresence::initialize(ka::RefNoCount<Canvas> canvas, ka::RefNoCount<ren::Scene> scene,
                                     MeshFactory* factory, MaterialLibrary* library) {
  canvas_ = canvas.ref();
  scene_ = scene.ref();
  factory_ = factory;
  library_ = library;
}

void CanvasScenePresence::update() {
  clear();
  if (!canvas_ || !scene_) return;
  CanvasMeshifier meshifier(factory_, library_, scene_, &instances_);
  canvas_->visit(meshifier, ka::Mat4x4f::identity());
  meshifier.flush();
}

void CanvasScenePresence::clear() {
  for (ka::Ref<ren::SceneInstance> const& instance : instances_) instance->remove();
  instances_.clear();
}

}  // namespace vorn
