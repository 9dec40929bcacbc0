// Fetching the manifest, and the bundles that the check named, into the temporary directory.
#pragma once

#include <memory>
#include <vector>

#include "manifest.h"
#include "progress.h"
#include "update_context.h"

namespace update {

// Null on failure or cancel. On success the manifest is set on the context and its raw bytes
// are stored at manifestOnDisk(). Malformed manifest text throws std::runtime_error.
std::shared_ptr<Manifest> downloadManifest(std::shared_ptr<UpdateContext> context,
                                           std::shared_ptr<UpdateProgress> progress, ka::StringRange manifestName);

// Each bundle is verified by SHA-1 as it arrives, with three attempts; a bundle already on disk
// with the right digest is not fetched again. Failures are counted in the progress's `errors`.
void downloadManifestEntries(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                             std::shared_ptr<DownloadProgressAggregator> aggregator,
                             std::vector<ManifestBundle> const& bundles);

}  // namespace update
