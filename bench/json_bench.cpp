// Reading speed of ka::Json and of the manifest reader against nlohmann::json on the same bytes.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "bench_util.h"
#include "ka/json.h"
#include "update/manifest.h"
#include "vorn/gzip.h"

namespace {

std::string hexDigest(std::mt19937_64& rng) {
  static char const hex[] = "0123456789abcdef";
  std::string s(40, '0');
  for (char& c : s) c = hex[rng() & 15];
  return s;
}

// A manifest as a publisher writes it: bundles of up to 64 entries, numbers as digit strings.
std::string manifestText(size_t entries, size_t minBytes) {
  std::mt19937_64 rng(42);
  std::string out = "{\n  \"version\": \"1.0.20261123\",\n  \"patchesFrom\": \"1.0.20261101\",\n  \"bundles\": [";
  size_t made = 0;
  for (size_t b = 0; made < entries || out.size() < minBytes; ++b) {
    out += b ? ",\n    {" : "\n    {";
    out += "\"checksum\": \"" + hexDigest(rng) + "\", \"size\": \"" + std::to_string(rng() % 16777216) +
           "\", \"entries\": [";
    uint64_t offset = 0;
    for (int e = 0; e < 64; ++e, ++made) {
      uint64_t size = rng() % 1000000, sizeZ = rng() % 2 ? size / 3 : 0;
      out += e ? ",\n      {" : "\n      {";
      out += "\"filename\": \"/data/level" + std::to_string(b) + "/asset_" + std::to_string(made) + ".pak\", ";
      out += "\"checksum\": \"" + hexDigest(rng) + "\", \"checksumZ\": \"" + hexDigest(rng) + "\", ";
      out += "\"size\": \"" + std::to_string(size) + "\", \"sizeZ\": \"" + std::to_string(sizeZ) + "\", ";
      out += "\"offset\": \"" + std::to_string(offset) + "\"";
      if (rng() % 50 == 0) out += ", \"executable\": true";
      out += "}";
      offset += sizeZ ? sizeZ : size;
    }
    out += "]}";
  }
  return out + "\n  ]\n}\n";
}

uint64_t digits(nlohmann::json const& object, char const* key) {
  auto it = object.find(key);
  if (it == object.end() || !it->is_string()) return 0;
  uint64_t value = 0;
  for (char c : it->get_ref<std::string const&>()) {
    if (c < '0' || c > '9' || value > (UINT64_MAX - uint64_t(c - '0')) / 10) return 0;
    value = value * 10 + uint64_t(c - '0');
  }
  return value;
}

std::string text(nlohmann::json const& object, char const* key) {
  auto it = object.find(key);
  return it != object.end() && it->is_string() ? it->get<std::string>() : "null";
}

// The same work as Manifest::fromZippedFile, with nlohmann::json as the parser.
size_t referenceManifest(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> zipped((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<char> raw;
  vorn::gunzip(zipped, raw);
  nlohmann::json doc = nlohmann::json::parse(raw.begin(), raw.end());
  update::Manifest manifest;
  manifest.version = text(doc, "version");
  manifest.patchesFrom = text(doc, "patchesFrom");
  for (auto const& b : doc.at("bundles")) {
    update::ManifestBundle& bundle = manifest.bundles.emplace_back();
    bundle.checksum = text(b, "checksum");
    bundle.size = digits(b, "size");
    for (auto const& e : b.at("entries")) {
      update::ManifestEntry& entry = bundle.entries.emplace_back();
      entry.checksum = text(e, "checksum");
      entry.checksumZ = text(e, "checksumZ");
      entry.filename = text(e, "filename");
      entry.size = digits(e, "size");
      entry.sizeZ = digits(e, "sizeZ");
      entry.offset = digits(e, "offset");
      entry.executable = e.value("executable", false);
    }
  }
  return manifest.bundles.size();
}

}  // namespace

int main() {
  int const runs = 3;
  std::string doc = manifestText(0, 50u << 20);
  double mb = double(doc.size()) / 1e6;

  double ours = timeBest(runs, [&] {
    ka::StringRangeStream stream(doc);
    ka::Json value = ka::Json::readFrom(stream);
  });
  double theirs = timeBest(runs, [&] { nlohmann::json value = nlohmann::json::parse(doc); });

  std::string manifest = manifestText(200000, 0);
  std::vector<char> zipped;
  vorn::gzip(std::vector<char>(manifest.begin(), manifest.end()), zipped);
  std::string path = (std::filesystem::temp_directory_path() / "zandor-bench-manifest.gz").string();
  std::ofstream(path, std::ios::binary).write(zipped.data(), std::streamsize(zipped.size()));
  double manifestMb = double(manifest.size()) / 1e6;
  size_t entries = 0;
  double oursManifest = timeBest(runs, [&] {
    auto m = update::Manifest::fromZippedFile(path);
    entries = 0;
    for (auto const& b : m->bundles) entries += b.entries.size();
  });
  double theirsManifest = timeBest(runs, [&] { referenceManifest(path); });
  std::filesystem::remove(path);

  double jsonRatio = theirs / ours, manifestRatio = theirsManifest / oursManifest;
  std::printf("json_document_mb = %.1f\n", mb);
  std::printf("json_read_mb_per_s = %.1f\n", mb / ours);
  std::printf("json_reference_mb_per_s = %.1f\n", mb / theirs);
  std::printf("json_ratio = %.2f\n", jsonRatio);
  std::printf("manifest_entries = %zu\n", entries);
  std::printf("manifest_gzip_mb = %.1f\n", double(zipped.size()) / 1e6);
  std::printf("manifest_read_mb_per_s = %.1f\n", manifestMb / oursManifest);
  std::printf("manifest_reference_mb_per_s = %.1f\n", manifestMb / theirsManifest);
  std::printf("manifest_ratio = %.2f\n", manifestRatio);
  std::printf("ratio = %.2f\n", std::min(jsonRatio, manifestRatio));
  return 0;
}
