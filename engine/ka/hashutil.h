// Small hash functions for hash tables keyed by raw structures.
#pragma once

#include <cstdint>

namespace ka {

// seed ^= value + 0x9e3779b9 + (seed << 6) + (seed >> 2)
inline uint64_t hashMix(uint64_t seed, uint64_t value) {
  return seed ^ (value + 0x9e3779b9 + (seed << 6) + (seed >> 2));
}

// Whole 64-bit words in native byte order, then the last 0 to 7 bytes one by one; 0 for no bytes.
uint64_t hash_memory(void const* data, unsigned long length);

}  // namespace ka
