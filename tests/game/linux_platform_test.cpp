// The desktop platform in a real window on a private X server: threads and the context lock,
// the picture in the window, input as xdotool gives it, and the ways a run ends.
#include "game/linux_platform.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>

#include "support/temp_dir.h"
#include "support/text.h"
#include "support/x11_window.h"
#include "support/xvfb.h"
#include "vorn/rasterizer.h"

namespace {

// One call into the game: what, on which thread, and whether a context was current.
struct Call {
  std::string what;
  std::thread::id thread;
  bool contextCurrent;
};

// Clears its frames to mid grey and records every call.
class RecordingGame : public vorn::Game {
 public:
  explicit RecordingGame(vorn::Platform* platform) : vorn::Game(platform), platform_(platform) {}

  void setup() override { record("setup"); }
  void update(float) override {
    inFrame = true;
    record("update");
    if (onUpdate) onUpdate(*this);
  }
  void present() override {
    record("present");
    // Through the window's rasterizer, as a renderer draws: into its default target, then onto
    // the window.
    vorn::ras::Rasterizer* ras = platform_->getRasterizer();
    ras->beginScene();
    ras->clear(vorn::ras::CLEAR_Color, {0.5f, 0.5f, 0.5f, 1.0f}, 1.0f, 0);
    ras->endScene();
    platform_->getPresenter()->present();
    ++frames;
    inFrame = false;
  }
  void dispatch(vorn::UIEvent const& event) override { record(printed(event)); }

