// The game frame on the headless platform: order of a run, frames, the main-thread queue, exit.
#include "game/headless_platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "support/temp_dir.h"
#include "support/text.h"

namespace {

// Records what the frame calls, in order.
class ProbeGame : public vorn::Game {
 public:
  ProbeGame(vorn::Platform* platform, std::vector<std::string>& calls, bool refuse)
      : vorn::Game(platform), calls_(calls) {
    if (refuse) requestExit();
  }
  ~ProbeGame() override { calls_.push_back("destroyed"); }
  vorn::ren::Renderer* doCreateRenderer() override {
    calls_.push_back("createRenderer");
    return vorn::Game::doCreateRenderer();
  }
  // A game has its material library from the start.
  void setup() override { calls_.push_back(materialLibrary() ? "setup" : "setup without a material library"); }
  void update(float seconds) override {
    calls_.push_back("update");
    lastUpdate = seconds;
    if (++updates == exitAfterUpdates) requestExit();
  }
  void present() override { calls_.push_back("present"); }
  void dispatch(vorn::UIEvent const& event) override { calls_.push_back(printed(event)); }

  float lastUpdate = -1;
  int updates = 0;
  int exitAfterUpdates = -1;

 private:
  std::vector<std::string>& calls_;
};

class ProbeFactory : public vorn::GameFactory {
 public:
  std::string name() const override { return "Probe"; }
  vorn::Game* create(vorn::Platform* platform) override {
    if (refuseWithNull) return nullptr;
    auto* game = new ProbeGame(platform, calls, refuseWithExit);
    game->exitAfterUpdates = exitAfterUpdates;
    return game;
  }
  std::vector<std::string> calls;
  bool refuseWithNull = false;
  bool refuseWithExit = false;
  int exitAfterUpdates = -1;
};

class HeadlessPlatformTest : public ::testing::Test {
 protected:
  TempDir resources;
  ProbeFactory factory;
};

TEST_F(HeadlessPlatformTest, AGameThatRefusesGetsNoRendererAndNoSetup) {
  factory.refuseWithExit = true;
  {
    vorn::HeadlessPlatform platform(&factory, resources.path());
    EXPECT_EQ(platform.run(), 1);
    EXPECT_EQ(platform.proxy(), nullptr);
  }
  EXPECT_EQ(factory.calls, std::vector<std::string>{"destroyed"});

  factory.refuseWithNull = true;
  vorn::HeadlessPlatform platform(&factory, resources.path());
  EXPECT_EQ(platform.run(), 1);
}

TEST_F(HeadlessPlatformTest, RunsSetupThenFramesUntilTheGameAsksToExit) {
  factory.exitAfterUpdates = 3;
  {
    vorn::HeadlessPlatform platform(&factory, resources.path());
    platform.setWindowSize(1024, 640);
    EXPECT_EQ(platform.run(1.0f / 200), 0);
  }
  std::vector<std::string> const expected = {
      "createRenderer", "setup", "UIEvent type=ET_Resize source=IS_None index=0 width=1024 height=640",
      // The first frame has nothing to measure an update against.
      "present", "update", "present", "update", "present", "update", "present", "destroyed"};
  EXPECT_EQ(factory.calls, expected);
}

TEST_F(HeadlessPlatformTest, QueuedTasksRunOnTheRunningThreadInOrder) {
  vorn::HeadlessPlatform platform(&factory, resources.path());
  std::vector<int> order;
  std::thread::id runner;
  std::thread::id taskThread;
  std::thread producer([&] {
    ka::TaskQueue* queue = platform.getUIThreadTaskQueue();
    for (int i = 0; i < 100; ++i) queue->enqueue([&order, i] { order.push_back(i); });
    queue->enqueue([&] {
      taskThread = std::this_thread::get_id();
      // A task may queue more work; the same drain runs it.
      platform.enqueue([&] { platform.game()->requestExit(); });
    });
  });
  runner = std::this_thread::get_id();
  EXPECT_EQ(platform.run(1.0f), 0);
  producer.join();
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[i], i);
  EXPECT_EQ(taskThread, runner);
}

