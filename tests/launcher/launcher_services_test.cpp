// End to end against the development server: sign in, list streams, update a stream from the
// packed demo game, launch it; and the ways each of these fails.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>
#include <set>

#include "support/dev_server_thread.h"
#include "support/launcher_home.h"
#include "support/local_http_server.h"
#include "support/slow_site.h"
#include "support/text.h"
#include "vorn/osutil.h"

namespace {

namespace fs = std::filesystem;
using Inspect = LauncherGUIInspector;

std::string const kPassword = "correct horse battery staple";

// The demo's packed versions as a stream; version 2 is published under a manifest name of its
// own, as a new build must be, so that a launcher holding version 1 fetches it.
devserver::Stream demoStream(int version, std::string const& contentDir) {
  devserver::Stream stream{"stable", std::to_string(version), "Version " + std::to_string(version), "SampleGame",
                           version == 1 ? "manifest.gz" : "manifest-2.gz", contentDir, "?token=demo", ""};
  stream.titleId = 7;
  return stream;
}

class LauncherServicesTest : public ::testing::Test, public LauncherHome {
 protected:
  LauncherServicesTest() {
    writeUI("config.json", R"({"company": "Test Studio", "product": "TestGame",
                              "executable_linux": "bin/sample-game", "productCode": "TS-1", "titleId": 7})");
    fs::copy(std::string(ZANDOR_DEMO_DIR) + "/site/v1", home.file("site-v1"), fs::copy_options::recursive);
    fs::copy(std::string(ZANDOR_DEMO_DIR) + "/site/v2", home.file("site-v2"), fs::copy_options::recursive);
    fs::rename(home.file("site-v2/SampleGame/manifest.gz"), home.file("site-v2/SampleGame/manifest-2.gz"));
  }
  ~LauncherServicesTest() override {
    // The launcher first, closing its connections, so that the server need not wait them out.
    if (run) {
      EXPECT_TRUE(run->turnUntil([this] { return !Inspect::busy(run->gui()); }));
    }
    run.reset();
    stopServer();
  }

  void startServer(int version) {
    stopServer();
    devserver::Config config;
    config.port = port;
    config.users = {{"player", kPassword, "Player One", "player@example.com"}};
    config.streams = {demoStream(version, home.file("site-v" + std::to_string(version)))};
    server = std::make_unique<DevServerThread>(config);
    port = server->port();
  }
  void stopServer() { server.reset(); }

  LauncherRun& start(std::vector<std::string> words = {}) {
    words.insert(words.begin(), {"--service-url", server->baseUrl()});
    options(words);
    run = std::make_unique<LauncherRun>(home.path());
    return *run;
  }
  RecordedEvent call(std::string const& name, std::vector<webui::Value> args = {}) {
    std::string id = run->view().callText(name, std::move(args));
    EXPECT_NE(id, "") << name << " did not start";
    return run->result(id);
  }
  RecordedEvent signIn() { return call("login", {std::string("player"), kPassword}); }
  std::string gameDir() const { return dataDir("Test Studio", "TestGame") + "/streams/stable"; }

  int port = 0;
  std::unique_ptr<DevServerThread> server;
  std::unique_ptr<LauncherRun> run;
};

TEST_F(LauncherServicesTest, AnUpdateThatWouldNotFitFailsBeforeFetchingAnything) {
  startServer(1);
  LauncherRun& r = start();
  ASSERT_TRUE(signIn().flag(1));
  ASSERT_TRUE(call("listStreams").flag(1));
  Inspect::setFreeSpaceProbe(r.gui(), [](std::string const&, update::FreeSpace& out) {
    out.bytes = 1000;
    out.device = 1;
    return true;
  });
  RecordedEvent install = call("checkManifest", {std::string("stable"), std::string("1")});
  EXPECT_FALSE(install.flag(1));
  EXPECT_NE(install.text(2).find("Not enough disk space: need "), std::string::npos) << install.text(2);
  EXPECT_NE(install.text(2).find(", have 1000 B"), std::string::npos) << install.text(2);
  EXPECT_FALSE(fs::exists(gameDir() + "/data/config.json"));
  std::vector<std::string> cached;
  vorn::osutil::listDir(dataDir("Test Studio", "TestGame") + "/streams/_cache", cached, vorn::LDR_Recurse);
  EXPECT_TRUE(cached.empty()) << "no bundle fetched";
}

