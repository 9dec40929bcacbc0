// The headless context of the GL tests. One per test process: the rasterizer's state caches are
// process-wide.
#pragma once

#include <epoxy/gl.h>

#include "ka/leak_check.h"
#include "vorn/egl_headless_context.h"

class EglContext : public vorn::EglHeadlessContext {
 public:
  // While the driver is loaded: its threads' data is referenced only from the driver, which goes
  // with the display.
  ~EglContext() override { ka::checkLeaksNow(); }
};
