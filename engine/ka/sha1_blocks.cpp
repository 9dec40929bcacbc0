#include "sha1_blocks.h"

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace ka::sha1_blocks {

namespace {

inline uint32_t rotl(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

inline uint32_t loadBigEndian(uint8_t const* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

}  // namespace

// Twenty rounds with one round function, the message schedule kept in a ring of 16 words.
template <class F>
inline void twentyRounds(int first, uint32_t k, F f, uint32_t (&w)[16], uint32_t& a, uint32_t& b, uint32_t& c,
                         uint32_t& d, uint32_t& e) {
  for (int i = first; i < first + 20; ++i) {
    if (i >= 16) w[i & 15] = rotl(w[(i + 13) & 15] ^ w[(i + 8) & 15] ^ w[(i + 2) & 15] ^ w[i & 15], 1);
    uint32_t t = rotl(a, 5) + f(b, c, d) + e + k + w[i & 15];
    e = d;
    d = c;
    c = rotl(b, 30);
    b = a;
    a = t;
  }
}

void portable(uint32_t* state, uint8_t const* blocks, size_t count) {
  auto choose = [](uint32_t b, uint32_t c, uint32_t d) { return d ^ (b & (c ^ d)); };
  auto parity = [](uint32_t b, uint32_t c, uint32_t d) { return b ^ c ^ d; };
  auto majority = [](uint32_t b, uint32_t c, uint32_t d) { return (b & c) | (d & (b | c)); };
  for (; count > 0; --count, blocks += 64) {
    uint32_t w[16];
    for (int i = 0; i < 16; ++i) w[i] = loadBigEndian(blocks + 4 * i);
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];
    twentyRounds(0, 0x5A827999, choose, w, a, b, c, d, e);
    twentyRounds(20, 0x6ED9EBA1, parity, w, a, b, c, d, e);
    twentyRounds(40, 0x8F1BBCDC, majority, w, a, b, c, d, e);
    twentyRounds(60, 0xCA62C1D6, parity, w, a, b, c, d, e);
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
  }
}

#if defined(__x86_64__)

bool shaInstructionsAvailable() {
  unsigned eax, ebx, ecx, edx;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return false;
  bool sse41 = ecx & bit_SSE4_1, ssse3 = ecx & bit_SSSE3;
  if (!__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx)) return false;
  return sse41 && ssse3 && (ebx & bit_SHA);
}

// Four rounds per step: step i uses message words 4i..4i+3 (register i % 4) and the round
// function i / 5; the schedule for later steps is computed alongside.
#define ZANDOR_SHA1_STEP(i)                                                  \
  do {                                                                       \
    if ((i) < 4) msg[(i) % 4] = _mm_shuffle_epi8(_mm_loadu_si128(           \
                     reinterpret_cast<__m128i const*>(blocks + 16 * (i))),   \
                                                 byteSwap);                  \
    if ((i) == 0) {                                                          \
      e[0] = _mm_add_epi32(e[0], msg[0]);                                    \
    } else {                                                                 \
      e[(i) % 2] = _mm_sha1nexte_epu32(e[(i) % 2], msg[(i) % 4]);            \
    }                                                                        \
    e[((i) + 1) % 2] = abcd;                                                 \
    if ((i) >= 3 && (i) <= 18)                                               \
      msg[((i) + 1) % 4] = _mm_sha1msg2_epu32(msg[((i) + 1) % 4], msg[(i) % 4]); \
    abcd = _mm_sha1rnds4_epu32(abcd, e[(i) % 2], (i) / 5);                   \
    if ((i) >= 1 && (i) <= 16)                                               \
      msg[((i) + 3) % 4] = _mm_sha1msg1_epu32(msg[((i) + 3) % 4], msg[(i) % 4]); \
    if ((i) >= 2 && (i) <= 17)                                               \
      msg[((i) + 2) % 4] = _mm_xor_si128(msg[((i) + 2) % 4], msg[(i) % 4]);  \
  } while (0)

__attribute__((target("sha,sse4.1,ssse3"))) void shaInstructions(uint32_t* state, uint8_t const* blocks,
                                                                  size_t count) {
  __m128i const byteSwap = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
  __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(state)), 0x1B);
  __m128i e0 = _mm_set_epi32(int(state[4]), 0, 0, 0);
  for (; count > 0; --count, blocks += 64) {
    __m128i const abcdSaved = abcd;
    __m128i const e0Saved = e0;
    __m128i e[2] = {e0, e0};
    __m128i msg[4];
    ZANDOR_SHA1_STEP(0);
    ZANDOR_SHA1_STEP(1);
    ZANDOR_SHA1_STEP(2);
    ZANDOR_SHA1_STEP(3);
    ZANDOR_SHA1_STEP(4);
    ZANDOR_SHA1_STEP(5);
    ZANDOR_SHA1_STEP(6);
    ZANDOR_SHA1_STEP(7);
    ZANDOR_SHA1_STEP(8);
    ZANDOR_SHA1_STEP(9);
    ZANDOR_SHA1_STEP(10);
    ZANDOR_SHA1_STEP(11);
    ZANDOR_SHA1_STEP(12);
    ZANDOR_SHA1_STEP(13);
    ZANDOR_SHA1_STEP(14);
    ZANDOR_SHA1_STEP(15);
    ZANDOR_SHA1_STEP(16);
    ZANDOR_SHA1_STEP(17);
    ZANDOR_SHA1_STEP(18);
    ZANDOR_SHA1_STEP(19);
    e0 = _mm_sha1nexte_epu32(e[0], e0Saved);
    abcd = _mm_add_epi32(abcd, abcdSaved);
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1B));
  state[4] = uint32_t(_mm_extract_epi32(e0, 3));
}

#undef ZANDOR_SHA1_STEP

#else

bool shaInstructionsAvailable() { return false; }
void shaInstructions(uint32_t* state, uint8_t const* blocks, size_t count) { portable(state, blocks, count); }

#endif

}  // namespace ka::sha1_blocks
