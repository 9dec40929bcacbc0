#include "ras_memory_tracker.h"

#include "rasterizer.h"

namespace vorn::ras {

void RasterizerResourceMemoryTracker::setCategoryName(uint32_t category, std::string const& name) {
  categories_[category] = name;
}

void RasterizerResourceMemoryTracker::addResource(uint64_t descriptor, uint32_t size) { totals_[descriptor] += size; }

void RasterizerResourceMemoryTracker::removeResource(uint64_t descriptor, uint32_t size) {
  auto total = totals_.find(descriptor);
  if (total != totals_.end()) total->second -= size;
}

std::vector<RasterizerResourceMemoryTracker::AllocationDump> const&
RasterizerResourceMemoryTracker::dumpAllocationList() {
  dump_.clear();
  for (auto const& [descriptor, size] : totals_) {
    auto category = categories_.find(uint32_t(descriptor >> 32));
    std::string name = category == categories_.end() ? "Unnamed Category" : category->second;
    dump_.push_back({name + " : " + getNameFromType(ResourceType(uint32_t(descriptor))), size});
  }
  return dump_;
}

char const* getNameFromType(ResourceType type) {
  switch (type) {
    case RT_Texture2D: return "2D Texture";
    case RT_Cubemap: return "Cubemap";
    case RT_Texture3D: return "3D Texture";
    case RT_VertexBuffer: return "Vertex Buffer";
    case RT_IndexBuffer: return "Index Buffer";
    case RT_CompressedTexture2D: return "Compressed 2D Texture";
    case RT_CompressedCubemap: return "Compressed Cubemap";
    default: return "Unknown";
  }
}

}  // namespace vorn::ras
