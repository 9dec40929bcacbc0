#include "update_context.h"

#include "ka/pathutil.h"

namespace update {

namespace {

void endWithSlash(std::string& text) {
  if (text.empty() || text.back() != '/') text += '/';
}

class UpdateContextImpl final : public UpdateContext {
 public:
  UpdateContextImpl(std::shared_ptr<net::HttpLoader> loader, ka::StringRange game, ka::StringRange temp,
                    ka::StringRange url)
      : http_(std::move(loader)),
        updateUrl_(url.str()),
        gameDir_(ka::path::withoutFinalDelimiters(game)),
        tempDir_(ka::path::withoutFinalDelimiters(temp)) {
    endWithSlash(updateUrl_);
  }

  std::shared_ptr<Manifest> manifest() override { return manifest_; }
  std::string manifestOnDisk() const override { return manifestOnDisk_; }
  std::shared_ptr<net::HttpLoader> http() override { return http_; }
  ka::StringRange updateUrl() const override { return updateUrl_; }
  ka::StringRange downloadAuthSuffix() const override { return downloadAuthSuffix_; }
  ka::StringRange gameDir() const override { return gameDir_; }
  ka::StringRange tempDir() const override { return tempDir_; }

  void setDownloadRateLimit(std::shared_ptr<std::atomic<uint64_t>> limit) override { rateLimit_ = std::move(limit); }
  std::shared_ptr<std::atomic<uint64_t>> downloadRateLimitHolder() const override { return rateLimit_; }
  void setStreamPublicKey(std::string const& pem) override { streamPublicKey_ = pem; }
  std::string const& streamPublicKey() const override { return streamPublicKey_; }
  void setDownloadPath(ka::StringRange path) override {
    downloadPath_ = path.str();
    endWithSlash(downloadPath_);
  }
  void setManifest(std::shared_ptr<Manifest> manifest) override { manifest_ = std::move(manifest); }
  void setManifestOnDisk(std::string const& path) override { manifestOnDisk_ = path; }
  void setDownloadAuthSuffix(ka::StringRange suffix) override { downloadAuthSuffix_ = suffix.str(); }

  std::string makeManifestUrl(ka::StringRange name) const override {
    return updateUrl_ + name.str() + downloadAuthSuffix_;
  }
  std::string makeDownloadUrl(ka::StringRange name) const override {
    return updateUrl_ + downloadPath_ + name.str() + downloadAuthSuffix_;
  }
  std::string getSystemGamePath(ka::StringRange path) const override {
    return ka::path::join(gameDir_, ka::path::posixToNative(path));
  }
  std::string getSystemTempPath(ka::StringRange path) const override {
    return ka::path::join(tempDir_, ka::path::posixToNative(path));
  }

 private:
  std::shared_ptr<Manifest> manifest_;
  std::shared_ptr<net::HttpLoader> http_;
  std::string updateUrl_;
  std::string downloadAuthSuffix_;
  std::string downloadPath_;
  std::shared_ptr<std::atomic<uint64_t>> rateLimit_;
  std::string streamPublicKey_;
  std::string gameDir_;
  std::string tempDir_;
  std::string manifestOnDisk_;
};

}  // namespace

std::shared_ptr<UpdateContext> createUpdateContext(std::shared_ptr<net::HttpLoader> http, ka::StringRange gameDir,
                                                   ka::StringRange tempDir, ka::StringRange updateUrl) {
  return std::make_shared<UpdateContextImpl>(std::move(http), gameDir, tempDir, updateUrl);
}

}  // namespace update
