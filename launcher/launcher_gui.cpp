#include "launcher_gui.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <sstream>
#include <thread>

#include "game/game_factory.h"
#include "game/platform.h"
#include "ka/die.h"
#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/printutil.h"
#include "ka/system_dirs.h"
#include "launcher_hosts.h"
#include "launcher_options.h"
#include "launcher_surface.h"
#include "launcher_version.h"
#include "net/http_pump.h"
#include "vorn/osutil.h"
#include "webui/file_handler.h"
#include "webui/log_severity.h"
#include "webui/shared_memory.h"
#include "webui/wpe_web_ui.h"

namespace {

vorn::GameClassFactorySingleton<LauncherGUI> gLauncherFactory("ZandorLauncher");

std::string readText(std::vector<char> const& bytes) { return std::string(bytes.begin(), bytes.end()); }

}  // namespace

std::vector<char> const& LauncherGUI::getEmbeddedResource(ka::StringRange name) {
  // Entries are never removed, and map nodes don't move, so references stay valid.
  static std::map<std::string, std::vector<char>> sEmbedMap;
  KA_LOG(Info) << "Executable: " << ka::getExecutableFilename();
  std::string root = cmdline_uiurl.isSet() ? cmdline_uiurl.value().str() : ka::path::join(ka::getResourceDir(), "ui");
  std::string path = ka::path::join(root, name);
  KA_LOG(Info) << "Loading fake embedded: " << path;
  auto found = sEmbedMap.find(path);
  if (found != sEmbedMap.end()) return found->second;
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) ka::dief("Failed to open %s", path.c_str());
  std::vector<char> bytes(size_t(in.tellg()));
  in.seekg(0);
  in.read(bytes.data(), std::streamsize(bytes.size()));
  return sEmbedMap.emplace(path, std::move(bytes)).first->second;
}

LauncherGUI::LauncherGUI(vorn::Platform* platform, UIHostMaker makeUIHost)
    : vorn::Game(platform), makeUIHost(std::move(makeUIHost)), engineParams(ka::Json::makeObject()) {
  std::string logDir = ka::getUserDataDir("Zandor Works", "ZandorLauncher");
  logFilePath = ka::path::join(logDir, "ZandorLauncherLog.txt");
  vorn::osutil::mkdirAndParents(logDir);
  logFile.open(logFilePath, std::ios::out | std::ios::trunc);
  if (!logFile) {
    KA_LOG(Error) << "Could not open log file " << logFilePath << " for output";
  } else {
    logFileSink = std::make_unique<ka::LogSinkStream>(logFile);
    KA_LOG(Info) << "Log file " << logFilePath << " opened";
  }

  platform->setWindowedMode(true);
  platform->disableFullscreen(true);

  bool devmode = cmdline_devmode.isSet();
  updateCheckUrl = devmode ? hosts::kDevUpdateCheckUrl : hosts::kLiveUpdateCheckUrl;
  if (cmdline_updateCheckUrl.isSet()) updateCheckUrl = cmdline_updateCheckUrl.value().str();
  serviceUrl = devmode ? hosts::kDevServiceUrl : hosts::kLiveServiceUrl;
  if (cmdline_serviceUrl.isSet()) serviceUrl = cmdline_serviceUrl.value().str();
  if (cmdline_maxDownloadRate.isSet()) downloadLimit->store(std::stoull(cmdline_maxDownloadRate.value().str()));

  std::istringstream configText(readText(getEmbeddedResource("config.json")));
  ka::Json configRoot = ka::Json::readFrom(configText);
  config = parseConfig(configRoot);

  engineParams.set("devmode", ka::Json::makeBoolean(devmode));
  engineParams.set("launcher_build_version", ka::Json::makeString(getLauncherVersion()));

  // The loader trusts the authorities of the bundle shipped with the launcher, as a file.
  std::string certDir = ka::getUserDataDir(config.company, "ZandorLauncher");
  std::string certPath = ka::path::join(certDir, "cacert.pem");
  std::vector<char> const& certificates = getEmbeddedResource("cacert.pem");
  vorn::osutil::mkdirAndParents(certDir);
  std::ofstream(certPath, std::ios::binary | std::ios::trunc)
      .write(certificates.data(), std::streamsize(certificates.size()));

  http.reset(net::createCurlHttpLoader(certPath));
  httpMutex = std::make_shared<std::mutex>();
  // Every transfer of the launcher advances on this thread.
  httpPump = std::thread(net::pumpHttpLoader, http, httpMutex, [running = httpPumpRunning] { return running->load(); });

  hostDir = ka::path::join(ka::path::parent(ka::getExecutableFilename()), "host");
}

