#include "occluder.h"

#include <algorithm>
#include <cmath>

#include "scene.h"

namespace vorn {

bool RasRenOccluder::Culler::areSpheresOccluded(std::vector<ka::Vec3<float>> const& centres, float radius) const {
  for (ka::Vec3<float> const& centre : centres) {
    if (!isSphereOccluded(centre, radius)) return false;
  }
  return true;
}

void RasRenOccluder::remove() {
  if (scene_) scene_->removeOccluder(this);
}

ka::Ref<RasRenOccluder::Culler> SphereProjectionCuller::make(ka::Sphere const& sphere, ka::Vec3<float> const& eye) {
  if (sphere.radius * sphere.radius > ka::lengthSquared(sphere.center - eye)) return new NullCuller;
  return new SphereProjectionCuller(sphere, eye);
}

SphereProjectionCuller::SphereProjectionCuller(ka::Sphere const& sphere, ka::Vec3<float> const& eye)
    : eye_(eye),
      axis_(ka::normalize(sphere.center - eye)),
      dist2_(ka::lengthSquared(sphere.center - eye)),
      cosHalf_(std::sqrt(1 - sphere.radius * sphere.radius / dist2_)),
      tanHalf_(std::sqrt(sphere.radius * sphere.radius / dist2_) / cosHalf_) {}

bool SphereProjectionCuller::pointOccluded(ka::Vec3<float> const& point) const {
  ka::Vec3<float> d = point - eye_;
  float d2 = ka::lengthSquared(d);
  if (dist2_ > d2) return false;
  return !(std::sqrt(d2) * cosHalf_ > ka::dot(d, axis_));
}

bool SphereProjectionCuller::isConvexPointSetOccluded(ka::Vec3<float> const* points, size_t count) const {
  for (size_t i = 0; i < count; ++i) {
    if (!pointOccluded(points[i])) return false;
  }
  return true;
}

bool SphereProjectionCuller::isSphereOccluded(ka::Vec3<float> const& centre, float radius) const {
  ka::Vec3<float> d = centre - eye_;
  float d2 = ka::lengthSquared(d);
  if (dist2_ > d2) return false;
  float t = ka::dot(d, axis_);
  float fromSurface = (std::sqrt(std::max(0.0f, d2 - t * t)) - tanHalf_ * t) * cosHalf_;
  return -radius > fromSurface;
}

bool SphereProjectionCuller::isSpherePartiallyOccluded(ka::Vec3<float> const& centre, float radius) const {
  ka::Vec3<float> d = centre - eye_;
  float d2 = ka::lengthSquared(d);
  if (dist2_ > d2 || radius * radius >= d2) return false;
  float coneAngle = std::acos(cosHalf_);
  float sphereHalf = std::acos(std::sqrt(1 - radius * radius / d2));
  float between = std::acos(std::clamp(ka::dot(d / std::sqrt(d2), axis_), -1.0f, 1.0f));
  // Twice the sphere's half angle: generous, and callers are tuned to it.
  return coneAngle + 2 * sphereHalf > between;
}

ka::Ref<RasRenOccluder::Culler> SphereOrthoCuller::make(ka::Sphere const& sphere, ka::Vec3<float> const* viewDir) {
  return new SphereOrthoCuller(sphere, viewDir);
}

bool SphereOrthoCuller::isConvexPointSetOccluded(ka::Vec3<float> const* points, size_t count) const {
  for (size_t i = 0; i < count; ++i) {
    ka::Vec3<float> d = points[i] - centre_;
    float t = ka::dot(d, *viewDir_);
    if (t < 0 || ka::lengthSquared(d - *viewDir_ * t) > r2_) return false;
  }
  return true;
}

bool SphereOrthoCuller::isSphereOccluded(ka::Vec3<float> const& centre, float radius) const {
  ka::Vec3<float> d = centre - centre_;
  float t = ka::dot(d, *viewDir_);
  if (!(t > 0)) return false;
  return radius_ >= ka::length(d - *viewDir_ * t) - radius;
}

}  // namespace vorn
