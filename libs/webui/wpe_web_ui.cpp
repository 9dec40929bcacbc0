#include "webui/wpe_web_ui.h"

#include <wpe/fdo.h>
#include <wpe/unstable/fdo-shm.h>
#include <wpe/webkit.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

#include "game/platform.h"
#include "ka/die.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/printutil.h"
#include "ka/strutil.h"
#include "webui/page_script.h"

namespace webui {
namespace {

// The engine's backend is loaded and set to hand over pictures in shared memory once a process.
bool initializeEngine() {
  static bool const ready = wpe_loader_init("libWPEBackend-fdo-1.0.so.1") && wpe_fdo_initialize_shm();
  return ready;
}

// The page is drawn off-screen, so no assistive technology can reach it through the engine, which
// would otherwise look for the accessibility bus and, on most machines, print that it found none.
// An empty address turns its bridge off; a user's own address is left alone. Set while the process
// has one thread: setenv is no safe call once others may read the environment.
[[maybe_unused]] bool const gAccessibilityBridgeOff = [] {
  if (!std::getenv("AT_SPI_BUS_ADDRESS")) ::setenv("WEBKIT_A11Y_BUS_ADDRESS", "", 0);
  return true;
}();

char const* mimeType(std::string const& path) {
  static std::pair<char const*, char const*> const types[] = {
      {".html", "text/html"},        {".htm", "text/html"},         {".js", "application/javascript"},
      {".css", "text/css"},          {".json", "application/json"}, {".png", "image/png"},
      {".jpg", "image/jpeg"},        {".jpeg", "image/jpeg"},       {".gif", "image/gif"},
      {".svg", "image/svg+xml"},     {".webp", "image/webp"},       {".woff", "font/woff"},
      {".woff2", "font/woff2"},      {".ttf", "font/ttf"},          {".otf", "font/otf"},
      {".txt", "text/plain"},        {".ico", "image/x-icon"},      {".mp3", "audio/mpeg"},
      {".ogg", "audio/ogg"},         {".wav", "audio/wav"},         {".mp4", "video/mp4"},
      {".webm", "video/webm"},
  };
  std::string ext = ka::strLower(ka::path::ext(path.substr(0, path.find('?'))));
  for (auto const& [extension, type] : types)
    if (ext == extension) return type;
  return "application/octet-stream";
}

// What the engine may show in a page's top frame: coui:// documents and nothing else. The engine
// applies these rules in the page's own process before a navigation starts, for the top frame
// alone, so frames (a stream's news) stay free to move within themselves. The navigation
// policy can't do this here: it is told neither which frame a navigation is for nor, until a
// new page has committed, where the top frame is going.
constexpr char kTopFrameRules[] = R"([
  {"trigger": {"url-filter": ".*", "resource-type": ["document"], "load-context": ["top-frame"]},
   "action": {"type": "block"}},
  {"trigger": {"url-filter": "^coui:", "resource-type": ["document"], "load-context": ["top-frame"]},
   "action": {"type": "ignore-previous-rules"}}
])";

struct CompiledRules {
  WebKitUserContentFilter* rules = nullptr;
  std::string error;
  bool done = false;
};

void rulesCompiled(GObject* store, GAsyncResult* result, gpointer out) {
  auto* compiled = static_cast<CompiledRules*>(out);
  GError* error = nullptr;
  compiled->rules =
      webkit_user_content_filter_store_save_finish(WEBKIT_USER_CONTENT_FILTER_STORE(store), result, &error);
  if (error) compiled->error = error->message;
  g_clear_error(&error);
  compiled->done = true;
}

// The engine compiles rules into a folder of its own; null if it can't.
WebKitUserContentFilter* compileTopFrameRules(std::string const& folder) {
  WebKitUserContentFilterStore* store = webkit_user_content_filter_store_new(folder.c_str());
  GBytes* source = g_bytes_new_static(kTopFrameRules, sizeof kTopFrameRules - 1);
  CompiledRules compiled;
  webkit_user_content_filter_store_save(store, "top-frame", source, nullptr, &rulesCompiled, &compiled);
  while (!compiled.done) g_main_context_iteration(nullptr, TRUE);
  g_bytes_unref(source);
  g_object_unref(store);
  if (!compiled.rules) KA_LOG(Error) << "Could not compile the page's navigation rules: " << compiled.error;
  return compiled.rules;
}

