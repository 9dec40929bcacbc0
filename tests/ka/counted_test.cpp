#include "ka/counted.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Tracked : ka::Counted {
  explicit Tracked(int* released) : released(released) {}
  void release() override { ++*released; }  // recycled, not deleted
  int* released;
};

TEST(Counted, LastReferenceReleasesOnce) {
  int released = 0;
  Tracked object(&released);
  EXPECT_EQ(object.refCount(), 0);
  {
    ka::Ref<Tracked> a(&object);
    ka::Ref<Tracked> b = a;
    ka::RefNoCount<Tracked> borrowed = a;
    EXPECT_EQ(object.refCount(), 2);
    ka::Ref<Tracked> kept = borrowed.ref();
    EXPECT_EQ(object.refCount(), 3);
  }
  EXPECT_EQ(released, 1);
  EXPECT_EQ(object.refCount(), 0);
}

TEST(Counted, CountsAreAtomicAcrossThreads) {
  int released = 0;
  Tracked object(&released);
  ka::Ref<Tracked> root(&object);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) ka::Ref<Tracked> copy = root;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(object.refCount(), 1);
  root.reset();
  EXPECT_EQ(released, 1);
}

}  // namespace
