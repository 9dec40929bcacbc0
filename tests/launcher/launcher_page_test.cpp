// The launcher with its real page host, headless: a test page driving a job, and the launcher's
// own page driven as a player would against the development server with the demo content.
#include <gtest/gtest.h>
#include <stb_image_write.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <thread>

#include "ka/logsink.h"
#include "support/dev_server_thread.h"
#include "support/launcher_home.h"
#include "support/local_http_server.h"
#include "support/page_driver.h"
#include "support/request_log.h"
#include "support/slow_site.h"
#include "support/text.h"

namespace {

namespace fs = std::filesystem;

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

std::string const kPassword = "correct horse battery staple";

// The shipped page in a launcher home, the development server with the demo configuration (and
// one more player, whose password differs from the name).
class LauncherPageTest : public ::testing::Test, public LauncherHome {
 protected:
  LauncherPageTest() {
    // The page's files from the build's UI folder; the home keeps its own configuration.
    fs::copy(ZANDOR_UI_DIR, ui(), fs::copy_options::recursive | fs::copy_options::skip_existing);
    writeUI("config.json", R"({"company": "Test Studio", "product": "TestGame",
                              "executable_linux": "bin/sample-game", "productCode": "TS-1", "titleId": 7})");
  }
  ~LauncherPageTest() override {
    // The launcher first, closing its connections, so that the server need not wait them out.
    page.reset();
    server.reset();
  }

  void startServer() {
    devserver::Config config = devserver::readConfig(ZANDOR_DEMO_DIR "/devserver.json");
    config.bind = "127.0.0.1";
    config.port = 0;
    config.users.push_back({"player", kPassword, "Player One", "player@example.com"});
    server = std::make_unique<DevServerThread>(config);
  }

  // Starts the launcher on the server, unless the words name other hosts, and waits for its page.
  PageDriver& open(std::vector<std::string> words = {}, int width = 960, int height = 580) {
    page.reset();
    if (server) words.insert(words.begin(), {"--service-url", server->baseUrl(), "--update-check-url", server->baseUrl()});
    options(words);
    page = std::make_unique<PageDriver>(ui(), home.path(), width, height);
    EXPECT_TRUE(page->waitFor("document.readyState === 'complete'"));
    return *page;
  }
  // Types the account into the form, as a player does: Tab moves from the name to the password,
  // Enter signs in.
  void signIn(std::string const& name, std::string const& password) {
    ASSERT_TRUE(page->click("#name"));
    ASSERT_TRUE(page->waitFor("document.activeElement === $('name')"));
    page->type(name);
    page->press(vorn::KC_Tab);
    ASSERT_TRUE(page->waitFor("document.activeElement === $('password')"));
    page->type(password);
    ASSERT_TRUE(page->waitFor("$('password').value.length === " + std::to_string(password.size())));
    page->press(vorn::KC_Enter);
  }
  // The library, ready to play, once its builds are listed.
  void waitForLibrary(std::string const& displayName) {
    ASSERT_TRUE(page->waitFor("!$('library').hidden && $('library').dataset.state === 'ready'"));
    EXPECT_EQ(page->text("$('display-name').textContent"), displayName);
  }
  std::string gameDir() const { return dataDir("Test Studio", "TestGame") + "/streams/stable"; }

  RequestLog requests;
  std::unique_ptr<DevServerThread> server;
  std::unique_ptr<PageDriver> page;
};

