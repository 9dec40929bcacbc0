// The files through which the HTML engine's pictures reach the host: "buffer_N_M" in the user's
// runtime folder ($XDG_RUNTIME_DIR, else "/tmp"), four bytes a pixel in B, G, R, A order. The
// host makes, reads and removes them; the engine fills them.
#pragma once

#include <cstddef>
#include <string>

#include "ka/counted.h"
#include "vorn/rasterizer.h"
#include "webui/listeners.h"

namespace webui {

// Makes a new file at `path`, `size` zero bytes, that only the user may read, and returns its
// descriptor; -1 with errno set if it can't, or if anything is there already, a link included.
int createSurfaceFile(std::string const& path, unsigned long size);

// Makes a zero-filled file of `size` bytes and hands its handle to `response`. A file that
// can't be made is reported on the error stream and handed on with descriptor -1.
SurfaceHandle initSharedMemory(unsigned long size, SurfaceResponse* response);
// As above, having first made `texture` blank, so that no old memory is ever shown.
SurfaceHandle initSharedMemory(unsigned long size, ka::RefNoCount<vorn::Texture> texture, SurfaceResponse* response);
// Uploads the picture into mip 0 of `texture`; false, and nothing done, if the texture's
// width * height * 4 isn't `size` (a picture of another window size) or the file can't be mapped.
bool readFromSharedMemory(SurfaceHandle const& handle, unsigned long size, ka::Ref<vorn::Texture>& texture);
// Copies `size` bytes of the picture; false if the file can't be mapped.
bool readFromSharedMemory(SurfaceHandle const& handle, unsigned long size, void* destination);
bool readFromSharedMemoryIntoBuffer(SurfaceHandle const& handle, char* destination, unsigned long size);
// For a cursor drawn by the page: the picture is mapped and left alone, as no platform shows
// page-drawn cursors yet.
void readFromSharedMemoryIntoCursor(SurfaceHandle const& handle, unsigned long size, unsigned long width,
                                    unsigned long height, unsigned long hotX, unsigned long hotY);
void destroySharedMemory(SurfaceHandle const& handle);

}  // namespace webui
