// The stage that changes the game directory: new files in place, stale files out, bundles deleted.
#pragma once

#include <memory>
#include <vector>

#include "manifest.h"
#include "progress.h"
#include "update_context.h"

namespace update {

// Copies each unpacked content to every name that carries it, sets execute bits, removes files the
// whole manifest doesn't list (also after a cancel), and deletes the bundles if nothing failed.
// Content is not verified here: the check that follows is the proof.
void updateGameFiles(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                     std::vector<ManifestBundle> const& bundles);

}  // namespace update
