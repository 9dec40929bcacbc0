// Named shader parameters and the slot numbers that stand for their names at draw time.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>

namespace vorn {

// Numbers parameter names from 0 in order of first use; one number space serves vectors, matrices
// and textures. A table belongs to one consumer of bound blocks; any thread may ask it.
class MaterialBindingTable {
 public:
  unsigned getSlot(std::string const& name);

 private:
  std::unordered_map<std::string, unsigned> slots_;
  std::mutex mutex_;
};

}  // namespace vorn
