// SHA-1 over the same 1 GiB in memory: ours (SHA instructions, then portable) against OpenSSL's.
#include <openssl/sha.h>

#include <cstdio>
#include <random>
#include <vector>

#include "bench_util.h"
#include "ka/sha1.h"

namespace {

// Hashes in 128 KiB pieces, the size the update engine reads files in.
ka::SHA1Digest ours(std::vector<unsigned char> const& data) {
  ka::SHA1Context c;
  c.reset();
  for (size_t at = 0; at < data.size(); at += 131072) c.update(data.data() + at, std::min<size_t>(131072, data.size() - at));
  return c.digest();
}

void theirs(std::vector<unsigned char> const& data, unsigned char* out) {
  SHA_CTX c;
  SHA1_Init(&c);
  for (size_t at = 0; at < data.size(); at += 131072) SHA1_Update(&c, data.data() + at, std::min<size_t>(131072, data.size() - at));
  SHA1_Final(out, &c);
}

}  // namespace

int main() {
  std::vector<unsigned char> data(size_t(1) << 30);
  std::mt19937_64 rng(7);
  for (size_t i = 0; i < data.size(); i += 8) {
    uint64_t v = rng();
    for (int b = 0; b < 8; ++b) data[i + b] = (unsigned char)(v >> (8 * b));
  }
  unsigned char reference[SHA_DIGEST_LENGTH];
  double openssl = timeBest(3, [&] { theirs(data, reference); });

  using Engine = ka::SHA1Context::Engine;
  bool same = true;
  auto timeEngine = [&](Engine engine) {
    ka::SHA1Context::selectEngine(engine);
    ka::SHA1Digest d{};
    double t = timeBest(3, [&] { d = ours(data); });
    same &= std::equal(reference, reference + 20, d.bytes);
    return t;
  };
  bool accelerated = ka::SHA1Context::engineAvailable(Engine::ShaInstructions);
  double fast = accelerated ? timeEngine(Engine::ShaInstructions) : 0;
  double portable = timeEngine(Engine::Portable);
  double best = accelerated ? fast : portable;

  double mb = double(data.size()) / 1e6;
  std::printf("sha_instructions = %d\n", accelerated ? 1 : 0);
  std::printf("digests_agree = %d\n", same ? 1 : 0);
  std::printf("openssl_mb_per_s = %.0f\n", mb / openssl);
  std::printf("ours_mb_per_s = %.0f\n", mb / best);
  std::printf("portable_mb_per_s = %.0f\n", mb / portable);
  std::printf("portable_ratio = %.2f\n", openssl / portable);
  std::printf("ratio = %.2f\n", openssl / best);
  return same ? 0 : 1;
}
