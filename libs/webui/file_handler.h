// How the HTML engine reads the page's files: every "coui://" URL goes through a FileHandler.
// Both handlers answer at once, on the calling thread, and neither writes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ka/counted.h"
#include "vorn/filesystem.h"

namespace webui {

// Where a read delivers its bytes.
class ResourceResponse {
 public:
  // A buffer of `size` bytes for the content, or null if none can be had.
  virtual void* GetBuffer(size_t size) = 0;
  virtual void SignalSuccess() = 0;
  virtual void SignalFailure() = 0;

 protected:
  ~ResourceResponse() = default;
};

// What a page wanted to write.
class ResourceData {
 public:
  virtual void SignalFailure() = 0;

 protected:
  ~ResourceData() = default;
};

class FileHandler {
 public:
  virtual ~FileHandler() = default;
  virtual void ReadFile(wchar_t const* url, ResourceResponse* response) = 0;
  // Always refused: a page can never write files.
  virtual void WriteFile(wchar_t const* url, ResourceData* data);
};

// Plain files below one folder: "coui://ui/a/b.html" is root/a/b.html.
class ExternalFileHandler : public FileHandler {
 public:
  explicit ExternalFileHandler(std::string root) : root_(std::move(root)) {}
  void ReadFile(wchar_t const* url, ResourceResponse* response) override;

 private:
  std::string root_;
};

// Files of the virtual filesystem below "/ui/", and the boot files that "/ui/boot.json" lists,
// joined into one script and one style sheet under fixed URLs.
class SynchronousFileHandler : public FileHandler {
 public:
  static constexpr char const* kBootJsPath = "/ui/alpha/shared/js/boot.js";
  static constexpr char const* kBootCssPath = "/ui/alpha/shared/css/boot.css";

  // With `disableBootCache` the boot files are built anew for each request.
  SynchronousFileHandler(ka::RefNoCount<vorn::Filesystem> filesystem, bool disableBootCache);
  void ReadFile(wchar_t const* url, ResourceResponse* response) override;
  // Builds both boot files; a broken list is logged and leaves what was built so far.
  void createBootFiles();

 private:
  void serveBootFile(std::vector<char>& file, ResourceResponse* response);

  ka::RefNoCount<vorn::Filesystem> filesystem_;
  bool disableBootCache_;
  std::vector<char> bootJs_;
  std::vector<char> bootCss_;
};

}  // namespace webui
