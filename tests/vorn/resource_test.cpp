// The resource system: one load per name however many ask, callbacks on the callers' queues,
// validators, aborts, reloads after a change, failures, and cleaning up what nobody holds.
#include "vorn/resource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <map>
#include <mutex>

#include "ka/logsink.h"
#include "support/log_lines.h"
#include "vorn/change_watcher.h"
#include "vorn/threadpool.h"

namespace {

// Files in memory; remembers the watcher each open was given, and signals it when the file changes.
class MemoryFilesystem final : public vorn::Filesystem {
 public:
  void put(std::string const& name, std::string const& text) {
    std::lock_guard lock(mutex_);
    files_[name] = text;
  }
  void change(std::string const& name, std::string const& text) {
    ka::Ref<vorn::ChangeWatcher> watcher;
    {
      std::lock_guard lock(mutex_);
      files_[name] = text;
      watcher = watchers_[name];
    }
    if (watcher) watcher->signal();
  }
  int opens(std::string const& name) {
    std::lock_guard lock(mutex_);
    return opens_[name];
  }

  std::unique_ptr<vorn::File> open(ka::StringRange path, ka::RefNoCount<vorn::ChangeWatcher> watcher) override {
    std::lock_guard lock(mutex_);
    ++opens_[path.str()];
    watchers_[path.str()] = watcher.ref();
    auto it = files_.find(path.str());
    return it == files_.end() ? nullptr : std::make_unique<Text>(it->second);
  }
  void mount(ka::StringRange, ka::StringRange, bool) override {}
  bool exists(ka::StringRange path) override { return files_.count(path.str()) != 0; }
  uint64_t size(ka::StringRange) override { return 0; }
  bool listDir(ka::StringRange, std::vector<std::string>&, vorn::ListDirRecurse) override { return false; }
  bool listDir(ka::StringRange, std::vector<vorn::FileInfo>&, vorn::ListDirRecurse) override { return false; }
  std::string getSystemPath(ka::StringRange, ka::RefNoCount<vorn::ChangeWatcher>) override { return ""; }
  void update(float) override {}
  void shutdown() override {}

 private:
  struct Text : vorn::File {
    explicit Text(std::string t) : text(std::move(t)) {}
    long long read(void* buffer, long long bytes) override {
      long long n = std::min<long long>(bytes, (long long)(text.size() - at));
      std::memcpy(buffer, text.data() + at, size_t(n));
      at += size_t(n);
      return n;
    }
    long long tell() override { return (long long)at; }
    int seek(long long, vorn::SeekMode) override { return -1; }
    long long size() override { return (long long)text.size(); }
    std::string text;
    size_t at = 0;
  };
  std::mutex mutex_;
  std::map<std::string, std::string> files_;
  std::map<std::string, int> opens_;
  std::map<std::string, ka::Ref<vorn::ChangeWatcher>> watchers_;
};

struct TextResource : vorn::Resource {
  explicit TextResource(std::string t) : text(std::move(t)) {}
  std::string text;
};

std::string textOf(ka::RefNoCount<vorn::Resource> r) { return r ? static_cast<TextResource*>(r.get())->text : "null"; }

// ".txt": the file's text; an empty file loads as a failure. `duringLoad` runs inside each load.
struct TextFormat : vorn::ResourceFormat {
  ka::Ref<vorn::Resource> load(vorn::File& file, std::string const&, ka::RefNoCount<vorn::ChangeWatcher>,
                               ka::RefNoCount<vorn::Filesystem>) override {
    ++loads;
    std::string text(size_t(file.size()), '\0');
    file.read(text.data(), (long long)text.size());
    if (duringLoad) duringLoad();
    return text.empty() ? nullptr : ka::Ref<vorn::Resource>(new TextResource(text));
  }
  std::atomic<int> loads{0};
  std::function<void()> duringLoad;
};

struct RefuseEverything : vorn::ResourceValidator {
  bool isAcceptable(ka::RefNoCount<vorn::Resource>) override { return false; }
};

class ResourceTest : public ::testing::Test {
 protected:
  ResourceTest() : filesystem(new MemoryFilesystem), system(vorn::createResourceSystem(filesystem, &loader)) {
    system->registerFormat(".txt", &format);
    filesystem->put("/a.txt", "first");
  }