  void record(std::string what) {
    std::lock_guard<std::mutex> lock(mutex);
    calls.push_back({std::move(what), std::this_thread::get_id(), glfwGetCurrentContext() != nullptr});
  }
  std::vector<Call> snapshot() {
    std::lock_guard<std::mutex> lock(mutex);
    return calls;
  }
  // Waits up to 10 seconds for a call whose text contains `part`.
  bool waitFor(std::string const& part) {
    for (int i = 0; i < 1000; ++i) {
      for (Call const& call : snapshot())
        if (call.what.find(part) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  std::function<void(RecordingGame&)> onUpdate;  // on the frame's thread
  std::atomic<int> frames{0};
  std::atomic<bool> inFrame{false};

 private:
  vorn::Platform* platform_;
  std::mutex mutex;
  std::vector<Call> calls;
};

class RecordingFactory : public vorn::GameFactory {
 public:
  std::string name() const override { return "Recording"; }
  vorn::Game* create(vorn::Platform* platform) override {
    auto* made = new RecordingGame(platform);
    made->onUpdate = onUpdate;
    game = made;
    return made;
  }
  std::function<void(RecordingGame&)> onUpdate;
  std::atomic<RecordingGame*> game{nullptr};  // read by the test's driver thread
};

class LinuxPlatformTest : public ::testing::Test {
 protected:
  // Runs the platform on this thread and `drive` on another once two frames are on screen; the
  // driver's end, or a failure in it, ends the run.
  int runWith(std::function<void(vorn::LinuxPlatform&, RecordingGame&)> drive) {
    vorn::LinuxPlatform* running = platform.get();
    std::thread driver([&, running] {
      auto framing = [&] { return factory.game && factory.game.load()->frames >= 2; };
      for (int i = 0; i < 1000 && !framing(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (framing()) drive(*running, *factory.game);
      running->requestExit();
    });
    int status = platform->run();
    driver.join();
    return status;
  }
  unsigned long window() const { return platform->view()->nativeWindow(); }
  std::string windowArg() const { return std::to_string(window()); }

  XvfbDisplay display;
  TempDir resources;
  RecordingFactory factory;
  std::unique_ptr<vorn::LinuxPlatform> platform = std::make_unique<vorn::LinuxPlatform>(&factory, resources.path());
};

TEST_F(LinuxPlatformTest, FramesComeOnTheirOwnThreadAndEverythingElseOnTheMainThread) {
  std::atomic<bool> taskRanOutsideAFrame{false};
  std::atomic<bool> taskQueued{false};
  std::thread::id taskThread;
  bool swapRecorded = false;
  factory.onUpdate = [&](RecordingGame& game) {
    // The profiler holds the last frame, with its swap.
    for (auto const& [name, section] : game.platform()->getProfiler()->profileData().subSections)
      if (std::strcmp(name, "SwapBuffers") == 0) swapRecorded = true;
    if (!taskQueued.exchange(true)) {
      // The cursor is the main thread's to change, whoever asks.
      std::vector<char> arrow(16 * 16 * 4, char(0xff));
      game.platform()->setCursor(arrow.data(), 16, 16, 64, 0, 0);
      game.platform()->getUIThreadTaskQueue()->enqueue([&] {
        taskThread = std::this_thread::get_id();
        taskRanOutsideAFrame = !game.inFrame;
        game.record("task");
      });
    }
    if (game.frames >= 5) game.requestExit();
  };
  std::thread::id mainThread = std::this_thread::get_id();
  EXPECT_EQ(platform->run(), 0);
  EXPECT_EQ(glfwGetCurrentContext(), nullptr) << "no context is current outside the lock";

  std::vector<Call> calls = factory.game.load()->snapshot();
  int frames = factory.game.load()->frames;
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(factory.game.load()->frames, frames) << "no frame after the run";

  ASSERT_GE(calls.size(), 4u);
  EXPECT_EQ(calls[0].what, "setup");
  EXPECT_EQ(calls[0].thread, mainThread);
  EXPECT_NE(calls[1].what.find("ET_Resize"), std::string::npos);
  // The very first frame only presents.
  auto firstFrame = std::find_if(calls.begin(), calls.end(), [](Call const& c) { return c.what == "present"; });
  ASSERT_NE(firstFrame, calls.end());
  EXPECT_EQ(std::count_if(calls.begin(), firstFrame, [](Call const& c) { return c.what == "update"; }), 0);
  std::thread::id frameThread = firstFrame->thread;
  EXPECT_NE(frameThread, mainThread);
  for (Call const& call : calls) {
    EXPECT_TRUE(call.contextCurrent) << call.what;
    bool frameCall = call.what == "update" || call.what == "present";
    EXPECT_EQ(call.thread, frameCall ? frameThread : mainThread) << call.what;
  }
  EXPECT_EQ(taskThread, mainThread);
  EXPECT_TRUE(taskRanOutsideAFrame);
  EXPECT_TRUE(swapRecorded);
  EXPECT_NE(platform->view()->cursor(), nullptr);
}

TEST_F(LinuxPlatformTest, TheWindowShowsTheFrameAndItsSizeFollowsTheWindow) {
  int64_t pixel = -1;
  int width = 0, height = 0;
  bool resized = false;
  EXPECT_EQ(runWith([&](vorn::LinuxPlatform& p, RecordingGame& game) {
              // Mid grey in linear light is 188 on the sRGB window.
              pixel = windowPixel(window(), 480, 290);
              p.getWindowSize(width, height);
              EXPECT_TRUE(xdotool("windowsize " + windowArg() + " 400 300"));
              resized = game.waitFor("ET_Resize source=IS_None index=0 width=400 height=300");
            }),
            0);
  EXPECT_EQ(pixel, 0xbcbcbc);
  EXPECT_EQ(width, 960);
  EXPECT_EQ(height, 580);
  EXPECT_TRUE(resized);
  platform->getWindowSize(width, height);
  EXPECT_EQ(width, 400);
  EXPECT_EQ(height, 300);
}

TEST_F(LinuxPlatformTest, ClosingTheWindowEndsTheRunInOrder) {
  EXPECT_EQ(runWith([&](vorn::LinuxPlatform&, RecordingGame& game) {
              sendDeleteWindow(window());
              for (int i = 0; i < 1000 && !game.exitRequested(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
              EXPECT_TRUE(game.exitRequested());
            }),
            0);
  EXPECT_TRUE(factory.game.load()->exitRequested());
}

TEST_F(LinuxPlatformTest, InputArrivesAsThePlayerGaveIt) {
  std::vector<std::string> events;
  runWith([&](vorn::LinuxPlatform&, RecordingGame& game) {
    std::string w = windowArg();
    ASSERT_TRUE(xdotool("mousemove --window " + w + " 100 50"));
    ASSERT_TRUE(game.waitFor("ET_MouseMove source=IS_Mouse index=0 x=100 y=50"));
    ASSERT_TRUE(xdotool("click 1 click 4"));
    ASSERT_TRUE(game.waitFor("ET_MouseWheel"));
    // The keyboard follows the pointer: there is no window manager to give focus.
    ASSERT_TRUE(xdotool("key a key Return keydown Shift_L keydown Shift_R keyup Shift_L keyup Shift_R key b"));
    ASSERT_TRUE(game.waitFor("key=B action=BA_Up"));
    for (Call const& call : game.snapshot())
      if (call.what.find("source=IS_") != std::string::npos) events.push_back(call.what);
  });
  auto from = std::find(events.begin(), events.end(),
                        "UIEvent type=ET_MouseMove source=IS_Mouse index=0 x=100 y=50 mod=0");
  ASSERT_NE(from, events.end());
  std::vector<std::string> const expected = {
      "UIEvent type=ET_MouseMove source=IS_Mouse index=0 x=100 y=50 mod=0",
      "UIEvent type=ET_MouseButton source=IS_Mouse index=0 x=100 y=50 action=BA_Down button=LeftMouse mod=0",
      "UIEvent type=ET_MouseButton source=IS_Mouse index=0 x=100 y=50 action=BA_Up button=LeftMouse mod=0",
      "UIEvent type=ET_MouseWheel source=IS_Mouse index=0 x=100 y=50 delta=120 mod=0",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=A action=BA_Down",
      "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+0061 ascii='a'",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=A action=BA_Up",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=Enter action=BA_Down",
      "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+000D",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=Enter action=BA_Up",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=LeftShift action=BA_Down",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=LeftShift action=BA_Up",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=B action=BA_Down",
      "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+0062 ascii='b'",
      "UIEvent type=ET_Key source=IS_Keyboard index=0 key=B action=BA_Up"};
  EXPECT_EQ(std::vector<std::string>(from, events.end()), expected);
}

}  // namespace
