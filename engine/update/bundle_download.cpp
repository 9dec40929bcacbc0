#include "bundle_download.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "bundle_receiver.h"
#include "download.h"
#include "rate_limiter.h"
#include "ka/log.h"
#include "ka/strutil.h"
#include "stage_pool.h"
#include "stream_signature.h"
#include "vorn/osutil.h"
#include "vorn/output_file.h"
#include "vorn/threadpool.h"

namespace update {

namespace {

constexpr int kAttempts = 3;

// What to do with a response's body, decided from its code before the first byte.
void acceptBody(BundleReceiver& receiver, uint32_t code) {
  if (code == 206) return;  // the rest of the kept part
  if (code >= 200 && code < 300) {
    // The whole file, whether or not the rest was asked for.
    if (receiver.kept() > 0) receiver.startOver();
    return;
  }
  receiver.refuse();  // an error page: neither the bundle nor a part of it
}

void discard(std::string const& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) KA_LOG(Warn) << "Unable to remove " << path;
}

// One attempt at one bundle: empty when the bundle arrived whole, else why not. The bytes go to a
// partial file that outlives a failed attempt, a cancel or a killed process, so that the next
// attempt asks only for the rest; the digest over the kept and the new bytes decides, and only a
// whole bundle gets the bundle's name.
std::string downloadAndChecksum(std::shared_ptr<UpdateContext> context, DownloadProgress& progress,
                                std::string const& path, std::string const& url, std::string const& checksum,
                                uint64_t size, std::shared_ptr<RateLimiter> limiter) {
  std::string const part = path + vorn::kPartialFileSuffix;
  // Shared with the sink, which the network thread may still call after this attempt ends.
  auto receiver = std::make_shared<BundleReceiver>(part, vorn::OutputFile::Start::Keep);
  if (!receiver->ok()) return receiver->error();
  uint64_t const kept = receiver->kept();
  uint32_t code = 0;
  if (kept < size || kept == 0) {
    if (kept > 0) KA_LOG(Info) << "Resuming " << checksum << " after " << kept << " bytes";
    progress.bytesExpected = size - kept;
    code = downloadFrom(
        context->http(), url, kept, progress, [receiver](uint32_t status) { acceptBody(*receiver, status); },
        [receiver, limiter](char const* data, unsigned long count) {
          limiter->take(count);
          receiver->take(data, count);
        });
  }
  bool const resumed = kept > 0 && receiver->kept() > 0;
  bool const wrote = receiver->finish();
  if (!wrote || progress.cancelFlag || !progress.error.empty()) {
    // A part is kept for the next attempt unless there is nothing in it, or it no longer fits
    // what the server holds.
    struct stat info;
    if (code == 416 || (::stat(part.c_str(), &info) == 0 && info.st_size == 0)) discard(part);
    if (!wrote) return receiver->error();
    if (progress.cancelFlag) return "canceled";
    return "transfer of " + url + " failed: " + progress.error;
  }
  std::string got = receiver->digest();
  if (got != checksum) {
    discard(part);
    return "checksum mismatch, got " + got + (resumed ? " (resumed after " + std::to_string(kept) + " bytes)" : "");
  }
  if (::rename(part.c_str(), path.c_str()) != 0) return "rename " + part + ": " + std::strerror(errno);
  return std::string();
}

struct DownloadJob {
  std::shared_ptr<UpdateContext> context;
  std::shared_ptr<UpdateProgress> progress;
  std::shared_ptr<DownloadProgress> download;
  std::string path;
  std::string url;
  std::string checksum;
  uint64_t size;
  std::shared_ptr<RateLimiter> limiter;  // shared by all the stage's transfers

  void operator()() const {
    KA_LOG(Info) << "Downloading " << checksum << " to " << path;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
      if (progress->canceled) {
        KA_LOG(Info) << "Download of " << checksum << " canceled";
        return;
      }
      // Each attempt starts clean: an error of an earlier one must not fail a later success.
      download->bytesReceived = 0;
      download->finished = false;
      download->error.clear();
      std::string why = downloadAndChecksum(context, *download, path, url, checksum, size, limiter);
      if (why.empty()) return;
      if (progress->canceled) continue;
      KA_LOG(Warn) << "Attempt " << attempt << " of " << kAttempts << " to download " << checksum
                   << " failed: " << why;
    }
    if (progress->canceled) return;
    KA_LOG(Error) << "Giving up on " << checksum << " after " << kAttempts << " attempts";
    ++progress->errors;
  }
};

// A whole bundle left by an earlier run is kept if its digest is right.
struct VerifyJob {
  DownloadJob fetch;

  void operator()() const {
    if (readAndChecksum(fetch.path, nullptr) == fetch.checksum) {
      KA_LOG(Info) << "Skipping " << fetch.path << ", checksum matches.";
      fetch.download->bytesReceived = fetch.download->bytesExpected.load();
      fetch.download->finished = true;
      return;
    }
    fetch();
  }
};

