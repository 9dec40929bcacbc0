#include "file_stream.h"

#include <cstring>

namespace vorn {

FileStreamBuf::FileStreamBuf(File* file, bool ownsFile) : file_(file), ownsFile_(ownsFile) { emptyGetArea(); }

FileStreamBuf::~FileStreamBuf() {
  if (ownsFile_) delete file_;
}

FileStreamBuf::int_type FileStreamBuf::underflow() {
  long long got = file_->read(buffer_, kBufferSize);
  if (got < 1) return traits_type::eof();
  setg(buffer_, buffer_, buffer_ + got);
  return traits_type::to_int_type(buffer_[0]);
}

std::streamsize FileStreamBuf::xsgetn(char* dest, std::streamsize n) {
  std::streamsize buffered = std::min<std::streamsize>(n, egptr() - gptr());
  std::memcpy(dest, gptr(), size_t(buffered));
  gbump(int(buffered));
  std::streamsize done = buffered;
  while (done < n) {
    long long got = file_->read(dest + done, n - done);
    if (got < 1) break;
    done += got;
  }
  if (done > buffered) emptyGetArea();
  return done;
}

FileStreamBuf::pos_type FileStreamBuf::seekoff(off_type offset, std::ios_base::seekdir dir, std::ios_base::openmode) {
  SeekMode mode;
  if (dir == std::ios_base::beg) {
    mode = SEEK_FromStart;
  } else if (dir == std::ios_base::cur) {
    mode = SEEK_FromCurrent;
    offset -= egptr() - gptr();  // the file stands behind the bytes still buffered
  } else if (dir == std::ios_base::end) {
    mode = SEEK_FromEnd;
  } else {
    return pos_type(off_type(-1));
  }
  if (file_->seek(offset, mode) != 0) return pos_type(off_type(-1));
  emptyGetArea();
  return pos_type(file_->tell());
}

FileStreamBuf::pos_type FileStreamBuf::seekpos(pos_type position, std::ios_base::openmode) {
  if (file_->seek(off_type(position), SEEK_FromStart) != 0) return pos_type(off_type(-1));
  return position;
}

int FileStreamBuf::sync() {
  std::streamsize unread = egptr() - gptr();
  if (unread > 0 && file_->seek(-unread, SEEK_FromCurrent) != 0) return -1;
  emptyGetArea();
  return 0;
}

std::streamsize FileStreamBuf::showmanyc() { return egptr() - gptr(); }

FileStreamBuf::int_type FileStreamBuf::pbackfail(int_type c) {
  if (gptr() > eback()) {
    gbump(-1);
  } else {
    // At the start of the buffer: step the file back over the byte and serve it from the end.
    std::streamsize unread = egptr() - gptr();
    if (file_->seek(-(unread + 1), SEEK_FromCurrent) != 0) return traits_type::eof();
    long long got = file_->read(buffer_ + kBufferSize - 1, 1);
    if (got != 1) return traits_type::eof();
    setg(buffer_, buffer_ + kBufferSize - 1, buffer_ + kBufferSize);
  }
  if (!traits_type::eq_int_type(c, traits_type::eof())) *gptr() = traits_type::to_char_type(c);
  return traits_type::to_int_type(*gptr());
}

}  // namespace vorn
