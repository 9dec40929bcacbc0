// The UI system on WPE WebKit, headless: pages from a temporary UI folder, the page's `engine`
// object both ways, pictures in shared memory, input, local storage and the page's limits.
#include "webui/wpe_web_ui.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <mutex>
#include <thread>

#include "game/headless_platform.h"
#include "game/linux_platform_event.h"
#include "ka/logsink.h"
#include "support/local_http_server.h"
#include "support/log_lines.h"
#include "support/poll.h"
#include "support/temp_dir.h"
#include "webui/shared_memory.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace {

using webui::Value;

// The host's side: makes the page, binds "report", keeps the surface and counts pictures.
class Host : public webui::EventListener, public webui::ViewListener {
 public:
  explicit Host(std::string script = "") : script_(std::move(script)) {}

  void SystemReady() override { ui->loadLocalView("index.html", width, height, this, false, script_); }
  void OnViewCreated(webui::View* created) override { view = created; }
  void OnReadyForBindings(int, wchar_t const*, bool) override {
    view->BindCall("report", [this](std::vector<Value> const& args) {
      std::vector<std::string> words;
      for (Value const& a : args) {
        if (auto const* s = std::get_if<std::string>(&a)) words.push_back(*s);
        else if (auto const* b = std::get_if<bool>(&a)) words.push_back(*b ? "true" : "false");
        else if (auto const* d = std::get_if<double>(&a)) words.push_back(std::to_string(int(*d)));
        else words.push_back("null");
      }
      reports.push_back(words);
      return Value(true);
    });
    view->BindCall("add", [](std::vector<Value> const& args) {
      return Value(std::get<double>(args.at(0)) + std::get<double>(args.at(1)));
    });
  }
  void CreateSurface(bool, unsigned w, unsigned h, webui::SurfaceResponse* response) override {
    surface = webui::initSharedMemory(w * h * 4, response);
    surfaces.push_back({w, h});
    files.push_back(surface.name);
  }
  void DestroySurface(webui::SurfaceHandle handle, bool) override {
    webui::destroySharedMemory(handle);
    ++destroyed;
  }
  void OnDraw(webui::SurfaceHandle handle, bool, int w, int h) override {
    drawnWidth = w;
    drawnHeight = h;
    pixels.resize(size_t(w) * size_t(h) * 4);
    webui::readFromSharedMemory(handle, pixels.size(), pixels.data());
    ++draws;
  }

  // Pumps the system until `done`, at most `seconds`.
  bool until(std::function<bool()> const& done, int seconds = 20) {
    auto pumped = [&] { return done() || (ui->update(0.016f), false); };
    return pollUntil(pumped, std::chrono::seconds(seconds), std::chrono::milliseconds(5));
  }
  bool reported(std::string const& what) {
    return until([&] { return !report(what).empty(); });
  }
  // Pumps until this very report has come.
  bool reportedExactly(std::vector<std::string> const& words) {
    return until([&] { return std::find(reports.begin(), reports.end(), words) != reports.end(); });
  }
  void click(int x, int y, vorn::KeyCode button) {
    ui->dispatchToView(vorn::MouseButtonEvent(x, y, button, vorn::BA_Down, 0), view);
    ui->dispatchToView(vorn::MouseButtonEvent(x, y, button, vorn::BA_Up, 0), view);
  }
  std::vector<std::string> report(std::string const& what) const {
    for (auto const& r : reports)
      if (!r.empty() && r[0] == what) return r;
    return {};
  }
  // B, G, R, A at a place of the last picture.
  std::array<int, 4> pixel(int x, int y) const {
    size_t at = (size_t(y) * size_t(drawnWidth) + size_t(x)) * 4;
    return {pixels[at], pixels[at + 1], pixels[at + 2], pixels[at + 3]};
  }

  std::unique_ptr<webui::WpeWebUI> ui;
  webui::View* view = nullptr;
  int width = 320;
  int height = 200;
  std::vector<std::vector<std::string>> reports;
  webui::SurfaceHandle surface;
  std::vector<std::pair<unsigned, unsigned>> surfaces;
  std::vector<std::string> files;
  int destroyed = 0;
  int draws = 0;
  int drawnWidth = 0;
  int drawnHeight = 0;
  std::vector<unsigned char> pixels;

