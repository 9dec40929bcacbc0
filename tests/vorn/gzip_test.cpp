#include "vorn/gzip.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "support/temp_dir.h"

namespace {

std::vector<char> randomBytes(size_t n, unsigned seed, int alphabet = 256) {
  std::mt19937 rng(seed);
  std::vector<char> v(n);
  for (char& c : v) c = char(rng() % unsigned(alphabet));
  return v;
}

std::vector<char> zlibWrapped(std::vector<char> const& in) {
  uLongf size = compressBound(uLong(in.size()));
  std::vector<char> out(size);
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<Bytef const*>(in.data()), uLong(in.size()));
  out.resize(size);
  return out;
}

TEST(Gzip, RoundTripsEverySizeIncludingOneByte) {
  for (size_t n : {size_t(1), size_t(2), size_t(3), size_t(100), size_t(70000), size_t(1) << 20}) {
    for (int alphabet : {4, 256}) {
      std::vector<char> in = randomBytes(n, unsigned(n), alphabet);
      std::vector<char> zipped, out;
      ASSERT_TRUE(vorn::gzip(in, zipped)) << n;
      ASSERT_GE(zipped.size(), 18u);
      EXPECT_EQ(uint8_t(zipped[0]), 0x1f);
      EXPECT_EQ(uint8_t(zipped[1]), 0x8b);
      ASSERT_TRUE(vorn::gunzip(zipped, out)) << n;
      EXPECT_EQ(out, in) << n;
    }
  }
}

TEST(Gzip, EmptyInputIsRefusedAndLeavesOutputAlone) {
  std::vector<char> out{'x'};
  EXPECT_FALSE(vorn::gzip({}, out));
  EXPECT_FALSE(vorn::gunzip(std::vector<char>{}, out));
  EXPECT_EQ(out, std::vector<char>{'x'});
}

TEST(Gunzip, AcceptsZlibAndReportsDamage) {
  std::vector<char> in = randomBytes(5000, 1, 16);
  std::vector<char> out;
  ASSERT_TRUE(vorn::gunzip(zlibWrapped(in), out));
  EXPECT_EQ(out, in);

  std::vector<char> notGzip = {'{', '"', 'a', '"', ':', '1', '}'};
  out.clear();
  EXPECT_FALSE(vorn::gunzip(notGzip, out));
  EXPECT_EQ(out, std::vector<char>(notGzip.size() * 2, 0)) << "left at its pre-sized length";

  std::vector<char> zipped;
  ASSERT_TRUE(vorn::gzip(in, zipped));
  std::vector<char> truncated(zipped.begin(), zipped.begin() + zipped.size() / 2);
  out.clear();
  EXPECT_TRUE(vorn::gunzip(truncated, out)) << "a truncated stream gives its prefix";
  ASSERT_LT(out.size(), in.size());
  EXPECT_TRUE(std::equal(out.begin(), out.end(), in.begin()));
}

TEST(GunzipStream, DeliversOneMemberFromTheCurrentPosition) {
  TempDir dir;
  std::vector<char> first = randomBytes(300000, 2, 8), second = randomBytes(1000, 3);
  std::vector<char> a, b;
  ASSERT_TRUE(vorn::gzip(first, a));
  ASSERT_TRUE(vorn::gzip(second, b));
  std::vector<char> file = {'H', 'E', 'A', 'D'};
  file.insert(file.end(), a.begin(), a.end());
  file.insert(file.end(), b.begin(), b.end());
  std::string path = dir.write("two-members", file);

  std::ifstream in(path, std::ios::binary);
  in.seekg(4);
  std::vector<char> got;
  size_t calls = 0;
  bool ok = vorn::gunzip(in, [&](std::vector<char> const& buffer, unsigned long count) {
    EXPECT_GT(count, 0u);
    EXPECT_LE(count, 131072u);
    got.insert(got.end(), buffer.begin(), buffer.begin() + long(count));
    ++calls;
  });
  EXPECT_TRUE(ok);
  EXPECT_EQ(got, first) << "only the first member is delivered";
  EXPECT_GE(calls, 3u);
}

TEST(GunzipStream, FailsOnClosedDamagedOrUnfinishedStreams) {
  TempDir dir;
  auto ignore = [](std::vector<char> const&, unsigned long) {};
  std::ifstream closed;
  EXPECT_FALSE(vorn::gunzip(closed, ignore));

  std::ifstream garbage(dir.write("garbage", std::string(1000, 'g')), std::ios::binary);
  EXPECT_FALSE(vorn::gunzip(garbage, ignore));

  std::vector<char> zipped;
  ASSERT_TRUE(vorn::gzip(randomBytes(10000, 4), zipped));
  zipped.resize(zipped.size() - 10);
  std::ifstream truncated(dir.write("truncated", zipped), std::ios::binary);
  EXPECT_FALSE(vorn::gunzip(truncated, ignore));

  std::ifstream empty(dir.write("empty", std::string()), std::ios::binary);
  EXPECT_FALSE(vorn::gunzip(empty, ignore));
}

}  // namespace