// Collects one file's bytes from a handler.
struct Collected : ResourceResponse {
  void* GetBuffer(size_t size) override {
    bytes.resize(size);
    return bytes.data();
  }
  void SignalSuccess() override { ok = true; }
  void SignalFailure() override { ok = false; }
  std::vector<char> bytes;
  bool ok = false;
};

}  // namespace

WpeWebUI::WpeWebUI(WebUISettings const& settings, EventListener* listener, std::shared_ptr<FileHandler> fileHandler,
                   vorn::Platform* platform, bool disableBootCache)
    : platform_(platform),
      listener_(listener),
      fileHandler_(std::move(fileHandler)),
      logHandler_(settings.logSeverity),
      secret_(makeSecret()) {
  std::string hostDir = ka::path::makeAbsolute(settings.hostDir);
  std::string localStore = ka::path::makeAbsolute(settings.localStore);
  KA_LOG(Info) << "Coherent content root: \"" << ka::CStrEscape{contentRoot_} << "\"";
  KA_LOG(Info) << "Coherent host dir: \"" << ka::CStrEscape{hostDir} << "\"";
  KA_LOG(Info) << "Coherent local store: \"" << ka::CStrEscape{localStore} << "\"";
  if (!fileHandler_) {
    auto synchronous = std::make_shared<SynchronousFileHandler>(platform->getFilesystem(), disableBootCache);
    synchronous->createBootFiles();
    fileHandler_ = synchronous;
  }
  if (!initializeEngine()) throw std::runtime_error("Coherent InitializeUISystem failed,");

  WebKitWebsiteDataManager* data = webkit_website_data_manager_new(
      "base-data-directory", localStore.c_str(), "base-cache-directory", (localStore + "/cache").c_str(), nullptr);
  context_ = webkit_web_context_new_with_website_data_manager(data);
  g_object_unref(data);
  if (!context_) throw std::runtime_error("Coherent InitializeUISystem failed,");
  topFrameRules_ = compileTopFrameRules(ka::path::join(localStore, "content-rules"));
  if (!topFrameRules_) {
    g_object_unref(context_);
    throw std::runtime_error("Coherent InitializeUISystem failed,");
  }
  webkit_web_context_register_uri_scheme(context_, "coui", &WpeWebUI::serve, this, nullptr);
  WebKitSecurityManager* security = webkit_web_context_get_security_manager(context_);
  webkit_security_manager_register_uri_scheme_as_secure(security, "coui");
  webkit_security_manager_register_uri_scheme_as_cors_enabled(security, "coui");
  // Local, as file: is: a page from another site (a news frame) can neither load the launcher's
  // files nor frame its page.
  webkit_security_manager_register_uri_scheme_as_local(security, "coui");
  g_signal_connect(context_, "download-started", G_CALLBACK(&WpeWebUI::refuseDownload), nullptr);
  platform_->addEventTranslator(&translator_);
}

WpeWebUI::~WpeWebUI() {
  KA_LOG(Info) << "Shutting down CoherentUI";
  platform_->removeEventTranslator(&translator_);
  bool hadViews = !views_.empty();
  views_.clear();
  // A page's process lets go of its storage a little after its view has gone; if the storage
  // went first, the network process would print a complaint about it at every end.
  for (gint64 end = g_get_monotonic_time() + 200000; hadViews && g_get_monotonic_time() < end; g_usleep(1000))
    g_main_context_iteration(nullptr, FALSE);
  webkit_user_content_filter_unref(topFrameRules_);
  g_object_unref(context_);
  // Let the engine finish what the views' ends set in motion.
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
}

void WpeWebUI::update(float) {
  if (!ready_) {
    ready_ = true;
    listener_->SystemReady();
  }
  std::vector<std::function<void()>> due;
  due.swap(pending_);
  for (auto const& callback : due) callback();
  // Every engine callback of this frame, page commands included, runs here.
  for (int i = 0; i < 1000 && g_main_context_iteration(nullptr, FALSE); ++i) {
  }
  views_.erase(std::remove_if(views_.begin(), views_.end(), [](auto const& view) { return view->destroyed(); }),
               views_.end());
  for (auto const& view : views_) view->frameDone();
}

