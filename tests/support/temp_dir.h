// A fresh directory under the system's temporary directory, removed with everything in it.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zandor-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(TempDir const&) = delete;
  TempDir& operator=(TempDir const&) = delete;

  std::string const& path() const { return path_; }
  std::string file(std::string const& name) const { return path_ + "/" + name; }

  std::string write(std::string const& name, std::vector<char> const& bytes) const {
    std::string p = file(name);
    std::ofstream(p, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
    return p;
  }
  std::string write(std::string const& name, std::string const& text) const {
    return write(name, std::vector<char>(text.begin(), text.end()));
  }

 private:
  std::string path_;
};
