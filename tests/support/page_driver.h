// The launcher on its real page in WPE WebKit, headless, driven as a player would drive it: clicks
// on elements that a script finds, keys typed, and the page's state read back through the host.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "game/headless_platform.h"
#include "launcher_gui.h"
#include "webui/shared_memory.h"
#include "webui/wpe_web_ui.h"

// Sits between the launcher and the HTML engine: passes everything on, and adds to the page one
// test command and one test event, by which the test evaluates expressions in the page.
class PageProbe : public webui::WebUI, public webui::ViewListener {
 public:
  explicit PageProbe(std::unique_ptr<webui::WebUI> engine) : engine_(std::move(engine)) {}

  void update(float seconds) override { engine_->update(seconds); }
  void loadLocalView(std::string const& path, int width, int height, webui::ViewListener* listener, bool transparent,
                     std::string const& script) override {
    launcher_ = listener;
    engine_->loadLocalView(path, width, height, this, transparent, script + kProbeScript);
  }
  void dispatchToView(vorn::UIEvent const& event, webui::View* view) override { engine_->dispatchToView(event, view); }

  void OnError(webui::ViewError const& error) override { launcher_->OnError(error); }
  void OnViewCreated(webui::View* created) override {
    view = created;
    launcher_->OnViewCreated(created);
  }
  void OnReadyForBindings(int frame, wchar_t const* path, bool main) override {
    launcher_->OnReadyForBindings(frame, path, main);
    view->BindCall("pageTestAnswer", [this](std::vector<webui::Value> const& args) {
      answers[int(std::get<double>(args.at(0)))] = {std::get<std::string>(args.at(1)), std::get<bool>(args.at(2))};
      return webui::Value();
    });
  }
  void CreateSurface(bool transparent, unsigned width, unsigned height, webui::SurfaceResponse* response) override {
    launcher_->CreateSurface(transparent, width, height, response);
  }
  void DestroySurface(webui::SurfaceHandle handle, bool transparent) override {
    launcher_->DestroySurface(handle, transparent);
  }
  // Keeps a copy of each picture, as the launcher's renderer would upload it.
  void OnDraw(webui::SurfaceHandle handle, bool transparent, int width, int height) override {
    pictureWidth = width;
    pictureHeight = height;
    picture.resize(size_t(width) * size_t(height) * 4);
    webui::readFromSharedMemory(handle, picture.size(), picture.data());
    ++pictures;
    launcher_->OnDraw(handle, transparent, width, height);
  }

  struct Answer {
    std::string text;
    bool truthy = false;
  };
  webui::View* view = nullptr;
  std::map<int, Answer> answers;
  int pictures = 0;
  int pictureWidth = 0;
  int pictureHeight = 0;
  std::vector<unsigned char> picture;  // B, G, R, A

 private:
  static constexpr char const* kProbeScript = R"JS(
engine.on('pageTestEvaluate', (id, expression) => {
  let value;
  try { value = (0, eval)(expression); } catch (e) { value = 'threw ' + e; }
  engine.call('pageTestAnswer', id, String(value), !!value);
});
)JS";

  std::unique_ptr<webui::WebUI> engine_;
  webui::ViewListener* launcher_ = nullptr;
};

// Makes the launcher object on the HTML engine with the page's files from `uiDir`.
class PageLauncherFactory : public vorn::GameFactory {
 public:
  explicit PageLauncherFactory(std::string uiDir) : uiDir_(std::move(uiDir)) {}
  std::string name() const override { return "ZandorLauncher"; }
  vorn::Game* create(vorn::Platform* platform) override {
    return new LauncherGUI(platform, [this](webui::WebUISettings const& settings, webui::EventListener* listener,
                                            vorn::Platform* on) {
      auto made = std::make_unique<PageProbe>(std::make_unique<webui::WpeWebUI>(
          settings, listener, std::make_shared<webui::ExternalFileHandler>(uiDir_), on));
      probe = made.get();
      return made;
    });
  }

  PageProbe* probe = nullptr;

 private:
  std::string uiDir_;
};