 private:
  std::string script_;
};

class WpeWebUITest : public ::testing::Test {
 protected:
  static std::string reportText(Host const& host) {
    std::string text;
    for (auto const& r : host.reports) {
      for (auto const& w : r) text += w + " ";
      text += "\n";
    }
    return text;
  }
  void start(Host& host, std::string const& page) {
    std::filesystem::create_directories(folder.file("ui"));
    folder.write("ui/index.html", page);
    webui::WebUISettings settings{folder.file("host"), folder.file("localstore")};
    settings.logSeverity = 0;
    host.ui = std::make_unique<webui::WpeWebUI>(settings, &host,
                                               std::make_shared<webui::ExternalFileHandler>(folder.file("ui")),
                                               &platform);
  }

  std::string logText() const { return ::logText(log); }

  // Dispatches an event as the window platform does: the native record goes through the
  // platform's translators first.
  void send(Host& host, vorn::PlatformEvent const& native, vorn::UIEvent event) {
    platform.translateEvent(native, event);
    host.ui->dispatchToView(event, host.view);
  }
  // A key pressed and released: a letter, a digit or a keypad key, with its character unless
  // Control is held, as GLFW reports them.
  void press(Host& host, int glfwKey, char label, vorn::KeyCode portable, int modifiers = 0) {
    using vorn::PlatformEvent;
    PlatformEvent down{.kind = PlatformEvent::Key, .key = glfwKey, .action = GLFW_PRESS, .modifiers = modifiers,
                       .codepoint = uint32_t(label)};
    send(host, down, vorn::KeyEvent(portable, vorn::BA_Down));
    if (!(modifiers & PlatformEvent::Control)) {
      PlatformEvent typed{.kind = PlatformEvent::Char, .key = glfwKey, .modifiers = modifiers,
                          .codepoint = uint32_t(label), .isCharacter = true};
      send(host, typed, vorn::CharEvent(uint32_t(label)));
    }
    PlatformEvent up = down;
    up.action = GLFW_RELEASE;
    send(host, up, vorn::KeyEvent(portable, vorn::BA_Up));
  }

  TempDir folder;
  vorn::GameClassFactorySingleton<vorn::Game> factory{"WebUITest"};
  vorn::HeadlessPlatform platform{&factory, folder.path()};
  ka::LogSinkMemory log{0};
};

// A remote site on 127.0.0.1 for the length of a test: fixed pages, and every path asked for.
class Site {
 public:
  struct Page {
    Page(std::string body, std::string type = "text/html", std::string disposition = "")
        : body(std::move(body)), type(std::move(type)), disposition(std::move(disposition)) {}
    std::string body;
    std::string type;
    std::string disposition;  // Content-Disposition, if any
  };

  Site(std::initializer_list<std::pair<std::string const, Page>> pages) : pages_(pages) {
    server_.routes().Get(".*", [this](httplib::Request const& request, httplib::Response& response) {
      std::lock_guard<std::mutex> lock(mutex_);
      asked_.push_back(request.path);
      auto page = pages_.find(request.path);
      if (page == pages_.end()) {
        response.status = 404;
        return;
      }
      if (!page->second.disposition.empty()) response.set_header("Content-Disposition", page->second.disposition);
      response.set_content(page->second.body, page->second.type);
    });
    server_.start();
  }

  std::string url(std::string const& path) const { return server_.url(path); }
  bool asked(std::string const& path) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::find(asked_.begin(), asked_.end(), path) != asked_.end();
  }

 private:
  LocalHttpServer server_;
  std::map<std::string, Page> pages_;
  mutable std::mutex mutex_;
  std::vector<std::string> asked_;
};

std::string const kBridgePage = R"HTML(<!DOCTYPE html><html><body><script>
  engine.on('greet', (word, flag, number) => engine.call('report', 'greet', word, flag, number));
  engine.call('report', 'params', JSON.stringify(gEngineParams));
  engine.call('add', 2, 3).then((sum) => engine.call('report', 'sum', sum));
  engine.call('missing').catch((e) => engine.call('report', 'missing', String(e.message)));
</script></body></html>)HTML";