void WpeWebUI::loadLocalView(std::string const& path, int width, int height, ViewListener* listener,
                             bool transparent, std::string const& script) {
  loadUrl(ka::path::join(contentRoot_, path), width, height, listener, transparent, script);
}

void WpeWebUI::loadUrl(std::string const& url, int width, int height, ViewListener* listener, bool,
                       std::string const& script) {
  WpeView::Options options{nextViewId_++, url, width, height, script, secret_, topFrameRules_};
  views_.push_back(std::make_unique<WpeView>(*this, context_, listener, options));
  WpeView* view = views_.back().get();
  // The page may call commands only once they are bound; its first message is read later.
  pending_.push_back([listener, view, url] {
    listener->OnViewCreated(view);
    std::wstring wideUrl = ka::utf8_to_wstr(url);
    listener->OnReadyForBindings(0, wideUrl.c_str(), true);
  });
}

void WpeWebUI::dispatchToView(vorn::UIEvent const& event, View* view) {
  if (event.type < vorn::ET_MouseButton || event.type > vorn::ET_Resize) return;
  if (!view) ka::die("!!! view is null. !!!");
  auto* page = dynamic_cast<WpeView*>(view);
  if (!page) return;
  ka::Ref<vorn::EventTranslation> translation = event.getTranslation(&translator_);
  auto const* mouse = dynamic_cast<WebUIEventTranslator::EventWrapper<MouseEventData> const*>(translation.get());
  auto const* key = dynamic_cast<WebUIEventTranslator::EventWrapper<KeyEventData> const*>(translation.get());
  switch (event.type) {
    case vorn::ET_MouseButton:
      page->focus();
      page->mouseEvent(mouse ? mouse->data : translate(vorn::MouseButtonEvent(event)));
      break;
    case vorn::ET_MouseMove: page->mouseEvent(mouse ? mouse->data : translate(vorn::MouseMoveEvent(event))); break;
    case vorn::ET_MouseWheel: page->mouseEvent(mouse ? mouse->data : translate(vorn::MouseWheelEvent(event))); break;
    case vorn::ET_Key: page->keyEvent(key ? key->data : translate(vorn::KeyEvent(event))); break;
    case vorn::ET_Char: page->keyEvent(key ? key->data : translate(vorn::CharEvent(event))); break;
    case vorn::ET_Resize:
      page->Resize(event.data0, event.data1);
      page->Redraw();
      break;
    default: break;
  }
}

void WpeWebUI::log(int severity, std::string const& text) {
  std::string line = text + '\0';
  logHandler_.WriteLog(severity, line.data(), line.size());
}

void WpeWebUI::refuseDownload(WebKitWebContext*, WebKitDownload* download, void*) {
  // The launcher has no use for downloads, and any frame could start one that writes into the
  // user's home without a click. Refused before the engine picks a place for the file.
  WebKitURIRequest* request = webkit_download_get_request(download);
  KA_LOG(Error) << "Refused a download of " << (request ? webkit_uri_request_get_uri(request) : "");
  webkit_download_cancel(download);
}

void WpeWebUI::serve(WebKitURISchemeRequest* request, void* self) {
  std::string uri = webkit_uri_scheme_request_get_uri(request);
  std::wstring wideUri = ka::utf8_to_wstr(uri);
  Collected file;
  static_cast<WpeWebUI*>(self)->fileHandler_->ReadFile(wideUri.c_str(), &file);
  if (!file.ok) {
    GError* error = g_error_new(G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "Cannot read %s", uri.c_str());
    webkit_uri_scheme_request_finish_error(request, error);
    g_error_free(error);
    return;
  }
  gsize size = file.bytes.size();
  GBytes* bytes = g_bytes_new(file.bytes.data(), size);
  GInputStream* stream = g_memory_input_stream_new_from_bytes(bytes);
  webkit_uri_scheme_request_finish(request, stream, gint64(size), mimeType(uri));
  g_object_unref(stream);
  g_bytes_unref(bytes);
}

}  // namespace webui
