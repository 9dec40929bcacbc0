// Reads a stream in chunks of a fixed size, up to an optional limit.
#pragma once

#include <cstdint>
#include <istream>
#include <vector>

namespace update {

class ChunkedReader {
 public:
  ChunkedReader(std::istream& in, unsigned long chunkSize) : ChunkedReader(in, chunkSize, -1) {}
  // A `limit` of 0 or below means none.
  ChunkedReader(std::istream& in, unsigned long chunkSize, long limit)
      : chunkSize(chunkSize), limit(limit), in_(in) {}

  // True if `buffer` now holds the next chunk; a last short chunk counts.
  bool readBytes();

  std::vector<char> buffer;
  uint64_t chunkSize;
  int64_t limit;
  int64_t bytesRead = 0;
  bool eof = false;
  bool failed = false;

 private:
  std::istream& in_;
};

}  // namespace update
