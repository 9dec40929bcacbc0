// A page in a real window: the player's keys, as xdotool types them on a private X server, go
// through the window's input, the UI host's translator and the HTML engine into a text field.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <thread>

#include "game/linux_platform.h"
#include "support/temp_dir.h"
#include "support/x11_window.h"
#include "support/xvfb.h"
#include "webui/file_handler.h"
#include "webui/shared_memory.h"
#include "webui/wpe_web_ui.h"

namespace {

// Hosts one page in the window as the launcher does: the engine pumped on the main thread, input
// handed to the view. Reports the field's text.
class PageGame : public vorn::Game, public webui::EventListener, public webui::ViewListener {
 public:
  PageGame(vorn::Platform* platform, std::string uiFolder) : vorn::Game(platform), uiFolder_(std::move(uiFolder)) {}

  void setup() override {
    webui::WebUISettings settings{uiFolder_ + "/../host", uiFolder_ + "/../localstore"};
    ui_ = std::make_unique<webui::WpeWebUI>(settings, this, std::make_shared<webui::ExternalFileHandler>(uiFolder_),
                                            platform());
  }
  void update(float seconds) override {
    if (!pumpQueued_.exchange(true))
      platform()->getUIThreadTaskQueue()->enqueue([this, seconds] {
        pumpQueued_ = false;
        ui_->update(seconds);
      });
  }
  void dispatch(vorn::UIEvent const& event) override {
    if (view_) ui_->dispatchToView(event, view_);
  }

  void SystemReady() override {
    int width, height;
    platform()->getWindowSize(width, height);
    ui_->loadLocalView("index.html", width, height, this, false, "");
  }
  void OnViewCreated(webui::View* view) override { view_ = view; }
  void OnReadyForBindings(int, wchar_t const*, bool) override {
    view_->BindCall("report", [this](std::vector<webui::Value> const& args) {
      std::lock_guard<std::mutex> lock(mutex_);
      text_ = webui::argString(args, 0);
      return webui::Value(true);
    });
  }
  void CreateSurface(bool, unsigned width, unsigned height, webui::SurfaceResponse* response) override {
    webui::initSharedMemory(size_t(width) * height * 4, response);
  }
  void DestroySurface(webui::SurfaceHandle handle, bool) override { webui::destroySharedMemory(handle); }
  void OnDraw(webui::SurfaceHandle, bool, int, int) override { ++draws; }

  // Waits up to 20 seconds for the field to read `text`.
  bool waitForText(std::string const& text) {
    for (int i = 0; i < 2000; ++i) {
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (text_ == text) return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  std::string text() {
    std::lock_guard<std::mutex> lock(mutex_);
    return text_;
  }

  std::atomic<int> draws{0};

 private:
  std::string uiFolder_;
  std::unique_ptr<webui::WpeWebUI> ui_;
  webui::View* view_ = nullptr;  // main thread
  std::atomic<bool> pumpQueued_{false};
  std::mutex mutex_;  // guards text_
  std::string text_;
};

class PageFactory : public vorn::GameFactory {
 public:
  explicit PageFactory(std::string uiFolder) : uiFolder_(std::move(uiFolder)) {}
  std::string name() const override { return "PageWindow"; }
  vorn::Game* create(vorn::Platform* platform) override { return game = new PageGame(platform, uiFolder_); }
  std::atomic<PageGame*> game{nullptr};

 private:
  std::string uiFolder_;
};

TEST(WindowPage, SelectAllThenTypingReplacesTheText) {
  XvfbDisplay display;
  TempDir folder;
  std::filesystem::create_directories(folder.file("ui"));
  folder.write("ui/index.html", R"HTML(<!DOCTYPE html><html><body style="margin:0">
    <input id="field" autofocus style="position:absolute;left:0;top:0;width:400px;height:40px">
    <script>
      const field = document.getElementById('field');
      field.addEventListener('input', () => engine.call('report', field.value));
      engine.call('report', 'ready');
    </script></body></html>)HTML");
  PageFactory factory(folder.file("ui"));
  vorn::LinuxPlatform platform(&factory, folder.path());
  std::thread driver([&] {
    for (int i = 0; i < 1000 && !factory.game; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    PageGame* game = factory.game;
    if (game && game->waitForText("ready")) {
      std::string window = std::to_string(platform.view()->nativeWindow());
      // The keyboard follows the pointer: there is no window manager to give focus.
      EXPECT_TRUE(xdotool("mousemove --window " + window + " 50 20 click 1"));
      EXPECT_TRUE(xdotool("type hello"));
      EXPECT_TRUE(game->waitForText("hello")) << game->text();
      EXPECT_TRUE(xdotool("key ctrl+a type x"));
      EXPECT_TRUE(game->waitForText("x")) << game->text();
    } else {
      ADD_FAILURE() << "the page did not start";
    }
    platform.requestExit();
  });
  EXPECT_EQ(platform.run(), 0);
  driver.join();
}

}  // namespace
