#include "update/disk_space.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "ka/printutil.h"
#include "vorn/output_file.h"

namespace update {

namespace {

uint64_t sizeOnDisk(std::string const& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? uint64_t(info.st_size) : 0;
}

std::string shortOfRoom(uint64_t need, uint64_t have) {
  std::ostringstream text;
  text << "Not enough disk space: need " << ka::Bytes{need} << ", have " << ka::Bytes{have};
  return text.str();
}

}  // namespace

bool probeFreeSpace(std::string const& path, FreeSpace& out) {
  struct statvfs volume;
  struct stat info;
  if (::statvfs(path.c_str(), &volume) != 0 || ::stat(path.c_str(), &info) != 0) return false;
  out.bytes = uint64_t(volume.f_bavail) * uint64_t(volume.f_frsize);
  out.device = uint64_t(info.st_dev);
  return true;
}

SpaceNeeded spaceNeeded(UpdateContext const& context, std::vector<ManifestBundle> const& bundles) {
  SpaceNeeded need;
  uint64_t files = 0, replaced = 0;
  std::set<std::string> contents;
  for (ManifestBundle const& bundle : bundles) {
    // A bundle partly or wholly in the cache already needs only the rest.
    std::string cached = context.getSystemTempPath(bundle.checksum) + ".bundle";
    uint64_t kept = std::max(sizeOnDisk(cached), sizeOnDisk(cached + vorn::kPartialFileSuffix));
    need.cache += bundle.size > kept ? bundle.size - kept : 0;
    for (ManifestEntry const& entry : bundle.entries) {
      // Equal content is unpacked once, and installed under each name.
      if (contents.insert(entry.checksum).second) need.cache += entry.size;
      files += entry.size;
      replaced += sizeOnDisk(context.getSystemGamePath(entry.filename));
    }
  }
  need.game = files > replaced ? files - replaced : 0;
  return need;
}

std::string checkDiskSpace(UpdateContext const& context, std::vector<ManifestBundle> const& bundles,
                           FreeSpaceProbe const& probe) {
  SpaceNeeded need = spaceNeeded(context, bundles);
  FreeSpace cache, game;
  bool knowCache = probe(context.tempDir().str(), cache), knowGame = probe(context.gameDir().str(), game);
  if (knowCache && knowGame && cache.device == game.device) {
    // One file system: the unpacked files are moved into the game, so the most it holds at once
    // is at the end of the unpack, before any old file is replaced.
    return need.cache > cache.bytes ? shortOfRoom(need.cache, cache.bytes) : std::string();
  }
  if (knowCache && need.cache > cache.bytes) return shortOfRoom(need.cache, cache.bytes);
  if (knowGame && need.game > game.bytes) return shortOfRoom(need.game, game.bytes);
  return std::string();
}

}  // namespace update
