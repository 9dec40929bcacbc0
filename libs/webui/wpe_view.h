// One page of the HTML engine: its off-screen view, the bridge to the page's `engine` object,
// its pictures copied into the host's surface, and the input it is given.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "webui/event_translation.h"
#include "webui/listeners.h"
#include "webui/view.h"

struct wpe_view_backend_exportable_fdo;
struct wpe_fdo_shm_exported_buffer;
typedef struct _WebKitWebContext WebKitWebContext;
typedef struct _WebKitWebView WebKitWebView;
typedef struct _WebKitUserContentManager WebKitUserContentManager;
typedef struct _WebKitJavascriptResult WebKitJavascriptResult;
typedef struct _WebKitPolicyDecision WebKitPolicyDecision;
typedef struct _WebKitURISchemeRequest WebKitURISchemeRequest;
typedef struct _WebKitUserContentFilter WebKitUserContentFilter;

namespace webui {

class WpeWebUI;

class WpeView : public View, public ScriptEventWriter {
 public:
  struct Options {
    int id;
    std::string url;
    int width;
    int height;
    std::string startScript;
    std::string secret;
    WebKitUserContentFilter* topFrameRules;  // the system's, kept by it
  };

  WpeView(WpeWebUI& ui, WebKitWebContext* context, ViewListener* listener, Options const& options);
  ~WpeView() override;
  WpeView(WpeView const&) = delete;
  WpeView& operator=(WpeView const&) = delete;

  int GetId() const override { return id_; }
  void BindCall(std::string const& name, Command command) override;
  ScriptEventWriter& GetScriptEventWriter() override { return *this; }
  void Resize(unsigned width, unsigned height) override;
  void Redraw() override;
  // The view goes at the next update of the system.
  void Destroy() override;

  // Any thread: the event is run in the page at the next update.
  void BeginEvent(std::string const& name, int argumentCount) override;
  void Write(Value const& argument) override;
  void EndEvent() override;

  ViewListener* listener() const { return listener_; }
  bool destroyed() const { return destroyed_; }
  // Once per update, on the main thread: runs queued scripts and lets the engine draw again, at
  // most 30 times a second.
  void frameDone();
  void focus();
  void mouseEvent(MouseEventData const& record);
  void keyEvent(KeyEventData const& record);

 private:
  struct Export;

  static void onShmBuffer(void* link, wpe_fdo_shm_exported_buffer* buffer);
  static void endExport(void* link);
  static void onMessage(WebKitUserContentManager*, WebKitJavascriptResult* result, void* self);
  static int onDecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision, int type, void* self);
  static int onLoadFailed(WebKitWebView*, int event, char const* uri, void* error, void* self);
  static void onUriChanged(WebKitWebView* web, void* property, void* self);

  void deliver(unsigned char const* pixels, int width, int height, int stride);
  bool ensureSurface(int width, int height);
  void dropSurface();
  void handleMessage(std::string const& text);
  void logRefusal(std::string const& line);
  void runScript(std::string const& script);
  void key(uint32_t keysym, bool pressed, uint32_t modifiers);

  WpeWebUI& ui_;
  ViewListener* listener_;
  int id_;
  std::string secret_;
  std::string url_;  // the page's own address
  Export* export_ = nullptr;  // the engine's, once the web view has it
  wpe_view_backend_exportable_fdo* exportable_ = nullptr;
  WebKitUserContentManager* content_ = nullptr;
  WebKitWebView* view_ = nullptr;
  std::map<std::string, Command> commands_;
  bool destroyed_ = false;
  bool refusalLogged_ = false;
  uint32_t pressedButtons_ = 0;  // the engine's pointer modifier bits
  std::set<uint32_t> keysDown_;  // key symbols the engine was told are down
  std::chrono::steady_clock::time_point nextPicture_;  // when the engine may draw again

  SurfaceHandle surface_;
  bool hasSurface_ = false;
  int surfaceWidth_ = 0;
  int surfaceHeight_ = 0;
  unsigned char* mapped_ = nullptr;
  size_t mappedSize_ = 0;

  std::mutex scriptsMutex_;  // guards scripts_
  std::vector<std::string> scripts_;
};

}  // namespace webui