// A new picture and a call every frame.
std::string const kAnimatedPage = R"HTML(<!DOCTYPE html><html><body style="margin:0"><script>
  let hue = 0;
  const step = () => {
    hue = (hue + 7) % 360;
    document.body.style.background = 'hsl(' + hue + ', 80%, 50%)';
    engine.call('report', 'frame');
    requestAnimationFrame(step);
  };
  step();
</script></body></html>)HTML";

TEST_F(WpeWebUITest, ThePageCallsCommandsAndReceivesEvents) {
  Host host("gEngineParams = {\"devmode\":true};\n");
  start(host, kBridgePage);
  ASSERT_TRUE(host.reported("params")) << "the page never called\n" << logText();
  EXPECT_EQ(host.report("params")[1], R"({"devmode":true})");
  ASSERT_TRUE(host.reported("sum"));
  EXPECT_EQ(host.report("sum")[1], "5");
  ASSERT_TRUE(host.reported("missing"));
  EXPECT_EQ(host.report("missing")[1], "Unknown command missing");
  host.view->TriggerEvent("greet", std::string("hello \"page\""), true, 7.0);
  ASSERT_TRUE(host.reported("greet"));
  std::vector<std::string> const greet = {"greet", "hello \"page\"", "true", "7"};
  EXPECT_EQ(host.report("greet"), greet);
}

TEST_F(WpeWebUITest, PicturesArriveInTheSharedFileInBGRAOrder) {
  Host host;
  start(host, R"HTML(<!DOCTYPE html><html><body style="margin:0;background:rgb(10,20,30)">
    <div style="width:40px;height:40px;background:rgb(200,100,50)"></div></body></html>)HTML");
  ASSERT_TRUE(host.until([&] { return host.draws > 0 && host.pixel(100, 100)[0] == 30; })) << logText();
  EXPECT_EQ(host.surfaces.front(), std::make_pair(320u, 200u));
  EXPECT_EQ(host.drawnWidth, 320);
  EXPECT_EQ(host.drawnHeight, 200);
  EXPECT_EQ(host.pixel(100, 100), (std::array<int, 4>{30, 20, 10, 255}));
  EXPECT_EQ(host.pixel(5, 5), (std::array<int, 4>{50, 100, 200, 255}));

  // A new size brings a new surface; the old file goes.
  std::string first = host.files.front();
  host.width = 200;
  host.height = 100;
  host.ui->dispatchToView(vorn::ResizeEvent(200, 100), host.view);
  ASSERT_TRUE(host.until([&] { return host.drawnWidth == 200; }));
  EXPECT_EQ(host.surfaces.back(), std::make_pair(200u, 100u));
  EXPECT_EQ(host.destroyed, 1);
  EXPECT_FALSE(std::filesystem::exists(first));
  EXPECT_TRUE(std::filesystem::exists(host.files.back()));
  EXPECT_EQ(std::filesystem::file_size(host.files.back()), 200u * 100u * 4u);
  host.ui.reset();
  EXPECT_FALSE(std::filesystem::exists(host.files.back())) << "the surface goes with its view";
}

TEST_F(WpeWebUITest, NoPictureReachesAViewThatWent) {
  // Pictures and answers are on their way when the view goes. Several systems in a row: the engine may keep a view's export alive past the
  // view, and its late pictures then come while the system ends or a later one runs.
  for (int run = 0; run < 6; ++run) {
    Host host;
    start(host, kAnimatedPage);
    ASSERT_TRUE(host.until([&] { return host.draws > 2; })) << logText();
    // Every other time the page's view ends first and the system goes on for a while.
    bool const viewFirst = run % 2 == 0;
    if (viewFirst) {
      host.view->Destroy();
      host.ui->update(0.016f);
      EXPECT_EQ(host.destroyed, 1) << "the surface goes with its view";
      host.until([] { return false; }, 1);
    }
    int const draws = host.draws;
    size_t const surfaces = host.surfaces.size();
    host.ui.reset();
    EXPECT_EQ(host.draws, draws) << "run " << run;
    EXPECT_EQ(host.surfaces.size(), surfaces) << "run " << run;
  }
}