  ka::Ref<MemoryFilesystem> filesystem;
  ka::SingleThreadedWorklist loader, delivery, otherDelivery;
  TextFormat format;
  std::unique_ptr<vorn::ResourceSystem> system;
};

TEST_F(ResourceTest, RequestsBeforeTheLoadShareItAndEachCallbackComesOnItsQueueInOrder) {
  std::vector<std::string> heard;
  auto block = system->resolve("/a.txt");
  EXPECT_EQ(system->resolve("/a.txt").get(), block.get());
  block->fetchAsync(nullptr, [&](auto r) { heard.push_back("one " + textOf(r)); }, &delivery, nullptr);
  block->fetchAsync(nullptr, [&](auto r) { heard.push_back("two " + textOf(r)); }, &otherDelivery, nullptr);
  EXPECT_EQ(filesystem->opens("/a.txt"), 0) << "loads on the loader queue, not in the call";
  loader.run();
  EXPECT_EQ(format.loads, 1);
  EXPECT_TRUE(heard.empty());
  otherDelivery.run();
  delivery.run();
  EXPECT_EQ(heard, (std::vector<std::string>{"two first", "one first"}));

  // Loaded already: still through the queue, never inside the call, and no new load.
  heard.clear();
  block->fetchAsync(nullptr, [&](auto r) { heard.push_back(textOf(r)); }, &delivery, nullptr);
  EXPECT_TRUE(heard.empty());
  delivery.run();
  EXPECT_EQ(heard, std::vector<std::string>{"first"});
  EXPECT_EQ(format.loads, 1);
}

TEST_F(ResourceTest, AValidatorRefusesForItsCallerOnlyAndAnAbortStopsTheCallbackNotTheLoad) {
  RefuseEverything refuse;
  std::vector<std::string> heard;
  auto block = system->resolve("/a.txt");
  block->fetchAsync(&refuse, [&](auto r) { heard.push_back(textOf(r)); }, &delivery, nullptr);
  auto aborted = block->fetchAsync(nullptr, [&](auto) { heard.push_back("aborted one"); }, &delivery, nullptr);
  aborted->abort();
  loader.run();
  delivery.run();
  EXPECT_EQ(heard, std::vector<std::string>{"null"});
  EXPECT_EQ(textOf(block->getNoBlock(nullptr, nullptr)), "first") << "cached whatever the callers said";
  EXPECT_FALSE(block->fetchBlocking(&refuse, nullptr));
  EXPECT_EQ(format.loads, 1);
}

TEST_F(ResourceTest, AChangeDropsTheObjectTellsTheWatchersAndTheNextFetchLoadsAgain) {
  auto block = system->resolve("/a.txt");
  EXPECT_EQ(textOf(block->fetchBlocking(nullptr, nullptr)), "first");
  int told = 0;
  ka::Ref<vorn::ChangeWatcher> watcher(new vorn::ChangeWatcher([&] { ++told; }, &delivery));
  block->getNoBlock(nullptr, watcher);
  filesystem->change("/a.txt", "second");
  loader.run();  // the block hears of it on the loader queue
  delivery.run();
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(block->getNoBlock(nullptr, nullptr)) << "dropped, not loaded again until asked";
  EXPECT_EQ(textOf(block->fetchBlocking(nullptr, nullptr)), "second");
  EXPECT_EQ(format.loads, 2);
}

TEST(ResourceLoadTest, AChangeDuringALoadLoadsAgainBeforeAnyoneSeesTheFirstResult) {
  ka::Ref<MemoryFilesystem> filesystem(new MemoryFilesystem);
  filesystem->put("/a.txt", "first");
  vorn::ThreadPool loader(1);
  std::unique_ptr<vorn::ResourceSystem> system(vorn::createResourceSystem(filesystem, &loader));
  TextFormat format;
  system->registerFormat(".txt", &format);
  format.duringLoad = [&] {
    if (format.loads != 1) return;
    filesystem->change("/a.txt", "second");
    // The change reaches the block on the loader thread; wait until it has.
    std::atomic<bool> passed{false};
    loader.enqueue([&] { passed = true; });
    while (!passed) std::this_thread::yield();
  };
  auto block = system->resolve("/a.txt");
  EXPECT_EQ(textOf(block->fetchBlocking(nullptr, nullptr)), "second");
  EXPECT_EQ(filesystem->opens("/a.txt"), 2);
  loader.shutdown();
}

TEST_F(ResourceTest, FailuresAreLoggedOnceAndAnswerNull) {
  filesystem->put("/empty.txt", "");
  filesystem->put("/noext", "x");
  filesystem->put("/a.png", "x");
  ka::LogSinkMemory log(0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(system->resolve("/noext")->fetchBlocking(nullptr, nullptr));
    EXPECT_FALSE(system->resolve("/a.png")->fetchBlocking(nullptr, nullptr));
    EXPECT_FALSE(system->resolve("/missing.txt")->fetchBlocking(nullptr, nullptr));
    EXPECT_FALSE(system->resolve("/empty.txt")->fetchBlocking(nullptr, nullptr));
  }
  EXPECT_EQ(countLines(log, "ERROR unknown resource format: /noext"), 1);
  EXPECT_EQ(countLines(log, "ERROR unknown resource format: /a.png"), 1);
  EXPECT_EQ(countLines(log, "ERROR /missing.txt: open failed"), 1);
  EXPECT_EQ(filesystem->opens("/empty.txt"), 1) << "a failed load is remembered like a result";
}

TEST_F(ResourceTest, SpringCleaningKeepsWhatACallerHoldsAndDropsItOnceLetGo) {
  ka::Ref<vorn::Resource> held = system->resolve("/a.txt")->fetchBlocking(nullptr, nullptr);
  system->springCleaning();
  EXPECT_EQ(textOf(system->resolve("/a.txt")->getNoBlock(nullptr, nullptr)), "first") << "kept";
  held = nullptr;
  system->springCleaning();
  EXPECT_FALSE(system->resolve("/a.txt")->getNoBlock(nullptr, nullptr)) << "a new, empty block";
  system->resolve("/a.txt")->fetchBlocking(nullptr, nullptr);
  EXPECT_EQ(format.loads, 2);
}

}  // namespace
