// Bringing a stream's files up to date, and starting the game.
#include <stdexcept>

#include "ka/cmd_line.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/stdio_error.h"
#include "ka/strutil.h"
#include "ka/system_dirs.h"
#include "launcher_gui.h"

#include "update/disk_space.h"
#include "launcher_options.h"
#include "update/download.h"
#include "update/platform_util.h"
#include "update/stream_signature.h"
#include "update/update.h"
#include "update/update_context.h"
#include "vorn/osutil.h"

namespace {

update::UpdateProgress* phase(char const* message) {
  auto* record = new update::UpdateProgress;
  record->message = message;
  return record;
}

std::vector<std::string> gameArguments(std::string const& extraArguments, std::vector<std::string> args) {
  if (!extraArguments.empty())
    for (std::string& word : ka::cmd_line::parseCmdLine(extraArguments)) args.push_back(std::move(word));
  return args;
}

}  // namespace

bool LauncherGUI::initContext(std::string const& streamName) {
  auto found = streams.find(streamName);
  if (found == streams.end()) {
    KA_LOG(Error) << "Could not find stream named " << streamName;
    return false;
  }
  Stream const& stream = found->second;
  std::string updateUrl = cmdline_downloadUrl.isSet() ? cmdline_downloadUrl.value().str() : stream.DownloadUrl;
  std::string gameDir = getStreamGameDir(streamName);
  vorn::osutil::mkdirAndParents(gameDir);
  std::string tempDir =
      cmdline_tmp.isSet()
          ? ka::path::makeAbsolute(cmdline_tmp.value())
          : ka::path::join(ka::path::join(ka::getUserDataDir(config.company, config.product), "streams"), "_cache");
  vorn::osutil::mkdirAndParents(tempDir);
  updateContext = update::createUpdateContext(http, gameDir, tempDir, updateUrl);

  setProgress(phase("Sanity test"));
  update::sanityTest(updateContext, progress);
  // Advisory: the page warns the player, and the job goes on.
  if (progress->errors != 0 && view) view->TriggerEvent("sanityTestFailed");
  setProgress(nullptr);

  updateContext->setDownloadAuthSuffix(stream.AuthSuffix);
  updateContext->setDownloadPath(stream.TitleFolder + "/hashed");
  updateContext->setDownloadRateLimit(downloadLimit);
  updateContext->setStreamPublicKey(streamPublicKey);
  return true;
}

std::string LauncherGUI::storedManifestDoubt(Stream const& stream, std::string const& manifestPath) const {
  if (streamPublicKey.empty()) return std::string();
  // Files on disk can be changed by anyone who can write there: the signature is checked again.
  return update::checkStoredSignature(streamPublicKey, stream.TitleFolder + "/" + stream.ManifestName, manifestPath);
}

bool LauncherGUI::continueUpdate(std::string const& id) {
  if (progress->canceled) {
    KA_LOG(Info) << "Update canceled";
    finishJob(id, false, jMsg("canceled"));
    return false;
  }
  if (progress->errors == 0) return true;
  KA_LOG(Info) << progress->errors << " errors detected";
  finishJob(id, false, jMsg(progress->error.empty() ? std::string("error") : progress->error));
  return false;
}

std::string LauncherGUI::checkManifest(std::string const& streamName, std::string const& minimalBuildId) {
  if (!claimJob()) return "";
  return startJob([this, streamName, minimalBuildId](std::string const& id) {
    checkManifestJob(id, streamName, minimalBuildId);
  });
}