TEST_F(WpeWebUITest, MouseAndKeysReachThePage) {
  Host host;
  start(host, R"HTML(<!DOCTYPE html><html><body style="margin:0;height:100vh">
    <input id="name" style="position:absolute;left:0;top:0;width:100px;height:30px">
    <script>
      document.addEventListener('mousedown', (e) => engine.call('report', 'mouse', e.button, e.clientX, e.clientY));
      document.addEventListener('keydown', (e) => engine.call('report', 'key', e.key));
      document.addEventListener('wheel', (e) => engine.call('report', 'wheel', e.deltaY < 0 ? 'up' : 'down'));
      document.getElementById('name').addEventListener('input', (e) => engine.call('report', 'text', e.target.value));
      engine.call('report', 'ready');
    </script></body></html>)HTML");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return host.draws > 0; }));
  // A right-click goes nowhere (see the view); middle and left clicks do.
  host.click(150, 120, vorn::KC_RightMouse);
  host.click(150, 120, vorn::KC_MiddleMouse);
  ASSERT_TRUE(host.reported("mouse"));
  std::vector<std::string> const mouse = {"mouse", "1", "150", "120"};
  EXPECT_EQ(host.report("mouse"), mouse);
  // The engine may drop a wheel under load (see the wheel test below): the notch goes again
  // until the page sees one; its direction is what counts here.
  for (int i = 0; i < 10 && host.report("wheel").empty(); ++i) {
    host.ui->dispatchToView(vorn::MouseWheelEvent(150, 120, 120, 0), host.view);
    host.until([&] { return !host.report("wheel").empty(); }, 2);
  }
  ASSERT_TRUE(host.reported("wheel"));
  EXPECT_EQ(host.report("wheel")[1], "up") << "a notch away from the player scrolls up";

  // Click into the field, then type: text from characters, named keys from key events.
  host.ui->dispatchToView(vorn::MouseMoveEvent(10, 10, 0), host.view);
  host.click(10, 10, vorn::KC_LeftMouse);
  ASSERT_TRUE(host.until([&] { return host.reports.back() == std::vector<std::string>{"mouse", "0", "10", "10"}; }));
  for (uint32_t c : {uint32_t('h'), uint32_t('i'), 0xe9u}) host.ui->dispatchToView(vorn::CharEvent(c), host.view);
  host.ui->dispatchToView(vorn::KeyEvent(vorn::KC_Enter, vorn::BA_Down), host.view);
  host.ui->dispatchToView(vorn::KeyEvent(vorn::KC_Enter, vorn::BA_Up), host.view);
  ASSERT_TRUE(host.reportedExactly({"text", "hi\u00e9"})) << logText() << reportText(host);
  ASSERT_TRUE(host.reportedExactly({"key", "Enter"}));
}