TEST_F(LauncherServicesTest, SignInListUpdateToANewBuildAndLaunch) {
  // The game folder as a player may give it, with a final slash: the next build must still find
  // the files of this one.
  std::string const folder = home.file("games/stable");
  startServer(1);
  LauncherRun& r = start({"-d", folder + "/"});
  RecordedEvent login = signIn();
  ASSERT_TRUE(login.flag(1)) << login.text(2);
  std::string ticket = parseJson(login.text(2)).get("SessionTicket").asString("");
  EXPECT_FALSE(ticket.empty());
  EXPECT_EQ(Inspect::ticket(r.gui()), ticket);
  EXPECT_EQ(Inspect::displayName(r.gui()), "Player One");

  RecordedEvent list = call("listStreams");
  ASSERT_TRUE(list.flag(1)) << list.text(2);
  EXPECT_EQ(parseJson(list.text(2)).get("Streams").arrayLength(), 1u);
  LauncherGUI::Stream const& stable = Inspect::streams(r.gui()).at("stable");
  EXPECT_EQ(stable.BuildId, "1");
  EXPECT_EQ(stable.TitleId, 7);
  EXPECT_EQ(stable.DownloadUrl, server->baseUrl() + "/content/stable/");
  EXPECT_EQ(r.view().callText("makeStreamNewsUrl", {std::string("stable")}),
            server->baseUrl() + "/Launcher/StreamNews?StreamName=stable&ticket=" + ticket);

  // A fresh install changes files; the same build again changes nothing, with or without the skip.
  RecordedEvent install = call("checkManifest", {std::string("stable"), std::string("1")});
  EXPECT_EQ(install.text(2), "updateComplete");
  EXPECT_TRUE(install.flag(1));
  EXPECT_EQ(readFile(folder + "/data/config.json"), "{\"version\": 1}\n");
  EXPECT_EQ(call("checkManifest", {std::string("stable"), std::string("")}).text(2), "manifestCheckSuccess");
  fs::remove(folder + "/data/text/story.txt");
  EXPECT_EQ(call("checkManifest", {std::string("stable"), std::string("1")}).text(2), "manifestCheckSuccess")
      << "a matching build id skips the full check";

  // The next build: the list names it, the check brings it in and verifies it. The server's
  // sessions died with it.
  startServer(2);
  ASSERT_TRUE(signIn().flag(1));
  ticket = Inspect::ticket(r.gui());
  ASSERT_TRUE(call("listStreams").flag(1));
  RecordedEvent patch = call("checkManifest", {std::string("stable"), std::string("1")});
  EXPECT_EQ(patch.text(2), "updateComplete");
  EXPECT_EQ(readFile(folder + "/data/config.json"), "{\"version\": 2}\n");
  EXPECT_TRUE(fs::exists(folder + "/data/text/story.txt")) << "the full check repaired the deleted file";
  // Progress is sampled, so which phases the page saw varies; each is one the jobs name.
  std::set<std::string> const known = {"Logging in", "Listing streams", "Sanity test", "Checking for updates ...",
                                       "Fetching manifest", "Checking manifest", "Downloading update 1",
                                       "Downloading update 2", "Decompressing update", "Updating game files",
                                       "Verifying update"};
  std::vector<RecordedEvent> progress = r.view().events("asyncProgress");
  EXPECT_FALSE(progress.empty());
  for (RecordedEvent const& e : progress)
    EXPECT_EQ(known.count(parseJson(e.text(0)).get("message").asString("")), 1u) << e.text(0);

  fs::remove(folder + "/bin/last-launch.txt");
  RecordedEvent launched = call("launch", {std::string("stable"), std::string("--level \"two words\"")});
  EXPECT_EQ(launched.text(2), "launched!");
  EXPECT_TRUE(r.platform.exitPending());
  ASSERT_TRUE(r.turnUntil([&] { return fs::exists(folder + "/bin/last-launch.txt"); }));
  EXPECT_EQ(readFile(folder + "/bin/last-launch.txt"), "--ticket=" + ticket + "\n--level\ntwo words\n");

  std::string log = readFile(Inspect::logFilePath(r.gui()));
  EXPECT_NE(log.find("INFO Launch: " + folder + "/bin/sample-game"), std::string::npos);
  EXPECT_EQ(log.find(kPassword), std::string::npos) << "the password reached the log";
}

