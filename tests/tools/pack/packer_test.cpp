// The packer: a build folder into bundles and a manifest the launcher installs, and its own check.
#include "packer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <random>
#include <set>
#include <stdexcept>

#include "support/temp_dir.h"
#include "support/text.h"
#include "vorn/osutil.h"

namespace {

namespace fs = std::filesystem;

std::string noise(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::string s(n, '\0');
  for (char& c : s) c = char(rng());
  return s;
}

class PackerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    put("/bin/game", "#!/bin/sh\necho game\n", 0755);
    put("/data/level.txt", std::string(200000, 'L'));
    put("/data/copy-of-level.txt", std::string(200000, 'L'));
    put("/data/noise.bin", noise(150000, 1));
    put("/data/empty", "");
    put("/data/deep/er/config.json", "{\"fullscreen\":true}");
  }
  void put(std::string const& name, std::string const& content, mode_t mode = 0644) {
    std::string path = buildDir.path() + name;
    vorn::osutil::mkdirAndParents(path.substr(0, path.rfind('/')));
    buildDir.write(name.substr(1), content);
    chmod(path.c_str(), mode);
  }
  pack::PackOptions options(std::string const& out, std::string const& version) {
    pack::PackOptions o;
    o.buildDir = buildDir.path();
    o.outDir = out;
    o.titleFolder = "Game";
    o.manifestName = "manifest.gz";
    o.version = version;
    o.bundleSize = 100000;
    return o;
  }
  std::map<std::string, update::ManifestEntry> entries(update::Manifest const& m) {
    std::map<std::string, update::ManifestEntry> byName;
    for (auto const& b : m.bundles) {
      for (auto const& e : b.entries) byName[e.filename] = e;
    }
    return byName;
  }

  TempDir buildDir, outDir;
};

TEST_F(PackerTest, PacksWhatTheLauncherNeedsAndVerifies) {
  pack::PackResult r = pack::build(options(outDir.path(), "1"));
  EXPECT_EQ(pack::verify(outDir.path() + "/Game/manifest.gz"), std::vector<std::string>{});
  auto m = update::Manifest::fromZippedFile(outDir.path() + "/Game/manifest.gz");
  ASSERT_TRUE(m);
  EXPECT_EQ(m->version, "1");
  auto byName = entries(*m);
  ASSERT_EQ(byName.size(), 6u);
  EXPECT_TRUE(byName["/bin/game"].executable);
  EXPECT_FALSE(byName["/data/level.txt"].executable);
  EXPECT_GT(byName["/data/level.txt"].sizeZ, 0u) << "compressible content is stored compressed";
  EXPECT_EQ(byName["/data/noise.bin"].sizeZ, 0u) << "incompressible content is stored raw";
  EXPECT_EQ(byName["/data/copy-of-level.txt"].offset, byName["/data/level.txt"].offset) << "stored once";
  EXPECT_EQ(byName["/data/noise.bin"].size, 150000u);
  for (auto const& b : m->bundles) {
    EXPECT_EQ(fs::file_size(outDir.path() + "/Game/hashed/" + b.checksum), b.size);
    EXPECT_TRUE(b.size <= 100000 || b.entries.size() == 1 || b.entries[0].filename == "/data/noise.bin")
        << "only a file larger than the bundle size makes a larger bundle";
  }
  EXPECT_EQ(r.bytesForNewPlayers, r.bytesForPreviousPlayers);
}

TEST_F(PackerTest, APatchKeepsUnchangedBundlesAndCountsWhatPlayersDownload) {
  std::string v1 = outDir.path() + "/v1", v2 = outDir.path() + "/v2";
  pack::PackResult first = pack::build(options(v1, "1"));
  put("/data/deep/er/config.json", "{\"fullscreen\":false}");
  pack::PackOptions patch = options(v2, "2");
  patch.patchesFrom = "1";
  patch.previousManifest = v1 + "/Game/manifest.gz";
  pack::PackResult second = pack::build(patch);
  EXPECT_EQ(pack::verify(v2 + "/Game/manifest.gz"), std::vector<std::string>{});
  EXPECT_GT(second.bundlesReused, 0u);
  std::set<std::string> old;
  for (auto const& b : first.manifest->bundles) old.insert(b.checksum);
  uint64_t fresh = 0;
  for (auto const& b : second.manifest->bundles) fresh += old.count(b.checksum) ? 0 : b.size;
  EXPECT_EQ(second.bytesForPreviousPlayers, fresh);
  EXPECT_LT(fresh, second.bytesForNewPlayers);
  EXPECT_EQ(second.manifest->patchesFrom, "1");
  EXPECT_EQ(entries(*second.manifest)["/data/deep/er/config.json"].size, 20u);
}

TEST_F(PackerTest, TheSameInputGivesTheSameBytes) {
  std::string a = outDir.path() + "/a", b = outDir.path() + "/b";
  pack::build(options(a, "7"));
  pack::build(options(b, "7"));
  EXPECT_EQ(readFile(a + "/Game/manifest.gz"), readFile(b + "/Game/manifest.gz"));
  std::vector<std::string> names;
  vorn::osutil::listDir(a + "/Game/hashed", names, vorn::LDR_ThisDirectory);
  ASSERT_FALSE(names.empty());
  for (auto const& path : names) {
    std::string name = path.substr(path.rfind('/'));
    EXPECT_EQ(readFile(path), readFile(b + "/Game/hashed" + name)) << name;
  }
}

