#include "devserver.h"

#include <httplib.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "ka/log.h"
#include "ka/strutil.h"
#include "update/platform_util.h"

namespace fs = std::filesystem;

namespace devserver {

namespace {

std::string text(ka::Json const& object, char const* key, std::string const& fallback = "") {
  return object.get(key, ka::Json()).asString(fallback.c_str());
}

// The error shape the launcher reads: {"ErrorCode": n, "Message": text}.
void fail(httplib::Response& res, int status, int code, std::string const& message) {
  ka::Json error = ka::Json::makeObject();
  error.set("ErrorCode", ka::Json::makeNumber(code));
  error.set("Message", ka::Json::makeString(message));
  res.status = status;
  res.set_content(ka::compactText(error), "application/json");
}

void answer(httplib::Response& res, ka::Json const& body) { res.set_content(ka::compactText(body), "application/json"); }

bool parseBody(httplib::Request const& req, httplib::Response& res, ka::Json& body) {
  try {
    ka::StringRangeStream stream(req.body);
    body = ka::Json::readFrom(stream);
    if (body.type() == ka::Json::TYPE_Object) return true;
  } catch (std::runtime_error const&) {
  }
  fail(res, 400, 1000, "The request body must be a Json object.");
  return false;
}

std::string readFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": can't be read");
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace

Config parseConfig(ka::Json const& root, std::string const& baseDir) {
  auto resolve = [&](std::string const& p) { return p.empty() || p[0] == '/' ? p : baseDir + "/" + p; };
  Config config;
  config.bind = text(root, "bind", "127.0.0.1");
  config.port = int(root.get("port", ka::Json()).asNumber(8080));
  config.ticketLifetimeSeconds = int(root.get("ticketLifetimeSeconds", ka::Json()).asNumber(3600));
  ka::Json users = root.get("users", ka::Json::makeArray());
  for (size_t i = 0; i < users.arrayLength(); ++i) {
    ka::Json u = users.get(i);
    config.users.push_back({text(u, "name"), text(u, "password"), text(u, "displayName"), text(u, "email")});
    if (config.users.back().name.empty()) throw std::runtime_error("users[" + std::to_string(i) + "] has no \"name\"");
  }
  ka::Json streams = root.get("streams", ka::Json::makeArray());
  for (size_t i = 0; i < streams.arrayLength(); ++i) {
    ka::Json s = streams.get(i);
    Stream stream{text(s, "name"),        text(s, "buildId"),      text(s, "description"),
                  text(s, "titleFolder"), text(s, "manifestName"), resolve(text(s, "contentDir")),
                  text(s, "authSuffix"),  text(s, "news")};
    stream.titleId = int(s.get("titleId", ka::Json()).asNumber(0));
    if (stream.name.empty() || stream.titleFolder.empty() || stream.manifestName.empty() || stream.contentDir.empty()) {
      throw std::runtime_error("streams[" + std::to_string(i) +
                               "] needs \"name\", \"titleFolder\", \"manifestName\" and \"contentDir\"");
    }
    config.streams.push_back(stream);
  }
  ka::Json launcher = root.get("launcher", ka::Json::makeObject());
  config.launcherChecksum = text(launcher, "checksum");
  config.launcherImage = resolve(text(launcher, "image"));
  return config;
}

Config readConfig(std::string const& path) {
  std::string content = readFile(path);
  ka::StringRangeStream stream(content);
  try {
    return parseConfig(ka::Json::readFrom(stream), fs::absolute(path).parent_path().string());
  } catch (std::runtime_error const& e) {
    throw std::runtime_error(path + ": " + e.what());
  }
}

DevServer::DevServer(Config config) : config_(std::move(config)), server_(std::make_unique<httplib::Server>()) {
  // Idle connections are closed soon, so that a stop never waits long for them.
  server_->set_keep_alive_timeout(2);
  server_->set_logger([](httplib::Request const& req, httplib::Response const& res) {
    // Ranged requests show, so that a resumed download can be told from a whole one.
    std::string range = req.get_header_value("Range");
    KA_LOG(Info) << req.method << " " << req.path << " " << res.status << (range.empty() ? "" : " " + range);
  });
  addRoutes();
}

DevServer::~DevServer() { stop(); }

int DevServer::bind() {
  port_ = config_.port == 0 ? server_->bind_to_any_port(config_.bind) : config_.port;
  if (config_.port != 0 && !server_->bind_to_port(config_.bind, config_.port)) port_ = -1;
  if (port_ <= 0) throw std::runtime_error("can't listen on " + config_.bind + ":" + std::to_string(config_.port));
  return port_;
}

void DevServer::serve() { server_->listen_after_bind(); }

bool DevServer::serving() const { return server_->is_running(); }

void DevServer::stop() { server_->stop(); }

std::string DevServer::baseUrl() const { return "http://" + config_.bind + ":" + std::to_string(port_); }

std::string DevServer::newTicket(std::string const& user) {
  static char const hex[] = "0123456789abcdef";
  std::random_device random;
  std::string ticket(32, '0');
  for (char& c : ticket) c = hex[random() & 15];
  std::lock_guard lock(mutex_);
  sessions_[ticket] = {user, std::chrono::steady_clock::now() + std::chrono::seconds(config_.ticketLifetimeSeconds)};
  return ticket;
}

User const* DevServer::userOfTicket(std::string const& ticket) {
  std::lock_guard lock(mutex_);
  auto it = sessions_.find(ticket);
  if (it == sessions_.end()) return nullptr;
  if (std::chrono::steady_clock::now() >= it->second.expires) {
    sessions_.erase(it);
    return nullptr;
  }
  for (User const& u : config_.users) {
    if (u.name == it->second.user) return &u;
  }
  return nullptr;
}

Stream const* DevServer::findStream(std::string const& name) const {
  for (Stream const& s : config_.streams) {
    if (s.name == name) return &s;
  }
  return nullptr;
}

void DevServer::addRoutes() {
  httplib::Server& s = *server_;
  s.Post("/GC/Authenticate", [this](httplib::Request const& req, httplib::Response& res) {
    ka::Json body;
    if (!parseBody(req, res, body)) return;
    if (text(body, "AuthMethod") != "ZandorCredentials") return fail(res, 400, 1001, "Unknown AuthMethod.");
    std::string name = text(body, "ZandorName"), password = text(body, "Password");
    for (User const& u : config_.users) {
      if (u.name != name || u.password != password) continue;
      ka::Json ok = ka::Json::makeObject();
      ok.set("SessionTicket", ka::Json::makeString(newTicket(u.name)));
      ok.set("DisplayName", ka::Json::makeString(u.displayName));
      ok.set("ZandorName", ka::Json::makeString(u.name));
      return answer(res, ok);
    }
    fail(res, 401, 1002, "Invalid user name or password.");
  });
  s.Get("/GC/UserInfo", [this](httplib::Request const& req, httplib::Response& res) {
    User const* user = userOfTicket(req.get_header_value("X-Authorization"));
    if (!user) return fail(res, 401, 1003, "The session ticket is unknown or has expired.");
    ka::Json info = ka::Json::makeObject();
    info.set("ZandorName", ka::Json::makeString(user->name));
    info.set("DisplayName", ka::Json::makeString(user->displayName));
    info.set("Email", ka::Json::makeString(user->email));
    answer(res, info);
  });
  s.Post("/GameClient/SendAccountRecoveryEmail", [this](httplib::Request const& req, httplib::Response& res) {
    ka::Json body;
    if (!parseBody(req, res, body)) return;
    std::string email = text(body, "Email");
    for (User const& u : config_.users) {
      if (!email.empty() && u.email == email) {
        KA_LOG(Info) << "A recovery mail would go to " << email;
        return answer(res, ka::Json::makeObject());
      }
    }
    fail(res, 404, 1004, "No account found with that email address.");
  });
  s.Get("/Launcher/ListStreams", [this](httplib::Request const& req, httplib::Response& res) {
    if (!userOfTicket(req.get_header_value("X-Authorization"))) {
      return fail(res, 401, 1003, "The session ticket is unknown or has expired.");
    }
    if (req.get_param_value("Platform") != update::getPlatformFriendlyName()) {
      return fail(res, 400, 1005, "No streams for platform \"" + req.get_param_value("Platform") + "\".");
    }
    ka::Json list = ka::Json::makeArray();
    for (Stream const& st : config_.streams) {
      ka::Json item = ka::Json::makeObject();
      item.set("TitleId", ka::Json::makeNumber(st.titleId));
      item.set("StreamName", ka::Json::makeString(st.name));
      item.set("BuildId", ka::Json::makeString(st.buildId));
      item.set("Description", ka::Json::makeString(st.description));
      item.set("DownloadUrl", ka::Json::makeString(baseUrl() + "/content/" + st.name + "/"));
      item.set("ManifestName", ka::Json::makeString(st.manifestName));
      item.set("AuthSuffix", ka::Json::makeString(st.authSuffix));
      item.set("TitleFolder", ka::Json::makeString(st.titleFolder));
      list.push_back(item);
    }
    ka::Json root = ka::Json::makeObject();
    root.set("Streams", list);
    answer(res, root);
  });
  s.Get("/Launcher/StreamNews", [this](httplib::Request const& req, httplib::Response& res) {
    Stream const* stream = findStream(req.get_param_value("StreamName"));
    if (!stream) return fail(res, 404, 1006, "Unknown stream.");
    std::string news = stream->news.empty() ? "<p>No news for " + stream->name + ".</p>" : stream->news;
    res.set_content("<!DOCTYPE html><html><body>" + news + "</body></html>", "text/html");
  });
  s.Get("/Launcher/ChecksumV3", [this](httplib::Request const& req, httplib::Response& res) {
    if (config_.launcherChecksum.empty() || req.get_param_value("platform") != update::getPlatformFriendlyName()) {
      return fail(res, 404, 1007, "No launcher is published for this platform.");
    }
    std::error_code error;
    uintmax_t size = fs::file_size(config_.launcherImage, error);
    res.set_content(config_.launcherChecksum + " " + std::to_string(error ? 0 : size), "text/plain");
  });
  s.Get(R"(/XR/([^/]+)/([^/]+))", [this](httplib::Request const& req, httplib::Response& res) {
    std::string platform = req.matches[1], file = req.matches[2];
    if (platform != update::getPlatformFriendlyName() || config_.launcherChecksum.empty()) {
      return fail(res, 404, 1007, "No launcher is published for this platform.");
    }
    if (file == "appchksm.txt") return res.set_content(config_.launcherChecksum, "text/plain");
    if (file != "ZandorLauncher.tar.gz") return fail(res, 404, 1008, "No such file.");
    try {
      res.set_content(readFile(config_.launcherImage), "application/gzip");
    } catch (std::runtime_error const& e) {
      fail(res, 500, 1009, e.what());
    }
  });
  s.Get(R"(/content/([^/]+)/(.+))", [this](httplib::Request const& req, httplib::Response& res) {
    Stream const* stream = findStream(req.matches[1]);
    if (!stream) return fail(res, 404, 1006, "Unknown stream.");
    // The launcher appends the stream's suffix to every URL; without it, no content.
    std::string query = req.target.find('?') == std::string::npos ? "" : req.target.substr(req.target.find('?'));
    if (!stream->authSuffix.empty() && query != stream->authSuffix) {
      return fail(res, 403, 1010, "The download is not authorised.");
    }
    std::string relative = req.matches[2];
    if (relative.find("..") != std::string::npos) return fail(res, 400, 1011, "Bad path.");
    std::string path = stream->contentDir + "/" + relative;
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return fail(res, 404, 1008, "No such file.");
    res.set_content(readFile(path), "application/octet-stream");
  });
}

}  // namespace devserver