TEST_F(WpeWebUITest, TranslatedKeysAndClicksCarryTheirModifiers) {
  Host host;
  start(host, R"HTML(<!DOCTYPE html><html><body style="margin:0;height:100vh">
    <input id="name" style="position:absolute;left:0;top:0;width:100px;height:30px">
    <script>
      const name = document.getElementById('name');
      document.addEventListener('mousedown', (e) => engine.call('report', 'mouse', e.ctrlKey));
      document.addEventListener('keyup', (e) => engine.call('report', 'keyup', e.key, name.value));
      name.addEventListener('focus', () => engine.call('report', 'focus'));
      engine.call('report', 'ready');
    </script></body></html>)HTML");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return host.draws > 0; }));
  using vorn::PlatformEvent;
  auto click = [&](int x, int y, int modifiers) {
    PlatformEvent native{.kind = PlatformEvent::MouseButton, .action = GLFW_PRESS, .modifiers = modifiers,
                         .button = GLFW_MOUSE_BUTTON_LEFT, .x = double(x), .y = double(y), .buttonsHeld = 1};
    uint32_t const portable = modifiers & PlatformEvent::Control ? uint32_t(vorn::MM_Control) : 0u;
    send(host, native, vorn::MouseButtonEvent(x, y, vorn::KC_LeftMouse, vorn::BA_Down, portable));
    native.action = GLFW_RELEASE;
    native.buttonsHeld = 0;
    send(host, native, vorn::MouseButtonEvent(x, y, vorn::KC_LeftMouse, vorn::BA_Up, portable));
  };
  auto keyUp = [&](std::string const& key, std::string const& value) {
    return host.until([&] { return host.reports.back() == std::vector<std::string>{"keyup", key, value}; });
  };
  click(10, 10, 0);
  ASSERT_TRUE(host.reported("focus"));
  EXPECT_EQ(host.report("mouse"), (std::vector<std::string>{"mouse", "false"}));

  for (char c : std::string("hello")) press(host, GLFW_KEY_A + (c - 'a'), c, vorn::KeyCode(vorn::KC_A + (c - 'a')));
  ASSERT_TRUE(keyUp("o", "hello")) << reportText(host);
  // Ctrl+A selects the text, which the next letter then replaces.
  send(host, {.kind = PlatformEvent::Key, .key = GLFW_KEY_LEFT_CONTROL, .action = GLFW_PRESS,
              .modifiers = PlatformEvent::Control},
       vorn::KeyEvent(vorn::KC_LeftCtrl, vorn::BA_Down));
  press(host, GLFW_KEY_A, 'a', vorn::KC_A, PlatformEvent::Control);
  send(host, {.kind = PlatformEvent::Key, .key = GLFW_KEY_LEFT_CONTROL, .action = GLFW_RELEASE},
       vorn::KeyEvent(vorn::KC_LeftCtrl, vorn::BA_Up));
  ASSERT_TRUE(keyUp("Control", "hello")) << reportText(host);
  press(host, GLFW_KEY_X, 'x', vorn::KC_X);
  ASSERT_TRUE(keyUp("x", "x")) << reportText(host);
  // The keypad types its digits once each.
  press(host, GLFW_KEY_KP_1, '1', vorn::KC_Numpad1);
  press(host, GLFW_KEY_KP_2, '2', vorn::KC_Numpad2);
  ASSERT_TRUE(keyUp("2", "x12")) << reportText(host);

  click(200, 100, PlatformEvent::Control);
  ASSERT_TRUE(host.until([&] { return host.reports.back() == std::vector<std::string>{"mouse", "true"}; }))
      << reportText(host);

  // The system's translator goes with it.
  host.ui.reset();
  vorn::UIEvent after = vorn::KeyEvent(vorn::KC_A, vorn::BA_Down);
  platform.translateEvent({.kind = PlatformEvent::Key, .key = GLFW_KEY_A, .action = GLFW_PRESS}, after);
  EXPECT_TRUE(after.translations.empty());
}

TEST_F(WpeWebUITest, TheTranslatedWheelScrollsByTenthsOfANotch) {
  Host host;
  start(host, R"HTML(<!DOCTYPE html><html><body style="margin:0;height:5000px"><script>
      document.addEventListener('wheel', (e) => engine.call('report', 'wheel', e.deltaY));
      document.addEventListener('scroll', () => engine.call('report', 'scroll', window.scrollY));
      document.addEventListener('mousemove', () => engine.call('report', 'pointer'), {once: true});
      engine.call('report', 'ready');
    </script></body></html>)HTML");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return host.draws > 0; }));
  // The pointer first, as a player's does: the page takes input once it has seen it arrive.
  send(host, {.kind = vorn::PlatformEvent::CursorMove, .x = 150, .y = 120}, vorn::MouseMoveEvent(150, 120, 0));
  ASSERT_TRUE(host.reported("pointer")) << reportText(host);
  auto wheel = [&](double notches) {
    vorn::PlatformEvent native{.kind = vorn::PlatformEvent::Scroll, .x = 150, .y = 120, .scrollY = notches};
    send(host, native, vorn::MouseWheelEvent(150, 120, int(notches * 120), 0));
  };
  // The page's reports may come in another order than its events: read the last of a kind.
  auto lastScroll = [&] {
    for (auto r = host.reports.rbegin(); r != host.reports.rend(); ++r)
      if ((*r)[0] == "scroll") return (*r)[1];
    return std::string();
  };
  auto wheels = [&] {
    return std::count_if(host.reports.begin(), host.reports.end(), [](auto const& r) { return r[0] == "wheel"; });
  };
  // Under load the engine now and then drops a wheel (seen under sanitizers and parallel
  // tests): a notch the page has not seen in 5 seconds goes again.
  auto notch = [&](double notches) {
    auto const seen = wheels();
    for (int i = 0; i < 5 && wheels() == seen; ++i) {
      wheel(notches);
      host.until([&] { return wheels() > seen; }, 5);
    }
    return wheels() > seen;
  };
  ASSERT_TRUE(notch(-1)) << reportText(host);
  EXPECT_EQ(host.report("wheel"), (std::vector<std::string>{"wheel", "40"}));
  ASSERT_TRUE(host.until([&] { return !lastScroll().empty(); })) << reportText(host);
  host.until([] { return false; }, 1);  // lets the scroll settle
  int const base = std::stoi(lastScroll());
  // A notch towards the player scrolls down as far as the engine's own notch, 40 pixels; a
  // touchpad's third of a notch away from the player scrolls back a little.
  ASSERT_TRUE(notch(-1)) << reportText(host);
  EXPECT_TRUE(host.until([&] { return lastScroll() == std::to_string(base + 40); })) << reportText(host);
  ASSERT_TRUE(notch(0.3)) << reportText(host);
  EXPECT_TRUE(host.until([&] { return lastScroll() == std::to_string(base + 28); })) << reportText(host);
}

