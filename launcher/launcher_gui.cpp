#include "launcher_gui.h"

#include <chrono>
#include <map>
#include <sstream>
#include <thread>

#include "game/game_factory.h"
#include "game/platform.h"
#include "ka/die.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/system_dirs.h"
#include "launcher_hosts.h"
#include "launcher_options.h"
#include "launcher_version.h"
#include "vorn/osutil.h"

namespace {

vorn::GameClassFactorySingleton<LauncherGUI> gLauncherFactory("ZandorLauncher");

// Every transfer of the launcher advances here, at most once a millisecond. The thread holds
// the loader only while it pushes, so clearing `http` under the mutex ends it.
void startHttpPump(std::weak_ptr<net::HttpLoader> loader, std::shared_ptr<std::mutex> mutex) {
  std::thread([loader = std::move(loader), mutex = std::move(mutex)] {
    for (;;) {
      {
        std::lock_guard<std::mutex> lock(*mutex);
        std::shared_ptr<net::HttpLoader> live = loader.lock();
        if (!live) return;
        live->push();
      }
      std::this_thread::sleep_for(std::chrono::nanoseconds(1000000));
    }
  }).detach();
}

std::string readText(std::vector<char> const& bytes) { return std::string(bytes.begin(), bytes.end()); }

}  // namespace

std::vector<char> const& LauncherGUI::getEmbeddedResource(ka::StringRange name) {
  // Entries are never removed, and map nodes don't move, so references stay valid.
  static std::map<std::string, std::vector<char>> sEmbedMap;
  KA_LOG(Info) << "Executable: " << ka::getExecutableFilename();
  std::string root = cmdline_uiurl.isSet() ? cmdline_uiurl.value().str() : ka::path::join(ka::getResourceDir(), "ui");
  std::string path = ka::path::join(root, name);
  KA_LOG(Info) << "Loading fake embedded: " << path;
  auto found = sEmbedMap.find(path);
  if (found != sEmbedMap.end()) return found->second;
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) ka::dief("Failed to open %s", path.c_str());
  std::vector<char> bytes(size_t(in.tellg()));
  in.seekg(0);
  in.read(bytes.data(), std::streamsize(bytes.size()));
  return sEmbedMap.emplace(path, std::move(bytes)).first->second;
}

LauncherGUI::LauncherGUI(vorn::Platform* platform, UIHostMaker makeUIHost)
    : vorn::Game(platform), makeUIHost(std::move(makeUIHost)), engineParams(ka::Json::makeObject()) {
  std::string logDir = ka::getUserDataDir("Zandor Works", "ZandorLauncher");
  logFilePath = ka::path::join(logDir, "ZandorLauncherLog.txt");
  vorn::osutil::mkdirAndParents(logDir);
  logFile.open(logFilePath, std::ios::out | std::ios::trunc);
  if (!logFile) {
    KA_LOG(Error) << "Could not open log file " << logFilePath << " for output";
  } else {
    logFileSink = std::make_unique<ka::LogSinkStream>(logFile);
    KA_LOG(Info) << "Log file " << logFilePath << " opened";
  }

  platform->setWindowedMode(true);
  platform->disableFullscreen(true);

  bool devmode = cmdline_devmode.isSet();
  updateCheckUrl = devmode ? hosts::kDevUpdateCheckUrl : hosts::kLiveUpdateCheckUrl;
  if (cmdline_updateCheckUrl.isSet()) updateCheckUrl = cmdline_updateCheckUrl.value().str();
  serviceUrl = devmode ? hosts::kDevServiceUrl : hosts::kLiveServiceUrl;
  if (cmdline_serviceUrl.isSet()) serviceUrl = cmdline_serviceUrl.value().str();

  std::istringstream configText(readText(getEmbeddedResource("config.json")));
  ka::Json configRoot = ka::Json::readFrom(configText);
  config = parseConfig(configRoot);

  engineParams.set("devmode", ka::Json::makeBoolean(devmode));
  engineParams.set("launcher_build_version", ka::Json::makeString(getLauncherVersion()));

  // The loader trusts the authorities of the bundle shipped with the launcher, as a file.
  std::string certDir = ka::getUserDataDir(config.company, "ZandorLauncher");
  std::string certPath = ka::path::join(certDir, "cacert.pem");
  std::vector<char> const& certificates = getEmbeddedResource("cacert.pem");
  vorn::osutil::mkdirAndParents(certDir);
  std::ofstream(certPath, std::ios::binary | std::ios::trunc)
      .write(certificates.data(), std::streamsize(certificates.size()));

  http.reset(net::createCurlHttpLoader(certPath));
  httpMutex = std::make_shared<std::mutex>();
  startHttpPump(http, httpMutex);

  hostDir = ka::path::join(ka::path::parent(ka::getExecutableFilename()), "host");
}

LauncherGUI::~LauncherGUI() {
  {
    std::lock_guard<std::mutex> lock(*httpMutex);
    http.reset();
  }
  if (view) {
    view->Destroy();
    view = nullptr;
  }
}

void LauncherGUI::setup() {
  platform()->getWindowSize(width, height);
  // The main and UI viewports are made here once the renderer exists.
  std::string localStore = ka::path::join(ka::getUserDataDir(config.company, "ZandorLauncher"), "localstore");
  vorn::osutil::mkdirAndParents(localStore);
  if (!makeUIHost) {
    KA_LOG(Warn) << "This build has no UI host; the page will not be shown";
    return;
  }
  coherent = makeUIHost(webui::WebUISettings{hostDir, localStore, cmdline_softwareui.isSet()}, this, platform());
}
