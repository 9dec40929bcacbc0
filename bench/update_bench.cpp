// A whole update of a generated 1 GiB game from a local server into an empty directory, run in a
// process of its own, against the least any updater pays: curl of the bundles and gzip -d. Also
// what signed streams and resumed downloads cost.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <thread>

#include "support/game_server.h"
#include "support/http_client.h"
#include "support/nginx.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "update/stream_signature.h"
#include "update/update.h"
#include "vorn/gzip.h"
#include "vorn/output_file.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

template <class F>
double timeOnce(F const& work) {
  Clock::time_point start = Clock::now();
  work();
  return since(start);
}

// About half the bytes compress well (text-like), half not (random); many small files, some large.
std::vector<std::vector<GameFile>> makeGame(uint64_t totalBytes) {
  std::mt19937_64 rng(9);
  std::vector<std::vector<GameFile>> bundles(1);
  uint64_t inBundle = 0, made = 0;
  for (int n = 0; made < totalBytes; ++n) {
    size_t size = n % 40 == 39 ? 8 * 1024 * 1024 + rng() % (24 * 1024 * 1024) : 2048 + rng() % (256 * 1024);
    GameFile f;
    f.name = "/data" + std::to_string(n % 29) + "/asset" + std::to_string(n) + (n % 2 ? ".txt" : ".bin");
    f.compressed = n % 2 == 1;
    f.content.resize(size);
    if (f.compressed) {
      static char const words[] = "lorem ipsum dolor sit amet consectetur adipiscing elit sed do eiusmod ";
      for (size_t i = 0; i < size; ++i) f.content[i] = words[(i + rng() % 3) % (sizeof words - 1)];
    } else {
      for (size_t i = 0; i + 8 <= size; i += 8) {
        uint64_t v = rng();
        std::memcpy(&f.content[i], &v, 8);
      }
    }
    if (inBundle + size > (16u << 20) && !bundles.back().empty()) {
      bundles.emplace_back();
      inBundle = 0;
    }
    inBundle += size;
    made += size;
    bundles.back().push_back(std::move(f));
  }
  return bundles;
}

// A signed manifest of 200,000 entries: the signature's check against reading the manifest, which
// every update does anyway.
void signatureCost(TempDir const& work) {
  auto manifest = std::make_shared<update::Manifest>();
  manifest->version = "1";
  for (int b = 0; b < 2000; ++b) {
    update::ManifestBundle bundle;
    bundle.checksum = sha1Of("bundle " + std::to_string(b));
    for (int e = 0; e < 100; ++e) {
      std::string name = "/data/folder" + std::to_string(b) + "/file" + std::to_string(e) + ".pak";
      bundle.entries.push_back({name, sha1Of(name), "", uint64_t(1000 + e), uint64_t(e) * 1000, 0, false});
    }
    bundle.size = 100000;
    manifest->bundles.push_back(bundle);
  }
  std::ostringstream json;
  update::Manifest::toJson(manifest).writeTo(json);
  std::string text = json.str();
  std::vector<char> zipped;
  vorn::gzip(std::vector<char>(text.begin(), text.end()), zipped);
  std::string key = work.file("key.pem");
  std::string make = "openssl genpkey -algorithm ed25519 -out '" + key + "' && openssl pkey -in '" + key +
                     "' -pubout -out '" + key + ".pub'";
  if (std::system(make.c_str()) != 0) return;
  std::vector<char> signature = update::signStream(readFile(key), "game/manifest.gz", zipped);
  std::string publicKey = readFile(key + ".pub");
  bool good = true;
  double verifySeconds = timeOnce([&] {
    for (int i = 0; i < 10; ++i) good &= update::checkStreamSignature(publicKey, "game/manifest.gz", zipped, signature).empty();
  }) / 10;
  double parseSeconds = timeOnce([&] { update::Manifest::fromZippedBytes(zipped); });
  std::printf("signed_manifest_entries = 200000\nsigned_manifest_mb = %.1f\n", double(zipped.size()) / 1e6);
  std::printf("signature_ok = %d\n", good ? 1 : 0);
  std::printf("signature_verify_ms = %.2f\nmanifest_read_ms = %.1f\n", verifySeconds * 1e3, parseSeconds * 1e3);
  // Above 0.99: the signature adds less than 1% to taking a manifest in.
  std::printf("signature_ratio = %.3f\n", parseSeconds / (parseSeconds + verifySeconds));
}