// One run of the launcher on the headless platform, frames turned by the test.
class PageDriver {
 public:
  PageDriver(std::string const& uiDir, std::string const& resourceDir, int width = 960, int height = 580)
      : factory_(uiDir), platform_(&factory_, resourceDir) {
    platform_.setWindowSize(width, height);
    EXPECT_TRUE(platform_.start());
  }

  vorn::HeadlessPlatform& platform() { return platform_; }
  LauncherGUI& gui() { return *static_cast<LauncherGUI*>(platform_.game()); }
  PageProbe& probe() { return *factory_.probe; }

  void turn() {
    platform_.drainQueue();
    platform_.frame();
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
  }
  // Turns until `done` or the time is up; false on timeout.
  bool turnUntil(std::function<bool()> const& done, std::chrono::seconds limit = std::chrono::seconds(30)) {
    auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
      if (std::chrono::steady_clock::now() > end) return false;
      turn();
    }
    return true;
  }

  // The value of a script expression in the page, as text ("threw ..." if it threw). A page that
  // is still loading may miss the question; it then has no answer.
  PageProbe::Answer evaluate(std::string const& expression) {
    if (!turnUntil([this] { return probe().view != nullptr; })) return {"(no page)", false};
    int id = ++lastQuestion_;
    probe().view->TriggerEvent("pageTestEvaluate", double(id), expression);
    if (!turnUntil([&] { return probe().answers.count(id) > 0; }, std::chrono::seconds(5))) return {"(no answer)", false};
    PageProbe::Answer answer = probe().answers[id];
    probe().answers.erase(id);
    return answer;
  }
  std::string text(std::string const& expression) { return evaluate(expression).text; }
  // Polls the expression until it is true in the script's sense.
  ::testing::AssertionResult waitFor(std::string const& expression,
                                     std::chrono::seconds limit = std::chrono::seconds(30)) {
    PageProbe::Answer last;
    auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
      last = evaluate(expression);
      if (last.truthy) return ::testing::AssertionSuccess() << last.text;
      for (int i = 0; i < 5; ++i) turn();
    }
    return ::testing::AssertionFailure() << "the page never showed " << expression << " (last: " << last.text << ")";
  }

  // Clicks the middle of the element that `selector` finds, once it is shown, enabled and on top.
  ::testing::AssertionResult click(std::string const& selector) {
    std::string const where = "(() => { const e = document.querySelector(" + quote(selector) + ");"
        " if (!e || e.disabled) return '';"
        " const r = e.getBoundingClientRect(); if (!r.width || !r.height) return '';"
        " const x = Math.round(r.left + r.width / 2), y = Math.round(r.top + r.height / 2);"
        " const top = document.elementFromPoint(x, y);"
        " return top && (top === e || e.contains(top)) ? x + ' ' + y : ''; })()";
    ::testing::AssertionResult found = waitFor(where);
    if (!found) return found;
    int x = 0, y = 0;
    if (std::sscanf(found.message(), "%d %d", &x, &y) != 2) return ::testing::AssertionFailure() << found.message();
    input(vorn::MouseMoveEvent(x, y, 0));
    input(vorn::MouseButtonEvent(x, y, vorn::KC_LeftMouse, vorn::BA_Down, 0));
    input(vorn::MouseButtonEvent(x, y, vorn::KC_LeftMouse, vorn::BA_Up, 0));
    return ::testing::AssertionSuccess();
  }
  // Types text into whatever has the keyboard focus.
  void type(std::string const& text) {
    for (unsigned char c : text) input(vorn::CharEvent(c));
  }
  void press(vorn::KeyCode key) {
    input(vorn::KeyEvent(key, vorn::BA_Down));
    input(vorn::KeyEvent(key, vorn::BA_Up));
  }
  // Through the platform's way in, as a window's input arrives.
  void input(vorn::UIEvent const& event) {
    platform_.proxy()->dispatch(event);
    turn();
  }

  // A script string literal of `text`.
  static std::string quote(std::string const& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return quoted + "'";
  }

 private:
  PageLauncherFactory factory_;
  vorn::HeadlessPlatform platform_;
  int lastQuestion_ = 0;
};
