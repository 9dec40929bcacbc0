// Small hash functions for hash tables keyed by raw structures and by positions.
#pragma once

#include <cstdint>

namespace ka {

template <class T> struct Vec3;

// seed ^= value + 0x9e3779b9 + (seed << 6) + (seed >> 2)
inline uint64_t hashMix(uint64_t seed, uint64_t value) {
  return seed ^ (value + 0x9e3779b9 + (seed << 6) + (seed >> 2));
}

// Whole 64-bit words in native byte order, then the last 0 to 7 bytes one by one; 0 for no bytes.
uint64_t hash_memory(void const* data, unsigned long length);

// Each float hashes as its 32-bit pattern, but +0.0 and -0.0 both as 0, so that equal vectors hash
// equally (NaN patterns are used as they stand). The seed is the hash of x, with no mixing; then y
// and z are mixed in.
uint64_t hash(Vec3<float> const& v);

}  // namespace ka
