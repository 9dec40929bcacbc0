// A launcher in a temporary home: its own per-user folders, a UI folder of test files, its
// command line, and a headless platform whose page is a recording view.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <filesystem>
#include <sstream>
#include <thread>

#include "game/headless_platform.h"
#include "ka/cmd_line.h"
#include "launcher_gui.h"
#include "support/env.h"
#include "support/recording_ui.h"
#include "support/temp_dir.h"

// Reads the launcher object's private state for the tests.
struct LauncherGUIInspector {
  static std::string const& serviceUrl(LauncherGUI const& gui) { return gui.serviceUrl; }
  static std::string const& updateCheckUrl(LauncherGUI const& gui) { return gui.updateCheckUrl; }
  static std::string const& logFilePath(LauncherGUI const& gui) { return gui.logFilePath; }
  static std::string const& hostDir(LauncherGUI const& gui) { return gui.hostDir; }
  static LauncherConfig const& config(LauncherGUI const& gui) { return gui.config; }
  static ka::Json engineParams(LauncherGUI const& gui) { return gui.engineParams; }
  static bool busy(LauncherGUI const& gui) { return gui.busy.load(); }
  // Only while no job runs.
  static std::string const& ticket(LauncherGUI const& gui) { return gui.ticket; }
  static std::string const& displayName(LauncherGUI const& gui) { return gui.displayName; }
  static std::map<std::string, LauncherGUI::Stream> const& streams(LauncherGUI const& gui) { return gui.streams; }
  // Runs `body` as a job, as a command would; empty if another job runs.
  static std::string startJob(LauncherGUI& gui, std::function<void(std::string const&)> body) {
    return gui.claimJob() ? gui.startJob(std::move(body)) : std::string();
  }
  static uint64_t downloadLimit(LauncherGUI const& gui) { return gui.downloadLimit->load(); }
  // Before a job runs.
  static void setFreeSpaceProbe(LauncherGUI& gui, update::FreeSpaceProbe probe) {
    gui.freeSpaceProbe = std::move(probe);
  }
  static void setStreamPublicKey(LauncherGUI& gui, std::string const& pem) { gui.streamPublicKey = pem; }
  static void finishJob(LauncherGUI& gui, std::string const& id, std::string const& text) {
    gui.finishJob(id, true, text);
  }
};

class LauncherHome {
 public:
  LauncherHome() {
    setenv("HOME", home.path().c_str(), 1);
    setenv("XDG_DATA_HOME", home.file("share").c_str(), 1);
    std::filesystem::create_directories(ui());
    writeUI("config.json",
            R"({"company": "Test Studio", "product": "TestGame", "executable_linux": "bin/game",
                "productCode": "TS-1", "titleId": "12"})");
    writeUI("cacert.pem", "-----BEGIN CERTIFICATE-----\nnot a real one\n-----END CERTIFICATE-----\n");
    writeUI("appchksm.txt", "0000000000000000000000000000000000000000");
  }
  ~LauncherHome() { ka::cmd_line::reset(); }

  std::string ui() const { return home.file("ui"); }
  void writeUI(std::string const& name, std::string const& text) { home.write("ui/" + name, text); }
  std::string dataDir(std::string const& company, std::string const& product) const {
    return home.file("share/" + company + "/" + product + "/data");
  }

  // Parses a launcher command line; the texts stay alive for the options that point into them.
  void options(std::vector<std::string> const& words) {
    args = {"zandor-launcher", "--uiurl", ui()};
    args.insert(args.end(), words.begin(), words.end());
    std::vector<char const*> argv;
    for (std::string const& word : args) argv.push_back(word.c_str());
    std::ostringstream err;
    ka::cmd_line::reset();
    ASSERT_TRUE(ka::cmd_line::process(int(argv.size()), argv.data(), err)) << err.str();
  }

  TempDir home;
  std::vector<std::string> args;
};

// Stands in for "xdg-open" on PATH while it lives, recording each call's arguments as a line.
class FakeOpener {
 public:
  FakeOpener() {
    bin_.write("xdg-open", "#!/bin/sh\necho \"$@\" >> '" + bin_.file("opened") + "'\n");
    std::filesystem::permissions(bin_.file("xdg-open"), std::filesystem::perms::owner_all);
    path_.set("PATH", (bin_.path() + ":" + std::getenv("PATH")).c_str());
  }

  std::vector<std::string> opened() const {
    std::ifstream in(bin_.file("opened"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

 private:
  TempDir bin_;
  ScopedEnv path_;
};

// Makes the launcher object with a recording page, as the program's factory would.
class RecordingLauncherFactory : public vorn::GameFactory {
 public:
  std::string name() const override { return "ZandorLauncher"; }
  vorn::Game* create(vorn::Platform* platform) override {
    auto* gui = new LauncherGUI(platform, [this](webui::WebUISettings const& settings, webui::EventListener* listener,
                                                 vorn::Platform*) {
      this->settings = settings;
      auto made = std::make_unique<RecordingUIHost>(listener, &view);
      host = made.get();
      return made;
    });
    LauncherGUIInspector::setStreamPublicKey(*gui, streamPublicKey);
    return gui;
  }

  // The tests' games are not signed unless a test says so.
  std::string streamPublicKey;
  RecordingView view;
  RecordingUIHost* host = nullptr;
  webui::WebUISettings settings;
};

// The launcher started on the headless platform, with frames driven by the test.
class LauncherRun {
 public:
  // With `showPage`, runs frames until the page is up and its commands are bound.
  explicit LauncherRun(std::string const& resourceDir, bool showPage = true) : platform(&factory, resourceDir) {
    EXPECT_TRUE(platform.start());
    if (showPage) {
      EXPECT_TRUE(turnUntil([this] { return !view().commands.empty(); }));
    }
  }

  LauncherGUI& gui() { return *static_cast<LauncherGUI*>(platform.game()); }
  RecordingView& view() { return factory.view; }

  // One turn of the main loop.
  void turn() {
    platform.drainQueue();
    platform.frame();
  }
  // Turns until `done` or the time is up; false on timeout.
  bool turnUntil(std::function<bool()> const& done, std::chrono::seconds limit = std::chrono::seconds(30)) {
    auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
      if (std::chrono::steady_clock::now() > end) return false;
      turn();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
  }
  // The outcome of job `id`, once the page has it.
  RecordedEvent result(std::string const& id) {
    RecordedEvent found;
    bool delivered = turnUntil([&] {
      for (RecordedEvent const& e : view().events("async_result"))
        if (e.text(0) == id) {
          found = e;
          return true;
        }
      return false;
    });
    EXPECT_TRUE(delivered) << "no result for job " << id;
    return found;
  }

  RecordingLauncherFactory factory;
  vorn::HeadlessPlatform platform;
};
