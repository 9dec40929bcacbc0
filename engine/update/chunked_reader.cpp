#include "chunked_reader.h"

#include <algorithm>

namespace update {

bool ChunkedReader::readBytes() {
  if (eof || failed) return false;
  buffer.resize(chunkSize);
  int64_t n = int64_t(buffer.size());
  if (limit > 0) {
    n = std::min(n, limit - bytesRead);
    if (n < 1) {
      eof = true;
      return false;
    }
  }
  in_.read(buffer.data(), n);
  if (in_.bad()) {
    failed = true;
    return false;
  }
  if (in_.eof()) eof = true;
  std::streamsize got = in_.gcount();
  if (got == 0) {
    eof = true;
    return false;
  }
  bytesRead += got;
  buffer.resize(size_t(got));
  return true;
}

}  // namespace update
