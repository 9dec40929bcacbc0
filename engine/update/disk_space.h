// Whether the disks can hold an update before any of it is fetched: the bundles to fetch and the
// files they hold go to the cache, and the files land in the game folder, where the files they
// replace give their space back.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "update/manifest.h"
#include "update/update_context.h"

namespace update {

// The free bytes of the file system holding `path`, and which file system that is.
struct FreeSpace {
  uint64_t bytes = 0;
  uint64_t device = 0;
};
using FreeSpaceProbe = std::function<bool(std::string const& path, FreeSpace& out)>;

// statvfs and stat; false where the path can't be asked about.
bool probeFreeSpace(std::string const& path, FreeSpace& out);

struct SpaceNeeded {
  uint64_t cache = 0;  // bundles not yet in the cache, and the files they hold
  uint64_t game = 0;   // the files, less those they replace; never below 0
};
SpaceNeeded spaceNeeded(UpdateContext const& context, std::vector<ManifestBundle> const& bundles);

// Empty when there is room, else "Not enough disk space: need X, have Y" for the first file
// system short of room. Where the cache and the game folder share a file system, the cache's need
// is the whole need, as the unpacked files move into the game. A file system that can't be asked
// about is taken to have room.
std::string checkDiskSpace(UpdateContext const& context, std::vector<ManifestBundle> const& bundles,
                           FreeSpaceProbe const& probe = probeFreeSpace);

}  // namespace update