// Launchers believe the manifest they stored, so a new build under an old name would never reach them.
TEST_F(PackerTest, ADifferentBuildUnderAnExistingManifestNameIsRefused) {
  std::string manifest = outDir.path() + "/Game/manifest.gz";
  pack::build(options(outDir.path(), "1"));
  std::string published = readFile(manifest);
  EXPECT_NO_THROW(pack::build(options(outDir.path(), "1"))) << "packing the same build again is harmless";

  auto refusal = [&](pack::PackOptions const& o) -> std::string {
    try {
      pack::build(o);
    } catch (std::runtime_error const& e) {
      return e.what();
    }
    return "<accepted>";
  };
  std::string const why = manifest + ": already holds a different build; launchers that stored it would never "
                          "fetch the new one, so publish the new build under a new manifest name";
  EXPECT_EQ(refusal(options(outDir.path(), "2")), why) << "another version";
  pack::PackOptions rebundled = options(outDir.path(), "1");
  rebundled.bundleSize = 10;
  EXPECT_EQ(refusal(rebundled), why) << "the same files bundled otherwise";
  put("/data/deep/er/config.json", "{\"fullscreen\":false}");
  std::set<std::string> bundlesBefore;
  for (auto const& entry : fs::directory_iterator(outDir.path() + "/Game/hashed")) bundlesBefore.insert(entry.path());
  EXPECT_EQ(refusal(options(outDir.path(), "1")), why) << "a changed file";
  std::set<std::string> bundlesAfter;
  for (auto const& entry : fs::directory_iterator(outDir.path() + "/Game/hashed")) bundlesAfter.insert(entry.path());
  EXPECT_EQ(bundlesAfter, bundlesBefore) << "refused before anything was written";
  EXPECT_EQ(readFile(manifest), published);

  pack::PackOptions renamed = options(outDir.path(), "2");
  renamed.manifestName = "manifest-2.gz";
  EXPECT_NO_THROW(pack::build(renamed));
}

TEST_F(PackerTest, BadInputNamesThePathAndWritesNothing) {
  struct Case {
    std::function<void(std::string const&)> spoil;
    char const* says;
  } const cases[] = {
      {[](std::string const& dir) { fs::create_symlink("/etc/hostname", dir + "/link"); }, "is a symbolic link"},
      {[](std::string const& dir) { mkfifo((dir + "/pipe").c_str(), 0600); }, "is not a regular file"},
      {[](std::string const& dir) { std::ofstream(dir + "/bad\xff" "name"); }, "isn't valid UTF-8"},
  };
  for (Case const& c : cases) {
    TempDir build, out;
    std::ofstream(build.file("fine.txt")) << "fine";
    c.spoil(build.path());
    pack::PackOptions o = options(out.path(), "1");
    o.buildDir = build.path();
    try {
      pack::build(o);
      ADD_FAILURE() << "accepted: " << c.says;
    } catch (std::runtime_error const& e) {
      EXPECT_NE(std::string(e.what()).find(build.path()), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.says), std::string::npos) << e.what();
    }
    EXPECT_TRUE(fs::is_empty(out.path())) << c.says;
  }
  EXPECT_THROW(pack::build(options(outDir.path(), "")), std::runtime_error);
}

TEST_F(PackerTest, VerifySaysWhatIsWrongOneLineAFault) {
  pack::PackResult r = pack::build(options(outDir.path(), "1"));
  std::string hashed = outDir.path() + "/Game/hashed/";
  auto const& first = r.manifest->bundles[0];
  auto const& second = r.manifest->bundles[1];
  std::string data = readFile(hashed + first.checksum);
  data[data.size() / 2] ^= 1;
  std::ofstream(hashed + first.checksum, std::ios::binary) << data;
  fs::remove(hashed + second.checksum);
  auto faults = pack::verify(outDir.path() + "/Game/manifest.gz");
  ASSERT_GE(faults.size(), 2u);
  EXPECT_EQ(faults[0].rfind("bundle " + first.checksum + ": digest is ", 0), 0u) << faults[0];
  bool missing = false;
  for (auto const& f : faults) missing |= f == "bundle " + second.checksum + ": missing at " + hashed + second.checksum;
  EXPECT_TRUE(missing);
  EXPECT_EQ(pack::verify(outDir.file("nothing.gz")), std::vector<std::string>{outDir.file("nothing.gz") + ": can't be read"});
}

TEST_F(PackerTest, ASignedStreamVerifiesWithItsKeyAndNotOnceChanged) {
  std::string const demo = ZANDOR_DEMO_DIR;
  std::string publicKey = readFile(demo + "/stream-signing-key.pub.pem");
  pack::PackOptions o = options(outDir.path(), "1");
  o.signingKey = demo + "/stream-signing-key.pem";
  pack::build(o);
  std::string manifest = outDir.path() + "/Game/manifest.gz";
  EXPECT_EQ(fs::file_size(manifest + ".sig"), 64u);
  EXPECT_EQ(pack::verify(manifest, publicKey), std::vector<std::string>{});

  std::string bytes = readFile(manifest);
  bytes.back() ^= 1;
  std::ofstream(manifest, std::ios::binary) << bytes;
  std::vector<std::string> faults = pack::verify(manifest, publicKey);
  ASSERT_FALSE(faults.empty());
  EXPECT_EQ(faults[0], manifest + ": signature: the signature does not match the manifest");

  // A key that can't sign stops the build before anything is written.
  o.outDir = outDir.path() + "/second";
  o.signingKey = demo + "/stream-signing-key.pub.pem";
  EXPECT_THROW(pack::build(o), std::runtime_error);
  EXPECT_FALSE(fs::exists(o.outDir));
}

}  // namespace
