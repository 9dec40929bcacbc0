// The retained 2D drawing list: text, textured quads and lines, in order, under a transform, turned
// on demand into meshes and texts of a renderer scene whose draw order is the order of the list.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "ka/color.h"
#include "ka/counted.h"
#include "ka/vecmath.h"
#include "vorn/material.h"
#include "vorn/renderer.h"

namespace vorn {

class CanvasVisitor;
class Font;
class MeshFactory;
class QuadItem;
class PolyLineItem;
class TextItem;

class CanvasItem : public ka::Counted {
 public:
  virtual void visit(CanvasVisitor& visitor, ka::Mat4x4f const& parent) = 0;
  bool hidden = false;
};

class CanvasVisitor {
 public:
  virtual ~CanvasVisitor() = default;
  virtual void visitTextItem(ka::RefNoCount<TextItem> item, ka::Mat4x4f const& matrix) = 0;
  virtual void visitQuadItem(ka::RefNoCount<QuadItem> item, ka::Mat4x4f const& matrix) = 0;
  virtual void visitPolyLineItem(ka::RefNoCount<PolyLineItem> item, ka::Mat4x4f const& matrix) = 0;
};

// A line of text from `origin`, along `right`, glyphs standing along `up`.
class TextItem : public CanvasItem {
 public:
  void visit(CanvasVisitor& visitor, ka::Mat4x4f const& parent) override { visitor.visitTextItem(this, parent); }

  TextItem& setOrigin(ka::Vec3<float> const& origin) { return set(origin_, origin); }
  TextItem& setRight(ka::Vec3<float> const& right) { return set(right_, right); }
  TextItem& setUp(ka::Vec3<float> const& up) { return set(up_, up); }
  TextItem& setFont(ka::RefNoCount<Font const> font);
  TextItem& setText(ka::StringRange text) { return set(text_, text.str()); }
  TextItem& setColor(ka::Color4f const& colour) { return set(colour_, colour); }
  // A code point, as UTF-8.
  TextItem& appendChar(int codepoint);
  TextItem& appendText(ka::StringRange text) { return set(text_, text_ + text.str()); }
  // The text's advance, and the font's line height; 0 without a font.
  float width() const;
  float height() const;

  ka::Vec3<float> const& origin() const { return origin_; }
  ka::Vec3<float> const& right() const { return right_; }
  ka::Vec3<float> const& up() const { return up_; }
  Font const* font() const { return font_.get(); }
  std::string const& text() const { return text_; }
  ka::Color4f const& color() const { return colour_; }

 private:
  template <class T>
  TextItem& set(T& field, T const& value) {
    field = value;
    return *this;
  }

  ka::Vec3<float> origin_{0, 0, 0}, right_{1, 0, 0}, up_{0, 1, 0};
  ka::Ref<Font const> font_;
  std::string text_;
  ka::Color4f colour_{1, 1, 1, 1};
};

// Corners in the order lower left, lower right, upper left, upper right.
class QuadItem : public CanvasItem {
 public:
  void visit(CanvasVisitor& visitor, ka::Mat4x4f const& parent) override { visitor.visitQuadItem(this, parent); }

  QuadItem& setLowerLeft(ka::Vec3<float> const& position, ka::Vec2<float> const& texCoord) { return set(0, position, texCoord); }
  QuadItem& setLowerRight(ka::Vec3<float> const& position, ka::Vec2<float> const& texCoord) { return set(1, position, texCoord); }
  QuadItem& setUpperLeft(ka::Vec3<float> const& position, ka::Vec2<float> const& texCoord) { return set(2, position, texCoord); }
  QuadItem& setUpperRight(ka::Vec3<float> const& position, ka::Vec2<float> const& texCoord) { return set(3, position, texCoord); }
  QuadItem& setMaterial(Material const& material) {
    material_ = material;
    return *this;
  }
  QuadItem& setVertexColor(ka::Color4f const& colour) {
    colour_ = colour;
    return *this;
  }
  // Within the box from the lower left to the upper right corner, borders included; the other two
  // corners are not looked at.
  bool inBounds2D(ka::Vec2<float> const& point) const;

  ka::Vec3<float> const* positions() const { return positions_; }
  ka::Vec2<float> const* texCoords() const { return texCoords_; }
  Material const& material() const { return material_; }
  ka::Color4f const& vertexColor() const { return colour_; }