LauncherGUI::~LauncherGUI() {
  // A job still at work would go on using this object once it is gone (closing the window while
  // the streams are being listed did): it is cancelled, and awaited like a job on its last steps
  // (the exit request after a launch), a few seconds at most, while the network still runs.
  {
    std::lock_guard<std::mutex> lock(progressMutex);
    if (progress) progress->canceled.store(true);
  }
  for (int waited = 0; liveJobs > 0 && waited < 5000; ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  // The pump ends at its next turn, within a millisecond; joined, so that the loader never
  // outlives the launcher on a thread of its own (a job still at work may keep it a while).
  *httpPumpRunning = false;
  httpPump.join();
  http.reset();
  if (view) {
    view->Destroy();
    view = nullptr;
  }
}

void LauncherGUI::setup() {
  platform()->getWindowSize(width, height);
  if (vorn::ren::Renderer* ren = renderer()) {
    mainViewport = ren->createSceneViewport({0, 0, width, height}, nullptr);
    uiViewport = ren->createSceneViewport({0, 0, width, height}, nullptr);
    placeViewports();
    ren->addViewport(mainViewport.get());
    ren->addViewport(uiViewport.get());
  }
  std::string localStore = ka::path::join(ka::getUserDataDir(config.company, "ZandorLauncher"), "localstore");
  vorn::osutil::mkdirAndParents(localStore);
  webui::WebUISettings settings{hostDir, localStore, cmdline_softwareui.isSet()};
  settings.logSeverity =
      cmdline_coherentloglevel.isSet() ? webui::parseCoherentLogSeverity(cmdline_coherentloglevel.value()) : 3;
  settings.allowMinidumps = cmdline_coherentallowminidumps.isSet();
  if (makeUIHost) {
    coherent = makeUIHost(settings, this, platform());
    return;
  }
  // The page's files are plain files of the UI folder.
  std::string root = cmdline_uiurl.isSet() ? cmdline_uiurl.value().str() : ka::path::join(ka::getResourceDir(), "ui");
  coherent = std::make_unique<webui::WpeWebUI>(settings, this, std::make_shared<webui::ExternalFileHandler>(root),
                                               platform());
}

void LauncherGUI::dispatch(vorn::UIEvent const& event) {
  if (event.type == vorn::ET_Resize) {
    platform()->getWindowSize(width, height);
    if (uiViewport) {
      placeViewports();
      // The quad shows the old surface; the new one's CreateSurface makes the next.
      uiViewport->setScene(nullptr);
    }
    pictureChanged = true;
    if (view) view->Resize(unsigned(width), unsigned(height));
  }
  if (view && coherent) coherent->dispatchToView(event, view);
}

void LauncherGUI::SystemReady() {
  std::ostringstream script;
  script << "gEngineParams = ";
  engineParams.writeTo(script);
  script << ";\n";
  coherent->loadLocalView("index.html", width, height, this, false, script.str());
}

void LauncherGUI::placeViewports() {
  ka::Rect<int> rect{0, 0, width, height};
  auto convention = ka::ClipSpaceConvention(renderer()->getClipSpaceConvention());
  mainViewport->setRect(rect);
  // Height over width, the inverse of the usual aspect; this viewport never has a scene.
  mainViewport->setProjectionMatrix(
      ka::Mat4x4f::perspective(convention, 1.0f, float(height) / float(std::max(width, 1)), 1.0f, 1000.0f));
  uiViewport->setRect(rect);
  uiViewport->setProjectionMatrix(launcher::surfaceProjection(*renderer(), width, height));
}

void LauncherGUI::CreateSurface(bool, unsigned, unsigned, webui::SurfaceResponse* response) {
  // Sized by the window, whatever size the page asks for.
  unsigned long size = (unsigned long)(width) * (unsigned long)(height) * 4;
  vorn::ren::Renderer* ren = renderer();
  if (!ren) {
    webui::initSharedMemory(size, response);
    return;
  }
  uiTexture = launcher::createSurfaceTexture(*ren, width, height);
  webui::initSharedMemory(size, uiTexture.get(), response);
  uiViewport->setScene(launcher::makeSurfaceScene(*ren, materialLibrary(), uiTexture.get(), width, height).get());
}

void LauncherGUI::DestroySurface(webui::SurfaceHandle handle, bool) { webui::destroySharedMemory(handle); }

void LauncherGUI::OnDraw(webui::SurfaceHandle handle, bool, int, int) {
  if (!uiViewport) return;
  uiViewport->setProjectionMatrix(launcher::surfaceProjection(*renderer(), width, height));
  if (!uiTexture) return;
  if (webui::readFromSharedMemory(handle, (unsigned long)(width) * (unsigned long)(height) * 4, uiTexture))
    pictureChanged = true;
}

bool LauncherGUI::frameWanted() { return pictureChanged.exchange(false); }

void LauncherGUI::OnError(webui::SystemError const& error) { KA_LOG(Error) << error.Message; }

void LauncherGUI::OnError(webui::ViewError const& error) { KA_LOG(Error) << error.Message; }

void LauncherGUI::OnViewCreated(webui::View* created) { view = created; }

namespace {

int64_t systemMicroseconds() {
  using namespace std::chrono;
  return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

std::string bytesText(uint64_t size) {
  std::ostringstream os;
  os << ka::Bytes{size};
  return os.str();
}

ka::Json number(double value) { return ka::Json::makeNumber(value); }

// What the page shows of a running job: its phase, counts and, while it downloads, the transfer.
std::string progressDocument(update::UpdateProgress const& progress,
                             update::DownloadProgressAggregator const* aggregator) {
  ka::Json doc = ka::Json::makeObject();
  doc.set("message", ka::Json::makeString(progress.message));
  doc.set("errors", number(progress.errors));
  doc.set("index", number(progress.index));
  doc.set("total", number(progress.total));
  update::AggregateStats stats = aggregator ? aggregator->stats() : update::AggregateStats();
  if (stats.downloadsActive > 0) {
    ka::Json download = ka::Json::makeObject();
    // The first speed estimates swing too much to show.
    std::string speed = stats.samples < 6 ? "Calculating ..." : bytesText(uint64_t(stats.bytesPerSecond)) + "/s";
    download.set("bytesPerSecond", ka::Json::makeString(speed));
    download.set("etaSeconds", number(stats.etaSeconds));
    download.set("totalExpectedBytes", number(double(stats.totalExpectedBytes)));
    download.set("totalBytesReceived", number(double(stats.totalBytesReceived)));
    download.set("downloadsActive", number(double(stats.downloadsActive)));
    download.set("downloadsCompleted", number(double(stats.downloadsCompleted)));
    download.set("bytesProgress", ka::Json::makeString(bytesText(stats.totalBytesReceived) + " / " +
                                                         bytesText(stats.totalExpectedBytes)));
    doc.set("download", download);
  }
  return ka::compactText(doc);
}

}  // namespace

void LauncherGUI::update(float seconds) {
  // Frames come from their own thread, and the HTML engine is the main thread's alone: its pump
  // goes there, at most once pending, so that a slow main thread never builds a backlog.
  if (coherent && !uiUpdatePending.exchange(true)) {
    platform()->getUIThreadTaskQueue()->enqueue([this, seconds] {
      uiUpdatePending = false;
      coherent->update(seconds);
    });
  }
  {
    std::lock_guard<std::mutex> lock(progressMutex);
    if (aggregator) aggregator->update(seconds);
    // Ten events a second at most, whatever the frame rate, besides one at each new phase; none
    // after a cancel.
    bool newPhase = progressPhase != progressPhaseShown;
    if (busy && progress && !progress->canceled && (newPhase || nextProgressTime < systemMicroseconds())) {
      if (view) view->TriggerEvent("asyncProgress", progressDocument(*progress, aggregator.get()));
      nextProgressTime = systemMicroseconds() + 100000;
      progressPhaseShown = progressPhase;
    }
  }
  std::lock_guard<std::mutex> lock(resultMutex);
  // The result waits in the mailbox until there is a page to take it.
  if (resultReady && view) {
    view->TriggerEvent("async_result", resultId, resultSuccess, resultText);
    resultReady = false;
  }
}
