// A packed stream served by nginx, as a studio would host it, updates a game like the dev server does.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "packer.h"
#include "support/http_client.h"
#include "support/temp_dir.h"
#include "support/update_pipeline.h"

namespace {

namespace fs = std::filesystem;

int freePort() {
  int s = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t size = sizeof address;
  getsockname(s, reinterpret_cast<sockaddr*>(&address), &size);
  close(s);
  return ntohs(address.sin_port);
}

// nginx on 127.0.0.1 with a configuration of its own, serving `root`; stopped with the object.
class Nginx {
 public:
  Nginx(std::string const& root, std::string const& workDir) : port_(freePort()) {
    std::string conf = workDir + "/nginx.conf";
    std::ofstream(conf) << (geteuid() == 0 ? "user root;\n" : "") << "daemon off;\nworker_processes 1;\n"
                        << "pid " << workDir << "/nginx.pid;\nerror_log " << workDir << "/error.log;\n"
                        << "events {}\nhttp {\n  access_log off;\n"
                        << "  client_body_temp_path " << workDir << "/body;\n  proxy_temp_path " << workDir
                        << "/proxy;\n  fastcgi_temp_path " << workDir << "/fastcgi;\n  uwsgi_temp_path " << workDir
                        << "/uwsgi;\n  scgi_temp_path " << workDir << "/scgi;\n"
                        << "  server {\n    listen 127.0.0.1:" << port_ << ";\n    root " << root << ";\n  }\n}\n";
    pid_ = fork();
    if (pid_ == 0) {
      execl("/usr/sbin/nginx", "nginx", "-c", conf.c_str(), "-p", workDir.c_str(), (char*)nullptr);
      _exit(127);
    }
    // Ready once it accepts a connection.
    for (int i = 0; i < 500 && !accepting(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ~Nginx() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }
  bool accepting() const {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port_));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool ok = connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(s);
    return ok;
  }

 private:
  int port_;
  pid_t pid_;
};

TEST(StaticHost, AFullUpdateFromNginx) {
  if (!fs::exists("/usr/sbin/nginx")) GTEST_SKIP() << "nginx is not installed";
  TempDir work;
  std::string build = work.path() + "/build", site = work.path() + "/site", game = work.path() + "/game";
  fs::create_directories(build + "/bin");
  fs::create_directories(build + "/data");
  std::ofstream(build + "/bin/game") << "#!/bin/sh\necho game\n";
  fs::permissions(build + "/bin/game", fs::perms::owner_exec, fs::perm_options::add);
  std::ofstream(build + "/data/level.txt") << std::string(300000, 'L');
  std::ofstream(build + "/data/empty");
  pack::PackOptions options;
  options.buildDir = build;
  options.outDir = site;
  options.titleFolder = "Stable";
  options.manifestName = "manifest.gz";
  options.version = "1";
  pack::build(options);
  fs::permissions(work.path(), fs::perms::others_exec | fs::perms::others_read, fs::perm_options::add);

  Nginx nginx(site, work.path());
  ASSERT_TRUE(nginx.accepting()) << "nginx did not start";
  PumpedLoader client;
  auto context = update::createUpdateContext(client.shared(), game, work.path() + "/cache", nginx.url());
  context->setDownloadAuthSuffix("?sig=ignored-by-a-static-host");
  context->setDownloadPath("Stable/hashed");
  context->setManifestOnDisk(game + "/manifest.gz");
  PipelineResult r = runUpdatePipeline(context, "Stable/manifest.gz");
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(r.bundlesFetched, 1u);
  EXPECT_EQ(fs::file_size(game + "/data/level.txt"), 300000u);
  EXPECT_TRUE(fs::exists(game + "/data/empty"));
  EXPECT_NE(fs::status(game + "/bin/game").permissions() & fs::perms::others_exec, fs::perms::none);
}

}  // namespace
