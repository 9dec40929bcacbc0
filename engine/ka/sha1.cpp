#include "sha1.h"

#include <atomic>
#include <cstring>
#include <stdexcept>

#include "sha1_blocks.h"

namespace ka {

namespace {

using BlockFunction = void (*)(uint32_t*, uint8_t const*, size_t);

BlockFunction bestBlockFunction() {
  return sha1_blocks::shaInstructionsAvailable() ? sha1_blocks::shaInstructions : sha1_blocks::portable;
}

std::atomic<BlockFunction> gBlocks{bestBlockFunction()};

char const kHexDigits[] = "0123456789abcdef";

}  // namespace

std::string SHA1Digest::toString() const {
  std::string text(40, '0');
  for (int i = 0; i < 20; ++i) {
    text[2 * i] = kHexDigits[bytes[i] >> 4];
    text[2 * i + 1] = kHexDigits[bytes[i] & 15];
  }
  return text;
}

void SHA1Context::reset() {
  state_[0] = 0x67452301;
  state_[1] = 0xEFCDAB89;
  state_[2] = 0x98BADCFE;
  state_[3] = 0x10325476;
  state_[4] = 0xC3D2E1F0;
  byteCount_ = 0;
  buffered_ = 0;
}

void SHA1Context::processBlocks(uint32_t state[5], uint8_t const* blocks, size_t count) {
  gBlocks.load(std::memory_order_relaxed)(state, blocks, count);
}

void SHA1Context::update(void const* data, unsigned long length) {
  constexpr uint64_t kTopThreeBits = uint64_t(7) << 61;
  if ((uint64_t(length) & kTopThreeBits) || ((byteCount_ + length) & kTopThreeBits)) {
    throw std::runtime_error("message too long");
  }
  if (length == 0) return;  // an empty vector may hand in a null pointer
  byteCount_ += length;
  auto const* in = static_cast<uint8_t const*>(data);
  if (buffered_ > 0) {
    size_t take = 64 - buffered_;
    if (length < take) {
      std::memcpy(buffer_ + buffered_, in, length);
      buffered_ += uint32_t(length);
      return;
    }
    std::memcpy(buffer_ + buffered_, in, take);
    processBlocks(state_, buffer_, 1);
    buffered_ = 0;
    in += take;
    length -= take;
  }
  // Whole blocks straight from the caller's memory.
  size_t blocks = length / 64;
  if (blocks) processBlocks(state_, in, blocks);
  in += blocks * 64;
  buffered_ = uint32_t(length % 64);
  std::memcpy(buffer_, in, buffered_);
}

SHA1Digest SHA1Context::digest() const {
  uint32_t state[5];
  std::memcpy(state, state_, sizeof state);
  uint8_t block[64];
  std::memcpy(block, buffer_, buffered_);
  size_t used = buffered_;
  block[used++] = 0x80;
  if (used > 56) {
    std::memset(block + used, 0, 64 - used);
    processBlocks(state, block, 1);
    used = 0;
  }
  std::memset(block + used, 0, 56 - used);
  uint64_t bits = byteCount_ * 8;
  for (int i = 0; i < 8; ++i) block[56 + i] = uint8_t(bits >> (56 - 8 * i));
  processBlocks(state, block, 1);
  SHA1Digest result;
  for (int i = 0; i < 5; ++i) {
    for (int b = 0; b < 4; ++b) result.bytes[4 * i + b] = uint8_t(state[i] >> (24 - 8 * b));
  }
  return result;
}

bool SHA1Context::engineAvailable(Engine engine) {
  return engine == Engine::Portable || sha1_blocks::shaInstructionsAvailable();
}

SHA1Context::Engine SHA1Context::engine() {
  return gBlocks.load() == sha1_blocks::portable ? Engine::Portable : Engine::ShaInstructions;
}

void SHA1Context::selectEngine(Engine engine) {
  gBlocks = engine == Engine::ShaInstructions && engineAvailable(engine) ? sha1_blocks::shaInstructions
                                                                          : sha1_blocks::portable;
}

}  // namespace ka
