#include "lod_group.h"

#include <algorithm>

#include "mesh_instance.h"
#include "scene.h"

namespace vorn {

RasRenLODGroup::~RasRenLODGroup() { releaseMembers(); }

void RasRenLODGroup::setReference(ka::RefNoCount<ren::MeshInstance> instance, ka::Vec3<float> const& point) {
  reference_ = instance.ref();
  referencePoint_ = point;
}

void RasRenLODGroup::remove() {
  if (scene_) scene_->removeLODGroup(this);
}

int RasRenLODGroup::CalculateLODLevel(ka::Vec3<float> const& cameraPosition) const {
  if (cutoffs_.empty()) return 0;
  ka::Vec3<float> point = referencePoint_;
  if (reference_) point = ka::transformPoint(point, static_cast<RasRenMeshInstance*>(reference_.get())->transform());
  float distance = ka::length(point - cameraPosition);
  for (size_t level = 0; level < cutoffs_.size(); ++level) {
    if (cutoffs_[level] > distance) return int(level);
  }
  return 0;
}

void RasRenLODGroup::addMember(RasRenMeshInstance* instance) { members_.push_back(instance); }

void RasRenLODGroup::removeMember(RasRenMeshInstance* instance) {
  members_.erase(std::remove(members_.begin(), members_.end(), instance), members_.end());
}

void RasRenLODGroup::releaseMembers() {
  for (RasRenMeshInstance* member : members_) member->leaveLODGroup();
  members_.clear();
}

}  // namespace vorn
