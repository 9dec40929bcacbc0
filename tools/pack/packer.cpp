#include "packer.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "ka/sha1.h"
#include "ka/strutil.h"
#include "update/stream_signature.h"
#include "vorn/gzip.h"

namespace fs = std::filesystem;

namespace pack {

namespace {

struct SourceFile {
  std::string name;  // "/dir/file", as the manifest lists it
  std::string hostPath;
  bool executable;
};

[[noreturn]] void fail(std::string const& path, std::string const& why) {
  throw std::runtime_error(path + ": " + why);
}

std::vector<char> readFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(path, "can't be read");
  return std::vector<char>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Every regular file below the build directory, sorted by name so that output is deterministic.
std::vector<SourceFile> listBuild(std::string const& buildDir) {
  std::error_code error;
  if (!fs::is_directory(buildDir, error)) fail(buildDir, "is not a directory");
  std::vector<SourceFile> files;
  for (fs::recursive_directory_iterator it(buildDir, error), end; it != end; it.increment(error)) {
    if (error) fail(buildDir, error.message());
    std::string host = it->path().string();
    fs::file_status status = it->symlink_status();
    if (fs::is_symlink(status)) fail(host, "is a symbolic link; links can't be published, copy the file instead");
    if (fs::is_directory(status)) continue;
    if (!fs::is_regular_file(status)) fail(host, "is not a regular file (device, socket or pipe)");
    std::string name = "/" + fs::relative(it->path(), buildDir).generic_string();
    try {
      ka::utf8_to_wstr(name);
    } catch (std::runtime_error const&) {
      fail(host, "has a name that isn't valid UTF-8, which the manifest can't carry");
    }
    if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 32; })) {
      fail(host, "has a control character in its name");
    }
    files.push_back({name, host, (fs::status(it->path()).permissions() & fs::perms::owner_exec) != fs::perms::none});
  }
  std::sort(files.begin(), files.end(), [](SourceFile const& a, SourceFile const& b) { return a.name < b.name; });
  return files;
}

std::string sha1Of(std::vector<char> const& bytes) {
  ka::SHA1Context c;
  c.reset();
  c.update(bytes.data(), bytes.size());
  return c.digest().toString();
}

// Writes through a temporary name in the same folder, so that a reader never sees half a file.
void writeAtomically(std::string const& path, std::vector<char> const& bytes) {
  std::string temporary = path + ".partial";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
    out.close();
    if (!out) {
      fs::remove(temporary);
      fail(path, "can't be written");
    }
  }
  fs::rename(temporary, path);
}

// Collects bundles of up to `limit` bytes; a file larger than that gets a bundle of its own.
// Content is stored once: a later file with the same content becomes one more entry pointing at
// the same bytes, in whichever bundle holds them.
class BundleWriter {
 public:
  BundleWriter(std::string hashedDir, uint64_t limit) : hashedDir_(std::move(hashedDir)), limit_(limit) {}

  // Bundles kept from an earlier version: their bytes are on the server already.
  void keep(update::ManifestBundle const& bundle) {
    bundles_.push_back(bundle);
    for (size_t e = 0; e < bundle.entries.size(); ++e) stored_.emplace(bundle.entries[e].checksum, Where{false, bundles_.size() - 1, e});
  }

  void add(SourceFile const& file, std::vector<char> const& content, std::string const& checksum) {
    update::ManifestEntry entry;
    entry.filename = file.name;
    entry.checksum = checksum;
    entry.size = content.size();
    entry.executable = file.executable;
    auto found = stored_.find(checksum);
    if (found != stored_.end()) {
      update::ManifestBundle& holder = found->second.open ? open_ : bundles_[found->second.bundle];
      update::ManifestEntry const& first = holder.entries[found->second.entry];
      entry.checksumZ = first.checksumZ;
      entry.sizeZ = first.sizeZ;
      entry.offset = first.offset;
      holder.entries.push_back(entry);
      return;
    }
    std::vector<char> zipped;
    bool compress = !content.empty() && vorn::gzip(content, zipped) && zipped.size() < content.size();
    std::vector<char> const& data = compress ? zipped : content;
    if (compress) {
      entry.sizeZ = zipped.size();
      entry.checksumZ = sha1Of(zipped);
    }
    if (!openData_.empty() && openData_.size() + data.size() > limit_) closeOpen();
    entry.offset = openData_.size();
    openData_.insert(openData_.end(), data.begin(), data.end());
    open_.entries.push_back(entry);
    stored_.emplace(checksum, Where{true, 0, open_.entries.size() - 1});
  }

  std::vector<update::ManifestBundle> finish() {
    closeOpen();
    // An empty stored entry sits at its bundle's very end: older launchers read size 0 as "to the
    // end", and players may still run one.
    for (auto& bundle : bundles_) {
      for (auto& e : bundle.entries) {
        if (e.size == 0 && e.sizeZ == 0) e.offset = bundle.size;
      }
    }
    return std::move(bundles_);
  }

  uint64_t newBytes() const { return newBytes_; }

 private:
  struct Where {
    bool open;
    size_t bundle;
    size_t entry;
  };

