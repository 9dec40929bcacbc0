// Which bundles must be fetched again so that the game directory matches the manifest.
#pragma once

#include <memory>
#include <vector>

#include "manifest.h"
#include "progress.h"
#include "update_context.h"

namespace update {

// Reads every listed file, compares SHA-1 digests and, for executables, the execute bits, and
// appends each bundle with a bad file to `needsUpdate` (in no defined order). Sorts the manifest's
// bundles and entries in place. A cancelled run returns a partial list: look at the flag first.
void check(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
           std::vector<ManifestBundle>& needsUpdate);

// Threads of the check's pool: one fewer than the hardware's, at most 4 so as not to
// overload the disk; 1 on a single-threaded machine, 4 if the count is unknown.
unsigned checkPoolSize(unsigned hardwareThreads);

}  // namespace update