TEST_F(WpeWebUITest, PicturesComeAtMostThirtyTimesASecond) {
  Host host;
  start(host, kAnimatedPage);
  ASSERT_TRUE(host.until([&] { return host.draws > 0; })) << logText();
  // Updates far more often than 30 a second; a slow machine makes fewer pictures, never more.
  int const before = host.draws;
  auto const begin = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(1500)) {
    host.ui->update(0.002f);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  int const pictures = host.draws - before;
  EXPECT_GT(pictures, 0);
  EXPECT_LE(pictures, int(seconds * 30) + 2);
}

TEST_F(WpeWebUITest, LocalStorageOutlivesTheSystem) {
  std::string const page = R"HTML(<!DOCTYPE html><html><body><script>
    const runs = Number(localStorage.getItem('runs') || 0) + 1;
    localStorage.setItem('runs', String(runs));
    engine.call('report', 'runs', String(runs));
  </script></body></html>)HTML";
  for (char const* expected : {"1", "2"}) {
    Host host;
    start(host, page);
    ASSERT_TRUE(host.reported("runs")) << logText();
    EXPECT_EQ(host.report("runs")[1], expected);
    // Give the storage a moment to be written before the system goes.
    host.until([] { return false; }, 1);
  }
}

TEST_F(WpeWebUITest, OnlyOurPageMayCallAndItStaysInCharge) {
  Host host;
  start(host, R"HTML(<!DOCTYPE html><html><body><script>
    window.webkit.messageHandlers.engine.postMessage(JSON.stringify({ id: 1, name: 'report', args: ['forged'] }));
    engine.on('still', () => engine.call('report', 'still here'));
    engine.call('report', 'ready').then(() => {
      window.open('http://127.0.0.1:9/popup');
      location.href = sessionStorage.getItem('left') ? 'http://127.0.0.1:9/elsewhere' : 'about:blank';
      sessionStorage.setItem('left', 'yes');
    });
    console.warn('page says', 42);
  </script></body></html>)HTML");
  ASSERT_TRUE(host.reported("ready")) << logText();
  host.until([] { return false; }, 1);
  host.view->TriggerEvent("still");
  EXPECT_TRUE(host.reported("still here")) << "the page left";
  std::string text = logText();
  EXPECT_TRUE(host.report("forged").empty());
  EXPECT_NE(text.find("ERROR Refused a call of \"report\" that did not come from the launcher's page"),
            std::string::npos);
  EXPECT_NE(text.find("INFO [COUI] page says 42\n"), std::string::npos) << text;
  EXPECT_NE(text.find("ERROR Refused to navigate the launcher's page to about:blank"), std::string::npos) << text;
}

