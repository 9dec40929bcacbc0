// MD5, incremental, with the same shape as SHA1Context.
#pragma once

#include <cstdint>
#include <string>

namespace ka {

struct MD5Digest {
  uint8_t bytes[16];
  // 32 lower-case hexadecimal digits.
  std::string toString() const;
  bool operator==(MD5Digest const& other) const = default;
};

// A plain value with no heap storage; reset() before first use.
class MD5Context {
 public:
  void reset();
  void update(void const* data, unsigned long length);
  // Leaves the context usable: more input may follow.
  MD5Digest digest() const;

 private:
  static void processBlock(uint32_t state[4], uint8_t const* block);

  uint32_t state_[4];
  uint8_t buffer_[64];
  uint64_t byteCount_;
  uint32_t buffered_;
};

}  // namespace ka
