// The desktop platform on Linux: the main thread's loop, the window with its frames, the queue
// by which other threads reach the main thread, and the player's input.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "game/game_factory.h"
#include "game/input_state.h"
#include "game/linux_game_proxy.h"
#include "game/linux_glview.h"
#include "game/platform.h"
#include "vorn/profiler.h"

namespace vorn {

class LinuxPlatform : public Platform, public ka::TaskQueue {
 public:
  // Connects to the window system; throws WindowSystemError saying why if it can't. Mounts
  // `resourceDir` at "/" (empty: the resources beside the executable, which must exist).
  explicit LinuxPlatform(GameFactory* factory, std::string const& resourceDir = "");
  ~LinuxPlatform() override;

  // The whole life of the game on the main thread: make it, its window, renderer and setup,
  // then input, queued tasks and frames until an exit is requested. 1 if the game refused to
  // start, else 0.
  int run();
  // Runs the queued tasks, including those they queue, under the context lock. Main thread.
  void drainQueue();

  // The game once `run` has made it, and its window once it exists (for tests and tools).
  Game* game() const { return game_; }
  LinuxGLView* view() const { return view_.get(); }
  // Off: frames follow one another as fast as they can be made.
  void setFramePacing(bool on);

  [[noreturn]] void fatalError(ka::StringRange message) override;
  ka::Ref<Filesystem> getFilesystem() override { return filesystem_; }
  // Brings the window into being on the first call.
  ras::Rasterizer* getRasterizer() override;
  Presenter* getPresenter() override;
  Keyboard const* getKeyboard() override { return &keyboard_; }
  Keyboard* getMutableKeyboard() override { return &keyboard_; }
  Mouse const* getMouse() const override { return &mouse_; }
  Mouse* getMutableMouse() override { return &mouse_; }
  Profiler* getProfiler() override { return &profiler_; }
  void getWindowSize(int& width, int& height) override;
  ka::TaskQueue* getUIThreadTaskQueue() override { return this; }
  // From any thread; the cursor changes on the main thread.
  void setCursor(char* pixels, unsigned long width, unsigned long height, unsigned long, unsigned long hotX,
                 unsigned long hotY) override;
  // Any thread, a frame or an input handler included: the main loop stops the frames and returns.
  void requestExit() override;

  // Any thread; the task runs on the main thread, after the frame or event now running.
  void enqueue(std::function<void()> const& task) override;

 private:
  void makeView();
  void mainLoop();
  bool onMainThread() const { return std::this_thread::get_id() == mainThread_; }

  GameFactory* factory_;
  std::thread::id mainThread_;
  Profiler profiler_;
  ka::Ref<Filesystem> filesystem_;
  Mouse mouse_;
  Keyboard keyboard_;
  std::mutex mutex_;  // guards tasks_
  std::vector<std::function<void()>> tasks_;
  Game* game_ = nullptr;  // owned by the proxy, or by refusedGame_
  std::unique_ptr<Game> refusedGame_;
  std::unique_ptr<LinuxGameProxy> proxy_;
  std::unique_ptr<LinuxGLView> view_;
  std::atomic<bool> exitRequested_{false};
  bool pacing_ = true;
};

}  // namespace vorn
