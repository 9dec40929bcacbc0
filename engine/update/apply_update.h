// The stage that changes the game directory: new files in place, stale files out, bundles deleted.
#pragma once

#include <memory>
#include <vector>

#include "manifest.h"
#include "progress.h"
#include "update_context.h"

namespace update {

// The game directory's record of the files the launcher installed there (Json, names as the
// manifest writes them). Only what it lists may ever be deleted as stale.
inline constexpr char kInstallRecordName[] = ".zandor-installed";

// Copies each unpacked content to every name that carries it (written beside the name and renamed
// over it, never through a symbolic link), sets execute bits, and removes the files that the
// launcher installed earlier and the whole manifest no longer lists, and its own partly written
// files (also after a cancel). Files it never installed are left alone. Deletes the bundles if
// nothing failed. Content is not verified here: the check that follows is the proof.
void updateGameFiles(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                     std::vector<ManifestBundle> const& bundles);

}  // namespace update
