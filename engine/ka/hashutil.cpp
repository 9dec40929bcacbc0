#include "hashutil.h"

#include <cstring>

#include "vecmath.h"

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

namespace {

uint64_t hashFloat(float f) {
  if (f == 0.0f) return 0;
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  return bits;
}

}  // namespace

uint64_t hash(Vec3<float> const& v) {
  uint64_t seed = hashFloat(v.x);
  seed = hashMix(seed, hashFloat(v.y));
  return hashMix(seed, hashFloat(v.z));
}

}  // namespace ka
