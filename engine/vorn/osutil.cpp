#include "osutil.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ka/pathutil.h"
#include "ka/strutil.h"
#include "output_file.h"

namespace vorn::osutil {

namespace {

// A File on a C stream, closed with the object.
class StdioFile final : public File {
 public:
  explicit StdioFile(FILE* stream) : stream_(stream) {}
  ~StdioFile() override { std::fclose(stream_); }

  long long read(void* buffer, long long bytes) override {
    size_t got = std::fread(buffer, 1, size_t(bytes), stream_);
    return std::ferror(stream_) ? -1 : (long long)got;
  }
  long long tell() override { return ftello(stream_); }
  int seek(long long offset, SeekMode mode) override {
    int whence = mode == SEEK_FromCurrent ? SEEK_CUR : mode == SEEK_FromEnd ? SEEK_END : SEEK_SET;
    return fseeko(stream_, offset, whence);
  }
  long long size() override {
    long long here = tell();
    seek(0, SEEK_FromEnd);
    long long end = tell();
    seek(here, SEEK_FromStart);
    return end;
  }

 private:
  FILE* stream_;
};

// Closes a directory handle at the end of the scope.
class ScopedDIR {
 public:
  explicit ScopedDIR(std::string const& path) : dir_(::opendir(path.c_str())) {}
  ~ScopedDIR() {
    if (dir_) ::closedir(dir_);
  }
  ScopedDIR(ScopedDIR const&) = delete;
  ScopedDIR& operator=(ScopedDIR const&) = delete;
  DIR* get() const { return dir_; }

 private:
  DIR* dir_;
};

// Regular file, directory, or neither; readdir may not know, and then lstat decides.
enum class Kind { Other, File, Directory };

Kind kindOf(dirent const* entry, std::string const& hostPath) {
  if (entry->d_type == DT_REG) return Kind::File;
  if (entry->d_type == DT_DIR) return Kind::Directory;
  if (entry->d_type != DT_UNKNOWN) return Kind::Other;
  struct stat info;
  if (::lstat(hostPath.c_str(), &info) != 0) return Kind::Other;
  if (S_ISREG(info.st_mode)) return Kind::File;
  return S_ISDIR(info.st_mode) ? Kind::Directory : Kind::Other;
}

}  // namespace

bool fileExists(ka::StringRange path) {
  struct stat info;
  return ::stat(path.str().c_str(), &info) == 0;
}

uint64_t fileSize(ka::StringRange path) {
  struct stat info;
  if (::stat(path.str().c_str(), &info) != 0) return ~uint64_t(0);
  return uint64_t(info.st_size);
}

std::unique_ptr<File> fileOpen(ka::StringRange path) {
  FILE* stream = std::fopen(path.str().c_str(), "rb");
  if (!stream) return nullptr;
  return std::make_unique<StdioFile>(stream);
}

bool mkdir(ka::StringRange path) {
  std::string p = path.str();
  if (::mkdir(p.c_str(), 0777) == 0) return true;
  if (errno != EEXIST) return false;
  struct stat info;
  return ::stat(p.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool mkdirAndParents(ka::StringRange path) {
  if (path.empty()) return false;
  std::vector<std::string> fields;
  ka::split(path, std::string(ka::path::validPathDelimiters()), fields);
  std::string const delimiter = ka::path::nativePathDelimiter();
  // Walk back from the whole path to the deepest directory that exists or can be made...
  size_t made = fields.size();
  std::string text;
  while (true) {
    text.clear();
    for (size_t i = 0; i < made; ++i) text += fields[i] + delimiter;
    if (mkdir(text)) break;
    if (made == 1) return false;
    --made;
  }
  // ...then forward again through the fields dropped on the way.
  for (size_t i = made; i < fields.size(); ++i) {
    text += delimiter + fields[i];
    if (!mkdir(text)) return false;
  }
  return true;
}

bool rmdir(ka::StringRange path) { return ::rmdir(path.str().c_str()) == 0; }

bool touch(ka::StringRange path) {
  FILE* stream = std::fopen(path.str().c_str(), "wb");
  if (!stream) return false;
  std::fclose(stream);
  return true;
}

bool copyFile(ka::StringRange from, ka::StringRange to) {
  OutputFile out(to);
  out.copyFrom(from);
  return true;
}

bool renameFile(ka::StringRange from, ka::StringRange to) {
  return std::rename(from.str().c_str(), to.str().c_str()) == 0;
}

bool deleteFile(ka::StringRange path) { return ::unlink(path.str().c_str()) == 0; }

bool walkDirectory(std::string const& hostDir, std::string const& virtualDir, ListDirRecurse recurse,
                   std::function<void(DirEntry const&)> const& visit) {
  ScopedDIR dir(hostDir);
  if (!dir.get()) return false;
  while (dirent* entry = ::readdir(dir.get())) {
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    DirEntry found{ka::path::join(hostDir, entry->d_name), virtualDir + "/" + entry->d_name, false};
    Kind kind = kindOf(entry, found.hostPath);
    if (kind == Kind::Other) continue;
    found.isDirectory = kind == Kind::Directory;
    visit(found);
    if (found.isDirectory && recurse == LDR_Recurse) walkDirectory(found.hostPath, found.virtualPath, recurse, visit);
  }
  return true;
}

bool statInfo(std::string const& hostPath, FileInfo& info) {
  struct stat st;
  if (::stat(hostPath.c_str(), &st) != 0) return false;
  info.size = uint64_t(st.st_size);
  info.modified = int64_t(st.st_mtime);
  info.type = S_ISDIR(st.st_mode) ? FileInfo::TYPE_Directory : FileInfo::TYPE_File;
  return true;
}

bool listDir(ka::StringRange path, std::vector<std::string>& out, ListDirRecurse recurse) {
  return walkDirectory(path.str(), path.str(), recurse, [&](DirEntry const& e) { out.push_back(e.hostPath); });
}

bool listDir(ka::StringRange path, std::vector<FileInfo>& out, ListDirRecurse recurse) {
  return walkDirectory(path.str(), path.str(), recurse, [&](DirEntry const& e) {
    FileInfo info;
    if (!statInfo(e.hostPath, info)) return;
    info.name = e.hostPath;
    out.push_back(std::move(info));
  });
}

}  // namespace vorn::osutil
