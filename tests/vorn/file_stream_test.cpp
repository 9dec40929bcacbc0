#include "vorn/file_stream.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "vorn/osutil.h"

namespace {

std::string numbered(size_t n) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = char('a' + i % 26);
  return s;
}

TEST(FileStream, ReadsAcrossBufferRefillsAndInOneLargeRead) {
  TempDir dir;
  std::string content = numbered(10000);
  vorn::FileStream in(vorn::osutil::fileOpen(dir.write("f", content)).release(), true);
  std::string first(100, '\0');
  in.read(first.data(), 100);
  EXPECT_EQ(first, content.substr(0, 100));
  std::string rest(20000, '\0');
  in.read(rest.data(), 20000);
  EXPECT_EQ(in.gcount(), 9900);
  EXPECT_EQ(rest.substr(0, 9900), content.substr(100));
}

TEST(FileStream, SeeksRelativeToWhatWasReadAndPutsBack) {
  TempDir dir;
  std::string content = numbered(9000);
  vorn::FileStream in(vorn::osutil::fileOpen(dir.write("f", content)).release(), true);
  char c;
  in.get(c);
  in.get(c);
  EXPECT_EQ(in.tellg(), 2) << "the buffered bytes are accounted for";
  in.seekg(4094, std::ios::cur);
  EXPECT_EQ(in.tellg(), 4096);
  in.get(c);
  EXPECT_EQ(c, content[4096]);
  EXPECT_TRUE(in.unget());
  EXPECT_TRUE(in.unget()) << "putting back at the start of the buffer moves the file";
  in.get(c);
  EXPECT_EQ(c, content[4095]);
  in.seekg(-1, std::ios::end);
  in.get(c);
  EXPECT_EQ(c, content.back());
  EXPECT_FALSE(in.get(c));
  in.clear();
  in.seekg(10);
  in.get(c);
  EXPECT_EQ(c, content[10]);
  in.seekg(-5, std::ios::beg);
  EXPECT_TRUE(in.fail());
}

}  // namespace
