// A file written from its start that is never reached through a symbolic link: what the updater
// writes under folders whose names came from a server or that a player may have rearranged.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include <string>

#include "ka/string_range.h"

namespace vorn {

// Appended to a file's name while it is written; such a file is a leftover of an interrupted
// write wherever it is found.
inline constexpr char kPartialFileSuffix[] = ".zandor-part";

class OutputFile {
 public:
  // Empty: creates or empties `path`; Keep: creates it or writes on after what it holds. A
  // symbolic link in its place is removed, never followed.
  enum class Start { Empty, Keep };
  explicit OutputFile(ka::StringRange path, mode_t mode = 0644, Start start = Start::Empty);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  // False once anything has failed; the first failure's text is kept.
  bool ok() const { return error_.empty(); }
  std::string const& error() const { return error_; }
  bool write(char const* data, size_t count);
  // Cuts the file to `size` bytes and writes on from there.
  bool truncate(uint64_t size);
  // Appends the whole content of another file.
  bool copyFrom(ka::StringRange sourcePath);
  // Sets all three execute bits on the file written so far.
  bool addExecuteBits();
  // Closes the file and says whether every byte reached it.
  bool close();

 private:
  bool fail(char const* what);

  int fd_ = -1;
  std::string path_;
  std::string error_;
};

// Writes `size` bytes to `path` + kPartialFileSuffix and renames that to `path`, so that readers
// find the old content or the new one whole, never a part. On failure `error` says why.
bool writeWholeFile(ka::StringRange path, char const* data, size_t size, std::string& error);

// Makes each folder of `relative` (components separated by "/") below the existing folder `base`.
// A symbolic link in the way is replaced by a real folder (the link's target is not touched), so
// that nothing written below can land elsewhere. On failure, `error` says which path and why.
bool makeRealDirectories(ka::StringRange base, ka::StringRange relative, std::string& error);

}  // namespace vorn
