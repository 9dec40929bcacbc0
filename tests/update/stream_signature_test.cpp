// Signed streams: a manifest is believed only with a signature of the trusted key over its path
// and bytes; whatever a host changes, nothing is installed.
#include <gtest/gtest.h>

#include <filesystem>

#include "ka/logsink.h"
#include "support/game_server.h"
#include "support/http_client.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "support/update_pipeline.h"
#include "update/stream_signature.h"

namespace {

namespace fs = std::filesystem;

std::vector<char> bytesOf(std::string const& s) { return std::vector<char>(s.begin(), s.end()); }

class SignedStreamTest : public ::testing::Test {
 protected:
  SignedStreamTest()
      : privateKey(readFile(ZANDOR_DEMO_DIR "/stream-signing-key.pem")),
        publicKey(readFile(ZANDOR_DEMO_DIR "/stream-signing-key.pub.pem")),
        game(publishGame({{{"/bin/game", "#!/bin/sh\n", true}, {"/data/level.txt", std::string(5000, 'L')}}}, "1")) {
    server.publish(game, "manifest.gz");
  }
  std::vector<char> sign(std::string const& path, std::vector<char> const& manifestGz) {
    return update::signStream(privateKey, path, manifestGz);
  }
  PipelineResult update() {
    auto context = update::createUpdateContext(client.shared(), gameDir(), temp.path() + "/cache", server.baseUrl());
    context->setDownloadPath("game/hashed");
    context->setManifestOnDisk(gameDir() + "/manifest.gz");
    context->setStreamPublicKey(publicKey);
    return runUpdatePipeline(context, "game/manifest.gz");
  }
  std::string gameDir() { return temp.path() + "/game"; }
  bool nothingInstalled() { return !fs::exists(gameDir() + "/data") && !fs::exists(gameDir() + "/manifest.gz"); }

  std::string privateKey, publicKey;
  TempDir temp;
  PublishedGame game;
  GameServer server;
  PumpedLoader client;
};

TEST_F(SignedStreamTest, AGoodSignatureInstallsAndIsStoredBesideTheManifest) {
  server.serveRaw("manifest.gz.sig", sign("game/manifest.gz", game.manifestGz));
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(readFile(gameDir() + "/data/level.txt"), std::string(5000, 'L'));
  EXPECT_EQ(update::checkStoredSignature(publicKey, "game/manifest.gz", gameDir() + "/manifest.gz"), "");
}

TEST_F(SignedStreamTest, WhateverTheHostChangesNothingIsInstalled) {
  std::vector<char> good = sign("game/manifest.gz", game.manifestGz);
  PublishedGame other = publishGame({{{"/data/level.txt", "evil"}}}, "2");
  std::vector<char> truncated(good.begin(), good.begin() + 63);
  struct Case {
    char const* what;
    std::vector<char> manifest;
    std::vector<char> signature;  // empty: none served
    char const* logged;
  } const cases[] = {
      {"another manifest under the good signature", other.manifestGz, good, "does not match"},
      {"another stream's signed manifest", game.manifestGz, sign("other/manifest.gz", game.manifestGz),
       "does not match"},
      {"a truncated signature", game.manifestGz, truncated, "the signature has 63 bytes, not 64"},
      // Last: the host stops serving signatures for good.
      {"no signature", game.manifestGz, {}, "failed"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    server.serveRaw("manifest.gz", c.manifest);
    if (c.signature.empty()) server.failAlways("manifest.gz.sig");
    else server.serveRaw("manifest.gz.sig", c.signature);
    ka::LogSinkMemory log(0);
    PipelineResult r = update();
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.failedStage, "manifest");
    EXPECT_TRUE(nothingInstalled());
    EXPECT_EQ(countLines(log, "ERROR The update's signature is not valid"), 1);
    EXPECT_EQ(countLines(log, c.logged), 3) << logText(log);
  }
}

TEST_F(SignedStreamTest, AChangedBundleUnderASignedManifestIsRefusedByItsDigest) {
  server.serveRaw("manifest.gz.sig", sign("game/manifest.gz", game.manifestGz));
  server.serveRaw("hashed/" + game.manifest->bundles[0].checksum, bytesOf("changed on the host"));
  EXPECT_FALSE(update().ok);
  EXPECT_FALSE(fs::exists(gameDir() + "/data"));
}

}  // namespace