// Holds the launcher's update check until released, so that a test sees the page wait for it.
class HeldUpdateCheck {
 public:
  HeldUpdateCheck() {
    server_.routes().Get("/Launcher/ChecksumV3", [this](httplib::Request const&, httplib::Response& res) {
      asked = true;
      for (int i = 0; i < 2000 && !released; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
      res.status = 404;
    });
    server_.start();
  }
  ~HeldUpdateCheck() {
    released = true;
    server_.stop();
  }
  std::string url() const { return server_.url(""); }

  std::atomic<bool> asked{false};
  std::atomic<bool> released{false};

 private:
  LocalHttpServer server_;
};

TEST_F(LauncherPageTest, SignInWaitsForTheLauncherCheckAndShowsTheServicesAnswers) {
  startServer();
  HeldUpdateCheck check;
  open({"--update-check-url", check.url()});
  EXPECT_TRUE(page->waitFor("document.activeElement === $('name')")) << "the name field has the focus at start";
  EXPECT_TRUE(page->waitFor("$('signin-status').textContent === 'Checking for launcher updates…'"));
  EXPECT_EQ(page->text("$('version').textContent"), "Launcher 110299");
  EXPECT_EQ(page->text("$('dev-badge').hidden"), "true");

  // Sign-in waits for the check: one job at a time.
  signIn("demo", "not the password");
  ASSERT_TRUE(page->waitFor("$('signin-button').disabled"));
  EXPECT_TRUE(check.asked);
  EXPECT_FALSE(requests.has("POST /GC/Authenticate"));
  EXPECT_EQ(page->text("$('signin-status').textContent"), "Checking for launcher updates…");
  check.released = true;

  // The service's own words, as a sentence.
  EXPECT_TRUE(page->waitFor("!$('signin-error').hidden"));
  EXPECT_EQ(page->text("$('signin-error').textContent"), "Invalid user name or password.");
  EXPECT_EQ(page->text("$('offline').hidden"), "true") << "the service answered, so it is reachable";
  EXPECT_TRUE(page->waitFor("document.activeElement === $('password') && $('password').value === ''"));

  // A launcher busy with a job the page did not start refuses the sign-in; the form stays usable.
  page->text("engine.call('asyncStub', false)");
  ASSERT_TRUE(page->turnUntil([&] { return LauncherGUIInspector::busy(page->gui()); }));
  page->type("demo");
  page->press(vorn::KC_Enter);
  EXPECT_TRUE(page->waitFor("$('signin-error').textContent === "
                            "'The launcher is busy with another task. Try again in a moment.' && !$('signin-button').disabled"));
  ASSERT_TRUE(page->turnUntil([&] { return !LauncherGUIInspector::busy(page->gui()); }));

  // A recovery mail: an unknown address, then the account's.
  ASSERT_TRUE(page->click("#forgot-open"));
  ASSERT_TRUE(page->waitFor("document.activeElement === $('email')"));
  page->type("demo@example.co");
  page->press(vorn::KC_Enter);
  EXPECT_TRUE(page->waitFor("$('forgot-result').textContent === 'No account found with that email address.'"));
  page->type("m");
  page->press(vorn::KC_Enter);
  EXPECT_TRUE(page->waitFor("$('forgot-result').textContent.startsWith('We sent a mail to demo@example.com.')"));
  ASSERT_TRUE(page->click("#forgot-back"));

  ASSERT_TRUE(page->waitFor("document.activeElement === $('name') && $('name').value === 'demo'"));
  page->press(vorn::KC_Tab);
  page->type("demo");
  page->press(vorn::KC_Enter);
  waitForLibrary("Demo Player");
  EXPECT_EQ(page->text("[...document.querySelectorAll('#stream-list .stream')].map((b) =>"
                       " b.children[0].textContent + ': ' + b.children[1].textContent).join(' | ')"),
            "stable: Version 2, a patch on version 1 | legacy: Version 1");
  EXPECT_EQ(page->text("document.querySelector('.stream.selected').dataset.stream"), "stable");
  EXPECT_TRUE(page->waitFor("$('news').src.includes('/Launcher/StreamNews?StreamName=stable&ticket=')"));

  // A choice of build is remembered, and its news follows it.
  ASSERT_TRUE(page->click("[data-stream='legacy']"));
  EXPECT_TRUE(page->waitFor("$('news').src.includes('StreamName=legacy&')"));
  EXPECT_EQ(page->text("localStorage.getItem('zandor.stream')"), "legacy");
  EXPECT_EQ(page->text("localStorage.getItem('zandor.account')"), "null") << "nobody asked to be remembered";
}

TEST_F(LauncherPageTest, PlayBringsStableUpToDateAndStartsItWithTheSettingsArguments) {
  startServer();
  open();
  signIn("demo", "demo");
  waitForLibrary("Demo Player");
  ASSERT_TRUE(page->click("#settings-open"));
  ASSERT_TRUE(page->waitFor("document.activeElement === $('game-args')"));
  page->type("--level \"two words\"");
  page->press(vorn::KC_Enter);
  ASSERT_TRUE(page->waitFor("$('settings').hidden"));
  EXPECT_EQ(page->text("localStorage.getItem('zandor.gameArgs')"), "--level \"two words\"");

  ASSERT_TRUE(page->click("#play"));
  EXPECT_TRUE(page->waitFor("!$('launching').hidden"));
  EXPECT_EQ(page->text("$('launching-text').textContent"), "The game is starting…");
  EXPECT_TRUE(page->turnUntil([&] { return page->platform().exitPending(); })) << "a started game ends the launcher";

  // The game got its ticket and arguments; the pause test checks what the update fetched and that
  // the page remembers the build.
  ASSERT_TRUE(page->turnUntil([&] { return fs::exists(gameDir() + "/bin/last-launch.txt"); }));
  std::string args = readFile(gameDir() + "/bin/last-launch.txt");
  EXPECT_EQ(args.rfind("--ticket=", 0), 0u) << args;
  EXPECT_NE(args.find("\n--level\ntwo words\n"), std::string::npos) << args;
}

TEST_F(LauncherPageTest, PauseKeepsWhatArrivedAndResumeFetchesOnlyTheRest) {
  startServer();
  SlowSite slow(ZANDOR_DEMO_DIR "/site/v2");
  uint64_t published = 0;
  for (auto const& bundle : fs::directory_iterator(ZANDOR_DEMO_DIR "/site/v2/SampleGame/hashed"))
    published += fs::file_size(bundle.path());
  open({"--devmode", "--download-url", slow.url()});
  signIn("demo", "demo");
  waitForLibrary("Demo Player");
  ASSERT_TRUE(page->click("#play"));
  ASSERT_TRUE(page->waitFor("$('progress-bytes').textContent.includes(' / ')"));
  ASSERT_TRUE(page->turnUntil([&] { return slow.bytesSent() > published / 3; }));

  ASSERT_TRUE(page->click("#pause"));
  EXPECT_TRUE(page->waitFor("$('library').dataset.state === 'ready'"));
  EXPECT_EQ(page->text("$('library-message-text').textContent"), "Update paused. What has arrived is kept.");
  EXPECT_EQ(page->text("[$('retry').hidden, $('retry').textContent, $('pause').hidden].join()"), "false,Resume,true");
  EXPECT_EQ(page->text("localStorage.getItem('zandor.build.stable')"), "null");

  ASSERT_TRUE(page->click("#retry"));
  EXPECT_TRUE(page->turnUntil([&] { return page->platform().exitPending(); })) << "resumed, updated and started";
  EXPECT_EQ(page->text("localStorage.getItem('zandor.build.stable')"), "2");
  // Fetched once, but for what was in flight at the pause: a few of the site's 16 KiB pieces on
  // each of the transfers then running (2 to 4 pieces here).
  EXPECT_GE(slow.bytesSent(), published);
  EXPECT_LE(slow.bytesSent(), published + 8 * 16384) << "sent " << slow.bytesSent() << " of " << published;
}

TEST_F(LauncherPageTest, CancelDuringASlowDownloadLeavesThePageReadyAndTheBuildUnremembered) {
  startServer();
  SlowSite slow(ZANDOR_DEMO_DIR "/site/v2");
  open({"--devmode", "--download-url", slow.url()});
  EXPECT_EQ(page->text("$('dev-badge').hidden"), "false");
  signIn("demo", "demo");
  waitForLibrary("Demo Player");
  ASSERT_TRUE(page->click("#play"));
  ASSERT_TRUE(page->waitFor("$('progress-bytes').textContent.includes(' / ')"));
  EXPECT_EQ(page->text("$('library').dataset.state + ' ' + $('play').disabled + ' ' + $('progress').hidden"),
            "busy true false");
  EXPECT_EQ(page->text("$('progress-phase').textContent"), "Downloading update 2");
  EXPECT_EQ(page->text("$('sign-out').disabled"), "true");

  ASSERT_TRUE(page->click("#cancel"));
  EXPECT_TRUE(page->waitFor("$('library').dataset.state === 'ready'"));
  EXPECT_EQ(page->text("[$('play').disabled, $('play').textContent, $('progress').hidden, $('cancel').hidden].join()"),
            "false,Play,true,true");
  EXPECT_EQ(page->text("$('library-message-text').textContent"), "Update cancelled. Press Play to pick it up again.");
  EXPECT_EQ(page->text("localStorage.getItem('zandor.build.stable')"), "null");
  EXPECT_FALSE(page->platform().exitPending());

  // With the content gone, Verify files fails with a reason and an offer to try again.
  slow.stop();
  ASSERT_TRUE(page->click("#verify"));
  EXPECT_TRUE(page->waitFor("$('library').dataset.state === 'failed' && !$('retry').hidden"));
  std::string reason = page->text("$('library-message-text').textContent");
  EXPECT_FALSE(reason.empty() || reason[0] == '{') << reason;
  EXPECT_EQ(page->text("localStorage.getItem('zandor.build.stable')"), "null");
}

TEST_F(LauncherPageTest, AnUnreachableServiceOffersPlayOfflineOnlyWithABuildInstalled) {
  startServer();
  std::string gone = server->baseUrl();
  server.reset();
  open({"--service-url", gone, "--update-check-url", gone});
  signIn("demo", "demo");
  EXPECT_TRUE(page->waitFor("!$('signin-error').hidden"));
  EXPECT_EQ(page->text("$('signin-error').textContent"),
            "Can't reach the sign-in service. Check your connection and try again.");
  EXPECT_EQ(page->text("$('offline').hidden"), "true") << "nothing is installed";

  fs::create_directories(gameDir());
  fs::copy(ZANDOR_DEMO_DIR "/build-v2", gameDir(), fs::copy_options::recursive);
  page->type("demo");
  page->press(vorn::KC_Enter);
  ASSERT_TRUE(page->click("#play-offline"));
  EXPECT_TRUE(page->waitFor("!$('launching').hidden"));
  ASSERT_TRUE(page->turnUntil([&] { return fs::exists(gameDir() + "/bin/last-launch.txt"); }));
  EXPECT_TRUE(page->turnUntil([&] { return page->platform().exitPending(); }));
}

TEST_F(LauncherPageTest, TheRememberedAccountSurvivesARestartAndNeverThePassword) {
  startServer();
  open();
  ASSERT_TRUE(page->click("#remember"));
  signIn("player", kPassword);
  waitForLibrary("Player One");
  EXPECT_EQ(page->text("localStorage.getItem('zandor.account')"), "player");
  EXPECT_EQ(page->text("localStorage.getItem('zandor.ticket')"), "null") << "staying signed in was not allowed";

  open();
  EXPECT_TRUE(page->waitFor("$('name').value === 'player' && $('remember').checked && !$('stay').disabled"));
  EXPECT_EQ(page->text("$('password').value"), "");
  ASSERT_TRUE(page->click("#stay"));
  ASSERT_TRUE(page->waitFor("$('stay').checked"));
  ASSERT_TRUE(page->click("#password"));
  ASSERT_TRUE(page->waitFor("document.activeElement === $('password')"));
  page->type(kPassword);
  ASSERT_TRUE(page->waitFor("$('password').value.length === " + std::to_string(kPassword.size())));
  page->press(vorn::KC_Enter);
  waitForLibrary("Player One");
  EXPECT_EQ(page->text("localStorage.getItem('zandor.ticket').length"), "32");

  // The next start signs in with the ticket, with no typing; signing out forgets the ticket.
  open();
  waitForLibrary("Player One");
  EXPECT_TRUE(requests.has("GET /GC/UserInfo 200"));
  std::string stored = page->text("JSON.stringify(localStorage)");
  EXPECT_EQ(stored.find(kPassword), std::string::npos) << stored;
  ASSERT_TRUE(page->click("#sign-out"));
  EXPECT_TRUE(page->waitFor("!$('signin').hidden && $('name').value === 'player'"));
  EXPECT_EQ(page->text("localStorage.getItem('zandor.ticket')"), "null");
}

// B, G, R, A pixels of a picture, as the page host delivers them.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> bgra;

