// A read-only virtual filesystem: paths begin with "/" and resolve through ordered mount points.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ka/counted.h"
#include "ka/string_range.h"

namespace vorn {

class ChangeWatcher;

enum SeekMode { SEEK_FromStart = 0, SEEK_FromCurrent = 1, SEEK_FromEnd = 2 };

enum ListDirRecurse { LDR_ThisDirectory = 0, LDR_Recurse = 1 };

struct FileInfo {
  enum Type : int32_t { TYPE_File = 1, TYPE_Directory = 2 };

  std::string name;  // a virtual or a host path, as the listing operation says
  uint64_t size = 0;
  int64_t modified = 0;  // seconds since the epoch
  Type type = TYPE_File;
};

// An open file with one owner.
class File {
 public:
  virtual ~File() = default;
  // Bytes read, or -1 on a read error.
  virtual long long read(void* buffer, long long bytes) = 0;
  virtual long long tell() = 0;
  // The system's result: 0 on success.
  virtual int seek(long long offset, SeekMode mode) = 0;
  virtual long long size() = 0;
};

class Filesystem : public ka::Counted {
 public:
  // The latest specific mount is searched first; root mounts queue up in front of the first one,
  // which stays last and answers for every path.
  virtual void mount(ka::StringRange pathname, ka::StringRange mount_point, bool isRoot) = 0;
  virtual bool exists(ka::StringRange path) = 0;
  virtual uint64_t size(ka::StringRange path) = 0;
  virtual std::unique_ptr<File> open(ka::StringRange path, ka::RefNoCount<ChangeWatcher> watcher) = 0;
  virtual bool listDir(ka::StringRange path, std::vector<std::string>& out, ListDirRecurse recurse) = 0;
  virtual bool listDir(ka::StringRange path, std::vector<FileInfo>& out, ListDirRecurse recurse) = 0;
  // The host path of a virtual path; an unmounted or relative path is a programming fault.
  virtual std::string getSystemPath(ka::StringRange path, ka::RefNoCount<ChangeWatcher> watcher) = 0;
  virtual void update(float seconds) = 0;
  virtual void shutdown() = 0;
};

ka::Ref<Filesystem> createStdioFilesystem();
Filesystem* createStdioFilesystemNoCount();

}  // namespace vorn
