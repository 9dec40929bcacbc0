#include "webui/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace webui {
namespace {

// The user's own runtime folder when there is one; its name must leave room in the handle.
std::string surfaceFolder() {
  char const* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && runtime[0] == '/' && std::strlen(runtime) < sizeof SurfaceHandle::name - 32) return runtime;
  return "/tmp";
}

uint32_t randomNumber() {
  uint32_t number = 0;
  while (::getrandom(&number, sizeof number, 0) != ssize_t(sizeof number)) {
  }
  return number;
}

}  // namespace

int createSurfaceFile(std::string const& path, unsigned long size) {
  // The folder may be shared ("/tmp"): only a file made here and now is ours, never one that
  // someone placed at the name, and a picture of the page is for the user's eyes alone.
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd >= 0 && ::ftruncate(fd, off_t(size)) != 0) {
    int error = errno;
    ::close(fd);
    ::unlink(path.c_str());
    errno = error;
    return -1;
  }
  return fd;
}

SurfaceHandle initSharedMemory(unsigned long size, SurfaceResponse* response) {
  // A name nobody can guess; a taken one is passed over for another.
  std::string name;
  SurfaceHandle handle;
  for (int attempt = 0; attempt < 8 && handle.fd < 0; ++attempt) {
    name = surfaceFolder() + "/buffer_" + std::to_string(randomNumber()) + "_" + std::to_string(randomNumber());
    handle.fd = createSurfaceFile(name, size);
    if (handle.fd < 0 && errno != EEXIST) break;
  }
  if (handle.fd < 0) std::cerr << "Could not create file " << name << " error " << errno << std::endl;
  std::strncpy(handle.name, name.c_str(), sizeof handle.name - 1);
  response->Signal(handle);
  return handle;
}

SurfaceHandle initSharedMemory(unsigned long size, ka::RefNoCount<vorn::Texture> texture, SurfaceResponse* response) {
  std::vector<unsigned char> blank(size, 0);
  texture->setBits(0, blank.data(), 0, vorn::CUBE_PositiveX);
  return initSharedMemory(size, response);
}

bool readFromSharedMemory(SurfaceHandle const& handle, unsigned long size, ka::Ref<vorn::Texture>& texture) {
  if ((unsigned long)(texture->width()) * (unsigned long)(texture->height()) * 4 != size) return false;
  void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, handle.fd, 0);
  if (mapped == MAP_FAILED) return false;
  texture->setBits(0, mapped, 0, vorn::CUBE_PositiveX);
  ::munmap(mapped, size);
  return true;
}

bool readFromSharedMemory(SurfaceHandle const& handle, unsigned long size, void* destination) {
  return readFromSharedMemoryIntoBuffer(handle, static_cast<char*>(destination), size);
}

bool readFromSharedMemoryIntoBuffer(SurfaceHandle const& handle, char* destination, unsigned long size) {
  void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, handle.fd, 0);
  if (mapped == MAP_FAILED) return false;
  std::memcpy(destination, mapped, size);
  ::munmap(mapped, size);
  return true;
}

void readFromSharedMemoryIntoCursor(SurfaceHandle const& handle, unsigned long size, unsigned long, unsigned long,
                                    unsigned long, unsigned long) {
  void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, handle.fd, 0);
  if (mapped != MAP_FAILED) ::munmap(mapped, size);
}

void destroySharedMemory(SurfaceHandle const& handle) {
  if (handle.fd >= 0) ::close(handle.fd);
  ::unlink(handle.name);
}

}  // namespace webui
