// The contract between page and program: commands, one job at a time, progress and results.
#include <gtest/gtest.h>

#include <filesystem>

#include "ka/logsink.h"
#include "launcher_hosts.h"
#include "support/launcher_home.h"
#include "support/text.h"

namespace {

using Inspect = LauncherGUIInspector;

class LauncherJobsTest : public ::testing::Test, public LauncherHome {
 protected:
  LauncherRun& start(std::vector<std::string> const& words = {}, bool showPage = true) {
    options(words);
    run = std::make_unique<LauncherRun>(home.path(), showPage);
    return *run;
  }
  void TearDown() override {
    // Jobs are never awaited by the launcher itself; a test ends only after its jobs have.
    if (run) {
      EXPECT_TRUE(run->turnUntil([this] { return !Inspect::busy(run->gui()) || cancelledIdle; }));
    }
  }

  std::unique_ptr<LauncherRun> run;
  bool cancelledIdle = false;
};

TEST_F(LauncherJobsTest, SetupLoadsThePageWithTheEngineParametersAndBindsEveryCommand) {
  LauncherRun& r = start({"--devmode"});
  RecordingUIHost& host = *r.factory.host;
  EXPECT_EQ(host.page, "index.html");
  EXPECT_EQ(host.size, std::make_pair(960, 580));
  std::string const& script = host.startScript;
  ASSERT_EQ(script.rfind("gEngineParams = ", 0), 0u) << script;
  ASSERT_EQ(script.substr(script.size() - 2), ";\n");
  ka::Json params = parseJson(script.substr(16, script.size() - 18));
  EXPECT_TRUE(params.get("devmode").asBoolean(false));
  EXPECT_EQ(params.get("launcher_build_version").asString(""), "110299");

  std::vector<std::string> const order = {
      "login",         "loginWithTicket", "logout",         "asyncStub",   "checkManifest", "asyncCancel",
      "launch",        "checkOfflineAvailable", "launchOffline", "getAccountInfo", "checkLauncher", "listStreams",
      "viewLog",       "viewProfile",     "appExit",        "makeStreamNewsUrl", "setDownloadLimit"};
  EXPECT_EQ(r.view().bindOrder, order);

  std::string localStore = dataDir("Test Studio", "ZandorLauncher") + "/localstore";
  EXPECT_EQ(r.factory.settings.localStore, localStore);
  EXPECT_TRUE(std::filesystem::is_directory(localStore));
  EXPECT_FALSE(r.factory.settings.softwareUI);
}

TEST_F(LauncherJobsTest, TheDownloadLimitComesFromTheOptionAndThePage) {
  LauncherRun& r = start({"--max-download-rate", "3000000"});
  EXPECT_EQ(Inspect::downloadLimit(r.gui()), 3000000u);
  r.view().call("setDownloadLimit", {1234.7});
  EXPECT_EQ(Inspect::downloadLimit(r.gui()), 1234u);
  // Nonsense lifts the limit rather than stopping downloads.
  for (webui::Value nonsense : {webui::Value(-5.0), webui::Value(0.5), webui::Value(std::string("fast")), webui::Value()}) {
    r.view().call("setDownloadLimit", {2000.0});
    r.view().call("setDownloadLimit", {nonsense});
    EXPECT_EQ(Inspect::downloadLimit(r.gui()), 0u);
  }
}

TEST_F(LauncherJobsTest, OneJobAtATimeWithProgressAndOneResultEach) {
  LauncherRun& r = start();
  // Two commands in one frame: the second is dropped.
  EXPECT_EQ(r.view().callText("asyncStub", {false}), "1");
  EXPECT_EQ(r.view().callText("asyncStub", {false}), "");
  EXPECT_EQ(r.view().callText("listStreams"), "");

  // The first frame after the job ends delivers its result, whatever the progress timer says.
  ASSERT_TRUE(r.turnUntil([&] { return !Inspect::busy(r.gui()); }));
  r.turn();
  std::vector<RecordedEvent> results = r.view().events("async_result");
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].text(0), "1");
  EXPECT_TRUE(results[0].flag(1));
  EXPECT_EQ(results[0].text(2), R"({"Message":"Async stub success"})");

  std::vector<RecordedEvent> progress = r.view().events("asyncProgress");
  // Two seconds at ten events a second at most.
  ASSERT_GE(progress.size(), 5u);
  EXPECT_LE(progress.size(), 21u);
  ka::Json doc = parseJson(progress[0].text(0));
  EXPECT_EQ(doc.get("message").asString(""), "Simulating an async task");
  EXPECT_EQ(doc.get("errors").asNumber(-1), 0);
  EXPECT_EQ(doc.get("index").asNumber(-1), 0);
  EXPECT_EQ(doc.get("total").asNumber(-1), 0);
  EXPECT_FALSE(doc.hasKey("download")) << "no download was made";

  EXPECT_EQ(r.view().callText("asyncStub", {true}), "2");
  RecordedEvent failure = r.result("2");
  EXPECT_FALSE(failure.flag(1));
  ka::Json error = parseJson(failure.text(2));
  EXPECT_EQ(error.get("ErrorCode").asNumber(0), -1);
  EXPECT_EQ(error.get("Message").asString(""), "Async stub forced error");
}

