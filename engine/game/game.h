// What an application derives from: the frame calls it to set up, update, present and handle input.
#pragma once

#include <memory>
#include <mutex>

#include "ka/taskqueue.h"
#include "vorn/renderer.h"
#include "vorn/resource.h"
#include "vorn/threadpool.h"
#include "vorn/uievent.h"

namespace vorn {

class MaterialLibrary;
class Platform;

class Game {
 public:
  // Runs with no window and no graphics context in existence; they belong to setup and later.
  explicit Game(Platform* platform);
  virtual void dispatch(UIEvent const&) {}
  // Waits for the tasks queued on the game's pools.
  virtual ~Game();
  Game(Game const&) = delete;
  Game& operator=(Game const&) = delete;

  virtual ren::Renderer* doCreateRenderer();
  virtual void setup() {}
  // Advisory; the run loops pace frames themselves.
  virtual float desiredUpdatePeriod() { return 0.0f; }
  virtual void update(float) {}
  // Whether this frame must be drawn. A game that knows when its picture changes says false for
  // the frames in between, and the frame then neither presents nor swaps; by default every
  // frame is drawn.
  virtual bool frameWanted() { return true; }
  virtual void present();

  // Makes the renderer (replacing any earlier one) and loads the standard effects.
  void createRenderer();
  // One thread, for loading resources in order.
  ka::TaskQueue* loaderTaskQueue() { return loaderPool_.get(); }
  // Made on first use and sized to the machine; the frame thread's call.
  ka::TaskQueue* backgroundTaskQueue();
  // Any thread; repeated calls are harmless.
  void requestExit();
  bool exitRequested() const;

  Platform* platform() const { return platform_; }
  // Objects loaded from the platform's filesystem on the loader queue; no format is registered by
  // the engine: a game registers its own.
  ResourceSystem* resourceSystem() const { return resourceSystem_.get(); }
  // Where this game's materials are interned; it lives as long as the game.
  MaterialLibrary* materialLibrary() const { return materialLibrary_.get(); }
  ren::Renderer* renderer() const { return renderer_.get(); }

 private:
  // Declared so that they are destroyed mutex first and the loader pool last.
  Platform* platform_;
  std::unique_ptr<ThreadPool> loaderPool_;
  std::unique_ptr<ResourceSystem> resourceSystem_;
  struct ReleaseMaterialLibrary {
    void operator()(MaterialLibrary* library) const;
  };
  std::unique_ptr<MaterialLibrary, ReleaseMaterialLibrary> materialLibrary_;
  std::unique_ptr<ren::Renderer> renderer_;
  std::unique_ptr<ThreadPool> backgroundPool_;
  mutable std::mutex mutex_;
  bool exit_ = false;
};

}  // namespace vorn
