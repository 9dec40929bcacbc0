// The filesystem over host directories, through the C library.
#include <strings.h>

#include <list>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "filesystem.h"
#include "ka/die.h"
#include "ka/pathutil.h"
#include "osutil.h"

namespace vorn {

namespace {

// A host directory laid over a virtual prefix; both always end in "/".
struct MountPoint {
  MountPoint(ka::StringRange host, ka::StringRange prefix) : pathname(host.str()), mount_point(prefix.str()) {
    if (!ka::path::isAbsolute(host)) throw std::runtime_error("pathname must be absolute");
    if (!ka::path::isAbsolute(prefix)) throw std::runtime_error("mount_point must be absolute");
    if (pathname.back() != '/') pathname += '/';
    if (mount_point.back() != '/') mount_point += '/';
  }

  // Virtual prefixes compare without regard to case.
  bool covers(std::string_view path) const {
    return path.size() >= mount_point.size() &&
           strncasecmp(path.data(), mount_point.data(), mount_point.size()) == 0;
  }
  std::string hostPath(std::string_view path) const { return pathname + std::string(path.substr(mount_point.size())); }

  std::string pathname;
  std::string mount_point;
};

class StdioFilesystem final : public Filesystem {
 public:
  void mount(ka::StringRange pathname, ka::StringRange mount_point, bool) override {
    MountPoint entry(pathname, mount_point);
    bool isRoot = mount_point.size() == 1 && mount_point[0] == '/';
    if (mounts_.empty() || !isRoot) {
      mounts_.push_front(std::move(entry));
    } else {
      mounts_.insert(std::prev(mounts_.end()), std::move(entry));
    }
  }

  bool exists(ka::StringRange path) override { return osutil::fileExists(getSystemPath(path, nullptr)); }

  uint64_t size(ka::StringRange path) override { return osutil::fileSize(getSystemPath(path, nullptr)); }

  std::unique_ptr<File> open(ka::StringRange path, ka::RefNoCount<ChangeWatcher>) override {
    return osutil::fileOpen(getSystemPath(path, nullptr));
  }

  bool listDir(ka::StringRange path, std::vector<std::string>& out, ListDirRecurse recurse) override {
    std::unordered_set<std::string> found;
    walkMounts(path, recurse, [&](osutil::DirEntry const& e) { found.insert(e.virtualPath); });
    out.assign(found.begin(), found.end());
    return true;
  }

  bool listDir(ka::StringRange path, std::vector<FileInfo>& out, ListDirRecurse recurse) override {
    std::unordered_map<std::string, FileInfo> found;
    walkMounts(path, recurse, [&](osutil::DirEntry const& e) {
      if (found.count(e.virtualPath)) return;
      FileInfo info;
      if (!osutil::statInfo(e.hostPath, info)) return;
      info.name = e.virtualPath;
      found.emplace(e.virtualPath, std::move(info));
    });
    out.clear();
    for (auto& [name, info] : found) out.push_back(std::move(info));
    return true;
  }

  std::string getSystemPath(ka::StringRange path, ka::RefNoCount<ChangeWatcher>) override {
    if (path.empty() || path[0] != '/') ka::die("path must start with a slash");
    for (auto it = mounts_.begin(); it != mounts_.end(); ++it) {
      if (!it->covers(path.view())) continue;
      std::string candidate = it->hostPath(path.view());
      if (std::next(it) == mounts_.end() || osutil::fileExists(candidate)) return candidate;
    }
    ka::die("path not mounted");
  }

  void update(float) override {}

  void shutdown() override { mounts_.clear(); }

 private:
  // Visits the directory `path` in every mount that covers it, front mount first.
  void walkMounts(ka::StringRange path, ListDirRecurse recurse,
                  std::function<void(osutil::DirEntry const&)> const& visit) {
    std::string virtualDir = path.str();
    if (!virtualDir.empty() && virtualDir.back() == '/') virtualDir.pop_back();
    for (MountPoint const& m : mounts_) {
      if (m.covers(path.view())) osutil::walkDirectory(m.hostPath(path.view()), virtualDir, recurse, visit);
    }
  }

  std::list<MountPoint> mounts_;
};

}  // namespace

ka::Ref<Filesystem> createStdioFilesystem() { return ka::Ref<Filesystem>(new StdioFilesystem); }

Filesystem* createStdioFilesystemNoCount() { return new StdioFilesystem; }

}  // namespace vorn
