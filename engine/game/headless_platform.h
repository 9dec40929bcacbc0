// A platform without a window: runs a game's frames at a fixed rate on the calling thread, for
// tests and terminal front ends. It has no rasterizer, input devices or profiler.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "game/context_lock.h"
#include "game/game_factory.h"
#include "game/linux_game_proxy.h"
#include "game/platform.h"

namespace vorn {

class HeadlessPlatform : public Platform, public ka::TaskQueue {
 public:
  // The user data directory follows the factory's name; `resourceDir` is mounted at "/"
  // (empty: the resources beside the executable, which must exist).
  explicit HeadlessPlatform(GameFactory* factory, std::string const& resourceDir = "");
  ~HeadlessPlatform() override;

  // The whole life of the game: start, then queued tasks and a frame every `framePeriod`
  // seconds until an exit is requested. 1 if the game refused to start, else 0.
  int run(float framePeriod = 1.0f / 60.0f);

  // The steps of `run`, for callers that drive the frames themselves.
  // Makes the game, its renderer, calls setup and sends the window size. False if the game
  // refused to start; it then gets nothing more.
  bool start();
  // Runs the queued tasks, including those they queue, under the context lock.
  void drainQueue();
  // One frame: update with the seconds since the previous frame (none on the first), then present.
  void frame();
  bool exitPending() const;

  // Sends the game a resize event once it has started.
  void setWindowSize(int width, int height);
  // The game, once `start` has made it.
  Game* game() const { return game_; }
  LinuxGameProxy* proxy() const { return proxy_.get(); }

  [[noreturn]] void fatalError(ka::StringRange message) override;
  ka::Ref<Filesystem> getFilesystem() override { return filesystem_; }
  ras::Rasterizer* getRasterizer() override { return nullptr; }
  Presenter* getPresenter() override { return nullptr; }
  Keyboard const* getKeyboard() override { return nullptr; }
  Keyboard* getMutableKeyboard() override { return nullptr; }
  Mouse const* getMouse() const override { return nullptr; }
  Mouse* getMutableMouse() override { return nullptr; }
  Profiler* getProfiler() override { return nullptr; }
  void getWindowSize(int& width, int& height) override;
  ka::TaskQueue* getUIThreadTaskQueue() override { return this; }
  void setCursor(char*, unsigned long, unsigned long, unsigned long, unsigned long, unsigned long) override {}
  void requestExit() override;

  // Any thread; wakes `run`.
  void enqueue(std::function<void()> const& task) override;

 private:
  void sendResize();

  GameFactory* factory_;
  ka::Ref<Filesystem> filesystem_;
  ContextLock contextLock_;
  Game* game_ = nullptr;  // owned by the proxy, or by refusedGame_
  std::unique_ptr<Game> refusedGame_;
  std::unique_ptr<LinuxGameProxy> proxy_;
  std::chrono::steady_clock::time_point previousFrame_;
  bool framed_ = false;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  int width_ = 960;
  int height_ = 580;
  bool exit_ = false;
};

}  // namespace vorn
