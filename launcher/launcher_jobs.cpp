// The page's commands and the machinery that runs a long command as a job: one at a time, on a
// detached thread, its progress and outcome picked up by the frame loop.
#include <chrono>
#include <thread>

#include "ka/log.h"
#include "ka/strutil.h"
#include "launcher_gui.h"
#include "launcher_hosts.h"
#include "update/platform_util.h"

using webui::argBool;
using webui::argNumber;
using webui::argString;
using webui::Value;
using Args = std::vector<Value> const&;

void LauncherGUI::OnReadyForBindings(int, wchar_t const*, bool) {
  view->BindCall("login", [this](Args a) { return Value(zandorNetLogin(argString(a, 0), argString(a, 1))); });
  view->BindCall("loginWithTicket",
                 [this](Args a) { return Value(zandorNetLoginWithTicket(argString(a, 0), argString(a, 1))); });
  view->BindCall("logout", [this](Args) { return Value(zandorNetLogout()); });
  view->BindCall("asyncStub", [this](Args a) { return Value(asyncStub(argBool(a, 0))); });
  view->BindCall("checkManifest",
                 [this](Args a) { return Value(checkManifest(argString(a, 0), argString(a, 1))); });
  view->BindCall("asyncCancel", [this](Args) {
    asyncCancel();
    return Value();
  });
  view->BindCall("launch", [this](Args a) { return Value(launch(argString(a, 0), argString(a, 1))); });
  view->BindCall("checkOfflineAvailable", [this](Args) { return Value(checkOfflineAvailable()); });
  view->BindCall("launchOffline", [this](Args a) { return Value(launchOffline(argString(a, 0))); });
  view->BindCall("getAccountInfo", [this](Args a) { return Value(getAccountInfo(argString(a, 0))); });
  view->BindCall("checkLauncher", [this](Args) { return Value(checkLauncher()); });
  view->BindCall("listStreams", [this](Args) { return Value(listStreams()); });
  view->BindCall("viewLog", [this](Args) {
    viewLog();
    return Value();
  });
  view->BindCall("viewProfile", [this](Args) {
    viewProfile();
    return Value();
  });
  view->BindCall("appExit", [this](Args) {
    appExit();
    return Value();
  });
  view->BindCall("makeStreamNewsUrl", [this](Args a) { return Value(makeStreamNewsUrl(argString(a, 0))); });
  view->BindCall("setDownloadLimit", [this](Args a) {
    setDownloadLimit(argNumber(a, 0));
    return Value();
  });
}

void LauncherGUI::setDownloadLimit(double bytesPerSecond) {
  // Anything that is not a sensible count of bytes lifts the limit rather than stopping downloads.
  bool sensible = bytesPerSecond >= 1 && bytesPerSecond < 1e18;
  downloadLimit->store(sensible ? uint64_t(bytesPerSecond) : 0);
  KA_LOG(Info) << "Download limit " << downloadLimit->load() << " bytes a second";
}

std::string LauncherGUI::jMsg(ka::StringRange text) {
  ka::Json message = ka::Json::makeObject();
  message.set("Message", ka::Json::makeString(text));
  return ka::compactText(message);
}

bool LauncherGUI::claimJob() { return !busy.exchange(true, std::memory_order_seq_cst); }

std::string LauncherGUI::startJob(std::function<void(std::string const& id)> body) {
  ++jobCounter;
  std::string id = ka::stringprintf("%d", jobCounter);
  // Never joined: a job ends through finishJob, or with the process.
  ++liveJobs;
  std::thread([this, body = std::move(body), id] {
    // Bad data from a server throws deep inside a job; it must end the job, not the launcher.
    try {
      body(id);
    } catch (std::exception const& error) {
      failJobAfterException(id, error.what());
    } catch (...) {
      failJobAfterException(id, "Unknown error");
    }
    --liveJobs;  // the job's last touch of this object
  }).detach();
  return id;
}

void LauncherGUI::failJobAfterException(std::string const& id, std::string const& what) {
  KA_LOG(Error) << "Job " << id << " failed: " << what;
  {
    std::lock_guard<std::mutex> lock(resultMutex);
    if (finishedJobId == id) return;  // its outcome was delivered already
  }
  finishJob(id, false, jMsg(what));
}

void LauncherGUI::finishJob(std::string const& id, bool success, std::string const& text) {
  std::lock_guard<std::mutex> lock(resultMutex);
  finishedJobId = id;
  resultReady = true;
  resultSuccess = success;
  resultText = text;
  resultId = id;
  // A new command may start from here on; its outcome waits for this lock.
  busy.store(false, std::memory_order_seq_cst);
  setProgress(nullptr);
}

void LauncherGUI::setProgress(update::UpdateProgress* record) {
  std::lock_guard<std::mutex> lock(progressMutex);
  progress.reset(record);
  ++progressPhase;
  aggregator = std::make_shared<update::DownloadProgressAggregator>();
}

std::string LauncherGUI::asyncStub(bool forceError) {
  if (!claimJob()) return "";
  return startJob([this, forceError](std::string const& id) {
    auto* record = new update::UpdateProgress;
    record->message = "Simulating an async task";
    setProgress(record);
    std::this_thread::sleep_for(std::chrono::nanoseconds(2000000000));
    if (forceError) {
      ka::Json failure = ka::Json::makeObject();
      failure.set("ErrorCode", ka::Json::makeNumber(-1));
      failure.set("Message", ka::Json::makeString("Async stub forced error"));
      finishJob(id, false, ka::compactText(failure));
    } else {
      finishJob(id, true, jMsg("Async stub success"));
    }
  });
}

void LauncherGUI::asyncCancel() {
  // Deliberately not undone: a cancel with no job running holds the launcher until restart,
  // so the page must offer cancel only while a job runs.
  if (!busy.exchange(true, std::memory_order_seq_cst)) return;
  std::lock_guard<std::mutex> lock(progressMutex);
  if (progress) progress->canceled.store(true);
}

void LauncherGUI::viewLog() { update::shellOpen(logFilePath, {}, "open"); }

void LauncherGUI::viewProfile() {
  update::shellOpen(std::string(hosts::kStoreUrl) + "/Account/MyAccount", {}, "open");
}

void LauncherGUI::appExit() { vorn::Game::requestExit(); }
