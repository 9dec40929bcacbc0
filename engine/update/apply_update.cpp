#include "apply_update.h"

#include <sys/stat.h>

#include <map>
#include <set>
#include <unordered_set>

#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"
#include "platform_util.h"
#include "stage_pool.h"
#include "vorn/osutil.h"
#include "vorn/threadpool.h"

namespace update {

namespace {

// Removes the old file, making it writable first if the system refuses.
bool removeOld(std::string const& target) {
  if (!vorn::osutil::fileExists(target) || vorn::osutil::deleteFile(target)) return true;
  return makeWriteable(target) && vorn::osutil::deleteFile(target);
}

// Installs one unpacked content under each of its names, then consumes the temporary file.
void applyContent(UpdateContext const& context, UpdateProgress& progress, std::string const& checksum,
                  std::vector<ManifestEntry> const& entries) {
  if (progress.canceled) return;
  ++progress.index;
  std::string source = context.getSystemTempPath(checksum);
  for (ManifestEntry const& entry : entries) {
    KA_LOG(Info) << "Updating: " << entry.filename;
    std::string target = context.getSystemGamePath(entry.filename);
    if (!removeOld(target)) {
      KA_LOG(Error) << "Error deleting file: " << entry.filename;
      ++progress.errors;
      continue;
    }
    if (!vorn::osutil::copyFile(source, target)) {
      KA_LOG(Error) << "Unable to copy file: " << source << " to " << target;
      ++progress.errors;
      continue;
    }
    if (entry.executable) {
      struct stat info;
      mode_t mode = ::stat(target.c_str(), &info) == 0 ? (info.st_mode | 0111) : 0751;
      if (::chmod(target.c_str(), mode) != 0) {
        KA_LOG(Error) << "Unable to set permissions for file: " << target << " to " << unsigned(mode);
        ++progress.errors;
      }
    }
  }
  if (!vorn::osutil::deleteFile(source)) KA_LOG(Error) << "Error cleaning up temp file";
}

// The game directory holds what the manifest lists and its stored manifest, nothing else. Names
// compare without regard to case, for file systems that don't tell case apart.
void removeStaleFiles(UpdateContext& context) {
  std::string gameDir = context.gameDir().str();
  std::vector<vorn::FileInfo> onDisk;
  vorn::osutil::listDir(gameDir, onDisk, vorn::LDR_Recurse);
  std::unordered_set<std::string> listed;
  for (ManifestBundle const& bundle : context.manifest()->bundles) {
    for (ManifestEntry const& entry : bundle.entries) listed.insert(ka::strLower(entry.filename));
  }
  std::string manifestFile = context.manifestOnDisk();
  ka::replace(manifestFile, gameDir, "");
  listed.insert(ka::path::nativeToPosix(manifestFile));
  for (vorn::FileInfo const& item : onDisk) {
    std::string relative = item.name;
    ka::replace(relative, gameDir, "");
    relative = ka::path::nativeToPosix(relative);
    if (item.type != vorn::FileInfo::TYPE_File || listed.count(ka::strLower(relative))) continue;
    KA_LOG(Info) << "Delete: " << relative;
    if (!vorn::osutil::deleteFile(item.name)) KA_LOG(Warn) << "Error deleting file : " << relative;
  }
}

}  // namespace

void updateGameFiles(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                     std::vector<ManifestBundle> const& bundles) {
  vorn::ThreadPool pool(stagePoolSize());
  std::map<std::string, std::vector<ManifestEntry>> byContent;
  std::set<std::string> directories;
  for (ManifestBundle const& bundle : bundles) {
    for (ManifestEntry const& entry : bundle.entries) {
      byContent[entry.checksum].push_back(entry);
      directories.insert(ka::path::parent(entry.filename).str());
    }
  }
  for (std::string const& directory : directories) {
    std::string path = context->getSystemGamePath(directory);
    if (!vorn::osutil::mkdirAndParents(path)) KA_LOG(Error) << "Unable to create directory " << path;
  }
  progress->total = uint32_t(byContent.size());
  for (auto const& group : byContent) {
    if (progress->canceled) break;
    pool.enqueue([&context, &progress, &group] { applyContent(*context, *progress, group.first, group.second); });
  }
  pool.shutdown();
  removeStaleFiles(*context);
  if (progress->errors == 0) {
    for (ManifestBundle const& bundle : bundles) vorn::osutil::deleteFile(context->getSystemTempPath(bundle.checksum) + ".bundle");
  } else {
    progress->error = "Failed to update one or more files. Check log for details.";
  }
  progress->done = true;
}

}  // namespace update
