// osutil::copyFile against cp on the same 1 GiB file, both with the file in the page cache.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "vorn/osutil.h"

int main(int argc, char** argv) {
  size_t const size = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : size_t(1) << 30;
  char const* tmp = std::getenv("TMPDIR");
  std::filesystem::path dir = std::filesystem::path(tmp && *tmp ? tmp : "/var/tmp") /
                              ("zandor-copy-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  std::string source = (dir / "source").string(), ours = (dir / "ours").string(), theirs = (dir / "theirs").string();
  {
    std::mt19937_64 rng(1);
    std::vector<uint64_t> block(1 << 17);
    std::ofstream out(source, std::ios::binary);
    for (size_t written = 0; written < size; written += block.size() * 8) {
      for (auto& w : block) w = rng();
      out.write(reinterpret_cast<char const*>(block.data()), std::streamsize(std::min(size - written, block.size() * 8)));
    }
  }
  std::string command = "cp '" + source + "' '" + theirs + "'";
  int const runs = 3;
  double oursSeconds = 1e30, theirsSeconds = 1e30;
  for (int i = 0; i < runs; ++i) {
    std::filesystem::remove(ours);
    std::filesystem::remove(theirs);
    oursSeconds = std::min(oursSeconds, timeBest(1, [&] { vorn::osutil::copyFile(source, ours); }));
    theirsSeconds = std::min(theirsSeconds, timeBest(1, [&] {
      if (std::system(command.c_str()) != 0) std::abort();
    }));
  }
  bool same = vorn::osutil::fileSize(ours) == size;
  std::filesystem::remove_all(dir);

  double mb = double(size) / 1e6;
  std::printf("file_mb = %.0f\n", mb);
  std::printf("copy_file_mb_per_s = %.0f\n", mb / oursSeconds);
  std::printf("cp_mb_per_s = %.0f\n", mb / theirsSeconds);
  std::printf("copy_complete = %d\n", same ? 1 : 0);
  std::printf("ratio = %.2f\n", theirsSeconds / oursSeconds);
  return same ? 0 : 1;
}
