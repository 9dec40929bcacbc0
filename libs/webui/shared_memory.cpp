#include "webui/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

namespace webui {

SurfaceHandle initSharedMemory(unsigned long size, SurfaceResponse* response) {
  // Unseeded, so that runs reuse the same names and a file left by a crash is taken over.
  std::string name = "/tmp/buffer_" + std::to_string(std::rand()) + "_" + std::to_string(std::rand());
  SurfaceHandle handle;
  std::strncpy(handle.name, name.c_str(), sizeof handle.name - 1);
  handle.fd = ::open(handle.name, O_RDWR | O_CREAT, 0666);
  if (handle.fd < 0) std::cerr << "Could not create file " << name << " error " << errno << std::endl;
  // Truncating to nothing first clears what an earlier run left in a reused file.
  if (handle.fd >= 0 && (::ftruncate(handle.fd, 0) != 0 || ::ftruncate(handle.fd, off_t(size)) != 0))
    std::cerr << "Could not size file " << name << " error " << errno << std::endl;
  response->Signal(handle);
  return handle;
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
