#include "webui/wpe_view.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <wayland-server.h>
#include <wpe/fdo.h>
#include <wpe/unstable/fdo-shm.h>
#include <wpe/webkit.h>

#include <cstring>
#include <sstream>

#include "ka/json.h"
#include "ka/log.h"
#include "webui/page_script.h"
#include "webui/wpe_web_ui.h"

namespace webui {
namespace {

// The event being written on this thread: its script, built argument by argument.
thread_local std::string tOpenEvent;
thread_local bool tFirstArgument;

std::string literal(Value const& value) {
  std::ostringstream os;
  if (auto const* flag = std::get_if<bool>(&value)) {
    os << (*flag ? "true" : "false");
  } else if (auto const* number = std::get_if<double>(&value)) {
    os.precision(17);
    os << *number;
  } else if (auto const* text = std::get_if<std::string>(&value)) {
    os << ka::JsonQuote{*text};
  } else {
    os << "null";
  }
  return os.str();
}

Value fromJson(ka::Json const& value) {
  switch (value.type()) {
    case ka::Json::TYPE_Boolean: return value.asBoolean(false);
    case ka::Json::TYPE_Number: return value.asNumber(0);
    case ka::Json::TYPE_String: return value.asString("");
    default: return Value();
  }
}

// Severity numbers of the engine's log words, by console method.
int severityOf(std::string const& level) {
  if (level == "debug") return 1;
  if (level == "warn") return 3;
  if (level == "error") return 5;
  return 2;
}

uint32_t timeNow() { return uint32_t(g_get_monotonic_time() / 1000); }

// The engine is let to draw at most 30 pictures a second.
constexpr std::chrono::microseconds kPicturePeriod(1000000 / 30);

// The engine's smooth scrolling is in pixels, positive up and to the left. Its own wheel notch
// scrolls 40 pixels, its line step; a tenth of a notch is a tenth of that.
constexpr double kPixelsPerTenthNotch = 4;

// The engine's key symbol for a key that types no text, by the record's key code; 0 for keys
// whose text arrives as a character of its own.
uint32_t namedKeysym(int32_t code) {
  switch (code) {
    case 8: return 0xff08;   // BackSpace
    case 9: return 0xff09;   // Tab
    case 13: return 0xff0d;  // Return
    case 27: return 0xff1b;  // Escape
    case 33: case 525: return 0xff55;  // Prior
    case 34: case 528: return 0xff56;  // Next
    case 35: case 527: return 0xff57;  // End
    case 36: case 524: return 0xff50;  // Home
    case 37: return 0xff51;
    case 38: return 0xff52;
    case 39: return 0xff53;
    case 40: return 0xff54;
    case 45: case 523: return 0xff63;  // Insert
    case 46: case 526: return 0xffff;  // Delete
    case 16: case 517: return 0xffe1;  // Shift_L
    case 518: return 0xffe2;
    case 17: case 519: return 0xffe3;  // Control_L
    case 520: return 0xffe4;
    case 18: case 521: return 0xffe9;  // Alt_L
    case 522: return 0xffea;
    case 20: case 515: return 0xffe5;  // Caps_Lock
    default: break;
  }
  if (code >= 112 && code <= 135) return 0xffbe + uint32_t(code - 112);  // F1..F24, Windows numbering
  if (code >= 256 && code <= 267) return 0xffbe + uint32_t(code - 256);  // F1..F12, portable numbering
  return 0;
}

// The symbol of a numeric keypad key, by its Windows key code; 0 for codes off the keypad.
uint32_t keypadKeysym(int32_t code) {
  if (code >= 96 && code <= 105) return 0xffb0 + uint32_t(code - 96);   // KP_0..KP_9
  if (code >= 106 && code <= 111) return 0xffaa + uint32_t(code - 106);  // KP_Multiply..KP_Divide
  if (code == 13) return 0xff8d;                                         // KP_Enter
  return 0;
}

// The unshifted symbol of a key that types text (letters, digits, space and US punctuation), by
// its Windows key code; 0 for others.
uint32_t printableKeysym(int32_t code) {
  if (code >= 'A' && code <= 'Z') return uint32_t(code - 'A' + 'a');
  if ((code >= '0' && code <= '9') || code == ' ') return uint32_t(code);
  switch (code) {
    case 186: return ';';
    case 187: return '=';
    case 188: return ',';
    case 189: return '-';
    case 190: return '.';
    case 191: return '/';
    case 192: return '`';
    case 219: return '[';
    case 220: return '\\';
    case 221: return ']';
    case 222: return '\'';
    default: return 0;
  }
}

// Latin-1 characters are their own symbols; the rest of Unicode sits above 0x01000000.
uint32_t characterKeysym(uint32_t codepoint) { return codepoint < 0x100 ? codepoint : 0x01000000 + codepoint; }

uint32_t modifiersOf(ModifierState const& held) {
  return (held.Control ? wpe_input_keyboard_modifier_control : 0) |
         (held.Shift ? wpe_input_keyboard_modifier_shift : 0) | (held.Alt ? wpe_input_keyboard_modifier_alt : 0) |
         (held.Meta ? wpe_input_keyboard_modifier_meta : 0);
}

// The host's reply to a surface request.
struct SurfaceAnswer : SurfaceResponse {
  void Signal(SurfaceHandle handle) override {
    this->handle = handle;
    answered = true;
  }
  SurfaceHandle handle;
  bool answered = false;
};

}  // namespace

// What the engine's picture export calls back into. The export goes with the engine's web view,
// which may outlive ours (an unanswered script holds it), so it never points at the view itself:
// the view clears `view` when it goes, and pictures that come later are handed straight back.
struct WpeView::Export {
  WpeView* view;
  wpe_view_backend_exportable_fdo* exportable;
};

WpeView::WpeView(WpeWebUI& ui, WebKitWebContext* context, ViewListener* listener, Options const& options)
    : ui_(ui), listener_(listener), id_(options.id), secret_(options.secret), url_(options.url) {
  static wpe_view_backend_exportable_fdo_client const client = {nullptr, nullptr, &WpeView::onShmBuffer, nullptr,
                                                                 nullptr};
  export_ = new Export{this, nullptr};
  exportable_ = wpe_view_backend_exportable_fdo_create(&client, export_, uint32_t(options.width),
                                                       uint32_t(options.height));
  export_->exportable = exportable_;
  wpe_view_backend* backend = wpe_view_backend_exportable_fdo_get_view_backend(exportable_);
  // The web view owns the backend from here and ends it, and the export, with itself.
  WebKitWebViewBackend* viewBackend = webkit_web_view_backend_new(backend, &WpeView::endExport, export_);

  content_ = webkit_user_content_manager_new();
  webkit_user_content_manager_register_script_message_handler(content_, "engine");
  g_signal_connect(content_, "script-message-received::engine", G_CALLBACK(&WpeView::onMessage), this);
  // Only the launcher's own documents get the bridge and its secret: a page of another site
  // that reaches the top frame after all finds no `engine` there.
  static char const* const ours[] = {"coui://*/*", nullptr};
  for (std::string const& source : {pageScript(secret_), options.startScript}) {
    if (source.empty()) continue;
    WebKitUserScript* script = webkit_user_script_new(source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                                      WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, ours, nullptr);
    webkit_user_content_manager_add_script(content_, script);
    webkit_user_script_unref(script);
  }
  webkit_user_content_manager_add_filter(content_, options.topFrameRules);

  view_ = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "backend", viewBackend, "web-context", context,
                                       "user-content-manager", content_, nullptr));
  g_signal_connect(view_, "decide-policy", G_CALLBACK(&WpeView::onDecidePolicy), this);
  g_signal_connect(view_, "load-failed", G_CALLBACK(&WpeView::onLoadFailed), this);
  g_signal_connect(view_, "notify::uri", G_CALLBACK(&WpeView::onUriChanged), this);
  wpe_view_backend_add_activity_state(backend, wpe_view_activity_state_visible | wpe_view_activity_state_focused |
                                                   wpe_view_activity_state_in_window);
  webkit_web_view_load_uri(view_, options.url.c_str());
}

