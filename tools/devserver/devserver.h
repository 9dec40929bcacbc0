// The services a launcher talks to, on one port: accounts, streams, news, its own updates, content.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ka/json.h"

namespace httplib {
class Server;
}

namespace devserver {

struct User {
  std::string name, password, displayName, email;
};

struct Stream {
  std::string name, buildId, description, titleFolder, manifestName, contentDir, authSuffix, news;
  int titleId = 0;
};

struct Config {
  std::string bind = "127.0.0.1";
  int port = 8080;  // 0: any free port
  int ticketLifetimeSeconds = 3600;
  std::vector<User> users;
  std::vector<Stream> streams;
  std::string launcherChecksum;  // empty: no launcher updates published
  std::string launcherImage;     // path of the image file
};

// Reads the configuration file; throws std::runtime_error naming what is wrong.
Config readConfig(std::string const& path);
Config parseConfig(ka::Json const& root, std::string const& baseDir);

class DevServer {
 public:
  explicit DevServer(Config config);
  ~DevServer();

  // Binds; returns the port, or throws if it can't bind.
  int bind();
  // Serves until stop() is called from another thread.
  void serve();
  // True once serve() takes requests; a stop that comes earlier is lost.
  bool serving() const;
  void stop();
  std::string baseUrl() const;

 private:
  struct Session {
    std::string user;
    std::chrono::steady_clock::time_point expires;
  };

  void addRoutes();
  std::string newTicket(std::string const& user);
  User const* userOfTicket(std::string const& ticket);
  Stream const* findStream(std::string const& name) const;

  Config config_;
  int port_ = 0;
  std::unique_ptr<httplib::Server> server_;
  std::mutex mutex_;  // guards sessions_
  std::map<std::string, Session> sessions_;
};

}  // namespace devserver
