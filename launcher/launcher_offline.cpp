// Starting the installed "stable" build without the services.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "ka/cmd_line.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"
#include "launcher_gui.h"
#include "vorn/osutil.h"

namespace {

// Builds from this one on can run without the services.
constexpr unsigned long kLowestOfflineBuild = 78232;

}  // namespace

std::string LauncherGUI::getOfflineExe() {
  return ka::path::join(getStreamGameDir("stable"),
                        ka::path::posixToNative(ka::stringprintf("/%s", config.executable.c_str())));
}

std::string LauncherGUI::getOfflineVersionFile() { return ka::path::join(getStreamGameDir("stable"), "version.txt"); }

bool LauncherGUI::checkOfflineAvailable() {
  std::string exe = getOfflineExe();
  if (!vorn::osutil::fileExists(exe)) {
    KA_LOG(Info) << "Offline unavailable, could not find EXE at path: " << exe;
    return false;
  }
  std::string versionFile = getOfflineVersionFile();
  std::ifstream in(versionFile, std::ios::binary | std::ios::ate);
  if (!in) {
    KA_LOG(Info) << "Unable to open " << versionFile << ", saying 'no' to offline available.";
    return false;
  }
  in.seekg(0);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  unsigned long version = std::strtoul(text.c_str(), nullptr, 10);
  if (version == 0) {
    // An unreadable number gets the benefit of the doubt.
    KA_LOG(Warn) << "Unable to parse version, allowing offline play anyway: " << text << ", from file: " << versionFile;
    return true;
  }
  if (version >= kLowestOfflineBuild) {
    KA_LOG(Info) << "Version check found acceptable version for offline play, version " << version << " from string "
                 << text << " in " << versionFile;
    return true;
  }
  KA_LOG(Info) << "Version check did not find a sufficient version for offline play, version " << version
               << " from string " << text << " in " << versionFile;
  return false;
}

std::string LauncherGUI::launchOffline(std::string const& extraArguments) {
  if (!claimJob()) return "";
  return startJob([this, extraArguments](std::string const& id) {
    std::string exe = getOfflineExe();
    KA_LOG(Info) << "Launch Offline: " << exe;
    // No ticket and no development flag: the game runs without the services.
    std::vector<std::string> args;
    if (!extraArguments.empty()) args = ka::cmd_line::parseCmdLine(extraArguments);
    runGame(id, exe, args);
  });
}
