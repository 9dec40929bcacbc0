// Stands between the run loop and the game: everything that may touch the graphics context runs
// under the context lock, so that frames and main-thread events never overlap inside the game.
#pragma once

#include <functional>
#include <memory>

#include "game/context_lock.h"
#include "game/game.h"
#include "game/platform.h"

namespace vorn {

class LinuxGameProxy {
 public:
  using EventSink = std::function<void(PlatformEvent const&, UIEvent&)>;

  // Owns the game. The lock may come later, when the window exists.
  LinuxGameProxy(Game* game, EventSink sendEvent) : game_(game), sendEvent_(std::move(sendEvent)) {}
  LinuxGameProxy(LinuxGameProxy const&) = delete;
  LinuxGameProxy& operator=(LinuxGameProxy const&) = delete;

  void setContextLock(ContextLock* lock) { lock_ = lock; }

  Platform* platform() const { return game_->platform(); }
  ka::TaskQueue* loaderTaskQueue() { return game_->loaderTaskQueue(); }
  ren::Renderer* renderer() const { return game_->renderer(); }
  ka::TaskQueue* backgroundTaskQueue() { return game_->backgroundTaskQueue(); }
  void requestExit() { game_->requestExit(); }
  bool exitRequested() const { return game_->exitRequested(); }

  void createRenderer() {
    ScopeGLContext scope(lock_);
    game_->createRenderer();
  }
  void setup() {
    ScopeGLContext scope(lock_);
    game_->setup();
  }
  float desiredUpdatePeriod() {
    ScopeGLContext scope(lock_);
    return game_->desiredUpdatePeriod();
  }
  void update(float seconds) {
    ScopeGLContext scope(lock_);
    game_->update(seconds);
  }
  bool frameWanted() {
    ScopeGLContext scope(lock_);
    return game_->frameWanted();
  }
  void present() {
    ScopeGLContext scope(lock_);
    game_->present();
  }
  void dispatch(PlatformEvent const& platformEvent, UIEvent& event) {
    ScopeGLContext scope(lock_);
    sendEvent_(platformEvent, event);
  }
  // For platforms that make portable events themselves, with no native record to translate.
  void dispatch(UIEvent const& event) {
    ScopeGLContext scope(lock_);
    game_->dispatch(event);
  }

 private:
  std::unique_ptr<Game> game_;
  ContextLock* lock_ = nullptr;
  EventSink sendEvent_;
};

}  // namespace vorn
