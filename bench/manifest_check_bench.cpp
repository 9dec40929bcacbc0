// update::check over a generated tree of mixed file sizes, page cache warm, against sha1sum.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <cstring>
#include <string>
#include <thread>

#include "bench_util.h"
#include "support/temp_dir.h"
#include "update/manifest_check.h"
#include "vorn/osutil.h"

namespace {

// Many small files, some large ones: about `totalBytes` in all, in bundles of up to 64 files.
std::shared_ptr<update::Manifest> makeTree(std::string const& root, uint64_t totalBytes) {
  std::mt19937_64 rng(3);
  auto manifest = std::make_shared<update::Manifest>();
  std::vector<char> content;
  uint64_t written = 0;
  for (int n = 0; written < totalBytes; ++n) {
    bool large = n % 500 == 499;
    size_t size = large ? 64 * 1024 * 1024 + rng() % (64 * 1024 * 1024) : 1024 + rng() % (96 * 1024);
    content.resize(size);
    for (size_t i = 0; i + 8 <= size; i += 8) {
      uint64_t v = rng();
      std::memcpy(content.data() + i, &v, 8);
    }
    update::ManifestEntry entry;
    entry.filename = "/dir" + std::to_string(n % 37) + "/file" + std::to_string(n);
    entry.size = size;
    entry.checksum = update::checksumBytes(content);
    std::string path = root + entry.filename;
    vorn::osutil::mkdir(path.substr(0, path.rfind('/')));
    std::FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(content.data(), 1, size, f);
    std::fclose(f);
    if (manifest->bundles.empty() || manifest->bundles.back().entries.size() == 64) manifest->bundles.emplace_back();
    manifest->bundles.back().entries.push_back(entry);
    manifest->bundles.back().size += size;
    written += size;
  }
  return manifest;
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t const total = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : uint64_t(2) << 30;
  TempDir root;
  auto manifest = makeTree(root.path(), total);
  size_t files = 0;
  for (auto const& b : manifest->bundles) files += b.entries.size();
  auto context = update::createUpdateContext(nullptr, root.path(), root.path(), "http://unused/");
  context->setManifest(manifest);

  size_t reported = 0;
  auto runCheck = [&] {
    auto progress = std::make_shared<update::UpdateProgress>();
    std::vector<update::ManifestBundle> needs;
    update::check(context, progress, needs);
    reported = needs.size();
  };
  runCheck();  // warms the page cache
  double ours = timeBest(2, runCheck);
  std::string command = "cd '" + root.path() + "' && find . -type f -print0 | xargs -0 sha1sum > /dev/null";
  double theirs = timeBest(2, [&] {
    if (std::system(command.c_str()) != 0) std::abort();
  });

  double mb = double(total) / 1e6;
  std::printf("tree_mb = %.0f\n", mb);
  std::printf("files = %zu\n", files);
  std::printf("check_threads = %u\n", update::checkPoolSize(std::thread::hardware_concurrency()));
  std::printf("bundles_reported = %zu\n", reported);
  std::printf("check_mb_per_s = %.0f\n", mb / ours);
  std::printf("sha1sum_mb_per_s = %.0f\n", mb / theirs);
  std::printf("ratio = %.2f\n", theirs / ours);
  return reported == 0 ? 0 : 1;
}