// Empty when the manifest's signature came and is the trusted key's, else why not.
std::string fetchAndCheckSignature(UpdateContext& context, DownloadProgress& transfer, ka::StringRange manifestName,
                                   std::vector<char> const& zipped, std::vector<char>& signature) {
  std::string url = context.makeManifestUrl(manifestName.str() + kSignatureSuffix);
  download(context.http(), url, transfer, signature);
  if (!transfer.error.empty()) return "transfer of " + url + " failed: " + transfer.error;
  return checkStreamSignature(context.streamPublicKey(), manifestName, zipped, signature);
}

}  // namespace

std::shared_ptr<Manifest> downloadManifest(std::shared_ptr<UpdateContext> context,
                                           std::shared_ptr<UpdateProgress> progress, ka::StringRange manifestName) {
  std::string url = context->makeManifestUrl(manifestName);
  ++progress->index;
  std::string failure;
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    KA_LOG(Info) << "Downloading manifest: " << url;
    DownloadProgress transfer(progress->canceled);
    std::vector<char> zipped;
    download(context->http(), url, transfer, zipped);
    if (progress->canceled) return nullptr;
    if (!transfer.error.empty()) {
      KA_LOG(Warn) << "Attempt " << attempt << " of " << kAttempts << " to download the manifest failed: "
                   << transfer.error;
      failure = ka::stringprintf("Failed to download manifest: %s", manifestName.str().c_str());
      continue;
    }
    KA_LOG(Info) << " done!";
    std::vector<char> signature;
    if (!context->streamPublicKey().empty()) {
      // Checked before a byte of the manifest is read: unsigned text never reaches the parser.
      std::string why = fetchAndCheckSignature(*context, transfer, manifestName, zipped, signature);
      if (progress->canceled) return nullptr;
      if (!why.empty()) {
        KA_LOG(Warn) << "Attempt " << attempt << " of " << kAttempts << ": the manifest's signature: " << why;
        failure = kBadSignatureMessage;
        continue;
      }
    }
    KA_LOG(Info) << "Deserializing manifest";
    std::shared_ptr<Manifest> manifest;
    try {
      manifest = Manifest::fromZippedBytes(zipped);
    } catch (std::runtime_error const& error) {
      // Refused as a whole and never stored: the next run fetches it again.
      KA_LOG(Warn) << "Attempt " << attempt << " of " << kAttempts << ": " << error.what();
      failure = error.what();
      continue;
    }
    KA_LOG(Info) << "Found " << manifest->bundles.size() << " bundles";
    KA_LOG(Info) << "Writing manifest to " << context->manifestOnDisk();
    // Whole or not at all: a stored manifest is believed by later runs.
    std::string why;
    // The signature first: a manifest stored without its own is not believed later.
    std::string signatureOnDisk = context->manifestOnDisk() + kSignatureSuffix;
    if (!signature.empty() && !vorn::writeWholeFile(signatureOnDisk, signature.data(), signature.size(), why)) {
      failure = "Unable to store the manifest's signature: " + why;
      break;
    }
    if (!vorn::writeWholeFile(context->manifestOnDisk(), zipped.data(), zipped.size(), why)) {
      failure = "Unable to store the manifest: " + why;
      break;
    }
    context->setManifest(manifest);
    progress->done = true;
    return manifest;
  }
  KA_LOG(Error) << failure;
  ++progress->errors;
  progress->error = failure;
  progress->done = true;
  return nullptr;
}

void downloadManifestEntries(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                             std::shared_ptr<DownloadProgressAggregator> aggregator,
                             std::vector<ManifestBundle> const& bundles) {
  // The pool's size is also the number of simultaneous transfers. A transfer waits on the network
  // and on its writer rather than on a core: two at least, so that one bundle's request and
  // ending overlap another's body.
  vorn::ThreadPool pool(std::max(2, stagePoolSize()));
  auto limiter = std::make_shared<RateLimiter>(context->downloadRateLimitHolder());
  progress->total = uint32_t(bundles.size());
  for (ManifestBundle const& bundle : bundles) {
    std::shared_ptr<DownloadProgress> transfer = aggregator->addDownload(progress->canceled);
    transfer->bytesExpected = bundle.size;
    DownloadJob job{context, progress, transfer, context->getSystemTempPath(bundle.checksum) + ".bundle",
                    context->makeDownloadUrl(ka::uriEncode(bundle.checksum, false, "/'!*:(),")), bundle.checksum,
                    bundle.size, limiter};
    if (vorn::osutil::fileExists(job.path)) {
      KA_LOG(Info) << "Verifying on-disk file " << job.path;
      pool.enqueue(VerifyJob{job});
    } else {
      pool.enqueue(job);
    }
  }
  // Every job must have ended before the errors are counted: the queue being empty is not enough.
  pool.shutdown();
  if (progress->errors != 0) progress->error = "Failed to download one or more files. Check log for details.";
  progress->done = true;
}

}  // namespace update
