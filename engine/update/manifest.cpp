#include "manifest.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unordered_set>

#include "ka/MD5.h"
#include "ka/log.h"
#include "ka/sha1.h"
#include "ka/strutil.h"
#include "apply_update.h"
#include "safe_names.h"
#include "vorn/output_file.h"
#include "vorn/gzip.h"

namespace update {

namespace {

std::string readString(ka::Json const& object, char const* key) { return object.get(key, ka::Json()).asString("null"); }

// Plain decimal digits that fit in 64 bits; anything else leaves `field` alone.
void readDigits(ka::Json const& object, char const* key, uint64_t& field) {
  std::string text = readString(object, key);
  if (text.empty()) return;
  uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return;
    uint64_t digit = uint64_t(c - '0');
    if (value > (UINT64_MAX - digit) / 10) return;
    value = value * 10 + digit;
  }
  field = value;
}

ka::Json digitsJson(uint64_t value) { return ka::Json::makeString(std::to_string(value)); }

// A name or digest from the manifest as it may appear in a message: quoted, escaped, bounded.
std::string shown(std::string const& text) {
  std::string out = "\"";
  for (char c : text.substr(0, 120)) {
    if (static_cast<unsigned char>(c) < 32 || c == '"' || c == '\\')
      out += ka::stringprintf("\\x%02x", unsigned(static_cast<unsigned char>(c)));
    else
      out += c;
  }
  return out + (text.size() > 120 ? "...\"" : "\"");
}

[[noreturn]] void refuse(std::string const& reason) { throw std::runtime_error("Refusing manifest: " + reason); }

ka::Json requireArray(ka::Json const& object, char const* key, std::string const& where) {
  ka::Json value = object.get(key, ka::Json());
  if (value.type() != ka::Json::TYPE_Array) refuse(where + " has no \"" + key + "\" array");
  return value;
}

void readEntry(ka::Json const& json, ManifestEntry& entry, std::string const& where) {
  if (json.type() != ka::Json::TYPE_Object) refuse(where + " is not an object");
  entry.checksum = readString(json, "checksum");
  entry.checksumZ = readString(json, "checksumZ");
  entry.filename = readString(json, "filename");
  readDigits(json, "size", entry.size);
  readDigits(json, "sizeZ", entry.sizeZ);
  readDigits(json, "offset", entry.offset);
  entry.executable = json.get("executable", ka::Json()).asBoolean(false);
  if (!isSafeGamePath(entry.filename))
    refuse(where + " names " + shown(entry.filename) + ", which is not a plain path inside the game folder");
  // The launcher's own files in the game folder: one would be overwritten, the other swept away.
  if (entry.filename == std::string("/") + kInstallRecordName || entry.filename.ends_with(vorn::kPartialFileSuffix))
    refuse(where + " names " + shown(entry.filename) + ", a name the launcher keeps for its own files");
  if (!isChecksumText(entry.checksum))
    refuse(where + " (" + shown(entry.filename) + ") has the checksum " + shown(entry.checksum) +
           ", not 40 lower-case hexadecimal digits");
}

}  // namespace

std::shared_ptr<Manifest> Manifest::fromJson(ka::Json const& json) {
  // The manifest decides which files are written where, so nothing of a manifest that is wrong
  // anywhere is believed: a partly read one once passed for "up to date".
  if (json.type() != ka::Json::TYPE_Object) refuse("it is not a Json object");
  auto manifest = std::make_shared<Manifest>();
  manifest->version = readString(json, "version");
  manifest->patchesFrom = readString(json, "patchesFrom");
  ka::Json bundles = requireArray(json, "bundles", "it");
  manifest->bundles.resize(bundles.arrayLength());
  std::unordered_set<std::string> names;
  for (size_t b = 0; b < manifest->bundles.size(); ++b) {
    ManifestBundle& bundle = manifest->bundles[b];
    std::string where = ka::stringprintf("bundle %zu", b + 1);
    ka::Json bundleJson = bundles.get(b, ka::Json());
    if (bundleJson.type() != ka::Json::TYPE_Object) refuse(where + " is not an object");
    bundle.checksum = readString(bundleJson, "checksum");
    if (!isChecksumText(bundle.checksum))
      refuse(where + " has the checksum " + shown(bundle.checksum) + ", not 40 lower-case hexadecimal digits");
    readDigits(bundleJson, "size", bundle.size);
    ka::Json entries = requireArray(bundleJson, "entries", where);
    bundle.entries.resize(entries.arrayLength());
    for (size_t e = 0; e < bundle.entries.size(); ++e) {
      readEntry(entries.get(e, ka::Json()), bundle.entries[e], ka::stringprintf("entry %zu of bundle %zu", e + 1, b + 1));
      if (!names.insert(bundle.entries[e].filename).second)
        refuse(shown(bundle.entries[e].filename) + " is listed twice");
    }
  }
  return manifest;
}

