// The development server as the launcher meets it: sign-in, tickets, streams, news, content and
// the launcher's own files; and its configuration file.
#include "devserver.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "support/dev_server_thread.h"
#include "support/http_client.h"
#include "support/temp_dir.h"
#include "update/download.h"

namespace {

// A dev server on a free port of 127.0.0.1, asked the way the launcher asks.
class DevServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(content.file("Game"));
    content.write("Game/manifest.gz", "manifest bytes");
    devserver::Config config;
    config.port = 0;
    config.ticketLifetimeSeconds = 1;
    config.users = {{"player", "s3cret", "Player One", "player@example.com"}};
    devserver::Stream stream{"stable", "42", "The stable build", "Game", "manifest.gz", content.path(), "?sig=abc", "<p>Patch notes</p>"};
    stream.titleId = 70000;
    config.streams = {stream};
    config.launcherChecksum = "0123456789abcdef0123456789abcdef";
    config.launcherImage = content.write("image.tar.gz", "image");
    server = std::make_unique<DevServerThread>(config);
  }
  void TearDown() override {
    // The client goes first, closing its connections, so that the server need not wait them out.
    client.stopPump();
    client.shared().reset();
    server.reset();
  }

  ka::Json post(std::string const& path, std::string const& body, std::string const& ticket = "") {
    update::DownloadProgress progress(cancel);
    return update::jsonRequest(client.shared(), server->baseUrl() + path, body, "application/json", progress, ticket);
  }
  ka::Json get(std::string const& path, std::string const& ticket = "") {
    update::DownloadProgress progress(cancel);
    return update::jsonRequest(client.shared(), server->baseUrl() + path, progress, ticket);
  }
  std::string fetch(std::string const& path, std::string* error = nullptr) {
    update::DownloadProgress progress(cancel);
    std::string text = update::downloadString(client.shared(), server->baseUrl() + path, progress, "");
    if (error) *error = progress.error;
    return text;
  }
  std::string login(std::string const& password) {
    return post("/GC/Authenticate",
                "{\"TitleId\":7,\"AuthMethod\":\"ZandorCredentials\",\"ZandorName\":\"player\",\"Password\":\"" +
                    password + "\"}")
        .get("SessionTicket")
        .asString("null");
  }

  TempDir content;
  std::atomic<bool> cancel{false};
  PumpedLoader client;
  std::unique_ptr<DevServerThread> server;
};

TEST_F(DevServerTest, SignsInWithAPasswordOrATicket) {
  ka::Json ok = post("/GC/Authenticate",
                     "{\"TitleId\":7,\"AuthMethod\":\"ZandorCredentials\",\"ZandorName\":\"player\",\"Password\":\"s3cret\"}");
  std::string ticket = ok.get("SessionTicket").asString("");
  EXPECT_EQ(ticket.size(), 32u);
  EXPECT_EQ(ok.get("DisplayName").asString(""), "Player One");
  EXPECT_EQ(ok.get("ZandorName").asString(""), "player");
  EXPECT_NE(login("s3cret"), ticket) << "every sign-in gets a ticket of its own";

  ka::Json wrong = post("/GC/Authenticate",
                        "{\"AuthMethod\":\"ZandorCredentials\",\"ZandorName\":\"player\",\"Password\":\"nope\"}");
  EXPECT_EQ(wrong.get("ErrorCode").asNumber(0), -1);
  EXPECT_NE(wrong.get("Message").asString("").find("Invalid user name or password."), std::string::npos);
  EXPECT_NE(post("/GC/Authenticate", "not json").get("Message").asString("").find("Json object"), std::string::npos);

  EXPECT_EQ(get("/GC/UserInfo", ticket).get("Email").asString(""), "player@example.com");
  EXPECT_EQ(get("/GC/UserInfo", "forged").get("ErrorCode").asNumber(0), -1);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(get("/GC/UserInfo", ticket).get("ErrorCode").asNumber(0), -1) << "tickets expire";
}

TEST_F(DevServerTest, RecoveryMailOnlyForKnownAddresses) {
  EXPECT_EQ(post("/GameClient/SendAccountRecoveryEmail", "{\"TitleId\":4,\"Email\":\"player@example.com\"}").numKeys(), 0u);
  ka::Json unknown = post("/GameClient/SendAccountRecoveryEmail", "{\"TitleId\":4,\"Email\":\"who@example.com\"}");
  EXPECT_NE(unknown.get("Message").asString("").find("No account found with that email address."), std::string::npos);
}

