// The UI system host: starts the HTML engine, makes views from the UI folder and pumps both
// once per frame, on the main thread.
#pragma once

#include <memory>
#include <string>

#include "vorn/uievent.h"
#include "webui/listeners.h"
#include "webui/view.h"

namespace webui {

struct WebUISettings {
  std::string hostDir;     // where the engine's helper programs live
  std::string localStore;  // the pages' persistent storage
  bool softwareUI = false;
  int logSeverity = 3;     // the engine's messages from this severity up are logged ("WARNING")
  bool allowMinidumps = false;
};

class WebUI {
 public:
  virtual ~WebUI() = default;
  // Runs the engine's callbacks, and with them every listener callback and bound command.
  virtual void update(float seconds) = 0;
  // Opens "coui://ui/" + path; `script` runs in the page before its own scripts.
  virtual void loadLocalView(std::string const& path, int width, int height, ViewListener* listener,
                             bool transparent, std::string const& script) = 0;
  // Hands an input event to the view; a null view is a programming fault.
  virtual void dispatchToView(vorn::UIEvent const& event, View* view) = 0;
};

}  // namespace webui
