#include "bundle_unpack.h"

#include <fstream>
#include <set>
#include <thread>

#include "chunked_reader.h"
#include "ka/log.h"
#include "ka/sha1.h"
#include "vorn/gzip.h"
#include "vorn/output_file.h"
#include "vorn/threadpool.h"

namespace update {

namespace {

void unpackEntry(UpdateContext const& context, UpdateProgress& progress, ManifestBundle const& bundle,
                 ManifestEntry const& entry) {
  if (progress.canceled) return;
  ++progress.index;
  std::string bundlePath = context.getSystemTempPath(bundle.checksum) + ".bundle";
  std::ifstream in(bundlePath, std::ios::binary);
  if (!in) {
    KA_LOG(Error) << "Failed to open input bundle for " << bundle.checksum << ", path: " << bundlePath;
    ++progress.errors;
    return;
  }
  std::string target = context.getSystemTempPath(entry.checksum);
  vorn::OutputFile out(target);
  if (!out.ok()) {
    KA_LOG(Error) << "Failed to open output target file for bundle entry " << entry.filename << " from bundle "
                  << bundle.checksum << ", path: " << target << ": " << out.error();
    ++progress.errors;
    return;
  }
  ka::SHA1Context sha1;
  sha1.reset();
  in.seekg(std::streamoff(entry.offset));
  auto take = [&](char const* data, size_t count) {
    out.write(data, count);
    sha1.update(data, count);
  };
  if (entry.sizeZ != 0) {
    KA_LOG(Info) << "Decompressing " << entry.filename << " as " << target;
    // The gzip member ends by itself; sizeZ is not needed to find its end.
    if (!vorn::gunzip(in, [&](std::vector<char> const& buffer, unsigned long count) { take(buffer.data(), count); })) {
      ++progress.errors;
      KA_LOG(Error) << "Error decompressing " << entry.filename;
      return;
    }
  } else if (entry.size == 0) {
    // Other packers put empty files anywhere in a bundle; the reader's "0 means to the end"
    // would fill them with the rest of it.
    KA_LOG(Info) << "Creating empty " << entry.filename << " as " << target;
  } else {
    KA_LOG(Info) << "Unbundling " << entry.filename << " as " << target;
    ChunkedReader reader(in, 131072, long(entry.size));
    while (reader.readBytes()) take(reader.buffer.data(), reader.buffer.size());
    if (reader.failed) {
      ++progress.errors;
      KA_LOG(Error) << "Error reading bundle " << bundle.checksum;
      return;
    }
  }
  in.close();
  if (!out.close()) {
    ++progress.errors;
    KA_LOG(Error) << "Error writing " << entry.filename << ": " << out.error();
    return;
  }
  std::string got = sha1.digest().toString();
  if (got != entry.checksum) {
    ++progress.errors;
    KA_LOG(Error) << "Data mismatch " << entry.filename << ", bundle " << bundlePath << ", entry checksum "
                  << entry.checksum << ", actual checksum " << got;
  }
}

}  // namespace

void unpackManifestBundles(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                           std::vector<ManifestBundle> const& bundles) {
  // The network is idle by now and the frame loop needs little: the unpack has the cores. Writes
  // wait at times for the page cache to drain to disk, so twice as many workers as cores keep
  // the cores busy meanwhile.
  int n = int(std::thread::hardware_concurrency());
  vorn::ThreadPool pool(n > 1 ? 2 * n : 1);
  progress->total = 0;
  // Content already given to a job: equal content is unpacked once and copied to each name later.
  std::set<std::string> assigned;
  for (ManifestBundle const& bundle : bundles) {
    progress->total += uint32_t(bundle.entries.size());
    for (ManifestEntry const& entry : bundle.entries) {
      if (progress->canceled) break;
      if (!assigned.insert(entry.checksum).second) {
        ++progress->index;
        continue;
      }
      pool.enqueue([&context, &progress, &bundle, &entry] { unpackEntry(*context, *progress, bundle, entry); });
    }
  }
  pool.shutdown();
  if (progress->errors != 0) progress->error = "Failed to unpack one or more files. Check log for details.";
  progress->done = true;
}

}  // namespace update