TEST_F(WpeWebUITest, WithoutAHandlerPagesComeFromTheFilesystemWithTheBootFiles) {
  std::filesystem::create_directories(folder.file("ui/lib"));
  folder.write("ui/lib/a.js", "window.fromBoot = 'script';\n");
  folder.write("ui/lib/s.css", "body { background: rgb(1, 2, 3); }\n");
  folder.write("ui/boot.json", R"({"js": ["/ui/lib/a.js"], "css": ["/ui/lib/s.css"]})");
  folder.write("ui/index.html", R"HTML(<!DOCTYPE html><html><head>
    <link rel="stylesheet" href="alpha/shared/css/boot.css"><script src="alpha/shared/js/boot.js?v=2"></script>
    </head><body><script>
    engine.call('report', 'boot', window.fromBoot, getComputedStyle(document.body).backgroundColor);
    </script></body></html>)HTML");
  Host host;
  webui::WebUISettings settings{folder.file("host"), folder.file("localstore")};
  host.ui = std::make_unique<webui::WpeWebUI>(settings, &host, nullptr, &platform);
  ASSERT_TRUE(host.reported("boot")) << logText();
  std::vector<std::string> const boot = {"boot", "script", "rgb(1, 2, 3)"};
  EXPECT_EQ(host.report("boot"), boot);
}

TEST_F(WpeWebUITest, AFrameCannotTakeOverThePage) {
  // A news frame whose link, clicked once, would put another site in the page's place. The
  // site's own pages may still move within their frames.
  Site site({
      {"/news", {R"HTML(<body style="margin:0"><a href="/escape" target="_top"
          style="display:block;width:300px;height:150px;background:red">Read more</a>
          <script>new Image().src = '/news-ready';</script></body>)HTML"}},
      {"/escape", {R"HTML(<script>
          if (window.engine) engine.call('report', 'escaped', location.href);
          new Image().src = '/escape-ran?engine=' + typeof window.engine;</script>)HTML"}},
      {"/hop", {"<script>location.replace('/hopped');</script>"}},
      {"/hopped", {"<p>moved on</p>"}},
  });
  Host host;
  start(host, R"HTML(<!DOCTYPE html><html><body style="margin:0">
    <iframe src=")HTML" + site.url("/news") +
                  R"HTML(" style="position:absolute;left:0;top:0;width:300px;height:150px;border:0"></iframe>
    <iframe src=")HTML" + site.url("/hop") +
                  R"HTML(" style="position:absolute;left:0;top:160px;width:100px;height:30px;border:0"></iframe>
    <script>
      engine.on('still', () => engine.call('report', 'still here', location.href));
      engine.call('report', 'ready');
    </script></body></html>)HTML");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return site.asked("/news-ready") && site.asked("/hopped") && host.draws > 0; }))
      << logText();
  host.until([] { return false; }, 1);  // the frame's link laid out and drawn

  host.ui->dispatchToView(vorn::MouseMoveEvent(50, 50, 0), host.view);
  host.click(50, 50, vorn::KC_LeftMouse);
  std::string const refused = "ERROR Refused to navigate the launcher's page to " + site.url("/escape");
  host.until([&] { return logText().find(refused) != std::string::npos || !host.report("escaped").empty(); }, 10);
  host.view->TriggerEvent("still");
  ASSERT_TRUE(host.reported("still here"));
  EXPECT_TRUE(host.report("escaped").empty()) << "another site's page got the engine object";
  EXPECT_FALSE(site.asked("/escape")) << "the page was asked for before it was refused";
  EXPECT_NE(logText().find(refused), std::string::npos) << logText();
  EXPECT_EQ(host.report("still here")[1].rfind("coui://ui/index.html", 0), 0u);
  host.ui.reset();
}

TEST_F(WpeWebUITest, AFrameCannotReachThePagesFiles) {
  folder.write("ui/secret.js", "window.stolen = true;");
  Site site({{"/news", {R"HTML(<script src="coui://ui/secret.js"
      onload="new Image().src = '/loaded'" onerror="new Image().src = '/refused'"></script>
      <iframe src="coui://ui/index.html" onload="new Image().src = '/framed'"></iframe>)HTML"}}});
  Host host;
  start(host, "<!DOCTYPE html><html><body><iframe src=\"" + site.url("/news") +
                  "\"></iframe><script>engine.call('report', 'ready');</script></body></html>");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return site.asked("/loaded") || site.asked("/refused"); })) << logText();
  host.until([] { return false; }, 1);
  EXPECT_TRUE(site.asked("/refused"));
  EXPECT_FALSE(site.asked("/loaded"));
  EXPECT_EQ(logText().find("Opening " + folder.file("ui/secret.js")), std::string::npos)
      << "the file was read for another site";
  EXPECT_EQ(countLines(log, "Opening " + folder.file("ui/index.html")), 1)
      << "the page was read for another site's frame";
  host.ui.reset();
}

TEST_F(WpeWebUITest, AFrameCannotDownload) {
  // A unique name, looked for where the engine would put a download.
  std::string const name = "zandor-" + std::to_string(::getpid()) + "-" + std::to_string(std::rand()) + ".bin";
  std::vector<std::string> places;
  if (char const* home = std::getenv("HOME")) places = {std::string(home) + "/" + name, std::string(home) + "/Downloads/" + name};
  Site site({
      {"/news", {"<iframe src=\"/file\"></iframe><script>new Image().src = '/news-ready';</script>"}},
      {"/file", {std::string(4096, 'x'), "application/octet-stream", "attachment; filename=\"" + name + "\""}},
  });
  Host host;
  start(host, "<!DOCTYPE html><html><body><iframe src=\"" + site.url("/news") +
                  "\"></iframe><script>engine.call('report', 'ready');</script></body></html>");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return site.asked("/file"); })) << logText();
  std::string const refused = "ERROR Refused a download of " + site.url("/file");
  host.until([&] { return logText().find(refused) != std::string::npos; }, 5);
  host.until([] { return false; }, 1);
  EXPECT_EQ(countLines(log, refused), 1) << logText();
  for (std::string const& place : places) {
    EXPECT_FALSE(std::filesystem::exists(place)) << place;
    std::filesystem::remove(place);
  }
  host.ui.reset();
}