TEST_F(DevServerTest, ListsStreamsForSignedInPlayersAndServesNews) {
  std::string ticket = login("s3cret");
  ka::Json streams = get("/Launcher/ListStreams?Platform=Linux", ticket).get("Streams");
  ASSERT_EQ(streams.arrayLength(), 1u);
  ka::Json s = streams.get(0);
  EXPECT_EQ(s.get("StreamName").asString(""), "stable");
  EXPECT_EQ(s.get("BuildId").asString(""), "42");
  EXPECT_EQ(s.get("TitleId").asNumber(0), 70000);
  EXPECT_EQ(s.get("DownloadUrl").asString(""), server->baseUrl() + "/content/stable/");
  EXPECT_EQ(s.get("ManifestName").asString(""), "manifest.gz");
  EXPECT_EQ(s.get("AuthSuffix").asString(""), "?sig=abc");
  EXPECT_EQ(s.get("TitleFolder").asString(""), "Game");
  EXPECT_EQ(get("/Launcher/ListStreams?Platform=Linux").get("ErrorCode").asNumber(0), -1) << "no ticket";
  EXPECT_EQ(get("/Launcher/ListStreams?Platform=OSX", ticket).get("ErrorCode").asNumber(0), -1);

  EXPECT_NE(fetch("/Launcher/StreamNews?StreamName=stable&ticket=" + ticket).find("<p>Patch notes</p>"), std::string::npos);
  std::string error;
  fetch("/Launcher/StreamNews?StreamName=beta&ticket=", &error);
  EXPECT_NE(error.find("Unknown stream."), std::string::npos);
}

TEST_F(DevServerTest, ContentNeedsTheStreamsSuffix) {
  std::string error;
  EXPECT_EQ(fetch("/content/stable/Game/manifest.gz?sig=abc", &error), "manifest bytes");
  EXPECT_EQ(error, "");
  fetch("/content/stable/Game/manifest.gz", &error);
  EXPECT_NE(error.find("The download is not authorised."), std::string::npos);
  fetch("/content/stable/Game/manifest.gz?sig=wrong", &error);
  EXPECT_NE(error.find("not authorised"), std::string::npos);
  fetch("/content/beta/Game/manifest.gz?sig=abc", &error);
  EXPECT_NE(error.find("Unknown stream."), std::string::npos);
  fetch("/content/stable/../image.tar.gz?sig=abc", &error);
  EXPECT_NE(error, "");
  fetch("/content/stable/Game/none?sig=abc", &error);
  EXPECT_NE(error.find("No such file."), std::string::npos);
}

TEST_F(DevServerTest, PublishesTheLauncherChecksumAndImage) {
  EXPECT_EQ(fetch("/Launcher/ChecksumV3?platform=Linux"), "0123456789abcdef0123456789abcdef 5");
  EXPECT_EQ(fetch("/XR/Linux/appchksm.txt"), "0123456789abcdef0123456789abcdef");
  EXPECT_EQ(fetch("/XR/Linux/ZandorLauncher.tar.gz"), "image");
  std::string error;
  fetch("/XR/OSX/appchksm.txt", &error);
  EXPECT_NE(error, "");
}

TEST(DevServerConfig, ReadsTheFileAndSaysWhatIsMissing) {
  TempDir dir;
  std::string path = dir.write("config.json",
                               "{\"port\":0,\"users\":[{\"name\":\"a\",\"password\":\"b\"}],"
                               "\"streams\":[{\"name\":\"stable\",\"titleFolder\":\"T\",\"manifestName\":\"m\","
                               "\"contentDir\":\"site\"}],\"launcher\":{\"checksum\":\"c\",\"image\":\"i.tar.gz\"}}");
  devserver::Config config = devserver::readConfig(path);
  EXPECT_EQ(config.port, 0);
  EXPECT_EQ(config.streams[0].contentDir, dir.path() + "/site") << "relative to the configuration file";
  EXPECT_EQ(config.launcherImage, dir.path() + "/i.tar.gz");
  std::string bad = dir.write("bad.json", "{\"streams\":[{\"name\":\"x\"}]}");
  try {
    devserver::readConfig(bad);
    ADD_FAILURE();
  } catch (std::runtime_error const& e) {
    EXPECT_NE(std::string(e.what()).find("streams[0] needs"), std::string::npos) << e.what();
  }
  EXPECT_THROW(devserver::readConfig(dir.file("missing.json")), std::runtime_error);
}

}  // namespace
