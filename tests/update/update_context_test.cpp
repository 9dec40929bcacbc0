#include "update/update_context.h"

#include <gtest/gtest.h>

namespace {

TEST(UpdateContext, JoinsUrlsAndPathsWithOneSlashAtEachSeam) {
  for (char const* base : {"http://host/streams", "http://host/streams/"}) {
    auto context = update::createUpdateContext(nullptr, "/games/Stable", "/tmp/cache", base);
    EXPECT_EQ(context->updateUrl().str(), "http://host/streams/");
    context->setDownloadAuthSuffix("?sig=a%2Fb&t=1");
    context->setDownloadPath("Title/hashed");
    EXPECT_EQ(context->makeManifestUrl("Title/manifest.gz"), "http://host/streams/Title/manifest.gz?sig=a%2Fb&t=1");
    EXPECT_EQ(context->makeDownloadUrl("0123abcd"), "http://host/streams/Title/hashed/0123abcd?sig=a%2Fb&t=1");
    context->setDownloadPath("Title/hashed/");
    EXPECT_EQ(context->makeDownloadUrl("x"), "http://host/streams/Title/hashed/x?sig=a%2Fb&t=1");
    EXPECT_EQ(context->getSystemGamePath("/bin/game"), "/games/Stable/bin/game");
    EXPECT_EQ(context->getSystemTempPath("abc.bundle"), "/tmp/cache/abc.bundle");
  }
  auto bare = update::createUpdateContext(nullptr, "/g/", "/t", "");
  EXPECT_EQ(bare->updateUrl().str(), "/") << "an empty base is not read past its end";
  EXPECT_EQ(bare->makeManifestUrl("m"), "/m");
  EXPECT_EQ(bare->getSystemGamePath("/a"), "/g/a");
}

TEST(UpdateContext, KeepsTheManifestAndItsPath) {
  auto context = update::createUpdateContext(nullptr, "/g", "/t", "http://h/");
  EXPECT_EQ(context->manifest(), nullptr);
  EXPECT_EQ(context->manifestOnDisk(), "");
  auto manifest = std::make_shared<update::Manifest>();
  context->setManifest(manifest);
  context->setManifestOnDisk("/g/manifest.gz");
  EXPECT_EQ(context->manifest(), manifest);
  EXPECT_EQ(context->manifestOnDisk(), "/g/manifest.gz");
  EXPECT_EQ(context->gameDir().str(), "/g");
  EXPECT_EQ(context->tempDir().str(), "/t");
}

}  // namespace
