#include "game/linux_platform.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "ka/leak_check.h"
#include "ka/log.h"
#include "ka/system_dirs.h"
#include "vorn/rasterizer.h"

namespace vorn {
namespace {

void logGlfwError(int code, char const* description) {
  KA_LOG(Error) << "GLFW error " << code << ": " << description;
}

}  // namespace

LinuxPlatform::LinuxPlatform(GameFactory* factory, std::string const& resourceDir)
    : Platform(ka::getUserDataDir("Zandor Works", factory->name())),
      factory_(factory),
      mainThread_(std::this_thread::get_id()),
      filesystem_(createStdioFilesystem()) {
  filesystem_->mount(resourceDir.empty() ? ka::getResourceDir() : resourceDir, "/", true);
  if (!glfwInit()) {
    char const* reason = nullptr;
    glfwGetError(&reason);
    throw WindowSystemError(std::string("cannot open a window: ") + (reason ? reason : "no window system"));
  }
  glfwSetErrorCallback(&logGlfwError);
}

LinuxPlatform::~LinuxPlatform() {
  KA_LOG(Info) << "LinuxPlatform::~LinuxPlatform()";
  if (filesystem_) {
    filesystem_->shutdown();
    filesystem_.reset();
  }
  // The game goes first, under the context lock, while the rasterizer it draws with is still
  // there: its renderer lets go of GL objects. The frames stop before it goes.
  if (view_) {
    view_->stop();
    view_->setProxy(nullptr);
  }
  {
    ScopeGLContext scope(view_ ? &view_->contextLock() : nullptr);
    proxy_.reset();
    refusedGame_.reset();
  }
  view_.reset();
  tasks_.clear();
  glfwSetErrorCallback(nullptr);
  // Sanitizer builds check for leaks here, while the OpenGL driver, whose threads' data only it
  // references, is still loaded: closing the display unloads it.
  ka::checkLeaksNow();
  glfwTerminate();
}

int LinuxPlatform::run() {
  Game* game = factory_->create(this);
  if (!game) return 1;
  if (game->exitRequested()) {
    refusedGame_.reset(game);
    return 1;
  }
  game_ = game;
  proxy_ = std::make_unique<LinuxGameProxy>(game, [this](PlatformEvent const& native, UIEvent& event) {
    translateEvent(native, event);
    game_->dispatch(event);
  });
  // The window first, so that making the renderer and setting up run with the context current.
  makeView();
  proxy_->createRenderer();
  proxy_->setup();
  view_->start();
  mainLoop();
  proxy_->requestExit();
  return 0;
}

void LinuxPlatform::mainLoop() {
  while (!exitRequested_) {
    // Input callbacks run in here; an empty event posted by enqueue or requestExit wakes it.
    glfwWaitEventsTimeout(0.5);
    try {
      drainQueue();
    } catch (std::exception const& error) {
      // The rest of that batch is gone with it; the loop goes on.
      KA_LOG(Error) << "A task of the main thread failed: " << error.what();
    }
  }
  // Here and not in requestExit, which may come from the frame or from under the context lock.
  view_->stop();
}

void LinuxPlatform::drainQueue() {
  ScopeGLContext scope(view_ ? &view_->contextLock() : nullptr);
  for (;;) {
    std::vector<std::function<void()>> batch;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      batch.swap(tasks_);
    }
    if (batch.empty()) return;
    for (auto const& task : batch) task();
  }
}

void LinuxPlatform::enqueue(std::function<void()> const& task) {
  std::lock_guard<std::mutex> lock(mutex_);
  // One wake-up for a list that was empty; later tasks ride on it.
  if (tasks_.empty()) glfwPostEmptyEvent();
  tasks_.push_back(task);
}

void LinuxPlatform::requestExit() {
  exitRequested_ = true;
  glfwPostEmptyEvent();
}

void LinuxPlatform::makeView() {
  if (view_) return;
  view_ = std::make_unique<LinuxGLView>(factory_->name(), profiler_, this, keyboard_, mouse_);
  view_->setFramePacing(pacing_);
  view_->setProxy(proxy_.get());
}

ras::Rasterizer* LinuxPlatform::getRasterizer() {
  makeView();
  return view_->rasterizer();
}

Presenter* LinuxPlatform::getPresenter() { return view_ ? view_->rasterizer()->getPresenter() : nullptr; }

void LinuxPlatform::getWindowSize(int& width, int& height) {
  if (view_) {
    view_->getSize(width, height);
    return;
  }
  width = height = 0;
}

void LinuxPlatform::setFramePacing(bool on) {
  pacing_ = on;
  if (view_) view_->setFramePacing(on);
}

void LinuxPlatform::setCursor(char* pixels, unsigned long width, unsigned long height, unsigned long,
                              unsigned long hotX, unsigned long hotY) {
  if (!view_ || !pixels) return;
  // The window system's cursor calls are the main thread's; the caller's pixels may not outlive it.
  std::vector<char> copy(pixels, pixels + width * height * 4);
  auto apply = [this, copy = std::move(copy), width, height, hotX, hotY] {
    view_->setCursor(copy.data(), int(width), int(height), int(hotX), int(hotY));
  };
  if (onMainThread())
    apply();
  else
    enqueue(apply);
}

void LinuxPlatform::fatalError(ka::StringRange message) {
  std::cerr << factory_->name() << ": " << message << std::endl;
  std::exit(1);
}

}  // namespace vorn