WpeView::~WpeView() {
  export_->view = nullptr;
  dropSurface();
  g_signal_handlers_disconnect_by_data(view_, this);
  g_signal_handlers_disconnect_by_data(content_, this);
  g_object_unref(view_);
  g_object_unref(content_);
}

void WpeView::BindCall(std::string const& name, Command command) { commands_[name] = std::move(command); }

void WpeView::Resize(unsigned width, unsigned height) {
  wpe_view_backend_dispatch_set_size(wpe_view_backend_exportable_fdo_get_view_backend(exportable_), width, height);
}

void WpeView::Redraw() {
  // The engine repaints by itself whenever the page or its size changes, and has no call that
  // repaints an unchanged page. What is left to do is let its next picture through at once,
  // outside the pacing of frameDone: after a resize, the picture of the new size.
  nextPicture_ = std::chrono::steady_clock::now() + kPicturePeriod;
  wpe_view_backend_exportable_fdo_dispatch_frame_complete(exportable_);
}

void WpeView::Destroy() { destroyed_ = true; }

void WpeView::BeginEvent(std::string const& name, int) {
  tOpenEvent = "window.engine._trigger(" + literal(Value(name)) + ", [";
  tFirstArgument = true;
}

void WpeView::Write(Value const& argument) {
  if (!tFirstArgument) tOpenEvent += ", ";
  tOpenEvent += literal(argument);
  tFirstArgument = false;
}

