#include "hashutil.h"

#include <cstring>

namespace ka {

uint64_t hash_memory(void const* data, unsigned long length) {
  auto const* bytes = static_cast<uint8_t const*>(data);
  uint64_t seed = 0;
  for (; length >= 8; bytes += 8, length -= 8) {
    uint64_t word;
    std::memcpy(&word, bytes, 8);
    seed = hashMix(seed, word);
  }
  for (; length > 0; ++bytes, --length) seed = hashMix(seed, *bytes);
  return seed;
}

}  // namespace ka
