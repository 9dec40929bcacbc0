// What a game build consists of: bundles, and the files stored in each.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ka/json.h"
#include "ka/string_range.h"

namespace update {

// One file of the build, stored in a bundle at `offset`.
struct ManifestEntry {
  std::string filename;   // below the game directory, beginning with "/"
  std::string checksum;   // SHA-1 of the uncompressed content, lower-case hex
  std::string checksumZ;  // of the compressed form; carried, never verified
  uint64_t size = 0;
  uint64_t sizeZ = 0;  // 0: stored raw
  uint64_t offset = 0;
  bool executable = false;
};

// A file on the server named by its SHA-1, the concatenation of its entries' data.
struct ManifestBundle {
  std::string checksum;
  uint64_t size = 0;
  std::vector<ManifestEntry> entries;
};

struct Manifest {
  std::string version;
  std::string patchesFrom;
  std::vector<ManifestBundle> bundles;

  // Never null. A document of the wrong shape, a file name that is no plain path below the game
  // folder ("..", "." or empty components, NUL), a checksum that is not 40 lower-case hex digits
  // or a name listed twice throws std::runtime_error naming the first such record.
  static std::shared_ptr<Manifest> fromJson(ka::Json const& json);
  // Null if the file can't be opened; anything wrong with its content throws std::runtime_error.
  static std::shared_ptr<Manifest> fromZippedFile(ka::StringRange path);
  // The bytes of a manifest file, gzip or zlib; throws as fromZippedFile does.
  static std::shared_ptr<Manifest> fromZippedBytes(std::vector<char> const& zipped);
  static ka::Json toJson(std::shared_ptr<Manifest> manifest);
};

// SHA-1 text of a file read in 128 KiB chunks, or empty if it can't be opened or read; the
// content is appended to `bytes` when given.
std::string readAndChecksum(ka::StringRange path, std::vector<char>* bytes);
// MD5 text of a whole file read at once, or empty if it can't be opened.
std::string readAndChecksumMD5(ka::StringRange path, std::vector<char>* bytes);
std::string checksumBytes(std::vector<char> const& bytes);

}  // namespace update