TEST_F(WpeWebUITest, AFrameCannotFloodTheLog) {
  Site site({{"/flood", {R"HTML(<script>
      const channel = window.webkit.messageHandlers.engine;
      for (let i = 0; i < 200; ++i) {
        channel.postMessage(JSON.stringify({ id: i, name: 'report', args: ['forged'] }));
        channel.postMessage('not a message');
      }
      new Image().src = '/flooded';</script>)HTML"}}});
  Host host;
  start(host, "<!DOCTYPE html><html><body><iframe src=\"" + site.url("/flood") +
                  "\"></iframe><script>engine.on('still', () => engine.call('report', 'still here'));"
                  "engine.call('report', 'ready');</script></body></html>");
  ASSERT_TRUE(host.reported("ready")) << logText();
  ASSERT_TRUE(host.until([&] { return site.asked("/flooded"); })) << logText();
  // The page's answer comes after the frame's messages: by then the host has handled them all.
  host.view->TriggerEvent("still");
  EXPECT_TRUE(host.reported("still here")) << "the page's own calls still go through";
  EXPECT_TRUE(host.report("forged").empty());
  EXPECT_EQ(countLines(log, "Refused"), 1) << "the first refusal only" << logText();
  host.ui.reset();
}

TEST_F(WpeWebUITest, TheEngineStartsAndStopsQuietly) {
  // In a process of its own: the engine looks for the accessibility bus once a process. Local
  // storage is used, as the launcher's page does, since its end is what the network process
  // complained about.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Host host;
        start(host, "<script>localStorage.setItem('seen', 'yes'); engine.call('report', 'stored');</script>");
        bool const stored = host.reported("stored");
        host.ui.reset();
        std::filesystem::remove_all(folder.path());
        std::exit(stored ? 0 : 1);
      },
      ::testing::ExitedWithCode(0),
      ::testing::AllOf(::testing::Not(::testing::HasSubstr("accessibility bus")),
                       ::testing::Not(::testing::HasSubstr("Unhandled network process message"))));
}

TEST_F(WpeWebUITest, ANullViewIsAProgrammingFault) {
  Host host;
  start(host, "<html></html>");
  host.ui->dispatchToView(vorn::UIEvent(), nullptr);  // no kind of input: ignored before anything else
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(host.ui->dispatchToView(vorn::MouseMoveEvent(1, 1, 0), nullptr), "!!! view is null. !!!");
}

}  // namespace