TEST_F(HeadlessPlatformTest, AnExitFromAnotherThreadEndsTheRun) {
  vorn::HeadlessPlatform platform(&factory, resources.path());
  ASSERT_TRUE(platform.start());
  std::thread other([&] { platform.game()->requestExit(); });
  other.join();
  EXPECT_TRUE(platform.exitPending());
  EXPECT_TRUE(platform.game()->exitRequested());
  platform.game()->requestExit();  // harmless a second time
}

TEST_F(HeadlessPlatformTest, SteppedFramesMeasureTheTimeBetweenThem) {
  vorn::HeadlessPlatform platform(&factory, resources.path());
  ASSERT_TRUE(platform.start());
  auto* game = static_cast<ProbeGame*>(platform.game());
  platform.frame();
  EXPECT_EQ(game->updates, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  platform.frame();
  EXPECT_EQ(game->updates, 1);
  EXPECT_GE(game->lastUpdate, 0.02f);
  EXPECT_LT(game->lastUpdate, 5.0f);

  int width = 0, height = 0;
  platform.getWindowSize(width, height);
  EXPECT_EQ(width, 960);
  EXPECT_EQ(height, 580);
  platform.setWindowSize(300, 200);
  EXPECT_EQ(factory.calls.back(), "UIEvent type=ET_Resize source=IS_None index=0 width=300 height=200");
}

struct Tag : vorn::EventTranslation {};

struct TagTranslator : vorn::PlatformEventTranslator {
  ka::Ref<vorn::EventTranslation> translateEvent(vorn::PlatformEvent const&) override { return answer; }
  ka::Ref<vorn::EventTranslation> answer;
};

TEST_F(HeadlessPlatformTest, TranslatorsAttachTheirTranslations) {
  vorn::HeadlessPlatform platform(&factory, resources.path());
  TagTranslator says, silent;
  says.answer = new Tag;
  platform.addEventTranslator(&says);
  platform.addEventTranslator(&silent);
  vorn::UIEvent event;
  platform.translateEvent(*reinterpret_cast<vorn::PlatformEvent const*>(&event), event);
  EXPECT_EQ(event.getTranslation(&says), says.answer);
  EXPECT_FALSE(event.getTranslation(&silent));
  platform.removeEventTranslator(&says);
  vorn::UIEvent again;
  platform.translateEvent(*reinterpret_cast<vorn::PlatformEvent const*>(&again), again);
  EXPECT_TRUE(again.translations.empty());
}

TEST(GameFactorySingleton, ASecondOneEndsTheProcess) {
  vorn::GameClassFactorySingleton<vorn::Game> first("First");
  EXPECT_EQ(vorn::GameFactorySingleton::instance(), &first);
  EXPECT_DEATH(vorn::GameClassFactorySingleton<vorn::Game> second("Second"), "Multiple GameFactorySingletons\\?");
}

// A load still queued when the game ends runs first, while its resource system is there.
TEST_F(HeadlessPlatformTest, AGameFinishesQueuedLoadsBeforeItsResourceSystemGoes) {
  struct SlowText : vorn::Resource {};
  struct SlowFormat : vorn::ResourceFormat {
    ka::Ref<vorn::Resource> load(vorn::File&, std::string const&, ka::RefNoCount<vorn::ChangeWatcher>,
                                 ka::RefNoCount<vorn::Filesystem>) override {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      ++loads;
      return ka::Ref<vorn::Resource>(new SlowText);
    }
    std::atomic<int> loads{0};
  } format;
  resources.write("a.slow", "x");
  resources.write("b.slow", "y");
  vorn::HeadlessPlatform platform(&factory, resources.path());
  auto game = std::make_unique<ProbeGame>(&platform, factory.calls, false);
  game->resourceSystem()->registerFormat(".slow", &format);
  ka::SingleThreadedWorklist delivery;
  game->resourceSystem()->resolve("/a.slow")->fetchAsync(nullptr, [](auto) {}, &delivery, nullptr);
  game->resourceSystem()->resolve("/b.slow")->fetchAsync(nullptr, [](auto) {}, &delivery, nullptr);
  game.reset();
  EXPECT_EQ(format.loads, 2);
}

}  // namespace