TEST_F(LauncherJobsTest, AJobThatThrowsEndsWithTheReasonAndTheLauncherGoesOn) {
  LauncherRun& r = start();
  LauncherGUI& gui = r.gui();
  std::string id = Inspect::startJob(gui, [](std::string const&) {
    throw std::runtime_error("Json nesting deeper than 1024 levels");
  });
  RecordedEvent failed = r.result(id);
  EXPECT_FALSE(failed.flag(1));
  EXPECT_EQ(failed.text(2), R"({"Message":"Json nesting deeper than 1024 levels"})");

  // A job that delivered its outcome and threw afterwards keeps that outcome.
  std::string late = Inspect::startJob(gui, [&gui](std::string const& job) {
    Inspect::finishJob(gui, job, "done");
    throw 42;
  });
  EXPECT_EQ(r.result(late).text(2), "done");
  ASSERT_TRUE(r.turnUntil([&] { return !Inspect::busy(gui); }));
  for (int i = 0; i < 3; ++i) r.turn();
  EXPECT_EQ(r.view().events("async_result").size(), 2u);
  EXPECT_EQ(r.view().callText("logout"), "3");
  EXPECT_EQ(r.result("3").text(2), "signed out");
}

TEST_F(LauncherJobsTest, SignInNeedsBothWordsAndLeavesTheLauncherFree) {
  LauncherRun& r = start();
  EXPECT_EQ(r.view().callText("login", {std::string("player"), std::string("")}), "");
  EXPECT_EQ(r.view().callText("login", {std::string(""), std::string("secret")}), "");
  EXPECT_EQ(r.view().callText("loginWithTicket", {std::string("player")}), "");
  EXPECT_FALSE(Inspect::busy(r.gui()));
  EXPECT_EQ(r.view().callText("logout"), "1") << "the refused commands took no job number";
  EXPECT_EQ(r.result("1").text(2), "signed out");
}

TEST_F(LauncherJobsTest, ACancelWithNothingRunningHoldsTheLauncherForGood) {
  LauncherRun& r = start();
  r.view().call("asyncCancel");
  cancelledIdle = true;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(r.view().callText("listStreams"), "");
    EXPECT_EQ(r.view().callText("logout"), "");
    r.turn();
  }
  EXPECT_TRUE(Inspect::busy(r.gui()));
  EXPECT_TRUE(r.view().events().empty());
}

TEST_F(LauncherJobsTest, ACancelledStubStillSucceedsButSendsNoMoreProgress) {
  LauncherRun& r = start();
  EXPECT_EQ(r.view().callText("asyncStub", {false}), "1");
  ASSERT_TRUE(r.turnUntil([&] { return !r.view().events("asyncProgress").empty(); }));
  r.view().call("asyncCancel");
  size_t before = r.view().events("asyncProgress").size();
  RecordedEvent outcome = r.result("1");
  EXPECT_TRUE(outcome.flag(1));
  EXPECT_EQ(r.view().events("asyncProgress").size(), before);
  EXPECT_FALSE(Inspect::busy(r.gui())) << "the job's own end frees the launcher";
}

TEST_F(LauncherJobsTest, AResultWaitsInTheMailboxUntilThereIsAPage) {
  LauncherRun& r = start({}, false);
  EXPECT_EQ(r.gui().zandorNetLogout(), "1");
  while (Inspect::busy(r.gui())) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  r.turn();  // the first frame only presents
  EXPECT_TRUE(r.view().events().empty());
  // The UI system comes up on the main thread, the page is made, and the result goes to it.
  for (int turn = 0; turn < 5 && r.view().events().empty(); ++turn) r.turn();
  std::vector<RecordedEvent> events = r.view().events();
  ASSERT_EQ(events.size(), 1u) << "logout publishes no progress";
  EXPECT_EQ(events[0].name, "async_result");
  EXPECT_EQ(events[0].text(2), "signed out");
}

TEST_F(LauncherJobsTest, DirectCommandsOpenTheLogAndTheAccountPageAndEndTheRun) {
  FakeOpener opener;
  LauncherRun& r = start();
  r.view().call("viewLog");
  r.view().call("viewProfile");
  std::vector<std::string> const opened = {Inspect::logFilePath(r.gui()),
                                           std::string(hosts::kStoreUrl) + "/Account/MyAccount"};
  EXPECT_EQ(opener.opened(), opened);
  EXPECT_FALSE(Inspect::busy(r.gui()));

  EXPECT_EQ(std::get<std::string>(r.view().call("makeStreamNewsUrl", {std::string("beta")})),
            std::string(hosts::kLiveServiceUrl) + "/Launcher/StreamNews?StreamName=beta&ticket=");
  EXPECT_FALSE(r.platform.exitPending());
  r.view().call("appExit");
  EXPECT_TRUE(r.platform.exitPending());
  EXPECT_TRUE(r.gui().exitRequested());
}

TEST_F(LauncherJobsTest, AResizeReachesThePageAndEventsGoToTheView) {
  LauncherRun& r = start();
  r.platform.setWindowSize(800, 600);
  ASSERT_FALSE(r.view().resizes.empty());
  EXPECT_EQ(r.view().resizes.back(), std::make_pair(800u, 600u));
  r.platform.proxy()->dispatch(vorn::KeyEvent(vorn::KC_A, vorn::BA_Down));
  std::vector<vorn::EventType> const expected = {vorn::ET_Resize, vorn::ET_Key};
  EXPECT_EQ(r.factory.host->dispatched, expected);

  ka::LogSinkMemory log(0);
  r.gui().OnError(webui::ViewError{3, "page failed to load"});
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_NE(log.messages()[0].find(" ERROR page failed to load"), std::string::npos);
}

}  // namespace