TEST_F(LauncherServicesTest, ASignedStreamIsBelievedOnlyWithItsSignatureOnDiskAsOnTheServer) {
  startServer(1);
  LauncherRun& r = start();
  Inspect::setStreamPublicKey(r.gui(), readFile(ZANDOR_DEMO_DIR "/stream-signing-key.pub.pem"));
  ASSERT_TRUE(signIn().flag(1));
  ASSERT_TRUE(call("listStreams").flag(1));
  EXPECT_EQ(call("checkManifest", {std::string("stable"), std::string("1")}).text(2), "updateComplete");
  EXPECT_EQ(readFile(gameDir() + "/manifest.gz.sig"), readFile(home.file("site-v1/SampleGame/manifest.gz.sig")));

  // A stored manifest whose signature fails is not believed: no skip, and it is fetched again.
  std::ofstream(gameDir() + "/manifest.gz.sig", std::ios::binary) << std::string(64, 'x');
  fs::remove(gameDir() + "/data/text/story.txt");
  EXPECT_EQ(call("checkManifest", {std::string("stable"), std::string("1")}).text(2), "updateComplete");
  EXPECT_TRUE(fs::exists(gameDir() + "/data/text/story.txt"));
  std::string log = readFile(Inspect::logFilePath(r.gui()));
  EXPECT_NE(log.find("WARN Not believing the manifest at " + gameDir() + "/manifest.gz: the signature does not match"),
            std::string::npos);

  // A host without the signature gets nothing believed.
  fs::remove(home.file("site-v1/SampleGame/manifest.gz.sig"));
  fs::remove(gameDir() + "/manifest.gz.sig");
  RecordedEvent refused = call("checkManifest", {std::string("stable"), std::string("1")});
  EXPECT_FALSE(refused.flag(1));
  EXPECT_EQ(refused.text(2), R"({"Message":"The update's signature is not valid"})");
}

TEST_F(LauncherServicesTest, FailedSignInsLeaveNoUsableTicket) {
  startServer(1);
  LauncherRun& r = start({"--devmode"});
  RecordedEvent wrong = call("login", {std::string("player"), std::string("not the password")});
  EXPECT_FALSE(wrong.flag(1));
  EXPECT_EQ(parseJson(wrong.text(2)).get("ErrorCode").asNumber(0), -1);
  EXPECT_EQ(Inspect::ticket(r.gui()), "null");
  EXPECT_EQ(Inspect::displayName(r.gui()), "null");

  RecordedEvent badTicket = call("loginWithTicket", {std::string("player"), std::string("forged")});
  EXPECT_FALSE(badTicket.flag(1));
  EXPECT_EQ(Inspect::ticket(r.gui()), "");

  ASSERT_TRUE(signIn().flag(1));
  std::string ticket = Inspect::ticket(r.gui());
  RecordedEvent again = call("loginWithTicket", {std::string("player"), ticket});
  EXPECT_TRUE(again.flag(1)) << again.text(2);
  EXPECT_EQ(Inspect::ticket(r.gui()), ticket);
  EXPECT_EQ(call("logout").text(2), "signed out");
  EXPECT_EQ(Inspect::ticket(r.gui()), "");
  EXPECT_EQ(Inspect::displayName(r.gui()), "Player One") << "logout keeps the name";
}

TEST_F(LauncherServicesTest, UnknownStreamsAndAnUnreachableServiceFailClearly) {
  startServer(1);
  LauncherRun& r = start();
  RecordedEvent early = call("checkManifest", {std::string("stable"), std::string("")});
  EXPECT_FALSE(early.flag(1));
  EXPECT_EQ(early.text(2), R"({"Message":"Unable to find stream stable"})");

  ASSERT_TRUE(signIn().flag(1));
  ASSERT_TRUE(call("listStreams").flag(1));
  EXPECT_EQ(call("launch", {std::string("beta"), std::string("")}).text(2),
            R"({"Message":"Unable to find stream beta"})");

  stopServer();
  RecordedEvent list = call("listStreams");
  EXPECT_FALSE(list.flag(1));
  EXPECT_EQ(list.text(2), R"({"Message":"Couldn't parse stream information"})");
  EXPECT_TRUE(Inspect::streams(r.gui()).empty()) << "a failed list forgets the old one";
}

TEST_F(LauncherServicesTest, ARunningGameRefusesTheUpdate) {
  startServer(1);
  start();
  ASSERT_TRUE(signIn().flag(1));
  ASSERT_TRUE(call("listStreams").flag(1));
  fs::create_directories(gameDir() + "/bin");
  fs::copy_file("/bin/sleep", gameDir() + "/bin/sleep");
  pid_t game = fork();
  if (game == 0) {
    execl((gameDir() + "/bin/sleep").c_str(), "sleep", "30", nullptr);
    _exit(127);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  RecordedEvent refused = call("checkManifest", {std::string("stable"), std::string("")});
  kill(game, SIGKILL);
  waitpid(game, nullptr, 0);
  EXPECT_FALSE(refused.flag(1));
  EXPECT_EQ(refused.text(2), R"({"Message":"Please shut down all instances of TestGame and try again"})");
}

TEST_F(LauncherServicesTest, ACancelDuringTheDownloadEndsTheJobAtTheNextGate) {
  startServer(1);
  // The stream's content through a slow host: each bundle trickles in over seconds.
  SlowSite slow(home.file("site-v1"));
  LauncherRun& r = start({"--download-url", slow.url()});
  ASSERT_TRUE(signIn().flag(1));
  ASSERT_TRUE(call("listStreams").flag(1));
  std::string id = r.view().callText("checkManifest", {std::string("stable"), std::string("")});
  ka::Json downloading;
  ASSERT_TRUE(r.turnUntil([&] {
    for (RecordedEvent const& e : r.view().events("asyncProgress")) {
      ka::Json doc = parseJson(e.text(0));
      if (doc.hasKey("download")) downloading = doc;
    }
    return downloading.type() == ka::Json::TYPE_Object;
  }));
  r.view().call("asyncCancel");
  RecordedEvent cancelled = r.result(id);
  EXPECT_FALSE(cancelled.flag(1));
  EXPECT_EQ(cancelled.text(2), R"({"Message":"canceled"})");

  EXPECT_EQ(downloading.get("message").asString("").rfind("Downloading update ", 0), 0u);
  ka::Json download = downloading.get("download");
  EXPECT_EQ(download.get("bytesPerSecond").asString(""), "Calculating ...");
  EXPECT_GT(download.get("downloadsActive").asNumber(0), 0);
  EXPECT_GT(download.get("totalExpectedBytes").asNumber(0), 0);
  for (char const* key : {"etaSeconds", "totalBytesReceived", "downloadsCompleted"})
    EXPECT_EQ(download.get(key).type(), ka::Json::TYPE_Number) << key;
  EXPECT_NE(download.get("bytesProgress").asString("").find(" / "), std::string::npos);
  r.turn();
  EXPECT_FALSE(Inspect::busy(r.gui()));
  slow.stop();
}

TEST_F(LauncherServicesTest, StreamsWhoseNamesWouldLeaveTheirFoldersAreIgnored) {
  LocalHttpServer service;
  service.routes().Get("/Launcher/ListStreams", [](httplib::Request const&, httplib::Response& res) {
    res.set_content(R"({"Streams":[
        {"StreamName":"../../escape","ManifestName":"m.gz","TitleFolder":"T","DownloadUrl":"http://127.0.0.1:9/"},
        {"StreamName":"_cache","ManifestName":"m.gz","TitleFolder":"T","DownloadUrl":"http://127.0.0.1:9/"},
        {"StreamName":"sneaky","ManifestName":"../../../m.gz","TitleFolder":"T","DownloadUrl":"http://127.0.0.1:9/"},
        {"StreamName":"plain","ManifestName":"m.gz","TitleFolder":"T","DownloadUrl":"http://127.0.0.1:9/"}]})",
                    "application/json");
  });
  service.start();
  options({"--service-url", service.url("")});
  run = std::make_unique<LauncherRun>(home.path());
  ASSERT_TRUE(call("listStreams").flag(1));
  auto const& streams = Inspect::streams(run->gui());
  EXPECT_EQ(streams.size(), 1u);
  EXPECT_EQ(streams.count("plain"), 1u);
  run->turn();
  run.reset();
  service.stop();
}

}  // namespace

namespace {

// The launcher closed while a job waits on the network: the job is cancelled and ends before
// the launcher is gone, instead of going on with what the launcher owned.
TEST(LauncherJobsEnd, AJobWaitingOnTheNetworkIsCancelledWhenTheLauncherCloses) {
  std::atomic<bool> asked{false}, released{false};
  LocalHttpServer server;
  server.routes().Get("/Launcher/ListStreams", [&](httplib::Request const&, httplib::Response& res) {
    asked = true;
    for (int i = 0; i < 3000 && !released; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    res.set_content("{\"Streams\": []}", "application/json");
  });
  server.start();
  LauncherHome home;
  home.options({"--service-url", server.url("")});
  auto run = std::make_unique<LauncherRun>(home.home.path(), true);
  EXPECT_EQ(run->view().callText("listStreams", {}), "1");
  for (int i = 0; i < 500 && !asked; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(asked);
  // Sanitizer builds catch a job that reads what the launcher owned after it is gone.
  run.reset();
  released = true;
}

}  // namespace
