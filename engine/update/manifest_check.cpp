#include "manifest_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "ka/log.h"
#include "vorn/threadpool.h"

namespace update {

namespace {

// Checks one bundle's files, smallest first, and reports the bundle at its first bad file.
void checkBundle(UpdateContext const& context, UpdateProgress& progress, ManifestBundle& bundle, std::mutex& mutex,
                 std::vector<ManifestBundle>& needsUpdate) {
  std::sort(bundle.entries.begin(), bundle.entries.end(),
            [](ManifestEntry const& a, ManifestEntry const& b) { return a.size < b.size; });
  for (ManifestEntry const& entry : bundle.entries) {
    if (progress.canceled) return;
    ++progress.index;
    std::string path = context.getSystemGamePath(entry.filename);
    bool bad = false;
    if (readAndChecksum(path, nullptr) != entry.checksum) {
      KA_LOG(Info) << "Checksum failed for " << entry.filename << ", replacing all items in bundle.";
      bad = true;
    } else if (entry.executable) {
      // One-sided: only files the manifest marks executable are checked for their bits.
      struct stat info;
      if (::stat(path.c_str(), &info) != 0) {
        KA_LOG(Error) << "Unable to check executable bit for " << entry.filename << ", replacing all items from bundle.";
        bad = true;
      } else if ((info.st_mode & 0111) != 0111) {
        KA_LOG(Info) << "Executable bit missing for " << entry.filename << ", replacing all items from bundle.";
        bad = true;
      }
    }
    if (bad) {
      std::lock_guard lock(mutex);
      needsUpdate.push_back(bundle);
      return;
    }
  }
}

}  // namespace

unsigned checkPoolSize(unsigned hardwareThreads) {
  if (hardwareThreads == 1) return 1;
  return std::min(hardwareThreads - 1, 4u);  // unsigned: an unknown count of 0 gives 4
}

void check(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
           std::vector<ManifestBundle>& needsUpdate) {
  std::shared_ptr<Manifest> manifest = context->manifest();
  vorn::ThreadPool pool(int(checkPoolSize(std::thread::hardware_concurrency())));
  std::mutex mutex;
  KA_LOG(Info) << "Manifest Version " << manifest->version;
  // Largest first, so that the long jobs start early.
  std::sort(manifest->bundles.begin(), manifest->bundles.end(),
            [](ManifestBundle const& a, ManifestBundle const& b) { return a.size > b.size; });
  size_t files = 0;
  for (ManifestBundle const& bundle : manifest->bundles) files += bundle.entries.size();
  progress->total = uint32_t(files);
  KA_LOG(Info) << "Checking " << files << " files in " << manifest->bundles.size() << " bundles";
  for (ManifestBundle& bundle : manifest->bundles) {
    pool.enqueue([&context, &progress, &bundle, &mutex, &needsUpdate] {
      checkBundle(*context, *progress, bundle, mutex, needsUpdate);
    });
  }
  pool.shutdown();
  progress->done = true;
}

}  // namespace update
