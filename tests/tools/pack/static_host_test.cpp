// A packed stream served by nginx, as a studio would host it, updates a game like the dev server does.
#include <gtest/gtest.h>

#include <filesystem>

#include "packer.h"
#include "support/http_client.h"
#include "support/nginx.h"
#include "support/temp_dir.h"
#include "support/update_pipeline.h"

namespace {

namespace fs = std::filesystem;

TEST(StaticHost, AFullUpdateFromNginx) {
  if (!fs::exists("/usr/sbin/nginx")) GTEST_SKIP() << "nginx is not installed";
  TempDir work;
  std::string build = work.path() + "/build", site = work.path() + "/site", game = work.path() + "/game";
  fs::create_directories(build + "/bin");
  fs::create_directories(build + "/data");
  std::ofstream(build + "/bin/game") << "#!/bin/sh\necho game\n";
  fs::permissions(build + "/bin/game", fs::perms::owner_exec, fs::perm_options::add);
  std::ofstream(build + "/data/level.txt") << std::string(300000, 'L');
  std::ofstream(build + "/data/empty");
  pack::PackOptions options;
  options.buildDir = build;
  options.outDir = site;
  options.titleFolder = "Stable";
  options.manifestName = "manifest.gz";
  options.version = "1";
  pack::build(options);
  fs::permissions(work.path(), fs::perms::others_exec | fs::perms::others_read, fs::perm_options::add);

  Nginx nginx(site, work.path());
  ASSERT_TRUE(nginx.accepting()) << "nginx did not start";
  PumpedLoader client;
  auto context = update::createUpdateContext(client.shared(), game, work.path() + "/cache", nginx.url());
  context->setDownloadAuthSuffix("?sig=ignored-by-a-static-host");
  context->setDownloadPath("Stable/hashed");
  context->setManifestOnDisk(game + "/manifest.gz");
  PipelineResult r = runUpdatePipeline(context, "Stable/manifest.gz");
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(r.bundlesFetched, 1u);
  EXPECT_EQ(fs::file_size(game + "/data/level.txt"), 300000u);
  EXPECT_TRUE(fs::exists(game + "/data/empty"));
  EXPECT_NE(fs::status(game + "/bin/game").permissions() & fs::perms::others_exec, fs::perms::none);
}

}  // namespace