// One large bundle fetched whole, against the same bundle cancelled half way and resumed; the
// resumed run also digests the kept half again.
void resumeCost(TempDir const& work) {
  std::string noise(size_t(256) << 20, '\0');
  std::mt19937_64 random(7);
  for (size_t i = 0; i + 8 <= noise.size(); i += 8) {
    uint64_t word = random();
    std::memcpy(&noise[i], &word, 8);
  }
  PublishedGame game = publishGame({{{"/big.bin", std::move(noise)}}}, "1");
  // A static host, as a studio's: the test server builds each answer in memory first.
  std::string const& checksum = game.manifest->bundles[0].checksum;
  std::filesystem::create_directories(work.file("site/game/hashed"));
  work.write("site/game/hashed/" + checksum, game.bundles.at(checksum));
  game.bundles.clear();
  std::filesystem::create_directories(work.file("nginx"));
  std::filesystem::permissions(work.path(), std::filesystem::perms::others_exec | std::filesystem::perms::others_read,
                               std::filesystem::perm_options::add);
  Nginx server(work.file("site"), work.file("nginx"));
  PumpedLoader client;
  auto fetch = [&](std::string const& cache, std::atomic<bool>* cancelAt) {
    auto context = update::createUpdateContext(client.shared(), work.file("g"), cache, server.url());
    context->setDownloadPath("game/hashed");
    std::filesystem::create_directories(cache);
    auto progress = std::make_shared<update::UpdateProgress>();
    std::thread watch;
    if (cancelAt) {
      std::string part = cache + "/" + checksum + ".bundle" + vorn::kPartialFileSuffix;
      watch = std::thread([&, part, progress] {
        std::error_code error;
        while (!*cancelAt) {
          uintmax_t size = std::filesystem::file_size(part, error);
          if (!error && size >= game.manifest->bundles[0].size / 2) break;
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        progress->canceled = true;
      });
    }
    update::downloadManifestEntries(context, progress, std::make_shared<update::DownloadProgressAggregator>(),
                                    game.manifest->bundles);
    if (cancelAt) {
      *cancelAt = true;
      watch.join();
    }
    return progress->errors == 0 && !progress->canceled;
  };
  double wholeSeconds = timeOnce([&] { fetch(work.file("whole"), nullptr); });
  std::atomic<bool> stop{false};
  double firstSeconds = timeOnce([&] { fetch(work.file("resumed"), &stop); });
  bool resumedOk = false;
  double restSeconds = timeOnce([&] { resumedOk = fetch(work.file("resumed"), nullptr); });
  std::printf("resume_bundle_mb = %.0f\nresume_ok = %d\n", double(game.manifest->bundles[0].size) / 1e6, resumedOk ? 1 : 0);
  std::printf("whole_download_seconds = %.2f\n", wholeSeconds);
  std::printf("interrupted_seconds = %.2f\nresumed_seconds = %.2f\n", firstSeconds, restSeconds);
  std::printf("resume_ratio = %.2f\n", wholeSeconds / (firstSeconds + restSeconds));
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t const total = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : uint64_t(1) << 30;
  TempDir work;
  std::printf("generating %.0f MB...\n", double(total) / 1e6);
  std::fflush(stdout);
  auto files = makeGame(total);
  PublishedGame game = publishGame(files, "1");
  GameServer server;
  server.publish(game, "manifest.gz");

  // The update, in a child process so that its peak memory is its own.
  int out[2];
  if (pipe(out) != 0) return 1;
  Clock::time_point start = Clock::now();
  pid_t child = fork();
  if (child == 0) {
    dup2(out[1], STDOUT_FILENO);
    close(out[0]);
    execl(ZANDOR_UPDATE_RUNNER, ZANDOR_UPDATE_RUNNER, server.baseUrl().c_str(), work.file("game").c_str(),
          work.file("cache").c_str(), "game/manifest.gz", (char*)nullptr);
    _exit(127);
  }
  close(out[1]);
  std::vector<std::pair<std::string, double>> stages;
  std::string pending;
  char buffer[256];
  for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;) {
    pending.append(buffer, size_t(n));
    for (size_t eol; (eol = pending.find('\n')) != std::string::npos; pending.erase(0, eol + 1)) {
      stages.emplace_back(pending.substr(0, eol), since(start));
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  double updateSeconds = since(start);
  bool ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;

  // The baseline: every bundle fetched by curl to disk, every compressed entry inflated by gzip.
  std::string base = work.file("baseline");
  std::filesystem::create_directories(base);
  std::ofstream config(base + "/curl.cfg");
  for (auto const& [checksum, data] : game.bundles) {
    config << "url = \"" << server.baseUrl() << "game/hashed/" << checksum << "\"\noutput = \"" << base << "/" << checksum
           << "\"\n";
  }
  config.close();
  int index = 0;
  for (auto const& bundle : game.manifest->bundles) {
    auto const& data = game.bundles.at(bundle.checksum);
    for (auto const& e : bundle.entries) {
      if (e.sizeZ == 0) continue;
      std::ofstream(base + "/e" + std::to_string(index++) + ".gz", std::ios::binary)
          .write(data.data() + e.offset, std::streamsize(e.sizeZ));
    }
  }
  Clock::time_point baselineStart = Clock::now();
  std::string curl = "curl -s -K '" + base + "/curl.cfg'";
  std::string gunzip = "cd '" + base + "' && for f in e*.gz; do gzip -dc \"$f\" > \"${f%.gz}\"; done";
  if (std::system(curl.c_str()) != 0) return 1;
  double curlSeconds = since(baselineStart);
  if (std::system(gunzip.c_str()) != 0) return 1;
  double baselineSeconds = since(baselineStart);
  server.stop();

  // What the machine can do, measured now: inflating every compressed entry on one core, and
  // SHA-1 of the whole game's bytes on one core.
  double inflatedBytes = 0, storedBytes = 0;
  double inflateSeconds = timeOnce([&] {
    std::vector<char> in, out;
    for (auto const& bundle : game.manifest->bundles) {
      auto const& data = game.bundles.at(bundle.checksum);
      for (auto const& e : bundle.entries) {
        if (e.sizeZ == 0) {
          storedBytes += double(e.size);
          continue;
        }
        in.assign(data.begin() + ptrdiff_t(e.offset), data.begin() + ptrdiff_t(e.offset + e.sizeZ));
        vorn::gunzip(in, out);
        inflatedBytes += double(out.size());
      }
    }
  });
  std::vector<char> block(size_t(256) << 20, 'x');
  double sha1Seconds = timeOnce([&] { update::checksumBytes(block); });
  double sha1Rate = double(block.size()) / sha1Seconds, inflateRate = inflatedBytes / inflateSeconds;
  unsigned cores = std::max(1u, std::thread::hardware_concurrency());

  std::printf("game_mb = %.0f\n", double(total) / 1e6);
  std::printf("bundles = %zu\n", game.manifest->bundles.size());
  std::printf("update_ok = %d\n", ok ? 1 : 0);
  // Each stage lasts from its own line to the next one.
  // Each stage beside the least it could take here: the download what curl took, the unpack the
  // inflating spread over every core, the final check a digest of every byte on one core.
  std::map<std::string, double> limits{
      {"download", curlSeconds},
      {"unpack", inflatedBytes / (inflateRate * cores)},
      {"apply", 0},
      {"proof", (inflatedBytes + storedBytes) / sha1Rate}};
  double peakKb = 0;
  for (size_t i = 0; i < stages.size(); ++i) {
    std::string const& line = stages[i].first;
    if (line.rfind("peak_rss_kb ", 0) == 0) peakKb = std::atof(line.c_str() + 12);
    if (line.rfind("stage ", 0) != 0) continue;
    double end = i + 1 < stages.size() ? stages[i + 1].second : updateSeconds;
    std::string name = line.substr(6);
    std::printf("stage_%s_seconds = %.2f\n", name.c_str(), end - stages[i].second);
    if (limits.count(name)) std::printf("limit_%s_seconds = %.2f\n", name.c_str(), limits[name]);
  }
  std::printf("curl_seconds = %.2f\n", curlSeconds);
  std::printf("inflate_mb_per_s_one_core = %.0f\n", inflateRate / 1e6);
  std::printf("cores = %u\n", cores);
  std::printf("sha1_mb_per_s = %.0f\n", sha1Rate / 1e6);
  std::printf("update_seconds = %.2f\n", updateSeconds);
  // Read by the update process itself: the kernel's count for a forked child would include the
  // parent's pages from before the exec.
  std::printf("update_peak_rss_mb = %.1f\n", peakKb / 1024.0);
  std::printf("baseline_seconds = %.2f\n", baselineSeconds);
  signatureCost(work);
  resumeCost(work);
  std::printf("ratio = %.2f\n", baselineSeconds / updateSeconds);
  return ok ? 0 : 1;
}
