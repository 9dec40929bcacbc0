// Cutting every entry out of its bundle into a file named by its content hash.
#pragma once

#include <memory>
#include <vector>

#include "manifest.h"
#include "progress.h"
#include "update_context.h"

namespace update {

// One job per distinct content; each result is verified by SHA-1. Failures are counted in the
// progress's `errors`; nothing is deleted here.
void unpackManifestBundles(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                           std::vector<ManifestBundle> const& bundles);

}  // namespace update