void WpeView::EndEvent() {
  tOpenEvent += "]);";
  std::lock_guard<std::mutex> lock(scriptsMutex_);
  scripts_.push_back(std::move(tOpenEvent));
}

void WpeView::frameDone() {
  std::vector<std::string> scripts;
  {
    std::lock_guard<std::mutex> lock(scriptsMutex_);
    scripts.swap(scripts_);
  }
  for (std::string const& script : scripts) runScript(script);
  // The engine draws its next picture once told that the last one is shown. A slot counts as
  // come a quarter early, so that updates at 60 a second let every second one through; a late
  // slot is not made up for with a burst.
  auto const now = std::chrono::steady_clock::now();
  if (now < nextPicture_ - kPicturePeriod / 4) return;
  nextPicture_ = std::max(nextPicture_ + kPicturePeriod, now + kPicturePeriod / 2);
  wpe_view_backend_exportable_fdo_dispatch_frame_complete(exportable_);
}

void WpeView::runScript(std::string const& script) {
  webkit_web_view_run_javascript(view_, script.c_str(), nullptr, nullptr, nullptr);
}

void WpeView::focus() {
  wpe_view_backend_add_activity_state(wpe_view_backend_exportable_fdo_get_view_backend(exportable_),
                                      wpe_view_activity_state_focused);
}

void WpeView::mouseEvent(MouseEventData const& record) {
  wpe_view_backend* backend = wpe_view_backend_exportable_fdo_get_view_backend(exportable_);
  uint32_t const keys = modifiersOf(record.Modifiers);
  if (record.Type == MouseEventData::Wheel) {
    auto const smooth2d =
        wpe_input_axis_event_type(wpe_input_axis_event_type_mask_2d | wpe_input_axis_event_type_motion_smooth);
    wpe_input_axis_2d_event axis = {};
    axis.base = {smooth2d, timeNow(), record.X, record.Y, 0, 0, pressedButtons_ | keys};
    axis.x_axis = record.WheelX * kPixelsPerTenthNotch;
    axis.y_axis = record.WheelY * kPixelsPerTenthNotch;
    wpe_view_backend_dispatch_axis_event(backend, &axis.base);
    return;
  }
  bool const press = record.Type == MouseEventData::Down || record.Type == MouseEventData::Up;
  // The engine numbers buttons 1 left, 2 right, 3 middle. A press of the right button is not
  // passed on: this engine opens its context menu on the press and then swallows every later
  // click of the page, and the launcher's page has no use for a context menu.
  if (press && record.Button == MouseEventData::ButtonRight) return;
  uint32_t button = record.Button == MouseEventData::ButtonLeft     ? 1
                    : record.Button == MouseEventData::ButtonMiddle ? 3
                                                                    : 0;
  wpe_input_pointer_event pointer = {wpe_input_pointer_event_type_motion, timeNow(), record.X, record.Y, 0, 0,
                                     pressedButtons_ | keys};
  if (press && button != 0) {
    uint32_t bit = wpe_input_pointer_modifier_button1 << (button - 1);
    pointer.type = wpe_input_pointer_event_type_button;
    pointer.button = button;
    pointer.state = record.Type == MouseEventData::Down ? 1 : 0;
    // A release still names its button among the pressed ones, as the engine expects.
    pressedButtons_ |= bit;
    pointer.modifiers = pressedButtons_ | keys;
    if (record.Type == MouseEventData::Up) pressedButtons_ &= ~bit;
  }
  wpe_view_backend_dispatch_pointer_event(backend, &pointer);
}

