// An input stream over a vorn::File, with a get buffer of 4096 bytes.
#pragma once

#include <istream>
#include <streambuf>

#include "filesystem.h"

namespace vorn {

class FileStreamBuf : public std::streambuf {
 public:
  FileStreamBuf(File* file, bool ownsFile);
  ~FileStreamBuf() override;
  FileStreamBuf(FileStreamBuf const&) = delete;
  FileStreamBuf& operator=(FileStreamBuf const&) = delete;

 protected:
  int_type underflow() override;
  std::streamsize xsgetn(char* dest, std::streamsize n) override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir dir, std::ios_base::openmode) override;
  // Leaves the get area alone: what is buffered is read first.
  pos_type seekpos(pos_type position, std::ios_base::openmode) override;
  int sync() override;
  std::streamsize showmanyc() override;
  int_type pbackfail(int_type c) override;

 private:
  static constexpr int kBufferSize = 4096;
  // Nothing before the read position either: stale bytes must not be put back.
  void emptyGetArea() { setg(buffer_ + kBufferSize, buffer_ + kBufferSize, buffer_ + kBufferSize); }

  File* file_;
  bool ownsFile_;
  char buffer_[kBufferSize];
};

class FileStream : public std::istream {
 public:
  FileStream(File* file, bool ownsFile) : std::istream(nullptr), buffer_(file, ownsFile) { rdbuf(&buffer_); }

 private:
  FileStreamBuf buffer_;
};

}  // namespace vorn