void LauncherGUI::checkManifestJob(std::string const& id, std::string const& streamName,
                                   std::string const& minimalBuildId) {
  if (!initContext(streamName)) {
    KA_LOG(Error) << "Unable to find requested stream '" << streamName << "'";
    finishJob(id, false, jMsg("Unable to find stream " + streamName));
    return;
  }
  Stream const& stream = streams.at(streamName);
  setProgress(phase("Checking for updates ..."));
  if (update::anyProcessesRunningInPath(updateContext->gameDir())) {
    KA_LOG(Error) << "Found running process, aborting.";
    finishJob(id, false,
              jMsg(ka::stringprintf("Please shut down all instances of %s and try again", config.product.c_str())));
    return;
  }
  if (!continueUpdate(id)) return;

  updateContext->setManifest(nullptr);
  std::string manifestPath = ka::path::join(updateContext->gameDir(), stream.ManifestName);
  updateContext->setManifestOnDisk(manifestPath);
  bool fullCheck = true;
  if (!vorn::osutil::fileExists(manifestPath)) {
    KA_LOG(Warn) << "No manifest at " << manifestPath;
  } else if (std::string why = storedManifestDoubt(stream, manifestPath); !why.empty()) {
    KA_LOG(Warn) << "Not believing the manifest at " << manifestPath << ": " << why;
  } else {
    try {
      updateContext->setManifest(update::Manifest::fromZippedFile(manifestPath));
      if (stream.BuildId == minimalBuildId)
        fullCheck = false;
      else
        KA_LOG(Warn) << "Manifest found, but stream (" << stream.BuildId << ") does not match minimal build ("
                     << minimalBuildId << ")";
    } catch (std::runtime_error const&) {
      KA_LOG(Info) << "Failed to read manifest on disk at: " << manifestPath;
      updateContext->setManifest(nullptr);
    }
  }
  if (!continueUpdate(id)) return;

  // A manifest read from disk is believed: a new build comes with a new manifest name.
  if (!updateContext->manifest()) {
    setProgress(phase("Fetching manifest"));
    update::downloadManifest(updateContext, progress,
                             ka::stringprintf("%s/%s", stream.TitleFolder.c_str(), stream.ManifestName.c_str()));
    if (!continueUpdate(id)) return;
    setProgress(phase("Checking manifest"));
  }

  std::vector<update::ManifestBundle> bundles;
  if (fullCheck) {
    update::check(updateContext, progress, bundles);
    if (!continueUpdate(id)) return;
  }
  if (bundles.empty()) {
    if (fullCheck)
      KA_LOG(Info) << "No files need updating!";
    else
      KA_LOG(Info) << "Skipped full manifest check due to minimal check build id match \"" << minimalBuildId
                   << "\"; assuming files are up-to-date.";
    finishJob(id, true, "manifestCheckSuccess");
    return;
  }
  std::shared_ptr<update::Manifest> manifest = updateContext->manifest();
  KA_LOG(Info) << "Need to update " << bundles.size() << " / " << manifest->bundles.size() << " bundles.";

  // Fails before a byte is fetched rather than with a full disk half way through.
  std::string space = update::checkDiskSpace(*updateContext, bundles, freeSpaceProbe);
  if (!space.empty()) {
    KA_LOG(Error) << space;
    finishJob(id, false, jMsg(space));
    return;
  }

  setProgress(phase(("Downloading update " + manifest->version).c_str()));
  update::downloadManifestEntries(updateContext, progress, aggregator, bundles);
  if (!continueUpdate(id)) return;
  setProgress(phase("Decompressing update"));
  update::unpackManifestBundles(updateContext, progress, bundles);
  if (!continueUpdate(id)) return;
  setProgress(phase("Updating game files"));
  update::updateGameFiles(updateContext, progress, bundles);
  if (!continueUpdate(id)) return;

  // The job doesn't trust its own work: the check that found it must now find nothing.
  bundles.clear();
  setProgress(phase("Verifying update"));
  update::check(updateContext, progress, bundles);
  if (!continueUpdate(id)) return;
  if (bundles.empty()) {
    KA_LOG(Info) << "All files up to date!";
    finishJob(id, true, "updateComplete");
  } else {
    KA_LOG(Error) << "Error applying update.";
    finishJob(id, false, jMsg("Unknown Error. Run Verify again."));
  }
}

std::string LauncherGUI::launch(std::string const& streamName, std::string const& extraArguments) {
  if (!claimJob()) return "";
  return startJob([this, streamName, extraArguments](std::string const& id) {
    launchJob(id, streamName, extraArguments);
  });
}

void LauncherGUI::launchJob(std::string const& id, std::string const& streamName, std::string const& extraArguments) {
  if (!initContext(streamName)) {
    KA_LOG(Error) << "Unable to find requested stream '" << streamName << "'";
    finishJob(id, false, jMsg("Unable to find stream " + streamName));
    return;
  }
  std::string path = updateContext->getSystemGamePath(ka::stringprintf("/%s", config.executable.c_str()));
  KA_LOG(Info) << "Launch: " << path;
  std::vector<std::string> args;
  if (cmdline_devmode.isSet()) args.push_back("--zandornetdev");
  if (!ticket.empty()) args.push_back("--ticket=" + ticket);
  runGame(id, path, gameArguments(extraArguments, std::move(args)));
}

void LauncherGUI::runGame(std::string const& id, std::string const& path, std::vector<std::string> const& args) {
  if (update::runProcess(path, args)) {
    finishJob(id, true, "launched!");
    vorn::Game::requestExit();
    return;
  }
  std::string error = ka::getLastErrorMessage();
  KA_LOG(Error) << error;
  finishJob(id, false, jMsg(error));
}
