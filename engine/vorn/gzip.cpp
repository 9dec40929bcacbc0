#include "gzip.h"

#include <zlib.h>

#include <algorithm>

namespace vorn {

namespace {

constexpr int kGzipWindowBits = 15 + 16;
constexpr int kAutoDetectWindowBits = 15 + 32;  // the header decides between gzip and zlib
constexpr size_t kStreamBufferSize = 131072;

// Points the stream at the unused tail of `out`.
void aimAtTail(z_stream& stream, std::vector<char>& out) {
  stream.next_out = reinterpret_cast<Bytef*>(out.data() + stream.total_out);
  stream.avail_out = uInt(out.size() - stream.total_out);
}

}  // namespace

bool gzip(std::vector<char> const& in, std::vector<char>& out) {
  if (in.empty()) return false;
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    return false;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  stream.avail_in = uInt(in.size());
  // Half the input, but never nothing: a one-byte input would leave no room that doubling could grow.
  out.resize(std::max<size_t>(in.size() / 2, 64));
  do {
    aimAtTail(stream, out);
    int result = deflate(&stream, Z_FINISH);
    if (result == Z_STREAM_END) break;
    if (result == Z_BUF_ERROR) {
      out.resize(out.size() * 2);
    } else if (result != Z_OK) {
      deflateEnd(&stream);
      return false;
    }
  } while (stream.avail_out == 0);
  deflateEnd(&stream);
  out.resize(stream.total_out);
  return true;
}

bool gunzip(std::vector<char> const& in, std::vector<char>& out) {
  if (in.empty()) return false;
  z_stream stream{};
  if (inflateInit2(&stream, kAutoDetectWindowBits) != Z_OK) return false;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  stream.avail_in = uInt(in.size());
  if (out.size() <= in.size()) out.assign(in.size() * 2, 0);
  do {
    aimAtTail(stream, out);
    int result = inflate(&stream, Z_SYNC_FLUSH);
    if (result == Z_STREAM_END) break;
    if (result == Z_BUF_ERROR) {
      out.resize(out.size() * 2);
    } else if (result != Z_OK) {
      inflateEnd(&stream);
      return false;
    }
  } while (stream.avail_out == 0);
  inflateEnd(&stream);
  out.resize(stream.total_out);
  return true;
}

bool gunzip(std::ifstream& in, std::function<void(std::vector<char> const& buffer, unsigned long count)> sink) {
  if (!in.is_open()) return false;
  std::vector<char> input(kStreamBufferSize);
  std::vector<char> output(kStreamBufferSize);
  z_stream stream{};
  bool started = false;
  int last = Z_OK;
  bool ok = false;
  while (true) {
    in.read(input.data(), std::streamsize(input.size()));
    if (in.bad()) break;
    std::streamsize got = in.gcount();
    if (got == 0) {
      ok = last == Z_STREAM_END;
      break;
    }
    if (!started) {
      if (inflateInit2(&stream, kAutoDetectWindowBits) != Z_OK) return false;
      started = true;
    }
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = uInt(got);
    bool failed = false;
    do {
      stream.next_out = reinterpret_cast<Bytef*>(output.data());
      stream.avail_out = uInt(output.size());
      last = inflate(&stream, Z_NO_FLUSH);
      if (last == Z_MEM_ERROR || last == Z_DATA_ERROR || last == Z_STREAM_ERROR || last == Z_NEED_DICT) {
        failed = true;
        break;
      }
      unsigned long produced = output.size() - stream.avail_out;
      if (produced > 0) sink(output, produced);
    } while (stream.avail_out == 0 && last != Z_STREAM_END);
    if (failed) break;
    if (last == Z_STREAM_END) {
      ok = true;
      break;
    }
  }
  if (started) inflateEnd(&stream);
  return ok;
}

}  // namespace vorn
