#include "bundle_download.h"

#include <fstream>
#include <mutex>

#include "download.h"
#include "ka/log.h"
#include "ka/sha1.h"
#include "ka/strutil.h"
#include "stage_pool.h"
#include "vorn/gzip.h"
#include "vorn/osutil.h"
#include "vorn/threadpool.h"

namespace update {

namespace {

// Where one attempt's body goes: digested and written on a writer thread of its own, in order
// of arrival, so that the network thread only copies. Shared with the sink, because after a
// cancel the network thread may still deliver a chunk or two while the attempt has moved on.
struct Receiver {
  explicit Receiver(std::string const& path) : file(path, std::ios::binary | std::ios::trunc) { sha1.reset(); }

  void take(char const* data, unsigned long count) {
    auto chunk = std::make_shared<std::vector<char>>(data, data + count);
    std::lock_guard lock(mutex);
    if (!open) return;
    writer.enqueue([this, chunk] {
      sha1.update(chunk->data(), chunk->size());
      file.write(chunk->data(), std::streamsize(chunk->size()));
    });
  }
  // Refuses later chunks and waits for the writes already queued.
  void finish() {
    {
      std::lock_guard lock(mutex);
      open = false;
    }
    writer.shutdown();
    file.close();
  }

  std::mutex mutex;
  bool open = true;
  std::ofstream file;
  ka::SHA1Context sha1;
  vorn::ThreadPool writer{1};
};

// One attempt at one bundle.
bool downloadAndChecksum(std::shared_ptr<UpdateContext> context, std::atomic<bool>& canceled,
                         DownloadProgress& progress, std::string const& path, std::string const& url,
                         std::string const& checksum) {
  auto receiver = std::make_shared<Receiver>(path);
  download(context->http(), url, progress,
           [receiver](char const* data, unsigned long count) { receiver->take(data, count); });
  receiver->finish();
  if (receiver->file.bad()) {
    KA_LOG(Error) << "Unable to write to output file " << path;
    return false;
  }
  if (canceled) {
    KA_LOG(Error) << "Aborting download, cancelled.";
    return false;
  }
  if (!progress.error.empty()) {
    KA_LOG(Error) << "Encountered an error downloading " << url << ": " << progress.error;
    return false;
  }
  std::string got = receiver->sha1.digest().toString();
  if (got != checksum) {
    KA_LOG(Error) << "Download checksum mismatch. Expected: " << checksum << ", got: " << got;
    return false;
  }
  return true;
}

struct DownloadJob {
  std::shared_ptr<UpdateContext> context;
  std::shared_ptr<UpdateProgress> progress;
  std::shared_ptr<DownloadProgress> download;
  std::string path;
  std::string url;
  std::string checksum;

  void operator()() const {
    if (progress->canceled) return;
    KA_LOG(Info) << "Downloading " << checksum << " to " << path;
    // An HTTP or transport error stays in `download->error`, so only a digest mismatch or a
    // write error can be cured by the next attempt.
    for (int retries = 3;;) {
      if (retries < 1) {
        ++progress->errors;
        return;
      }
      download->bytesReceived = 0;
      download->finished = false;
      --retries;
      bool ok = downloadAndChecksum(context, progress->canceled, *download, path, url, checksum);
      if (!ok) KA_LOG(Warn) << "Retrying download of " << checksum << " to " << path;
      if (ok) return;
    }
  }
};

// A bundle left by an earlier run is kept if its digest is right; this is the whole of resuming.
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

}  // namespace

std::shared_ptr<Manifest> downloadManifest(std::shared_ptr<UpdateContext> context,
                                           std::shared_ptr<UpdateProgress> progress, ka::StringRange manifestName) {
  std::string url = context->makeManifestUrl(manifestName);
  ++progress->index;
  KA_LOG(Info) << "Downloading manifest: " << url;
  DownloadProgress transfer(progress->canceled);
  std::vector<char> zipped;
  download(context->http(), url, transfer, zipped);
  if (progress->canceled) return nullptr;
  if (!transfer.error.empty()) {
    KA_LOG(Error) << transfer.error;
    ++progress->errors;
    progress->error = ka::stringprintf("Failed to download manifest: %s", manifestName.str().c_str());
    progress->done = true;
    return nullptr;
  }
  KA_LOG(Info) << " done!";
  KA_LOG(Info) << "Deserializing manifest";
  std::vector<char> text;
  vorn::gunzip(zipped, text);  // damage shows as a parse error
  ka::StringRangeStream stream(ka::StringRange(text.data(), text.data() + text.size()));
  std::shared_ptr<Manifest> manifest = Manifest::fromJson(ka::Json::readFrom(stream));
  KA_LOG(Info) << "Found " << manifest->bundles.size() << " bundles";
  context->setManifest(manifest);
  KA_LOG(Info) << "Writing manifest to " << context->manifestOnDisk();
  std::ofstream(context->manifestOnDisk(), std::ios::binary | std::ios::trunc)
      .write(zipped.data(), std::streamsize(zipped.size()));
  progress->done = true;
  return manifest;
}

void downloadManifestEntries(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                             std::shared_ptr<DownloadProgressAggregator> aggregator,
                             std::vector<ManifestBundle> const& bundles) {
  // The pool's size is also the number of simultaneous transfers.
  vorn::ThreadPool pool(stagePoolSize());
  progress->total = uint32_t(bundles.size());
  for (ManifestBundle const& bundle : bundles) {
    std::shared_ptr<DownloadProgress> transfer = aggregator->addDownload(progress->canceled);
    transfer->bytesExpected = bundle.size;
    DownloadJob job{context, progress, transfer, context->getSystemTempPath(bundle.checksum) + ".bundle",
                    context->makeDownloadUrl(ka::uriEncode(bundle.checksum, false, "/'!*:(),")), bundle.checksum};
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
