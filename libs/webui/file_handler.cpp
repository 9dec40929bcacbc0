#include "webui/file_handler.h"

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "ka/json.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"

namespace webui {
namespace {

// Reads a whole file into the response's buffer; false if it can't be opened.
bool readInto(std::string const& path, ResourceResponse* response, std::string const& logName) {
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
  // What follows "coui://ui/".
  std::string relative = ka::wstr_to_utf8(url);
  relative = relative.size() > 10 ? relative.substr(10) : std::string();
  std::string path = ka::path::join(root_, ka::path::posixToNative(relative));
  KA_LOG(Info) << "Opening " << path;
  if (!readInto(path, response, path)) {
    KA_LOG(Error) << "Can't open " << path;
    response->SignalFailure();
  }
}

SynchronousFileHandler::SynchronousFileHandler(ka::RefNoCount<vorn::Filesystem> filesystem, bool disableBootCache)
    : filesystem_(filesystem), disableBootCache_(disableBootCache) {}

void SynchronousFileHandler::ReadFile(wchar_t const* url, ResourceResponse* response) {
  // "coui://ui/x" becomes the virtual path "/ui/x".
  std::string path = ka::wstr_to_utf8(url);
  path = path.size() > 6 ? path.substr(6) : std::string();
  size_t query = path.find('?');
  if (query != std::string::npos) path.resize(query);
  // Anything but a virtual path is no file of ours.
  if (path.empty() || path[0] != '/') return response->SignalFailure();
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
