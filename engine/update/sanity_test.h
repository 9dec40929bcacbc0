// A probe that the launcher can make and remove directories and files where an update writes.
#pragma once

#include <memory>

#include "progress.h"
#include "update_context.h"

namespace update {

// Eight steps in the temporary and the game directory, stopping at the first failure; the
// verdict is the progress's `errors`, the reason is in the log.
void sanityTest(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress);

}  // namespace update
