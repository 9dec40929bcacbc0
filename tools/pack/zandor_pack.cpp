// zandor-pack: turns a build directory into a published stream, and checks a published one.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "ka/printutil.h"
#include "packer.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: zandor-pack build BUILD_DIR OUT_DIR --title-folder T --manifest-name M --version V\n"
               "                         [--patches-from V0] [--previous OLD_MANIFEST] [--bundle-size BYTES]\n"
               "                         [--sign PRIVATE_KEY.pem]\n"
               "       zandor-pack verify OUT_DIR/T/M [--public-key PUBLIC_KEY.pem]\n");
  return 2;
}

int runBuild(int argc, char** argv) {
  if (argc < 4) return usage();
  pack::PackOptions options;
  options.buildDir = argv[2];
  options.outDir = argv[3];
  for (int i = 4; i < argc; i += 2) {
    if (i + 1 >= argc) {
      std::fprintf(stderr, "zandor-pack: %s needs a value\n", argv[i]);
      return 2;
    }
    std::string name = argv[i], value = argv[i + 1];
    if (name == "--title-folder") options.titleFolder = value;
    else if (name == "--manifest-name") options.manifestName = value;
    else if (name == "--version") options.version = value;
    else if (name == "--patches-from") options.patchesFrom = value;
    else if (name == "--previous") options.previousManifest = value;
    else if (name == "--sign") options.signingKey = value;
    else if (name == "--bundle-size") {
      char* end = nullptr;
      options.bundleSize = std::strtoull(value.c_str(), &end, 10);
      if (value.empty() || *end) {
        std::fprintf(stderr, "zandor-pack: --bundle-size takes a number of bytes, not \"%s\"\n", value.c_str());
        return 2;
      }
    } else {
      std::fprintf(stderr, "zandor-pack: unknown option %s\n", name.c_str());
      return usage();
    }
  }
  pack::PackResult result = pack::build(options);
  size_t entries = 0;
  for (auto const& b : result.manifest->bundles) entries += b.entries.size();
  std::printf("packed %zu files into %zu bundles (%zu kept from the previous version)\n", entries,
              result.manifest->bundles.size(), result.bundlesReused);
  std::printf("a new player downloads %llu bytes\n", (unsigned long long)result.bytesForNewPlayers);
  if (!options.previousManifest.empty()) {
    std::printf("a player of the previous version downloads %llu bytes\n",
                (unsigned long long)result.bytesForPreviousPlayers);
  }
  return 0;
}

int runVerify(int argc, char** argv) {
  std::string publicKey;
  if (argc == 5 && std::strcmp(argv[3], "--public-key") == 0) {
    std::ifstream in(argv[4], std::ios::binary);
    publicKey.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (publicKey.empty()) {
      std::fprintf(stderr, "zandor-pack: can't read the public key %s\n", argv[4]);
      return 2;
    }
  } else if (argc != 3) {
    return usage();
  }
  auto faults = pack::verify(argv[2], publicKey);
  for (auto const& f : faults) std::printf("%s\n", f.c_str());
  if (faults.empty()) std::printf("%s: ok\n", argv[2]);
  return faults.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  try {
    if (std::strcmp(argv[1], "build") == 0) return runBuild(argc, argv);
    if (std::strcmp(argv[1], "verify") == 0) return runVerify(argc, argv);
  } catch (std::exception const& e) {
    std::fprintf(stderr, "zandor-pack: %s\n", e.what());
    return 1;
  }
  return usage();
}