  // The mean of each colour channel over a rectangle.
  std::array<double, 3> mean(int x0, int y0, int x1, int y1) const {
    std::array<double, 3> sum{};
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x)
        for (int c = 0; c < 3; ++c) sum[size_t(c)] += bgra[(size_t(y) * size_t(width) + size_t(x)) * 4 + size_t(c)];
    for (double& s : sum) s /= double((x1 - x0) * (y1 - y0));
    return sum;
  }
  size_t colours() const {
    std::set<uint32_t> seen;
    for (size_t i = 0; i < bgra.size(); i += 4) seen.insert(uint32_t(bgra[i]) << 16 | bgra[i + 1] << 8 | bgra[i + 2]);
    return seen.size();
  }
  bool writePng(std::string const& path) const {
    std::vector<unsigned char> rgba(bgra);
    for (size_t i = 0; i < rgba.size(); i += 4) std::swap(rgba[i], rgba[i + 2]);
    return stbi_write_png(path.c_str(), width, height, 4, rgba.data(), width * 4) != 0;
  }
};

// The page's picture once it has settled on a screen (its fonts loaded, the launcher's check
// over): the last one drawn when no new one has come for 40 frames of the loop.
Picture settledPicture(PageDriver& page, std::string const& ready) {
  EXPECT_TRUE(page.waitFor(ready + " && document.fonts.status === 'loaded' && $('signin-status').textContent === ''"));
  int seen = -1, quiet = 0;
  page.turnUntil([&] {
    quiet = page.probe().pictures == seen ? quiet + 1 : 0;
    seen = page.probe().pictures;
    return seen > 0 && quiet >= 40;
  });
  return {page.probe().pictureWidth, page.probe().pictureHeight, page.probe().picture};
}

