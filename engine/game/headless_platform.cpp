#include "game/headless_platform.h"

#include <cstdlib>
#include <iostream>

#include "ka/log.h"
#include "ka/system_dirs.h"

namespace vorn {

HeadlessPlatform::HeadlessPlatform(GameFactory* factory, std::string const& resourceDir)
    : Platform(ka::getUserDataDir("Zandor Works", factory->name())),
      factory_(factory),
      filesystem_(createStdioFilesystem()) {
  filesystem_->mount(resourceDir.empty() ? ka::getResourceDir() : resourceDir, "/", true);
}

HeadlessPlatform::~HeadlessPlatform() {
  KA_LOG(Info) << "HeadlessPlatform::~HeadlessPlatform()";
  if (filesystem_) {
    filesystem_->shutdown();
    filesystem_.reset();
  }
  proxy_.reset();
  refusedGame_.reset();
}

bool HeadlessPlatform::start() {
  Game* game = factory_->create(this);
  if (!game) return false;
  if (game->exitRequested()) {
    refusedGame_.reset(game);
    return false;
  }
  game_ = game;
  proxy_ = std::make_unique<LinuxGameProxy>(game, [this](PlatformEvent const& platformEvent, UIEvent& event) {
    translateEvent(platformEvent, event);
    game_->dispatch(event);
  });
  proxy_->setContextLock(&contextLock_);
  proxy_->createRenderer();
  proxy_->setup();
  sendResize();
  return true;
}

int HeadlessPlatform::run(float framePeriod) {
  if (!start()) return 1;
  auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<float>(framePeriod));
  auto nextFrame = std::chrono::steady_clock::now();
  while (!exitPending()) {
    drainQueue();
    auto now = std::chrono::steady_clock::now();
    if (now >= nextFrame) {
      frame();
      // A late frame starts a new schedule rather than a burst of catch-up frames.
      nextFrame = std::max(nextFrame + period, now);
    }
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_until(lock, nextFrame, [this] { return exit_ || !tasks_.empty(); });
  }
  proxy_->requestExit();
  return 0;
}

void HeadlessPlatform::drainQueue() {
  ScopeGLContext scope(&contextLock_);
  for (;;) {
    std::deque<std::function<void()>> batch;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      batch.swap(tasks_);
    }
    if (batch.empty()) return;
    for (auto& task : batch) task();
  }
}

void HeadlessPlatform::frame() {
  auto now = std::chrono::steady_clock::now();
  if (framed_) proxy_->update(std::chrono::duration<float>(now - previousFrame_).count());
  proxy_->present();
  previousFrame_ = now;
  framed_ = true;
}

bool HeadlessPlatform::exitPending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return exit_;
}

void HeadlessPlatform::setWindowSize(int width, int height) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    width_ = width;
    height_ = height;
  }
  if (proxy_) sendResize();
}

void HeadlessPlatform::getWindowSize(int& width, int& height) {
  std::lock_guard<std::mutex> lock(mutex_);
  width = width_;
  height = height_;
}

void HeadlessPlatform::sendResize() {
  int width, height;
  getWindowSize(width, height);
  ResizeEvent event{uint32_t(width), uint32_t(height)};
  proxy_->dispatch(event);
}

void HeadlessPlatform::fatalError(ka::StringRange message) {
  std::cerr << factory_->name() << ": " << message << std::endl;
  std::exit(1);
}

void HeadlessPlatform::requestExit() {
  std::lock_guard<std::mutex> lock(mutex_);
  exit_ = true;
  wake_.notify_all();
}

void HeadlessPlatform::enqueue(std::function<void()> const& task) {
  std::lock_guard<std::mutex> lock(mutex_);
  tasks_.push_back(task);
  wake_.notify_all();
}

}  // namespace vorn
