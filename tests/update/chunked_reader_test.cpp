#include "update/chunked_reader.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::vector<size_t> chunks(std::istream& in, unsigned long chunkSize, long limit, bool& eof) {
  update::ChunkedReader reader(in, chunkSize, limit);
  std::vector<size_t> sizes;
  while (reader.readBytes()) sizes.push_back(reader.buffer.size());
  eof = reader.eof;
  EXPECT_FALSE(reader.failed);
  return sizes;
}

TEST(ChunkedReader, CutsAtTheChunkSizeAndTheLimit) {
  std::string data(500000, 'd');
  bool eof = false;
  std::istringstream limited(data);
  EXPECT_EQ(chunks(limited, 131072, 200000, eof), (std::vector<size_t>{131072, 68928}));
  EXPECT_TRUE(eof);

  for (long limit : {0L, -1L}) {
    std::istringstream whole(data);
    EXPECT_EQ(chunks(whole, 131072, limit, eof), (std::vector<size_t>{131072, 131072, 131072, 106784})) << limit;
  }
  std::istringstream exact(std::string(262144, 'e'));
  EXPECT_EQ(chunks(exact, 131072, -1, eof), (std::vector<size_t>{131072, 131072}));
  std::istringstream empty("");
  EXPECT_TRUE(chunks(empty, 16, -1, eof).empty());
  EXPECT_TRUE(eof);
}

TEST(ChunkedReader, ABrokenStreamFails) {
  std::istringstream in("abc");
  in.setstate(std::ios::badbit);
  update::ChunkedReader reader(in, 16);
  EXPECT_FALSE(reader.readBytes());
  EXPECT_TRUE(reader.failed);
  EXPECT_FALSE(reader.readBytes());
}

}  // namespace
