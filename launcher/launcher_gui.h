// The launcher's application object: its log, service hosts, configuration and HTTP loader,
// and the page's view once the UI system has made it.
#pragma once

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "game/game.h"
#include "ka/json.h"
#include "ka/logsink.h"
#include "launcher_config.h"
#include "net/http.h"
#include "webui/listeners.h"
#include "webui/webui.h"

class LauncherGUI : public vorn::Game, public webui::EventListener, public webui::ViewListener {
 public:
  // Makes the UI system host for `setup`; empty when this build has none.
  using UIHostMaker = std::function<std::unique_ptr<webui::WebUI>(webui::WebUISettings const&,
                                                                  webui::EventListener*, vorn::Platform*)>;

  explicit LauncherGUI(vorn::Platform* platform, UIHostMaker makeUIHost = {});
  ~LauncherGUI() override;

  void setup() override;

  // The bytes of a file of the UI folder (`--uiurl`, else the resources' "ui"), read once and
  // kept for the life of the process. A missing file ends the process.
  static std::vector<char> const& getEmbeddedResource(ka::StringRange name);

 private:
  friend struct LauncherGUIInspector;

  UIHostMaker makeUIHost;
  std::unique_ptr<webui::WebUI> coherent;
  webui::View* view = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  std::string serviceUrl;
  std::string updateCheckUrl;
  LauncherConfig config;
  std::string hostDir;
  std::string logFilePath;
  std::ofstream logFile;
  std::unique_ptr<ka::LogSinkStream> logFileSink;  // null if the log file could not be opened
  std::shared_ptr<net::HttpLoader> http;
  std::shared_ptr<std::mutex> httpMutex;  // guards the loader's pump against its release
  ka::Json engineParams;
};
