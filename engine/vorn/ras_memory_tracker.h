// Bytes of GPU memory by resource category and type, for allocation reports.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vorn::ras {

class RasterizerResourceMemoryTracker {
 public:
  struct AllocationDump {
    std::string name;  // "category : type"
    uint32_t size;
  };

  void setCategoryName(uint32_t category, std::string const& name);
  void addResource(uint64_t descriptor, uint32_t size);
  // Unseen descriptors change nothing; totals are 32 bits wide and wrap below zero.
  void removeResource(uint64_t descriptor, uint32_t size);
  // One record per descriptor ever seen, in descriptor order.
  std::vector<AllocationDump> const& dumpAllocationList();

 private:
  std::map<uint64_t, uint32_t> totals_;
  std::map<uint32_t, std::string> categories_;
  std::vector<AllocationDump> dump_;
};

}  // namespace vorn::ras
