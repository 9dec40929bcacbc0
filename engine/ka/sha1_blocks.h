// The SHA-1 compression function over whole 64-byte blocks, in two implementations.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ka::sha1_blocks {

void portable(uint32_t* state, uint8_t const* blocks, size_t count);
// x86 SHA extensions; call only where shaInstructionsAvailable() says so.
void shaInstructions(uint32_t* state, uint8_t const* blocks, size_t count);
bool shaInstructionsAvailable();

}  // namespace ka::sha1_blocks