void WpeView::keyEvent(KeyEventData const& record) {
  if (record.Type == KeyEventData::Char) {
    // The engine types the text of a key's symbol; control characters come as named keys. The
    // character is already what the layout made of the modifiers (AltGr arrives as Alt), and a
    // held Control or Alt would make the engine take it for a shortcut and type nothing.
    if (record.KeyCode < 32 || record.KeyCode == 127) return;
    uint32_t keysym = characterKeysym(uint32_t(record.KeyCode));
    uint32_t shift = record.Modifiers.Shift ? wpe_input_keyboard_modifier_shift : 0;
    key(keysym, true, shift);
    key(keysym, false, shift);
    return;
  }
  if (record.Type != KeyEventData::KeyDown && record.Type != KeyEventData::KeyUp) return;
  // The keypad's keys go as its own symbols, whose text the engine types: their characters are
  // not passed on. A key that types text goes only as a shortcut, with Control, Alt or Meta
  // held; otherwise its character brings the text, which would else be typed twice.
  bool const up = record.Type == KeyEventData::KeyUp;
  bool const shortcut = record.Modifiers.Control || record.Modifiers.Alt || record.Modifiers.Meta;
  uint32_t keysym = record.IsNumPad ? keypadKeysym(record.KeyCode) : namedKeysym(record.KeyCode);
  if (keysym == 0 && !record.IsNumPad && (shortcut || up)) keysym = printableKeysym(record.KeyCode);
  if (keysym == 0) return;
  // A release goes only for a key whose press the engine saw.
  if (up && keysDown_.erase(keysym) == 0) return;
  if (!up) keysDown_.insert(keysym);
  key(keysym, !up, modifiersOf(record.Modifiers));
}

void WpeView::key(uint32_t keysym, bool pressed, uint32_t modifiers) {
  wpe_input_keyboard_event event = {timeNow(), keysym, 0, pressed, modifiers};
  wpe_view_backend_dispatch_keyboard_event(wpe_view_backend_exportable_fdo_get_view_backend(exportable_), &event);
}

void WpeView::onShmBuffer(void* link, wpe_fdo_shm_exported_buffer* exported) {
  auto* target = static_cast<Export*>(link);
  if (target->view) {
    wl_shm_buffer* buffer = wpe_fdo_shm_exported_buffer_get_shm_buffer(exported);
    wl_shm_buffer_begin_access(buffer);
    target->view->deliver(static_cast<unsigned char const*>(wl_shm_buffer_get_data(buffer)),
                          wl_shm_buffer_get_width(buffer), wl_shm_buffer_get_height(buffer),
                          wl_shm_buffer_get_stride(buffer));
    wl_shm_buffer_end_access(buffer);
  }
  wpe_view_backend_exportable_fdo_dispatch_release_shm_exported_buffer(target->exportable, exported);
}

void WpeView::endExport(void* link) {
  auto* target = static_cast<Export*>(link);
  wpe_view_backend_exportable_fdo_destroy(target->exportable);
  delete target;
}

void WpeView::deliver(unsigned char const* pixels, int width, int height, int stride) {
  if (destroyed_ || !ensureSurface(width, height)) return;
  size_t row = size_t(width) * 4;
  for (int y = 0; y < height; ++y) std::memcpy(mapped_ + size_t(y) * row, pixels + size_t(y) * size_t(stride), row);
  listener_->OnDraw(surface_, false, width, height);
}

bool WpeView::ensureSurface(int width, int height) {
  if (hasSurface_ && width == surfaceWidth_ && height == surfaceHeight_) return mapped_ != nullptr;
  dropSurface();
  SurfaceAnswer answer;
  listener_->CreateSurface(false, unsigned(width), unsigned(height), &answer);
  if (!answer.answered) return false;
  surface_ = answer.handle;
  hasSurface_ = true;
  surfaceWidth_ = width;
  surfaceHeight_ = height;
  // The host sizes the file by its own idea of the window; a picture that doesn't fit waits
  // for the surface of its size.
  struct stat info {};
  size_t needed = size_t(width) * size_t(height) * 4;
  if (surface_.fd < 0 || ::fstat(surface_.fd, &info) != 0 || size_t(info.st_size) < needed) return false;
  void* mapped = ::mmap(nullptr, needed, PROT_READ | PROT_WRITE, MAP_SHARED, surface_.fd, 0);
  if (mapped == MAP_FAILED) return false;
  mapped_ = static_cast<unsigned char*>(mapped);
  mappedSize_ = needed;
  return true;
}

