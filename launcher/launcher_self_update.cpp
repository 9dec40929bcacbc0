// The launcher's own update: compare checksums, fetch the new image, unpack it and show it.
#include <cstdlib>

#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"
#include "ka/system_dirs.h"
#include "launcher_gui.h"
#include "launcher_hosts.h"
#include "launcher_options.h"
#include "update/download.h"
#include "update/platform_util.h"
#include "vorn/osutil.h"
#include "vorn/output_file.h"

namespace {

char const kUnpackDir[] = "/tmp/ZandorLauncherTemp";

// Decimal digits up to the first other character, stopping before a value that would overflow.
uint64_t leadingNumber(std::string const& text) {
  uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') break;
    uint64_t digit = uint64_t(c - '0');
    if (value > (UINT64_MAX - digit) / 10) break;
    value = value * 10 + digit;
  }
  return value;
}

// What a published checksum may be: it becomes part of a file name and of a shell command.
bool isHexText(std::string const& text) {
  if (text.empty() || text.size() > 128) return false;
  return text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

// `text` for the inside of a shell's double quotes: the characters the shell still reads there
// are escaped, so that a home folder with a "$" or a quote stays one plain word.
std::string insideDoubleQuotes(std::string const& text) {
  std::string out;
  for (char c : text) {
    if (c == '"' || c == '\\' || c == '$' || c == '`') out += '\\';
    out += c;
  }
  return out;
}

// The text up to the first zero byte.
std::string untilZero(std::vector<char> bytes) {
  bytes.push_back('\0');
  return std::string(bytes.data());
}

}  // namespace

std::string LauncherGUI::getLauncherFileS3Url(std::string const& name) {
  bool development = cmdline_devmode.isSet() || cmdline_beta.isSet();
  return std::string(development ? hosts::kDevSetupUrl : hosts::kLiveSetupUrl) + "/XR/" +
         update::getPlatformFriendlyName() + "/" + name;
}

bool LauncherGUI::checkLauncherChecksumMatches(std::string const& latest) {
  std::string current = untilZero(getEmbeddedResource("appchksm.txt"));
  KA_LOG(Info) << "Latest launcher: " << latest;
  KA_LOG(Info) << "Current: " << current;
  return latest == current;
}

std::string LauncherGUI::checkLauncher() {
  if (!claimJob()) return "";
  return startJob([this](std::string const& id) { checkLauncherJob(id); });
}

// Whatever goes wrong before the image is on disk ends quietly: a broken update service must
// never keep a player out.
void LauncherGUI::checkLauncherJob(std::string const& id) {
  auto endQuietly = [&] { finishJob(id, true, ""); };
  if (cmdline_skipversioncheck.isSet()) return endQuietly();

  auto* record = new update::UpdateProgress;
  record->message = "Checking for launcher update";
  setProgress(record);
  update::DownloadProgress check(progress->canceled);
  std::string answer = update::downloadString(
      http, updateCheckUrl + "/Launcher/ChecksumV3?platform=" + update::getPlatformFriendlyName(), check, "");
  std::vector<std::string> words;
  ka::split(answer, words);
  if (words.size() != 2) return endQuietly();

  std::shared_ptr<update::DownloadProgress> checksumDownload = aggregator->addDownload(progress->canceled);
  checksumDownload->bytesExpected = 33;
  std::string checksumUrl = getLauncherFileS3Url("appchksm.txt");
  std::vector<char> checksumBytes;
  update::download(http, checksumUrl, *checksumDownload, checksumBytes);
  if (progress->canceled) return endQuietly();
  if (!checksumDownload->error.empty()) {
    KA_LOG(Info) << "Error downloading launcher checksum information:" << checksumUrl;
    KA_LOG(Info) << checksumDownload->error;
    return endQuietly();
  }
  std::string latest = untilZero(checksumBytes);
  if (!isHexText(latest)) {
    KA_LOG(Warn) << "Ignoring the published launcher checksum: it is not hexadecimal text";
    return endQuietly();
  }

  std::string cacheFile =
      ka::path::join(ka::path::join(ka::getUserDataDir(config.company, config.product), "updates"),
                     "ZandorLauncher_" + latest.substr(0, 32) + ".tar.gz");
  bool matches = checkLauncherChecksumMatches(latest);
  std::string partFile = cacheFile + vorn::kPartialFileSuffix;
  if (matches || progress->canceled) {
    // The image of a finished update goes at the first run of the new launcher.
    vorn::osutil::deleteFile(cacheFile);
    vorn::osutil::deleteFile(partFile);
    return endQuietly();
  }

  if (!vorn::osutil::fileExists(cacheFile)) {
    auto* downloading = new update::UpdateProgress;
    downloading->message = "Downloading launcher update";
    setProgress(downloading);
    std::shared_ptr<update::DownloadProgress> image = aggregator->addDownload(progress->canceled);
    image->bytesExpected = leadingNumber(words[1]);
    std::string imageUrl = getLauncherFileS3Url("ZandorLauncher.tar.gz");
    KA_LOG(Info) << "Downloading launcher update from " << imageUrl;
    std::vector<char> bytes;
    update::download(http, imageUrl, *image, bytes);
    if (progress->canceled) return endQuietly();
    if (!image->error.empty()) {
      KA_LOG(Info) << "Error downloading new launcher:";
      KA_LOG(Info) << image->error;
      return endQuietly();
    }
    // Written under another name and renamed once whole: an image cut short by a crash or a
    // full disk must never pass for a cached one, which would be unpacked, and fail, for ever.
    vorn::osutil::mkdirAndParents(ka::path::parent(cacheFile));
    std::string why;
    if (!vorn::writeWholeFile(cacheFile, bytes.data(), bytes.size(), why)) {
      KA_LOG(Error) << "failed to write new launcher download file: " << cacheFile << " (" << why << ")";
      finishJob(id, false, jMsg("failed write to disk"));
      return;
    }
  }

  std::string command = std::string("mkdir -p ") + kUnpackDir + " && tar -xzf \"" + insideDoubleQuotes(cacheFile) +
                        "\" -C " + kUnpackDir;
  KA_LOG(Info) << "Attempting system call \"" << command << "\"";
  if (std::system(command.c_str()) != 0) {
    KA_LOG(Error) << "failed to mount dmg: " << cacheFile;
    // A corrupt image would fail the same way at every start: fetch it anew next time.
    vorn::osutil::deleteFile(cacheFile);
    finishJob(id, false, jMsg("failed to mount dmg"));
    return;
  }
  if (!update::shellOpen(kUnpackDir, {}, "open")) {
    KA_LOG(Error) << "failed to open dmg mount root: " << kUnpackDir;
    finishJob(id, false, jMsg("failed to open dmg mount root"));
    return;
  }
  finishJob(id, true, "open dmg folder, exiting...");
  vorn::Game::requestExit();
}
