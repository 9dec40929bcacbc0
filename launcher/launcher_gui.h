// The launcher's application object: its log, service hosts, configuration and HTTP loader,
// the commands the page calls, and the jobs behind them.
#pragma once

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "game/game.h"
#include "ka/json.h"
#include "ka/logsink.h"
#include "launcher_config.h"
#include "launcher_hosts.h"
#include "net/http.h"
#include "vorn/profiler.h"
#include "vorn/renderer.h"
#include "update/disk_space.h"
#include "update/progress.h"
#include "update/update_context.h"
#include "webui/listeners.h"
#include "webui/webui.h"

class LauncherGUI : public vorn::Game, public webui::EventListener, public webui::ViewListener {
 public:
  // A line of builds of the game that the account may use, as the stream service lists it.
  struct Stream {
    uint16_t TitleId = 0;
    std::string StreamName;
    std::string BuildId;
    std::string Description;
    std::string DownloadUrl;
    std::string ManifestName;
    std::string AuthSuffix;
    std::string TitleFolder;
  };

  // Makes the UI system host for `setup`; by default the HTML engine on the UI folder.
  using UIHostMaker = std::function<std::unique_ptr<webui::WebUI>(webui::WebUISettings const&,
                                                                  webui::EventListener*, vorn::Platform*)>;

  explicit LauncherGUI(vorn::Platform* platform, UIHostMaker makeUIHost = {});
  // A running job is cancelled and awaited for a few seconds.
  ~LauncherGUI() override;

  void dispatch(vorn::UIEvent const& event) override;
  void setup() override;
  // Hands progress and results of jobs to the page.
  void update(float seconds) override;
  // Only when a new picture of the page arrived or the window changed.
  bool frameWanted() override;

  void SystemReady() override;
  void OnError(webui::SystemError const& error) override;
  void OnError(webui::ViewError const& error) override;
  void OnViewCreated(webui::View* view) override;
  // A picture of the page is in the surface: it goes into the UI texture, for the next frame.
  void OnDraw(webui::SurfaceHandle handle, bool, int width, int height) override;
  void OnReadyForBindings(int frameId, wchar_t const* path, bool isMainFrame) override;
  // The surface file is sized by the window, whatever size the page asks for.
  void CreateSurface(bool, unsigned width, unsigned height, webui::SurfaceResponse* response) override;
  void DestroySurface(webui::SurfaceHandle handle, bool) override;

  // The bytes of a file of the UI folder (`--uiurl`, else the resources' "ui"), read once and
  // kept for the life of the process. A missing file ends the process.
  static std::vector<char> const& getEmbeddedResource(ka::StringRange name);
  // {"Message": text}, compact.
  static std::string jMsg(ka::StringRange text);

  // The page's commands. A job command returns its job number as text, or the empty text if
  // it did not start; its outcome arrives later as "async_result".
  std::string zandorNetLogin(std::string const& name, std::string const& password);
  std::string zandorNetLoginWithTicket(std::string const& name, std::string const& ticket);
  std::string zandorNetLogout();
  std::string asyncStub(bool forceError);
  std::string checkManifest(std::string const& streamName, std::string const& minimalBuildId);
  void asyncCancel();
  std::string launch(std::string const& streamName, std::string const& extraArguments);
  bool checkOfflineAvailable();
  std::string launchOffline(std::string const& extraArguments);
  std::string getAccountInfo(std::string const& email);
  std::string checkLauncher();
  std::string listStreams();
  void viewLog();
  void viewProfile();
  void appExit();
  std::string makeStreamNewsUrl(std::string const& streamName);
  // Bytes a second that an update's downloads may take together, 0 for no limit; reaches the
  // bundles that start after it.
  void setDownloadLimit(double bytesPerSecond);

  // The job's record of progress; null clears. Each call also starts a new download aggregator.
  void setProgress(update::UpdateProgress* record);
  std::string getStreamGameDir(std::string const& streamName);
  // The installed "stable" build's executable and its build number file.
  std::string getOfflineExe();
  std::string getOfflineVersionFile();

 private:
  friend struct LauncherGUIInspector;

