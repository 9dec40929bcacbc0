#include "ka/MD5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>

#include "ka/hashutil.h"

namespace {

std::string md5(std::string const& data) {
  ka::MD5Context c;
  c.reset();
  c.update(data.data(), data.size());
  return c.digest().toString();
}

std::string reference(std::string const& data) {
  unsigned char out[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(data.data(), data.size(), out, &size, EVP_md5(), nullptr);
  ka::MD5Digest d;
  std::copy(out, out + 16, d.bytes);
  return d.toString();
}

TEST(MD5, PublishedVectorsAndOpenSSLOnRandomSplits) {
  EXPECT_EQ(md5(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
  for (size_t n : {55, 56, 63, 64, 65}) EXPECT_EQ(md5(std::string(n, 'q')), reference(std::string(n, 'q'))) << n;

  std::mt19937 rng(3);
  for (int round = 0; round < 100; ++round) {
    std::string data(rng() % 3000, '\0');
    for (char& ch : data) ch = char(rng());
    ka::MD5Context c;
    c.reset();
    for (size_t at = 0; at < data.size();) {
      size_t piece = std::min<size_t>(data.size() - at, rng() % 200);
      c.update(data.data() + at, piece);
      at += piece;
    }
    ASSERT_EQ(c.digest().toString(), reference(data));
    c.update("z", 1);
    ASSERT_EQ(c.digest().toString(), reference(data + "z")) << "usable after digest";
  }
}

TEST(HashMemory, MixesWordsThenBytes) {
  EXPECT_EQ(ka::hash_memory("", 0), 0u);
  uint64_t word = 0x0807060504030201ull;
  unsigned char bytes[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  EXPECT_EQ(ka::hash_memory(bytes, 8), ka::hashMix(0, word));
  EXPECT_EQ(ka::hash_memory(bytes, 9), ka::hashMix(ka::hashMix(0, word), 9));
  EXPECT_EQ(ka::hash_memory(bytes, 2), ka::hashMix(ka::hashMix(0, 1), 2));
}

}  // namespace
