// The 64-byte block handling that SHA-1 and MD5 share: buffering, padding, hex text.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace ka::digest_blocks {

// Lower-case hexadecimal digits, high half of each byte first.
inline std::string hexText(uint8_t const* bytes, size_t count) {
  static char const digits[] = "0123456789abcdef";
  std::string text(2 * count, '0');
  for (size_t i = 0; i < count; ++i) {
    text[2 * i] = digits[bytes[i] >> 4];
    text[2 * i + 1] = digits[bytes[i] & 15];
  }
  return text;
}

// Completes a buffered block first, takes whole blocks straight from the caller's memory, and
// keeps the rest. `process(blocks, count)` compresses whole blocks.
template <class Process>
void feed(uint8_t (&buffer)[64], uint32_t& buffered, uint8_t const* in, size_t length, Process process) {
  if (buffered > 0) {
    size_t take = 64 - buffered;
    if (length < take) {
      std::memcpy(buffer + buffered, in, length);
      buffered += uint32_t(length);
      return;
    }
    std::memcpy(buffer + buffered, in, take);
    process(buffer, 1);
    buffered = 0;
    in += take;
    length -= take;
  }
  size_t blocks = length / 64;
  if (blocks) process(in, blocks);
  buffered = uint32_t(length % 64);
  std::memcpy(buffer, in + blocks * 64, buffered);
}

// Appends 0x80, zeros and the message length in bits (big- or little-endian) to a copy of the
// partial block, and compresses what that makes.
template <class Process>
void finish(uint8_t const (&buffer)[64], uint32_t buffered, uint64_t byteCount, bool bigEndianLength,
            Process process) {
  uint8_t block[64];
  std::memcpy(block, buffer, buffered);
  size_t used = buffered;
  block[used++] = 0x80;
  if (used > 56) {
    std::memset(block + used, 0, 64 - used);
    process(block, 1);
    used = 0;
  }
  std::memset(block + used, 0, 56 - used);
  uint64_t bits = byteCount * 8;
  for (int i = 0; i < 8; ++i) block[56 + i] = uint8_t(bits >> (bigEndianLength ? 56 - 8 * i : 8 * i));
  process(block, 1);
}

}  // namespace ka::digest_blocks
