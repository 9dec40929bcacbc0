// Publishing a build directory as a stream: a gzip manifest and content-addressed bundles.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "update/manifest.h"

namespace pack {

struct PackOptions {
  std::string buildDir;
  std::string outDir;
  std::string titleFolder;
  std::string manifestName;
  std::string version;
  std::string patchesFrom;
  std::string previousManifest;  // empty: no earlier version to patch from
  uint64_t bundleSize = 16u << 20;
  std::string signingKey;  // an Ed25519 private key's PEM file; empty: the stream is not signed
};

struct PackResult {
  std::shared_ptr<update::Manifest> manifest;
  size_t bundlesReused = 0;
  uint64_t bytesForPreviousPlayers = 0;  // what a player of the previous version downloads
  uint64_t bytesForNewPlayers = 0;       // what a fresh install downloads
};

// Writes OUT_DIR/T/M and OUT_DIR/T/hashed/<sha1>, and with a signing key OUT_DIR/T/M.sig. The input is examined whole before anything is
// written; bad input throws std::runtime_error naming the path, and leaves no manifest behind.
// The same input always gives byte-identical bundles and manifest text, so packing a build again
// is harmless; a different build under a manifest name that exists is refused.
PackResult build(PackOptions const& options);

// Checks every bundle's size and digest and every entry's digest after unpacking, as the launcher
// would; one line per fault, none if all is well. With a public key (PEM text), the manifest's
// signature is checked too.
std::vector<std::string> verify(std::string const& manifestPath, std::string const& publicKeyPem = "");

}  // namespace pack
