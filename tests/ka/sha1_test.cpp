#include "ka/sha1.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <random>
#include <stdexcept>

namespace {

using Engine = ka::SHA1Context::Engine;

std::string sha1(std::string const& data) {
  ka::SHA1Context c;
  c.reset();
  c.update(data.data(), data.size());
  return c.digest().toString();
}

std::string reference(std::string const& data) {
  unsigned char out[SHA_DIGEST_LENGTH];
  SHA1(reinterpret_cast<unsigned char const*>(data.data()), data.size(), out);
  ka::SHA1Digest d;
  std::copy(out, out + 20, d.bytes);
  return d.toString();
}

// Every test runs once per engine the CPU offers.
class SHA1Test : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (!ka::SHA1Context::engineAvailable(GetParam())) GTEST_SKIP() << "this CPU has no SHA instructions";
    saved = ka::SHA1Context::engine();
    ka::SHA1Context::selectEngine(GetParam());
  }
  void TearDown() override { ka::SHA1Context::selectEngine(saved); }
  Engine saved = Engine::Portable;
};

TEST_P(SHA1Test, PublishedVectors) {
  EXPECT_EQ(sha1(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(sha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(sha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  ka::SHA1Context c;
  c.reset();
  std::string block(1000, 'a');
  for (int i = 0; i < 1000; ++i) c.update(block.data(), block.size());
  EXPECT_EQ(c.digest().toString(), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST_P(SHA1Test, PaddingBoundariesMatchOpenSSL) {
  for (size_t n : {55, 56, 57, 63, 64, 65, 119, 120, 127, 128}) {
    std::string data(n, 'x');
    EXPECT_EQ(sha1(data), reference(data)) << n;
  }
}

TEST_P(SHA1Test, AnySplitGivesTheSameDigestAsOpenSSL) {
  std::mt19937 rng(11 + int(GetParam()));
  for (int round = 0; round < 200; ++round) {
    std::string data(rng() % 5000, '\0');
    for (char& ch : data) ch = char(rng());
    ka::SHA1Context c;
    c.reset();
    for (size_t at = 0; at < data.size();) {
      size_t piece = std::min<size_t>(data.size() - at, rng() % 300);
      c.update(data.data() + at, piece);
      at += piece;
    }
    ASSERT_EQ(c.digest().toString(), reference(data)) << data.size();
  }
}

TEST_P(SHA1Test, DigestLeavesTheContextUsable) {
  ka::SHA1Context c;
  c.reset();
  c.update("ab", 2);
  ka::SHA1Digest first = c.digest();
  EXPECT_EQ(first, c.digest());
  EXPECT_EQ(first.toString(), sha1("ab"));
  c.update("c", 1);
  EXPECT_EQ(c.digest().toString(), sha1("abc"));
}

INSTANTIATE_TEST_SUITE_P(Engines, SHA1Test, ::testing::Values(Engine::Portable, Engine::ShaInstructions),
                         [](auto const& info) { return info.param == Engine::Portable ? "Portable" : "Sha"; });

TEST(SHA1, RefusesLengthsThatOverflowTheBitCount) {
  ka::SHA1Context c;
  c.reset();
  c.update("x", 1);
  std::string before = c.digest().toString();
  try {
    c.update("x", 1ul << 61);
    ADD_FAILURE() << "no exception";
  } catch (std::runtime_error const& e) {
    EXPECT_STREQ(e.what(), "message too long");
  }
  EXPECT_EQ(c.digest().toString(), before) << "nothing changed";
}

}  // namespace
