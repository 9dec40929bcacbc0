// Direct operations on host paths, for the update engine. Absences are results, never exceptions.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "filesystem.h"

namespace vorn::osutil {

bool fileExists(ka::StringRange path);
// All bits set if the file can't be examined.
uint64_t fileSize(ka::StringRange path);
std::unique_ptr<File> fileOpen(ka::StringRange path);
// An existing directory counts as made; an existing file does not.
bool mkdir(ka::StringRange path);
bool mkdirAndParents(ka::StringRange path);
bool rmdir(ka::StringRange path);
// Creates the file, or empties it if it exists.
bool touch(ka::StringRange path);
// Never writes through a symbolic link at `to`. True whatever happened: callers that must know
// compare the files afterwards, or use OutputFile.
bool copyFile(ka::StringRange from, ka::StringRange to);
bool renameFile(ka::StringRange from, ka::StringRange to);
bool deleteFile(ka::StringRange path);
// Appends host paths of regular files and directories, in directory order; links are skipped.
bool listDir(ka::StringRange path, std::vector<std::string>& out, ListDirRecurse recurse);
bool listDir(ka::StringRange path, std::vector<FileInfo>& out, ListDirRecurse recurse);

// One entry met by walkDirectory.
struct DirEntry {
  std::string hostPath;
  std::string virtualPath;
  bool isDirectory;
};

// Visits the regular files and directories below `hostDir`, naming each by its host path and by
// `virtualDir` + "/" + name; false if `hostDir` can't be opened.
bool walkDirectory(std::string const& hostDir, std::string const& virtualDir, ListDirRecurse recurse,
                   std::function<void(DirEntry const&)> const& visit);

// Size, time and kind of a host path; false if it can't be examined.
bool statInfo(std::string const& hostPath, FileInfo& info);

}  // namespace vorn::osutil
