// SHA-1, incremental: the identity of every bundle and installed file.
#pragma once

#include <cstdint>
#include <string>

namespace ka {

struct SHA1Digest {
  uint8_t bytes[20];
  // 40 lower-case hexadecimal digits.
  std::string toString() const;
  bool operator==(SHA1Digest const& other) const = default;
};

// A plain value with no heap storage; reset() before first use.
class SHA1Context {
 public:
  // How whole blocks are compressed: the CPU's SHA instructions where present, else portable code.
  enum class Engine { Portable, ShaInstructions };

  void reset();
  // Throws "message too long" rather than let the 64-bit bit count overflow.
  void update(void const* data, unsigned long length);
  // Leaves the context usable: more input may follow.
  SHA1Digest digest() const;

  static bool engineAvailable(Engine engine);
  static Engine engine();
  // For tests and benchmarks; an engine the CPU lacks is not taken.
  static void selectEngine(Engine engine);

 private:
  static void processBlocks(uint32_t state[5], uint8_t const* blocks, size_t count);

  uint32_t state_[5];
  uint8_t buffer_[64];
  uint64_t byteCount_;
  uint32_t buffered_;
};

}  // namespace ka
