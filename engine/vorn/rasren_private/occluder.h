// Occluders: spheres that hide what lies behind them, answered analytically with no GPU work, and
// the cullers that put the question for one camera.
#pragma once

#include <cstddef>
#include <vector>

#include "vorn/renderer.h"

namespace vorn {

class RasRenScene;

class RasRenOccluder : public ren::Occluder {
 public:
  // Asks one occluder about points and spheres, for one camera.
  class Culler : public ka::Counted {
   public:
    // True when every point is hidden; an empty set counts as hidden.
    virtual bool isConvexPointSetOccluded(ka::Vec3<float> const* points, size_t count) const = 0;
    // True when every sphere of the same radius is hidden.
    virtual bool areSpheresOccluded(std::vector<ka::Vec3<float>> const& centres, float radius) const;
    virtual bool isSphereOccluded(ka::Vec3<float> const& centre, float radius) const = 0;
    virtual bool isSpherePartiallyOccluded(ka::Vec3<float> const& centre, float radius) const = 0;
  };

  explicit RasRenOccluder(RasRenScene* scene) : scene_(scene) {}
  void setSphere(ka::Sphere const& sphere) override { sphere_ = sphere; }
  void remove() override;
  void orphan() { scene_ = nullptr; }
  ka::Sphere const& sphere() const { return sphere_; }

 private:
  RasRenScene* scene_;
  ka::Sphere sphere_{{0, 0, 0}, 0};
};

// Says nothing is hidden: for a camera inside the occluder, where nothing can be said.
class NullCuller : public RasRenOccluder::Culler {
 public:
  bool isConvexPointSetOccluded(ka::Vec3<float> const*, size_t) const override { return false; }
  bool areSpheresOccluded(std::vector<ka::Vec3<float>> const&, float) const override { return false; }
  bool isSphereOccluded(ka::Vec3<float> const&, float) const override { return false; }
  bool isSpherePartiallyOccluded(ka::Vec3<float> const&, float) const override { return false; }
};

// A perspective camera: the sphere shades a cone from the eye.
class SphereProjectionCuller : public RasRenOccluder::Culler {
 public:
  static ka::Ref<RasRenOccluder::Culler> make(ka::Sphere const& sphere, ka::Vec3<float> const& eye);

  // Judged against the centre's distance, not the tangent points: a point beside the sphere but
  // nearer than its centre counts as visible, which errs on the side of drawing.
  bool isConvexPointSetOccluded(ka::Vec3<float> const* points, size_t count) const override;
  bool isSphereOccluded(ka::Vec3<float> const& centre, float radius) const override;
  bool isSpherePartiallyOccluded(ka::Vec3<float> const& centre, float radius) const override;

 private:
  SphereProjectionCuller(ka::Sphere const& sphere, ka::Vec3<float> const& eye);
  bool pointOccluded(ka::Vec3<float> const& point) const;

  ka::Vec3<float> eye_;
  ka::Vec3<float> axis_;  // unit, from the eye to the centre
  float dist2_;           // squared distance from the eye to the centre
  float cosHalf_;         // of the cone's half angle
  float tanHalf_;
};

// An orthographic camera: the sphere shades a cylinder along the view direction.
class SphereOrthoCuller : public RasRenOccluder::Culler {
 public:
  // `viewDir` is a unit vector that must outlive the culler.
  static ka::Ref<RasRenOccluder::Culler> make(ka::Sphere const& sphere, ka::Vec3<float> const* viewDir);

  bool isConvexPointSetOccluded(ka::Vec3<float> const* points, size_t count) const override;
  // Counts a sphere as hidden once it overlaps the occluder's silhouette, unlike the perspective
  // test; kept so, as callers are tuned to it.
  bool isSphereOccluded(ka::Vec3<float> const& centre, float radius) const override;
  bool isSpherePartiallyOccluded(ka::Vec3<float> const& centre, float radius) const override {
    return isSphereOccluded(centre, radius);
  }

 private:
  SphereOrthoCuller(ka::Sphere const& sphere, ka::Vec3<float> const* viewDir)
      : centre_(sphere.center), r2_(sphere.radius * sphere.radius), radius_(sphere.radius), viewDir_(viewDir) {}

  ka::Vec3<float> centre_;
  float r2_;
  float radius_;
  ka::Vec3<float> const* viewDir_;
};

}  // namespace vorn
