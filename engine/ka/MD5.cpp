#include "MD5.h"

#include <cmath>
#include <cstring>

#include "digest_blocks.h"

namespace ka {

namespace {

// The sine table: floor(|sin(i + 1)| * 2^32), exact in double precision.
struct SineTable {
  uint32_t k[64];
  SineTable() {
    for (int i = 0; i < 64; ++i) k[i] = uint32_t(std::floor(std::fabs(std::sin(double(i + 1))) * 4294967296.0));
  }
};

SineTable const kSines;

int const kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

inline uint32_t rotl(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

}  // namespace

std::string MD5Digest::toString() const { return digest_blocks::hexText(bytes, 16); }

void MD5Context::reset() {
  state_[0] = 0x67452301;
  state_[1] = 0xefcdab89;
  state_[2] = 0x98badcfe;
  state_[3] = 0x10325476;
  byteCount_ = 0;
  buffered_ = 0;
}

void MD5Context::processBlock(uint32_t state[4], uint8_t const* block) {
  uint32_t m[16];
  for (int i = 0; i < 16; ++i) {
    m[i] = uint32_t(block[4 * i]) | (uint32_t(block[4 * i + 1]) << 8) | (uint32_t(block[4 * i + 2]) << 16) |
           (uint32_t(block[4 * i + 3]) << 24);
  }
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (int i = 0; i < 64; ++i) {
    uint32_t f;
    int g;
    switch (i / 16) {
      case 0: f = (b & c) | (~b & d); g = i; break;
      case 1: f = (b & d) | (c & ~d); g = (5 * i + 1) % 16; break;
      case 2: f = b ^ c ^ d; g = (3 * i + 5) % 16; break;
      default: f = c ^ (b | ~d); g = (7 * i) % 16; break;
    }
    uint32_t rotated = rotl(a + f + kSines.k[i] + m[g], kShifts[i / 16][i % 4]);
    a = d;
    d = c;
    c = b;
    b = b + rotated;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

void MD5Context::update(void const* data, unsigned long length) {
  if (length == 0) return;  // an empty vector may hand in a null pointer
  byteCount_ += length;
  digest_blocks::feed(buffer_, buffered_, static_cast<uint8_t const*>(data), length,
                      [this](uint8_t const* blocks, size_t count) {
                        for (size_t i = 0; i < count; ++i) processBlock(state_, blocks + 64 * i);
                      });
}

MD5Digest MD5Context::digest() const {
  uint32_t state[4];
  std::memcpy(state, state_, sizeof state);
  digest_blocks::finish(buffer_, buffered_, byteCount_, false, [&state](uint8_t const* blocks, size_t count) {
    for (size_t i = 0; i < count; ++i) processBlock(state, blocks + 64 * i);
  });
  MD5Digest result;
  for (int i = 0; i < 4; ++i) {
    for (int b = 0; b < 4; ++b) result.bytes[4 * i + b] = uint8_t(state[i] >> (8 * b));
  }
  return result;
}

}  // namespace ka
