// Any file given to the manifest reader ends in a manifest or a std::runtime_error.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "update/manifest.h"
#include "vorn/gzip.h"

namespace {

// One file per fuzzing process, rewritten for every input.
std::string const& scratchFile() {
  static std::string path = [] {
    char const* dir = std::getenv("TMPDIR");
    std::string p = std::string(dir && *dir ? dir : "/tmp") + "/zandor-manifest-fuzz-" + std::to_string(getpid());
    return p;
  }();
  return path;
}

void readManifest(std::string const& path) {
  try {
    auto manifest = update::Manifest::fromZippedFile(path);
    if (manifest) update::Manifest::toJson(manifest);
  } catch (std::runtime_error const&) {
  }
}

void writeFile(std::string const& path, char const* bytes, size_t size) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  std::fwrite(bytes, 1, size, f);
  std::fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string const& path = scratchFile();
  char const* bytes = reinterpret_cast<char const*>(data);
  // The raw bytes test the gzip layer; the same bytes compressed reach the Json and manifest layers.
  writeFile(path, bytes, size);
  readManifest(path);
  std::vector<char> zipped;
  if (vorn::gzip(std::vector<char>(bytes, bytes + size), zipped)) {
    writeFile(path, zipped.data(), zipped.size());
    readManifest(path);
  }
  return 0;
}