std::shared_ptr<Manifest> Manifest::fromZippedFile(ka::StringRange path) {
  std::string name = path.str();
  // A directory opens like a file here but has no bytes, only a bogus length.
  std::error_code ignored;
  if (std::filesystem::is_directory(name, ignored)) return nullptr;
  std::ifstream file(name, std::ios::binary | std::ios::ate);
  if (!file) return nullptr;
  std::streamoff length = file.tellg();
  if (length < 0) return nullptr;
  std::vector<char> zipped(static_cast<size_t>(length));
  file.seekg(0);
  file.read(zipped.data(), std::streamsize(zipped.size()));
  if (!file) return nullptr;
  return fromZippedBytes(zipped);
}

std::shared_ptr<Manifest> Manifest::fromZippedBytes(std::vector<char> const& zipped) {
  std::vector<char> text;
  if (!vorn::gunzip(zipped, text)) refuse("it is not gzip data");
  ka::Json json;
  try {
    ka::StringRangeStream stream(ka::StringRange(text.data(), text.data() + text.size()));
    json = ka::Json::readFrom(stream);
  } catch (std::runtime_error const& error) {
    // A truncated stream inflates to a prefix, which shows here.
    refuse(std::string("it is damaged (") + error.what() + ")");
  }
  return fromJson(json);
}

ka::Json Manifest::toJson(std::shared_ptr<Manifest> manifest) {
  ka::Json root = ka::Json::makeObject();
  root.set("version", ka::Json::makeString(manifest->version));
  root.set("patchesFrom", ka::Json::makeString(manifest->patchesFrom));
  ka::Json bundles = ka::Json::makeArray();
  for (ManifestBundle const& bundle : manifest->bundles) {
    ka::Json bundleJson = ka::Json::makeObject();
    bundleJson.set("checksum", ka::Json::makeString(bundle.checksum));
    bundleJson.set("size", digitsJson(bundle.size));
    ka::Json entries = ka::Json::makeArray();
    bundleJson.set("entries", entries);
    for (ManifestEntry const& entry : bundle.entries) {
      ka::Json entryJson = ka::Json::makeObject();
      entryJson.set("checksum", ka::Json::makeString(entry.checksum));
      entryJson.set("checksumZ", ka::Json::makeString(entry.checksumZ));
      entryJson.set("filename", ka::Json::makeString(entry.filename));
      entryJson.set("size", digitsJson(entry.size));
      entryJson.set("sizeZ", digitsJson(entry.sizeZ));
      entryJson.set("offset", digitsJson(entry.offset));
      if (entry.executable) entryJson.set("executable", ka::Json::makeBoolean(true));
      entries.push_back(entryJson);
    }
    bundles.push_back(bundleJson);
  }
  root.set("bundles", bundles);
  return root;
}

std::string readAndChecksum(ka::StringRange path, std::vector<char>* bytes) {
  // Plain reads rather than a mapping: a file cut short by someone else while it is read must give
  // a wrong digest, not a bus error.
  int fd = ::open(path.str().c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::string();
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  // Large reads, into a buffer each checking thread keeps: fewer calls, no allocation per file.
  thread_local std::vector<char> buffer(size_t(1) << 20);
  ka::SHA1Context sha1;
  sha1.reset();
  bool failed = false;
  for (;;) {
    ssize_t got = ::read(fd, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      failed = got < 0;
      break;
    }
    sha1.update(buffer.data(), size_t(got));
    if (bytes) bytes->insert(bytes->end(), buffer.data(), buffer.data() + got);
  }
  ::close(fd);
  if (failed) return std::string();
  return sha1.digest().toString();
}

std::string readAndChecksumMD5(ka::StringRange path, std::vector<char>* bytes) {
  std::ifstream file(path.str(), std::ios::binary | std::ios::ate);
  if (!file) return std::string();
  std::vector<char> local;
  std::vector<char>& content = bytes ? *bytes : local;
  std::streamoff length = std::max<std::streamoff>(file.tellg(), 0);
  content.resize(size_t(length));
  if (length > 0) {
    file.seekg(0);
    file.read(content.data(), length);
  }
  ka::MD5Context md5;
  md5.reset();
  md5.update(content.data(), content.size());
  return md5.digest().toString();
}

std::string checksumBytes(std::vector<char> const& bytes) {
  ka::SHA1Context sha1;
  sha1.reset();
  sha1.update(bytes.data(), bytes.size());
  return sha1.digest().toString();
}

}  // namespace update
