#include "parameterblock.h"

namespace vorn {

unsigned MaterialBindingTable::getSlot(std::string const& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  return slots_.try_emplace(name, unsigned(slots_.size())).first->second;
}

}  // namespace vorn
