#include "sanity_test.h"

#include <functional>

#include "ka/log.h"
#include "ka/stdio_error.h"
#include "vorn/osutil.h"

namespace update {

void sanityTest(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress) {
  KA_LOG(Info) << "Sanity Test:";
  std::string tempDir = context->getSystemTempPath("testdir"), tempFile = context->getSystemTempPath("testfile");
  std::string gameDir = context->getSystemGamePath("testdir"), gameFile = context->getSystemGamePath("testfile");
  // A creation step that finds its path already there does nothing and logs nothing.
  struct Step {
    char const* label;
    std::string const& path;
    std::function<bool(ka::StringRange)> action;
    bool creates;
  } const steps[] = {
      {"Create temp dir", tempDir, vorn::osutil::mkdir, true},
      {"Delete temp dir", tempDir, vorn::osutil::rmdir, false},
      {"Create temp file", tempFile, vorn::osutil::touch, true},
      {"Delete temp file", tempFile, vorn::osutil::deleteFile, false},
      {"Create game dir", gameDir, vorn::osutil::mkdir, true},
      {"Delete game dir", gameDir, vorn::osutil::rmdir, false},
      {"Create game file", gameFile, vorn::osutil::touch, true},
      {"Delete game file", gameFile, vorn::osutil::deleteFile, false},
  };
  for (Step const& step : steps) {
    if (step.creates && vorn::osutil::fileExists(step.path)) continue;
    if (!step.action(step.path)) {
      ++progress->errors;
      progress->done = true;
      KA_LOG(Error) << "  " << step.label << ": fail";
      KA_LOG(Error) << "    " << ka::getLastErrorMessage();
      return;
    }
    KA_LOG(Info) << "  " << step.label << ": pass";
  }
  progress->done = true;
}

}  // namespace update