 private:
  QuadItem& set(int corner, ka::Vec3<float> const& position, ka::Vec2<float> const& texCoord) {
    positions_[corner] = position;
    texCoords_[corner] = texCoord;
    return *this;
  }

  ka::Vec3<float> positions_[4] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
  ka::Vec2<float> texCoords_[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
  Material material_;
  ka::Color4f colour_{1, 1, 1, 1};
};

class PolyLineItem : public CanvasItem {
 public:
  void visit(CanvasVisitor& visitor, ka::Mat4x4f const& parent) override {
    visitor.visitPolyLineItem(this, parent);
  }

  PolyLineItem& setPoints(std::vector<ka::Vec3<float>> const& points) {
    points_ = points;
    return *this;
  }
  PolyLineItem& setPoints(ka::Vec3<float> const& a, ka::Vec3<float> const& b) {
    points_ = {a, b};
    return *this;
  }
  PolyLineItem& addPoint(ka::Vec3<float> const& point) {
    points_.push_back(point);
    return *this;
  }
  PolyLineItem& setColor(ka::Color4f const& colour) {
    colour_ = colour;
    return *this;
  }
  PolyLineItem& clear() {
    points_.clear();
    return *this;
  }

  std::vector<ka::Vec3<float>> const& points() const { return points_; }
  ka::Color4f const& color() const { return colour_; }

 private:
  std::vector<ka::Vec3<float>> points_;
  ka::Color4f colour_{1, 1, 1, 1};
};

// A canvas is an item too, so canvases nest; its transform applies to everything under it.
class Canvas : public CanvasItem {
 public:
  Canvas& setTransform(ka::Mat4x4f const& transform) {
    transform_ = transform;
    return *this;
  }
  Canvas& addItem(ka::RefNoCount<CanvasItem> item);
  Canvas& addItemFront(ka::RefNoCount<CanvasItem> item);
  // In front of `before`, or at the end when `before` isn't in the canvas.
  Canvas& addItemBefore(ka::RefNoCount<CanvasItem> item, ka::RefNoCount<CanvasItem> before);
  // An absent item ends the process when it `mustExist`, and is passed over otherwise.
  Canvas& removeItem(ka::RefNoCount<CanvasItem> item, bool mustExist);
  Canvas& clear();
  // Visits the shown items front to back with the parent's matrix times this transform.
  void visit(CanvasVisitor& visitor, ka::Mat4x4f const& parent) override;
  // A new scene of the renderer holding what the canvas draws now; nothing ties the two later.
  ka::Ref<ren::Scene> makeScene(ren::Renderer* renderer, MaterialLibrary* library);

  ka::Mat4x4f const& transform() const { return transform_; }
  size_t itemCount() const { return items_.size(); }

 private:
  ka::Mat4x4f transform_ = ka::Mat4x4f::identity();
  std::list<ka::Ref<CanvasItem>> items_;
};

// A canvas's part of a scene that other code also draws into: each update replaces the instances
// it made last, and leaves the others alone.
class CanvasScenePresence {
 public:
  CanvasScenePresence() = default;
  CanvasScenePresence(ka::RefNoCount<Canvas> canvas, ka::RefNoCount<ren::Scene> scene, MeshFactory* factory,
                      MaterialLibrary* library) {
    initialize(canvas, scene, factory, library);
  }
  ~CanvasScenePresence() { clear(); }
  CanvasScenePresence(CanvasScenePresence const&) = delete;
  CanvasScenePresence& operator=(CanvasScenePresence const&) = delete;

  void initialize(ka::RefNoCount<Canvas> canvas, ka::RefNoCount<ren::Scene> scene, MeshFactory* factory,
                  MaterialLibrary* library);
  void setCanvas(ka::RefNoCount<Canvas> canvas) { canvas_ = canvas.ref(); }
  void update();
  // Takes the instances out of the scene.
  void clear();
  // Forgets the instances and leaves them in the scene.
  void release() { instances_.clear(); }

  std::vector<ka::Ref<ren::SceneInstance>> const& instances() const { return instances_; }

 private:
  ka::Ref<Canvas> canvas_;
  ka::Ref<ren::Scene> scene_;
  MeshFactory* factory_ = nullptr;
  MaterialLibrary* library_ = nullptr;
  std::vector<ka::Ref<ren::SceneInstance>> instances_;
};

}  // namespace vorn
