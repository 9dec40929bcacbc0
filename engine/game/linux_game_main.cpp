// The program's entry: crash handler, console log, options, then the registered game in its window.
#include <iostream>
#include <memory>

#include "game/game_factory.h"
#include "game/linux_platform.h"
#include "ka/cmd_line.h"
#include "ka/log.h"
#include "ka/logsink.h"
#include "vorn/linux_crashhandler.h"

int main(int argc, char const** argv) {
  vorn::initCrashHandler();
  ka::LogSinkStream console(std::cout);
  // A bad option has been reported; the run goes on with what was set before it.
  ka::cmd_line::process(argc, argv, std::cerr);
  // Found by name, so that this entry point serves any application's option table.
  if (ka::cmd_line::hasFlag("--help")) {
    ka::cmd_line::usage(std::cout);
    return 0;
  }
  vorn::GameFactory* factory = vorn::GameFactorySingleton::instance();
  if (!factory) {
    std::cerr << "No game factory\n";
    return 1;
  }
  std::unique_ptr<vorn::LinuxPlatform> platform;
  int status = 1;
  try {
    platform = std::make_unique<vorn::LinuxPlatform>(factory);
    status = platform->run();
  } catch (vorn::WindowSystemError const& error) {
    // Without a window there is nothing to show: say why, in the player's terms.
    std::cerr << factory->name() << ": " << error.what() << "\n";
  }
  KA_LOG(Info) << "Exiting with " << status;
  platform.reset();
  return status;
}
