// The update engine's stages, in the order an update runs them.
#pragma once

#include "apply_update.h"
#include "bundle_download.h"
#include "bundle_unpack.h"
#include "manifest_check.h"
#include "sanity_test.h"