  // Claims the launcher for one job; false if a job (or a stray cancel) holds it.
  bool claimJob();
  // Numbers the claimed job and runs `body` with the number on a detached thread.
  std::string startJob(std::function<void(std::string const& id)> body);
  // Delivers the outcome to the mailbox and frees the launcher for the next job.
  void finishJob(std::string const& id, bool success, std::string const& text);
  // Ends a job whose body threw, unless it had delivered its outcome already.
  void failJobAfterException(std::string const& id, std::string const& what);
  void triggerProgress();

  bool initContext(std::string const& streamName);
  bool continueUpdate(std::string const& id);
  // Why a stored manifest is not to be believed: empty when no signature is required or it holds.
  std::string storedManifestDoubt(Stream const& stream, std::string const& manifestPath) const;
  void checkManifestJob(std::string const& id, std::string const& streamName, std::string const& minimalBuildId);
  void launchJob(std::string const& id, std::string const& streamName, std::string const& extraArguments);
  // Starts the game and ends the job; a started game ends the launcher too.
  void runGame(std::string const& id, std::string const& path, std::vector<std::string> const& args);
  void checkLauncherJob(std::string const& id);
  std::string getLauncherFileS3Url(std::string const& name);
  bool checkLauncherChecksumMatches(std::string const& latest);

  UIHostMaker makeUIHost;
  // The window's rectangle and projections for the two viewports.
  void placeViewports();

  std::unique_ptr<webui::WebUI> coherent;
  // Draws nothing of its own; it lies under the page's viewport.
  ka::Ref<vorn::ren::SceneViewport> mainViewport;
  vorn::Profiler profiler;
  webui::View* view = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  ka::Ref<vorn::Texture> uiTexture;
  // Shows the page as one quad; its scene is made with each surface.
  ka::Ref<vorn::ren::SceneViewport> uiViewport;
  std::atomic<bool> pictureChanged{false};
  std::shared_ptr<update::UpdateContext> updateContext;
  // Asked for the free space of the cache's and the game's file systems before a download.
  update::FreeSpaceProbe freeSpaceProbe = update::probeFreeSpace;
  // The key every stream's manifest must be signed with; the built-in one, tests may change it.
  std::string streamPublicKey = hosts::kStreamPublicKey;
  // Shared with each update context; `--max-download-rate` sets it first.
  std::shared_ptr<std::atomic<uint64_t>> downloadLimit = std::make_shared<std::atomic<uint64_t>>(0);
  int64_t nextProgressTime = 0;  // microseconds of the system clock
  // Counts setProgress calls, so that a new phase is shown at the next frame, however short it is.
  uint64_t progressPhase = 0, progressPhaseShown = 0;
  std::atomic<bool> busy{false};
  std::atomic<bool> uiUpdatePending{false};  // the UI system's pump is queued for the main thread
  int jobCounter = 0;  // only the thread that won `busy` touches it
  std::atomic<int> liveJobs{0};  // job threads not yet ended, finished or not
  std::mutex resultMutex;  // guards the mailbox; taken before progressMutex
  std::string resultId;
  std::string finishedJobId;  // the last job that delivered its outcome
  bool resultSuccess = false;
  std::string resultText;
  bool resultReady = false;
  std::mutex progressMutex;  // guards the two pointers below
  std::string ticket;
  std::string displayName;
  std::shared_ptr<update::UpdateProgress> progress;
  std::shared_ptr<update::DownloadProgressAggregator> aggregator;
  std::string serviceUrl;
  std::string updateCheckUrl;
  LauncherConfig config;
  std::string hostDir;
  std::string logFilePath;
  std::ofstream logFile;
  std::unique_ptr<ka::LogSinkStream> logFileSink;  // null if the log file could not be opened
  std::map<std::string, Stream> streams;
  std::shared_ptr<net::HttpLoader> http;
  std::shared_ptr<std::mutex> httpMutex;  // taken by the pump around each push
  std::shared_ptr<std::atomic<bool>> httpPumpRunning = std::make_shared<std::atomic<bool>>(true);
  std::thread httpPump;
  ka::Json engineParams;
};
