// Small integer helpers.
#pragma once

#include <cstdint>

namespace ka {

// The index of the highest set bit, by a 16-entry table on the value shifted into 4 bits in steps of
// 5 bits; -1 for 0 (the table's first entry, 255 as a signed byte).
constexpr int8_t ifloorLog2(unsigned v) {
  constexpr int8_t table[16] = {-1, 0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3};
  int shift = v < 16           ? 0
              : v < 512        ? 5
              : v < 16384      ? 10
              : v < 0x80000    ? 15
              : v < 0x1000000  ? 20
              : v < 0x20000000 ? 25
                               : 30;
  return int8_t(table[v >> shift] + shift);
}

}  // namespace ka
