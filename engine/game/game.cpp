#include "game/game.h"

#include <thread>

#include "game/platform.h"
#include "ka/log.h"
#include "vorn/material.h"
#include "vorn/rasren.h"

namespace vorn {

Game::Game(Platform* platform)
    : platform_(platform),
      loaderPool_(std::make_unique<ThreadPool>(1)),
      resourceSystem_(createResourceSystem(platform ? platform->getFilesystem() : nullptr, loaderPool_.get())),
      materialLibrary_(createMaterialLibrary()) {}

void Game::ReleaseMaterialLibrary::operator()(MaterialLibrary* library) const { releaseMaterialLibrary(library); }

Game::~Game() {
  // Loads still queued run now, while the resource system and the renderer they use are there.
  loaderPool_->shutdown();
}

ren::Renderer* Game::doCreateRenderer() {
  // Asked in this order; the first call brings the window into being. A platform without
  // graphics gives no rasterizer, and the game then runs without a renderer.
  ras::Rasterizer* rasterizer = platform_->getRasterizer();
  Presenter* presenter = platform_->getPresenter();
  ka::Ref<Filesystem> filesystem = platform_->getFilesystem();
  Profiler* profiler = platform_->getProfiler();
  if (!rasterizer || !profiler) return nullptr;
  return createRasterRenderer(rasterizer, presenter, filesystem, *profiler);
}

void Game::createRenderer() {
  renderer_.reset(doCreateRenderer());
  // Without a renderer the effect lists have nothing to load into.
  if (!renderer_) return;
  for (char const* effects : {"/shaders/post.json", "/shaders/content.json", "/shaders/impostors.json",
                              "/shaders/misc.json", "/shaders/particle.json", "/shaders/scene.json",
                              "/shaders/vtex.json"})
    renderer_->loadEffects(effects);
}

void Game::present() {
  if (renderer_) renderer_->present();
}

ka::TaskQueue* Game::backgroundTaskQueue() {
  if (!backgroundPool_) {
    int threads = ThreadPool::backgroundThreadCount(std::thread::hardware_concurrency());
    KA_LOG(Info) << "Starting background thread pool with " << threads << " threads";
    backgroundPool_ = std::make_unique<ThreadPool>(threads);
  }
  return backgroundPool_.get();
}

void Game::requestExit() {
  std::lock_guard<std::mutex> lock(mutex_);
  exit_ = true;
  platform_->requestExit();
}

bool Game::exitRequested() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return exit_;
}

}  // namespace vorn