  void closeOpen() {
    if (open_.entries.empty()) return;
    open_.checksum = sha1Of(openData_);
    open_.size = openData_.size();
    std::string path = hashedDir_ + "/" + open_.checksum;
    if (!fs::exists(path)) writeAtomically(path, openData_);
    newBytes_ += open_.size;
    bundles_.push_back(std::move(open_));
    for (auto& [checksum, where] : stored_) {
      if (where.open) where = Where{false, bundles_.size() - 1, where.entry};
    }
    open_ = update::ManifestBundle();
    openData_.clear();
  }

  std::string hashedDir_;
  uint64_t limit_;
  std::vector<update::ManifestBundle> bundles_;
  update::ManifestBundle open_;
  std::vector<char> openData_;
  std::map<std::string, Where> stored_;
  uint64_t newBytes_ = 0;
};

// The bundles of the previous version whose every entry is still in the build with the same
// content: a player who has them installed needs nothing from them.
std::vector<update::ManifestBundle> reusable(std::string const& previousManifest,
                                             std::map<std::string, std::string> const& checksumByName) {
  std::shared_ptr<update::Manifest> old = update::Manifest::fromZippedFile(previousManifest);
  if (!old) fail(previousManifest, "can't be read");
  std::vector<update::ManifestBundle> kept;
  for (update::ManifestBundle const& bundle : old->bundles) {
    bool unchanged = !bundle.entries.empty() && std::all_of(bundle.entries.begin(), bundle.entries.end(), [&](auto const& e) {
      auto it = checksumByName.find(e.filename);
      return it != checksumByName.end() && it->second == e.checksum;
    });
    if (unchanged) kept.push_back(bundle);
  }
  return kept;
}

void copyKeptBundles(std::vector<update::ManifestBundle> const& kept, std::string const& fromDir,
                     std::string const& toDir) {
  for (auto const& bundle : kept) {
    std::string from = fromDir + "/" + bundle.checksum, to = toDir + "/" + bundle.checksum;
    if (fs::exists(to)) continue;
    if (!fs::exists(from)) fail(from, "is missing: the previous version's bundle is needed to patch from it");
    writeAtomically(to, readFile(from));
  }
}

std::string gzipText(std::string const& text) {
  std::vector<char> zipped;
  vorn::gzip(std::vector<char>(text.begin(), text.end()), zipped);
  return std::string(zipped.begin(), zipped.end());
}

std::vector<char> extract(std::vector<char> const& bundle, update::ManifestEntry const& e, std::string& fault) {
  if (e.offset > bundle.size()) {
    fault = "offset lies beyond the bundle";
    return {};
  }
  if (e.sizeZ == 0) {
    if (e.size == 0 && e.offset != bundle.size()) {
      fault = "empty stored entry isn't at the bundle's end (older launchers would unpack the rest of the bundle into it)";
      return {};
    }
    if (e.offset + e.size > bundle.size()) {
      fault = "data runs past the bundle's end";
      return {};
    }
    return std::vector<char>(bundle.begin() + long(e.offset), bundle.begin() + long(e.offset + e.size));
  }
  if (e.offset + e.sizeZ > bundle.size()) {
    fault = "compressed data runs past the bundle's end";
    return {};
  }
  std::vector<char> zipped(bundle.begin() + long(e.offset), bundle.begin() + long(e.offset + e.sizeZ)), out;
  if (!vorn::gunzip(zipped, out)) fault = "compressed data doesn't inflate";
  return out;
}

// Launchers believe a manifest they have stored, so a build published under a name that players
// may already have is never fetched by them: a changed build needs a new manifest name.
[[noreturn]] void refuseToReplace(std::string const& path) {
  fail(path, "already holds a different build; launchers that stored it would never fetch the new one, "
             "so publish the new build under a new manifest name");
}

// Refuses before anything is written when the manifest at `path` lists other files or another
// version than this build would.
void checkNotReplacingAnotherBuild(std::string const& path, PackOptions const& options,
                                   std::vector<SourceFile> const& files,
                                   std::map<std::string, std::string> const& checksumByName) {
  if (!fs::exists(path)) return;
  std::shared_ptr<update::Manifest> existing;
  try {
    existing = update::Manifest::fromZippedFile(path);
  } catch (std::runtime_error const&) {
    refuseToReplace(path);
  }
  if (!existing || existing->version != options.version || existing->patchesFrom != options.patchesFrom)
    refuseToReplace(path);
  std::map<std::string, std::pair<std::string, bool>> listed;
  for (auto const& bundle : existing->bundles)
    for (auto const& e : bundle.entries) listed[e.filename] = {e.checksum, e.executable};
  std::map<std::string, std::pair<std::string, bool>> building;
  for (SourceFile const& f : files) building[f.name] = {checksumByName.at(f.name), f.executable};
  if (listed != building) refuseToReplace(path);
}

}  // namespace

