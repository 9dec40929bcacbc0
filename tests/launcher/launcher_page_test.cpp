// The launcher with its real page host: a page in the UI folder drives a job through the HTML
// engine, headless, and ends the run.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "support/launcher_home.h"
#include "support/text.h"

namespace {

TEST(LauncherPage, APageRunsAJobAndEndsTheLauncher) {
  LauncherHome home;
  home.writeUI("index.html", R"HTML(<!DOCTYPE html><html><body><script>
    const expected = gEngineParams.launcher_build_version === '110299' && gEngineParams.devmode === false;
    engine.on('async_result', async (id, ok, text) => {
      const url = await engine.call('makeStreamNewsUrl', 'beta');
      console.warn('result', id, ok, text, url.endsWith('StreamName=beta&ticket='));
      if (expected && ok && id === job) engine.call('appExit');
    });
    let job = '';
    engine.call('asyncStub', false).then((id) => { job = id; });
  </script></body></html>)HTML");
  home.options({});
  vorn::HeadlessPlatform platform(vorn::GameFactorySingleton::instance(), home.home.path());
  // Bounded: a page that never asks to exit is stopped after a while and fails the test.
  std::atomic<bool> done{false};
  std::thread watchdog([&] {
    for (int i = 0; i < 300 && !done; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (!done) platform.requestExit();
  });
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(platform.run(), 0);
  done = true;
  watchdog.join();
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30)) << "the page never ended the run";
  EXPECT_TRUE(platform.game()->exitRequested());
  std::string log = readFile(home.dataDir("Zandor Works", "ZandorLauncher") + "/ZandorLauncherLog.txt");
  EXPECT_NE(log.find("INFO [COUI] result 1 true {\"Message\":\"Async stub success\"} true\n"), std::string::npos)
      << log;
  EXPECT_NE(log.find("INFO Coherent local store: \"" + home.dataDir("Test Studio", "ZandorLauncher") + "/localstore\""),
            std::string::npos);
}

}  // namespace
