// A level of detail for a set of mesh instances, chosen by the distance from the camera to a
// reference point.
#pragma once

#include <vector>

#include "vorn/renderer.h"

namespace vorn {

class RasRenMeshInstance;
class RasRenScene;

class RasRenLODGroup : public ren::LODGroup {
 public:
  explicit RasRenLODGroup(RasRenScene* scene) : scene_(scene) {}
  // Members are let go: they are in no group, and are not drawn.
  ~RasRenLODGroup() override;

  void setCutoffs(std::vector<float> const& cutoffs) override { cutoffs_ = cutoffs; }
  void setReference(ka::RefNoCount<ren::MeshInstance> instance, ka::Vec3<float> const& point) override;
  void remove() override;
  void orphan() { scene_ = nullptr; }

  // The index of the first cutoff beyond the reference's distance. Beyond the last cutoff the
  // level wraps to 0, so that a member whose range starts above 0 vanishes in the distance.
  int CalculateLODLevel(ka::Vec3<float> const& cameraPosition) const;

  void addMember(RasRenMeshInstance* instance);
  void removeMember(RasRenMeshInstance* instance);
  // Takes every member out; each forgets the group.
  void releaseMembers();
  std::vector<RasRenMeshInstance*> const& members() const { return members_; }

 private:
  RasRenScene* scene_;
  std::vector<float> cutoffs_;
  std::vector<RasRenMeshInstance*> members_;
  ka::Ref<ren::MeshInstance> reference_;
  ka::Vec3<float> referencePoint_{0, 0, 0};
};

}  // namespace vorn