TEST_F(LauncherPageTest, TheSignInScreenIsDrawnAtBothWindowSizes) {
  startServer();
  fs::create_directories(ZANDOR_TEST_OUTPUT_DIR);
  struct Size {
    int width, height;
  } const sizes[] = {{960, 580}, {800, 500}};
  for (Size const& size : sizes) {
    std::string name = std::to_string(size.width) + "x" + std::to_string(size.height);
    SCOPED_TRACE(name);
    open({}, size.width, size.height);
    Picture picture = settledPicture(*page, "document.activeElement === $('name')");
    ASSERT_EQ(picture.width, size.width);
    ASSERT_EQ(picture.height, size.height);
    EXPECT_TRUE(picture.writePng(ZANDOR_TEST_OUTPUT_DIR "/launcher-signin-" + name + ".png"));
    EXPECT_GT(picture.colours(), 100u) << "a picture of one colour, or nearly";

    // The form stands apart from the backdrop beside it, and it is wholly inside the window.
    std::string rect = page->text("(r => [r.left, r.top, r.right, r.bottom].map(Math.round).join(' '))"
                                  "($('signin-form').getBoundingClientRect())");
    int left = 0, top = 0, right = 0, bottom = 0;
    ASSERT_EQ(std::sscanf(rect.c_str(), "%d %d %d %d", &left, &top, &right, &bottom), 4) << rect;
    EXPECT_TRUE(left > 0 && top > 0 && right < size.width && bottom < size.height) << rect;
    std::array<double, 3> form = picture.mean(left + 8, top + 8, right - 8, bottom - 8);
    std::array<double, 3> backdrop = picture.mean(8, top + 8, left - 8, bottom - 8);
    double difference = 0;
    for (size_t c = 0; c < 3; ++c) difference += std::abs(form[c] - backdrop[c]);
    EXPECT_GT(difference, 20) << "form and backdrop look alike";

    // The library too, as a picture to look at.
    signIn("demo", "demo");
    waitForLibrary("Demo Player");
    Picture library = settledPicture(*page, "$('news').classList.contains('loaded')");
    EXPECT_TRUE(library.writePng(ZANDOR_TEST_OUTPUT_DIR "/launcher-library-" + name + ".png"));
  }
}

}  // namespace
