// The streams the account may use, their news pages and their folders on disk.
#include <sstream>
#include <stdexcept>

#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"
#include "ka/system_dirs.h"
#include "launcher_gui.h"
#include "launcher_options.h"
#include "update/download.h"
#include "update/apply_update.h"
#include "update/platform_util.h"
#include "update/safe_names.h"

namespace {

bool isPlainName(std::string const& name) {
  return update::isSafeRelativePath(name) && name.find('/') == std::string::npos;
}

bool isSafeStream(LauncherGUI::Stream const& stream) {
  return isPlainName(stream.StreamName) && stream.StreamName != "_cache" && isPlainName(stream.ManifestName) &&
         stream.ManifestName != update::kInstallRecordName;
}

}  // namespace

std::string LauncherGUI::listStreams() {
  if (!claimJob()) return "";
  return startJob([this](std::string const& id) {
    auto* record = new update::UpdateProgress;
    record->message = "Listing streams";
    setProgress(record);
    std::string url = ka::stringprintf("%s/Launcher/ListStreams?Platform=%s", serviceUrl.c_str(),
                                       update::getPlatformFriendlyName().c_str());
    update::DownloadProgress download(progress->canceled);
    // A failed transfer leaves the text empty, which the parser rejects.
    std::string text = update::downloadString(http, url, download, ticket);
    streams.clear();
    try {
      std::istringstream in(text);
      ka::Json root = ka::Json::readFrom(in);
      ka::Json list = root.get("Streams", ka::Json());
      for (size_t i = 0; i < list.arrayLength(); ++i) {
        ka::Json item = list.get(i, ka::Json());
        Stream stream;
        stream.StreamName = item.get("StreamName", ka::Json()).asString("null");
        stream.BuildId = item.get("BuildId", ka::Json()).asString("null");
        stream.Description = item.get("Description", ka::Json()).asString("null");
        stream.DownloadUrl = item.get("DownloadUrl", ka::Json()).asString("null");
        stream.ManifestName = item.get("ManifestName", ka::Json()).asString("null");
        stream.AuthSuffix = item.get("AuthSuffix", ka::Json()).asString("null");
        stream.TitleFolder = item.get("TitleFolder", ka::Json()).asString("null");
        stream.TitleId = uint16_t(int64_t(item.get("TitleId", ka::Json()).asNumber(0.0)));
        // The stream's name becomes a folder and its manifest name a file in it: a server
        // must not be able to point either elsewhere.
        if (!isSafeStream(stream)) {
          KA_LOG(Warn) << "Ignoring stream " << stream.StreamName << ": its name or manifest name is not a plain file name";
          continue;
        }
        streams[stream.StreamName] = stream;
      }
    } catch (std::runtime_error const&) {
      KA_LOG(Error) << "Couldn't parse stream information";
      finishJob(id, false, jMsg("Couldn't parse stream information"));
      return;
    }
    // The page gets the answer as it came, so that its list and ours stem from the same text.
    finishJob(id, true, text);
  });
}

std::string LauncherGUI::makeStreamNewsUrl(std::string const& streamName) {
  return ka::stringprintf("%s/Launcher/StreamNews?StreamName=%s&ticket=%s", serviceUrl.c_str(), streamName.c_str(),
                          ticket.c_str());
}

std::string LauncherGUI::getStreamGameDir(std::string const& streamName) {
  // No final "/": the paths below it are cut from it as text.
  if (cmdline_gameDir.isSet()) return ka::path::withoutFinalDelimiters(ka::path::makeAbsolute(cmdline_gameDir.value()));
  return ka::path::join(ka::path::join(ka::getUserDataDir(config.company, config.product), "streams"), streamName);
}
