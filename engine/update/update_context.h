// What every stage of one stream's update shares: directories, server URLs, HTTP client, manifest.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "ka/string_range.h"
#include "manifest.h"
#include "net/http.h"

namespace update {

// The one place where the manifest's relative names become URLs and local paths.
class UpdateContext {
 public:
  virtual std::shared_ptr<Manifest> manifest() = 0;
  virtual std::string manifestOnDisk() const = 0;
  virtual std::shared_ptr<net::HttpLoader> http() = 0;
  virtual ka::StringRange updateUrl() const = 0;
  virtual ka::StringRange downloadAuthSuffix() const = 0;
  virtual ka::StringRange gameDir() const = 0;
  virtual ka::StringRange tempDir() const = 0;
  // The folder below the server base where bundles lie; a final "/" is added if missing.
  virtual void setDownloadPath(ka::StringRange path) = 0;
  virtual void setManifest(std::shared_ptr<Manifest> manifest) = 0;
  virtual void setManifestOnDisk(std::string const& path) = 0;
  // Appended verbatim to every URL; it brings its own "?".
  virtual void setDownloadAuthSuffix(ka::StringRange suffix) = 0;
  // Bytes a second that all bundle downloads together may take, 0 for no limit; shared with
  // whoever sets it, and read as the bytes arrive, so that a change takes effect at once.
  virtual void setDownloadRateLimit(std::shared_ptr<std::atomic<uint64_t>> limit) = 0;
  // Null when none was set.
  virtual std::shared_ptr<std::atomic<uint64_t>> downloadRateLimitHolder() const = 0;
  // The PEM public key that must have signed the manifest; empty: manifests need no signature.
  virtual void setStreamPublicKey(std::string const& pem) = 0;
  virtual std::string const& streamPublicKey() const = 0;
  // Names are joined as they come: they must be URL-encoded already.
  virtual std::string makeManifestUrl(ka::StringRange name) const = 0;
  virtual std::string makeDownloadUrl(ka::StringRange name) const = 0;
  virtual std::string getSystemGamePath(ka::StringRange path) const = 0;
  virtual std::string getSystemTempPath(ka::StringRange path) const = 0;

 protected:
  ~UpdateContext() = default;
};

// `updateUrl` gets a final "/" if it has none; the directories lose any final "/".
std::shared_ptr<UpdateContext> createUpdateContext(std::shared_ptr<net::HttpLoader> http, ka::StringRange gameDir,
                                                   ka::StringRange tempDir, ka::StringRange updateUrl);

}  // namespace update
