// The UI system on WPE WebKit: the engine renders pages off-screen in its own processes, with
// no display and no GPU, and everything it calls back runs inside `update` on the main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "webui/file_handler.h"
#include "webui/log_handler.h"
#include "webui/webui.h"
#include "webui/webui_event_convertor_linux.h"
#include "webui/wpe_view.h"

typedef struct _WebKitDownload WebKitDownload;

namespace vorn {
class Platform;
}

namespace webui {

class WpeWebUI : public WebUI {
 public:
  // Starts the engine; throws std::runtime_error("Coherent InitializeUISystem failed,") if it
  // cannot. Without a file handler, pages are read through the platform's filesystem. The
  // platform, which must outlive the system, gets the system's translator of input events.
  WpeWebUI(WebUISettings const& settings, EventListener* listener, std::shared_ptr<FileHandler> fileHandler,
           vorn::Platform* platform, bool disableBootCache = false);
  ~WpeWebUI() override;

  void update(float seconds) override;
  void loadLocalView(std::string const& path, int width, int height, ViewListener* listener, bool transparent,
                     std::string const& script) override;
  // The same for any URL; a view's top frame shows coui:// documents only.
  void loadUrl(std::string const& url, int width, int height, ViewListener* listener, bool transparent,
               std::string const& script);
  // Prefers the records that the system's translator attached to the event, which carry the
  // modifiers and the exact key; builds them from the portable event otherwise.
  void dispatchToView(vorn::UIEvent const& event, View* view) override;

  // A line of the engine's (or a page's) log.
  void log(int severity, std::string const& text);

 private:
  static void serve(WebKitURISchemeRequest* request, void* self);
  static void refuseDownload(WebKitWebContext*, WebKitDownload* download, void*);

  std::string contentRoot_ = "coui://ui/";
  vorn::Platform* platform_;
  WebUIEventTranslator translator_;
  EventListener* listener_;
  std::shared_ptr<FileHandler> fileHandler_;
  WebUILogHandler logHandler_;
  std::string secret_;
  WebKitWebContext* context_ = nullptr;
  WebKitUserContentFilter* topFrameRules_ = nullptr;
  std::vector<std::unique_ptr<WpeView>> views_;
  std::vector<std::function<void()>> pending_;  // callbacks due at the next update
  int nextViewId_ = 1;
  bool ready_ = false;
};

}  // namespace webui
