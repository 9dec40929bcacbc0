#include "webui/file_handler.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "ka/json.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"

namespace webui {
namespace {

// A "coui://HOST/PATH" URL taken apart: its host, and its path decoded, with its "." and ".."
// segments resolved and without query or fragment, relative to the host's folder.
struct PageUrl {
  std::string host;
  std::string path;
};

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Nothing for a URL of another form, or one whose path is empty or climbs out of its folder.
// The path is decoded before it is resolved, so that no spelling of ".." or "/" gets past.
std::optional<PageUrl> parsePageUrl(std::string const& url) {
  std::string const scheme = "coui://";
  if (url.compare(0, scheme.size(), scheme) != 0) return std::nullopt;
  std::string rest = url.substr(scheme.size(), url.find_first_of("?#") - scheme.size());
  size_t slash = rest.find('/');
  PageUrl parsed{rest.substr(0, slash), ""};
  if (parsed.host.empty() || slash == std::string::npos ||
      parsed.host.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_") != std::string::npos)
    return std::nullopt;
  std::string decoded;
  for (size_t i = slash; i < rest.size(); ++i) {
    if (rest[i] != '%') {
      decoded += rest[i];
      continue;
    }
    int high = i + 2 < rest.size() ? hexValue(rest[i + 1]) : -1;
    int low = high >= 0 ? hexValue(rest[i + 2]) : -1;
    if (low < 0 || (high == 0 && low == 0)) return std::nullopt;
    decoded += char(high * 16 + low);
    i += 2;
  }
  std::vector<std::string> segments;
  std::istringstream in(decoded);
  for (std::string segment; std::getline(in, segment, '/');) {
    if (segment.empty() || segment == ".") continue;
    if (segment != "..") {
      segments.push_back(segment);
    } else if (segments.empty()) {
      return std::nullopt;
    } else {
      segments.pop_back();
    }
  }
  if (segments.empty()) return std::nullopt;
  for (std::string const& segment : segments) parsed.path += (parsed.path.empty() ? "" : "/") + segment;
  return parsed;
}

// Reads a whole file into the response's buffer; false if it can't be opened.
bool readInto(std::string const& path, ResourceResponse* response, std::string const& logName) {
  // A folder opens too, with a size of nonsense.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return false;
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) return false;
  auto size = size_t(in.tellg());
  void* buffer = response->GetBuffer(size);
  if (!buffer && size > 0) {
    KA_LOG(Error) << "Coherent failed to allocate buffer of size " << size << " for file " << logName;
    response->SignalFailure();
    return true;
  }
  in.seekg(0);
  in.read(static_cast<char*>(buffer), std::streamsize(size));
  response->SignalSuccess();
  return true;
}

std::vector<char> readAll(std::string const& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) throw std::runtime_error("unreadable");
  std::vector<char> bytes(size_t(in.tellg()));
  in.seekg(0);
  in.read(bytes.data(), std::streamsize(bytes.size()));
  return bytes;
}

}  // namespace

void FileHandler::WriteFile(wchar_t const* url, ResourceData* data) {
  KA_LOG(Error) << "Can't write " << static_cast<void const*>(url) << ". Coherent file writing is disabled.";
  data->SignalFailure();
}

void ExternalFileHandler::ReadFile(wchar_t const* url, ResourceResponse* response) {
  // Only files inside the folder: a page or frame could otherwise read any file of the user's
  // through a URL that climbs out of it ("coui:../../", "coui://ui/..%2f").
  std::string text = ka::wstr_to_utf8(url);
  std::optional<PageUrl> parsed = parsePageUrl(text);
  if (!parsed) {
    KA_LOG(Error) << "Refused to read " << text << ", which is not a file of the UI folder";
    return response->SignalFailure();
  }
  std::string path = ka::path::join(root_, ka::path::posixToNative(parsed->path));
  KA_LOG(Info) << "Opening " << path;
  if (!readInto(path, response, path)) {
    KA_LOG(Error) << "Can't open " << path;
    response->SignalFailure();
  }
}

SynchronousFileHandler::SynchronousFileHandler(ka::RefNoCount<vorn::Filesystem> filesystem, bool disableBootCache)
    : filesystem_(filesystem), disableBootCache_(disableBootCache) {}

void SynchronousFileHandler::ReadFile(wchar_t const* url, ResourceResponse* response) {
  // "coui://ui/x" becomes the virtual path "/ui/x"; nothing outside "/ui/" is the page's.
  std::optional<PageUrl> parsed = parsePageUrl(ka::wstr_to_utf8(url));
  if (!parsed || parsed->host != "ui") return response->SignalFailure();
  std::string path = "/ui/" + parsed->path;
  if (path == kBootJsPath) return serveBootFile(bootJs_, response);
  if (path == kBootCssPath) return serveBootFile(bootCss_, response);
  if (!readInto(filesystem_->getSystemPath(path, nullptr), response, path)) response->SignalFailure();
}

void SynchronousFileHandler::serveBootFile(std::vector<char>& file, ResourceResponse* response) {
  if (file.empty()) createBootFiles();
  if (file.empty()) return response->SignalFailure();
  void* buffer = response->GetBuffer(file.size());
  if (!buffer) return response->SignalFailure();
  std::memcpy(buffer, file.data(), file.size());
  response->SignalSuccess();
  if (disableBootCache_) file.clear();
}

void SynchronousFileHandler::createBootFiles() {
  bootJs_.clear();
  bootCss_.clear();
  try {
    std::vector<char> listText = readAll(filesystem_->getSystemPath("/ui/boot.json", nullptr));
    std::istringstream in(std::string(listText.begin(), listText.end()));
    ka::Json list = ka::Json::readFrom(in);
    if (list.type() != ka::Json::TYPE_Object) throw std::runtime_error("Expected object as root element");
    std::vector<std::string> names;
    for (char const* key : {"js", "css"}) {
      if (!list.hasKey(key)) continue;
      ka::Json entries = list.get(key);
      for (size_t i = 0; i < entries.arrayLength(); ++i) names.push_back(entries.get(i, ka::Json()).asString("null"));
    }
    // Each file goes by its own extension, whichever list named it.
    for (std::string const& name : names) {
      std::vector<char> bytes;
      try {
        if (name.empty() || name[0] != '/') throw std::runtime_error("not a virtual path");
        bytes = readAll(filesystem_->getSystemPath(name, nullptr));
      } catch (std::runtime_error const&) {
        throw std::runtime_error(ka::stringprintf("Failed to load %s", name.c_str()));
      }
      std::string ext = ka::strLower(ka::path::ext(name));
      if (ext == ".js")
        bootJs_.insert(bootJs_.end(), bytes.begin(), bytes.end());
      else if (ext == ".css")
        bootCss_.insert(bootCss_.end(), bytes.begin(), bytes.end());
      else
        KA_LOG(Error) << "Don't know how to boot file of type " << ext;
    }
  } catch (std::exception const& e) {
    KA_LOG(Error) << "Failed to load /ui/boot.json";
    KA_LOG(Error) << e.what();
  }
}

}  // namespace webui
