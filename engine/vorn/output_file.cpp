#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "ka/log.h"

namespace vorn {

namespace {

int openNoFollow(std::string const& path, mode_t mode, OutputFile::Start start) {
  int const flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | (start == OutputFile::Start::Empty ? O_TRUNC : 0);
  int fd = ::open(path.c_str(), flags, mode);
  struct stat info;
  if (fd < 0 && errno == ELOOP && ::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode)) {
    KA_LOG(Warn) << "Replacing the symbolic link " << path << " with a file";
    if (::unlink(path.c_str()) == 0) fd = ::open(path.c_str(), flags, mode);
  }
  return fd;
}

}  // namespace

OutputFile::OutputFile(ka::StringRange path, mode_t mode, Start start) : path_(path.str()) {
  fd_ = openNoFollow(path_, mode, start);
  if (fd_ < 0) fail("open");
  else if (start == Start::Keep && ::lseek(fd_, 0, SEEK_END) < 0) fail("seek");
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
}

bool OutputFile::fail(char const* what) {
  if (error_.empty()) error_ = std::string(what) + " " + path_ + ": " + std::strerror(errno);
  return false;
}

bool OutputFile::write(char const* data, size_t count) {
  if (!ok()) return false;
  while (count > 0) {
    ssize_t put = ::write(fd_, data, count);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return fail("write");
    data += put;
    count -= size_t(put);
  }
  return true;
}

bool OutputFile::truncate(uint64_t size) {
  if (!ok()) return false;
  if (::ftruncate(fd_, off_t(size)) != 0) return fail("truncate");
  if (::lseek(fd_, off_t(size), SEEK_SET) < 0) return fail("seek");
  return true;
}

bool OutputFile::copyFrom(ka::StringRange sourcePath) {
  if (!ok()) return false;
  std::string source = sourcePath.str();
  int in = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) {
    error_ = "open " + source + ": " + std::strerror(errno);
    return false;
  }
  // The kernel copies (or shares extents) without the bytes passing through here; where it
  // can't, large buffers keep the copy at the disk's speed.
  bool kernelCopies = true;
  std::vector<char> buffer;
  while (ok()) {
    if (kernelCopies) {
      ssize_t copied = ::copy_file_range(in, nullptr, fd_, nullptr, size_t(1) << 30, 0);
      if (copied > 0) continue;
      if (copied == 0) break;
      if (errno == EINTR) continue;
      kernelCopies = false;
      buffer.resize(1 << 20);
    }
    ssize_t got = ::read(in, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error_ = "read " + source + ": " + std::strerror(errno);
      break;
    }
    if (got == 0) break;
    write(buffer.data(), size_t(got));
  }
  ::close(in);
  return ok();
}

bool OutputFile::addExecuteBits() {
  struct stat info;
  if (!ok()) return false;
  if (::fstat(fd_, &info) != 0) return fail("stat");
  if (::fchmod(fd_, (info.st_mode & 07777) | 0111) != 0) return fail("chmod");
  return true;
}

bool OutputFile::close() {
  if (fd_ < 0) return false;
  int result = ::close(fd_);
  fd_ = -1;
  if (result != 0) fail("close");
  return ok();
}

bool writeWholeFile(ka::StringRange path, char const* data, size_t size, std::string& error) {
  std::string final = path.str();
  std::string part = final + kPartialFileSuffix;
  OutputFile file(part);
  file.write(data, size);
  if (file.close() && ::rename(part.c_str(), final.c_str()) == 0) return true;
  error = file.ok() ? "rename " + part + ": " + std::strerror(errno) : file.error();
  ::unlink(part.c_str());
  return false;
}

bool makeRealDirectories(ka::StringRange base, ka::StringRange relative, std::string& error) {
  std::string path = base.str();
  std::string_view rest = relative.view();
  while (!rest.empty()) {
    size_t slash = rest.find('/');
    std::string_view component = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    if (component.empty()) continue;
    path += '/';
    path += component;
    struct stat info;
    if (::lstat(path.c_str(), &info) == 0) {
      if (S_ISDIR(info.st_mode)) continue;
      if (!S_ISLNK(info.st_mode)) {
        error = path + " is in the way of a folder";
        return false;
      }
      KA_LOG(Warn) << "Replacing the symbolic link " << path << " with a folder";
      if (::unlink(path.c_str()) != 0) {
        error = "unlink " + path + ": " + std::strerror(errno);
        return false;
      }
    }
    if (::mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
      error = "mkdir " + path + ": " + std::strerror(errno);
      return false;
    }
  }
  return true;
}

}  // namespace vorn
