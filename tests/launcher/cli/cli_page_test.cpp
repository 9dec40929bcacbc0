#include "cli/cli_page.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

namespace {

// Occurrences of `what` in `text`.
size_t count(std::string const& text, std::string const& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

std::string progress(char const* message, int index, int total) {
  return "{\"message\":\"" + std::string(message) + "\",\"errors\":0,\"index\":" + std::to_string(index) +
         ",\"total\":" + std::to_string(total) + "}";
}

// Plays the launcher's part: shows the page when the system is up and binds the commands that
// a self-update needs, its job numbered "1".
class FakeLauncher : public webui::EventListener, public webui::ViewListener {
 public:
  void SystemReady() override { page->loadLocalView("index.html", 960, 580, this, false, ""); }
  void OnReadyForBindings(int, wchar_t const*, bool) override {
    page->BindCall("checkLauncher", [this](std::vector<webui::Value> const&) {
      calls.push_back("checkLauncher");
      return webui::Value(std::string("1"));
    });
    for (char const* name : {"asyncCancel", "appExit"})
      page->BindCall(name, [this, name](std::vector<webui::Value> const&) {
        calls.push_back(name);
        return webui::Value();
      });
  }

  cli::CliPage* page = nullptr;
  std::vector<std::string> calls;
};

// A page running "self-update" against the fake launcher.
class CliPageTest : public ::testing::Test {
 protected:
  void start(std::function<int()> columns) {
    cli::Request request;
    request.command = "self-update";
    page = std::make_unique<cli::CliPage>(&launcher, request, out, err, std::move(columns), interrupted);
    launcher.page = page.get();
    page->update(0);
    ASSERT_EQ(launcher.calls, std::vector<std::string>{"checkLauncher"});
  }

  FakeLauncher launcher;
  std::ostringstream out, err;
  std::atomic<bool> interrupted{false};
  std::unique_ptr<cli::CliPage> page;
};

// Progress is sampled: a phase that the job left behind is shown finished, whatever its last
// sample said; a failed job's phase shows where it stopped.
TEST_F(CliPageTest, IntoAPipeEachPhaseIsOneLineWithTheFiguresItEndedAt) {
  start(nullptr);
  for (int i = 0; i <= 4; ++i) page->TriggerEvent("asyncProgress", progress("Checking manifest", i, 8));
  page->update(0);
  EXPECT_EQ(out.str(), "") << "a phase shows once it is over";
  page->TriggerEvent("asyncProgress", progress("Updating game files", 1, 4));
  page->TriggerEvent("asyncProgress", progress("Updating game files", 3, 4));
  page->TriggerEvent("asyncProgress", R"({"message":"Downloading update 2","errors":0,"index":0,"total":0,"download":{
      "bytesPerSecond":"Calculating ...","etaSeconds":0,"totalExpectedBytes":1000,"totalBytesReceived":0,
      "downloadsActive":1,"downloadsCompleted":0,"bytesProgress":"0.0 MB / 10.0 MB"}})");
  page->TriggerEvent("asyncProgress", progress("Verifying update", 2, 8));
  page->update(0);
  page->TriggerEvent("async_result", std::string("1"), true, std::string("open dmg folder, exiting..."));
  page->update(0);
  EXPECT_EQ(out.str(),
            "Checking manifest [########################]  100%\n"
            "Updating game files [########################]  100%\n"
            "Downloading update 2 [########################]  100%  done  10.0 MB / 10.0 MB\n"
            "Verifying update [########################]  100%\n"
            "Launcher update unpacked into /tmp/ZandorLauncherTemp\n");
  EXPECT_EQ(page->exitStatus(), 0);
}

TEST_F(CliPageTest, IntoAPipeAFailedJobsPhaseShowsWhereItStopped) {
  start(nullptr);
  page->TriggerEvent("asyncProgress", progress("Decompressing update", 3, 8));
  page->update(0);
  page->TriggerEvent("async_result", std::string("1"), false, std::string(R"({"Message":"disk full"})"));
  page->update(0);
  EXPECT_EQ(out.str(), "Decompressing update [#########...............]   37%\n");
}

TEST_F(CliPageTest, OnATerminalTheLineFitsItsWidthAsItChanges) {
  int columns = 80;
  start([&] { return columns; });
  std::string download = R"({"message":"Downloading launcher update","errors":0,"index":0,"total":0,"download":{
      "bytesPerSecond":"1.2 MB/s","etaSeconds":12,"totalExpectedBytes":1000,"totalBytesReceived":350,
      "downloadsActive":1,"downloadsCompleted":0,"bytesProgress":"3.5 MB / 10.0 MB"}})";
  for (int width : {80, 40, 132, 20}) {
    columns = width;
    out.str("");
    page->TriggerEvent("asyncProgress", download);
    page->update(0);
    std::string shown = out.str();
    ASSERT_EQ(shown.rfind("\r\033[K", 0), 0u) << shown;
    EXPECT_LT(shown.size() - 4, size_t(width)) << shown;
    EXPECT_EQ(shown.find('\n'), std::string::npos) << shown;
  }
  EXPECT_EQ(count(out.str(), "Downl"), 1u);
}

TEST_F(CliPageTest, WithoutADesktopASelfUpdateSaysWhereItUnpacked) {
  start(nullptr);
  page->TriggerEvent("async_result", std::string("1"), false,
                     std::string(R"({"Message":"failed to open dmg mount root"})"));
  page->update(0);
  EXPECT_EQ(out.str(), "Launcher update unpacked into /tmp/ZandorLauncherTemp\n");
  EXPECT_EQ(err.str(), "");
  EXPECT_EQ(page->exitStatus(), 0);
  EXPECT_EQ(launcher.calls.back(), "appExit");
}

TEST(CliPage, AJobThreadsEventAndTheFramesProgressDoNotMix) {
  // A failed disk test is reported from the job thread while the frame sends progress.
  webui::EventListener system;
  std::ostringstream out, err;
  std::atomic<bool> interrupted{false};
  cli::CliPage page(&system, {}, out, err, [] { return 80; }, interrupted);
  int const events = 300;
  std::thread job([&] {
    for (int i = 0; i < events; ++i) page.TriggerEvent("sanityTestFailed");
  });
  for (int i = 0; i < events; ++i) page.TriggerEvent("asyncProgress", progress("Sanity test", 0, 0));
  job.join();
  page.update(0);
  EXPECT_EQ(count(err.str(), "Warning: the test of the game's disk found problems"), size_t(events));
  EXPECT_EQ(count(out.str(), "Sanity test"), size_t(events));
}

}  // namespace