void WpeView::dropSurface() {
  if (mapped_) ::munmap(mapped_, mappedSize_);
  mapped_ = nullptr;
  if (hasSurface_) listener_->DestroySurface(surface_, false);
  hasSurface_ = false;
}

void WpeView::onMessage(WebKitUserContentManager*, WebKitJavascriptResult* result, void* self) {
  JSCValue* value = webkit_javascript_result_get_js_value(result);
  char* text = jsc_value_to_string(value);
  static_cast<WpeView*>(self)->handleMessage(text ? text : "");
  g_free(text);
}

void WpeView::handleMessage(std::string const& text) {
  ka::Json message;
  try {
    std::istringstream in(text);
    message = ka::Json::readFrom(in);
    if (message.type() != ka::Json::TYPE_Object) throw std::runtime_error("not an object");
  } catch (std::runtime_error const&) {
    logRefusal("Refused a malformed message from a page");
    return;
  }
  std::string name = message.get("name").asString("");
  // Only our script in our page knows the secret; anything else on the page is refused.
  if (message.get("secret").asString("") != secret_) {
    logRefusal("Refused a call of \"" + name + "\" that did not come from the launcher's page");
    return;
  }
  if (message.hasKey("log")) {
    std::string line = message.get("text").asString("");
    ui_.log(severityOf(message.get("log").asString("")), line);
    return;
  }
  std::string id = std::to_string(int64_t(message.get("id").asNumber(0)));
  auto command = commands_.find(name);
  if (command == commands_.end()) {
    runScript("window.engine._settle(" + id + ", false, " + literal(Value("Unknown command " + name)) + ");");
    return;
  }
  std::vector<Value> args;
  ka::Json list = message.get("args");
  if (list.type() == ka::Json::TYPE_Array)
    for (size_t i = 0; i < list.arrayLength(); ++i) args.push_back(fromJson(list.get(i)));
  Value result = command->second(args);
  runScript("window.engine._settle(" + id + ", true, " + literal(result) + ");");
}

void WpeView::logRefusal(std::string const& line) {
  // Any frame may post to the bridge, as often as it likes; the engine does not say which frame
  // a message came from, so only the view's first refusal is logged, lest a hostile frame fill
  // the disk with the log.
  if (refusalLogged_) return;
  refusalLogged_ = true;
  KA_LOG(Error) << line << " (later refusals in this view are not logged)";
}

int WpeView::onDecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision, int type, void*) {
  if (type != WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION) return FALSE;
  WebKitNavigationAction* action =
      webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  WebKitURIRequest* request = webkit_navigation_action_get_request(action);
  KA_LOG(Error) << "Refused to open a window for " << webkit_uri_request_get_uri(request);
  webkit_policy_decision_ignore(decision);
  return TRUE;
}

int WpeView::onLoadFailed(WebKitWebView*, int, char const* uri, void* error, void*) {
  std::string failing = uri ? uri : "";
  if (failing.rfind("coui://", 0) == 0 ||
      g_error_matches(static_cast<GError*>(error), WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED))
    return FALSE;
  // The system's rules stopped another site from taking the top frame; the page stays, without
  // the engine's error page in its place.
  KA_LOG(Error) << "Refused to navigate the launcher's page to " << failing;
  return TRUE;
}

void WpeView::onUriChanged(WebKitWebView* web, void*, void* self) {
  // Frames may show other sites (a stream's news); the page itself stays ours.
  auto* view = static_cast<WpeView*>(self);
  std::string uri = webkit_web_view_get_uri(web) ? webkit_web_view_get_uri(web) : "";
  if (uri.empty() || uri.rfind("coui://", 0) == 0) return;
  KA_LOG(Error) << "Refused to navigate the launcher's page to " << uri;
  webkit_web_view_stop_loading(web);
  webkit_web_view_load_uri(web, view->url_.c_str());
}

}  // namespace webui
