// nginx on 127.0.0.1 with a configuration of its own, serving a folder as a studio's static host
// would; stopped with the object.
#pragma once

#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

class Nginx {
 public:
  // `serverLines` go into the server block as they are, for example "limit_rate 4m;". Each
  // request is logged to accessLog() as "URI STATUS BODY_BYTES_SENT RANGE" ("-" without a range).
  Nginx(std::string const& root, std::string const& workDir, std::string const& serverLines = "")
      : port_(freePort()), log_(workDir + "/access.log") {
    std::string conf = workDir + "/nginx.conf";
    std::ofstream(conf) << (geteuid() == 0 ? "user root;\n" : "") << "daemon off;\nworker_processes 1;\n"
                        << "pid " << workDir << "/nginx.pid;\nerror_log " << workDir << "/error.log;\n"
                        << "events {}\nhttp {\n"
                        << "  log_format ranges '$request_uri $status $body_bytes_sent $http_range';\n"
                        << "  access_log " << log_ << " ranges;\n"
                        << "  client_body_temp_path " << workDir << "/body;\n  proxy_temp_path " << workDir
                        << "/proxy;\n  fastcgi_temp_path " << workDir << "/fastcgi;\n  uwsgi_temp_path " << workDir
                        << "/uwsgi;\n  scgi_temp_path " << workDir << "/scgi;\n"
                        << "  server {\n    listen 127.0.0.1:" << port_ << ";\n    root " << root << ";\n"
                        << "    " << serverLines << "\n  }\n}\n";
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
  Nginx(Nginx const&) = delete;
  Nginx& operator=(Nginx const&) = delete;

  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }
  std::string const& accessLog() const { return log_; }
  bool accepting() const {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(port_);
    bool ok = connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(s);
    return ok;
  }

 private:
  static sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
  }
  static int freePort() {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t size = sizeof address;
    getsockname(s, reinterpret_cast<sockaddr*>(&address), &size);
    close(s);
    return ntohs(address.sin_port);
  }

  int port_;
  std::string log_;
  pid_t pid_ = -1;
};