PackResult build(PackOptions const& options) {
  if (options.titleFolder.empty() || options.manifestName.empty() || options.version.empty()) {
    throw std::runtime_error("a title folder, a manifest name and a version are needed");
  }
  if (options.bundleSize == 0) throw std::runtime_error("the bundle size must be above 0");
  std::string signingKey;
  if (!options.signingKey.empty()) {
    std::vector<char> pem = readFile(options.signingKey);
    signingKey.assign(pem.begin(), pem.end());
    update::signStream(signingKey, "", {});  // refuses a bad key before anything is written
  }
  std::string const signedPath = options.titleFolder + "/" + options.manifestName;
  std::vector<SourceFile> files = listBuild(options.buildDir);
  std::map<std::string, std::string> checksumByName;
  for (SourceFile const& f : files) checksumByName[f.name] = sha1Of(readFile(f.hostPath));

  std::string titleDir = options.outDir + "/" + options.titleFolder;
  std::string hashedDir = titleDir + "/hashed";
  std::string manifestPath = titleDir + "/" + options.manifestName;
  checkNotReplacingAnotherBuild(manifestPath, options, files, checksumByName);
  fs::create_directories(hashedDir);
  PackResult result;
  std::vector<update::ManifestBundle> kept;
  if (!options.previousManifest.empty()) {
    kept = reusable(options.previousManifest, checksumByName);
    copyKeptBundles(kept, fs::path(options.previousManifest).parent_path().string() + "/hashed", hashedDir);
  }
  BundleWriter writer(hashedDir, options.bundleSize);
  std::set<std::string> covered;
  for (auto const& bundle : kept) {
    writer.keep(bundle);
    for (auto const& e : bundle.entries) covered.insert(e.filename);
  }
  for (SourceFile const& f : files) {
    if (!covered.count(f.name)) writer.add(f, readFile(f.hostPath), checksumByName[f.name]);
  }
  result.manifest = std::make_shared<update::Manifest>();
  result.manifest->version = options.version;
  result.manifest->patchesFrom = options.patchesFrom;
  result.manifest->bundles = writer.finish();
  result.bundlesReused = kept.size();
  result.bytesForPreviousPlayers = writer.newBytes();
  for (auto const& b : result.manifest->bundles) result.bytesForNewPlayers += b.size;

  std::ostringstream json;
  update::Manifest::toJson(result.manifest).writeTo(json);
  std::string zipped = gzipText(json.str());
  // Same files, other bundling (another bundle size or previous build): still another manifest.
  if (fs::exists(manifestPath) && readFile(manifestPath) != std::vector<char>(zipped.begin(), zipped.end()))
    refuseToReplace(manifestPath);
  std::vector<char> manifestGz(zipped.begin(), zipped.end());
  // The signature before the manifest: a launcher that finds the manifest finds its signature.
  if (!signingKey.empty()) {
    writeAtomically(manifestPath + update::kSignatureSuffix, update::signStream(signingKey, signedPath, manifestGz));
  }
  writeAtomically(manifestPath, manifestGz);
  return result;
}

std::vector<std::string> verify(std::string const& manifestPath, std::string const& publicKeyPem) {
  std::vector<std::string> faults;
  if (!publicKeyPem.empty()) {
    // Signed as "TitleFolder/ManifestName": the last two parts of the path.
    fs::path path(manifestPath);
    std::string signedPath = path.parent_path().filename().string() + "/" + path.filename().string();
    std::string why = update::checkStoredSignature(publicKeyPem, signedPath, manifestPath);
    if (!why.empty()) faults.push_back(manifestPath + ": signature: " + why);
  }
  std::shared_ptr<update::Manifest> manifest;
  try {
    manifest = update::Manifest::fromZippedFile(manifestPath);
  } catch (std::runtime_error const& e) {
    faults.push_back(manifestPath + ": not a manifest: " + e.what());
    return faults;
  }
  if (!manifest) {
    faults.push_back(manifestPath + ": can't be read");
    return faults;
  }
  std::string hashedDir = fs::path(manifestPath).parent_path().string() + "/hashed";
  for (update::ManifestBundle const& bundle : manifest->bundles) {
    std::string path = hashedDir + "/" + bundle.checksum;
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
      faults.push_back("bundle " + bundle.checksum + ": missing at " + path);
      continue;
    }
    std::vector<char> data = readFile(path);
    if (data.size() != bundle.size) {
      faults.push_back(ka::stringprintf("bundle %s: %zu bytes, the manifest says %llu", bundle.checksum.c_str(),
                                        data.size(), (unsigned long long)bundle.size));
    }
    std::string digest = sha1Of(data);
    if (digest != bundle.checksum) faults.push_back("bundle " + bundle.checksum + ": digest is " + digest);
    for (update::ManifestEntry const& e : bundle.entries) {
      std::string fault;
      std::vector<char> content = extract(data, e, fault);
      if (fault.empty() && sha1Of(content) != e.checksum) fault = "digest after unpacking is " + sha1Of(content);
      if (fault.empty() && content.size() != e.size) fault = "size after unpacking differs from the manifest";
      if (!fault.empty()) faults.push_back("entry " + e.filename + " in bundle " + bundle.checksum + ": " + fault);
    }
  }
  return faults;
}

}  // namespace pack
