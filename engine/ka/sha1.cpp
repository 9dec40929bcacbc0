#include "sha1.h"

#include <atomic>
#include <cstring>
#include <stdexcept>

#include "digest_blocks.h"
#include "sha1_blocks.h"

namespace ka {

namespace {

using BlockFunction = void (*)(uint32_t*, uint8_t const*, size_t);

BlockFunction bestBlockFunction() {
  return sha1_blocks::shaInstructionsAvailable() ? sha1_blocks::shaInstructions : sha1_blocks::portable;
}

std::atomic<BlockFunction> gBlocks{bestBlockFunction()};

}  // namespace

std::string SHA1Digest::toString() const { return digest_blocks::hexText(bytes, 20); }

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
  digest_blocks::feed(buffer_, buffered_, static_cast<uint8_t const*>(data), length,
                      [this](uint8_t const* blocks, size_t count) { processBlocks(state_, blocks, count); });
}

SHA1Digest SHA1Context::digest() const {
  uint32_t state[5];
  std::memcpy(state, state_, sizeof state);
  digest_blocks::finish(buffer_, buffered_, byteCount_, true,
                        [&state](uint8_t const* blocks, size_t count) { processBlocks(state, blocks, count); });
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
