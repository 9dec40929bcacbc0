// zandor-cli: the launcher on a terminal. The same launcher object, commands and events as the
// windowed launcher, with this program playing the page's part.
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iostream>

#include "cli/cli_page.h"
#include "cli/terminal.h"
#include "game/headless_platform.h"
#include "ka/cmd_line.h"
#include "ka/system_dirs.h"
#include "launcher_gui.h"
#include "vorn/linux_crashhandler.h"

namespace {

ka::CmdLineArgument cmdline_user(nullptr, "--user", ka::CmdLineArgument::String,
                                 [] { return std::string("account name to sign in with (play, streams)"); });
ka::CmdLineArgument cmdline_passwordFile(nullptr, "--password-file", ka::CmdLineArgument::String, [] {
  return std::string("file whose first line is the account's password (play, streams)");
});
ka::CmdLineArgument cmdline_gameArgs(nullptr, "--game-args", ka::CmdLineArgument::String,
                                     [] { return std::string("extra command line for the game (play, offline)"); });

std::atomic<bool> gInterrupted{false};

void onInterrupt(int) { gInterrupted = true; }

char const kCommands[] =
    "commands:\n"
    "  play STREAM --user NAME --password-file FILE   sign in, update STREAM and start the game\n"
    "  streams --user NAME --password-file FILE       list the streams the account may use\n"
    "  offline                                        start the installed \"stable\" build\n"
    "  self-update                                    fetch and unpack a newer launcher, if any\n";

// Reads the request from the command line; an empty command after a message on `err`.
cli::Request readRequest(std::ostream& err) {
  std::vector<ka::StringRange> const& words = ka::cmd_line::positionals();
  cli::Request request;
  if (words.empty()) {
    err << "No command given\n" << kCommands;
    return request;
  }
  request.command = words[0].str();
  if (cmdline_gameArgs.isSet()) request.gameArguments = cmdline_gameArgs.value().str();
  bool needsAccount = request.command == "play" || request.command == "streams";
  if (request.command == "play") {
    if (words.size() < 2) {
      err << "play needs the name of a stream\n";
      return {};
    }
    request.stream = words[1].str();
  }
  if (needsAccount) {
    if (!cmdline_user.isSet() || !cmdline_passwordFile.isSet()) {
      err << request.command << " needs --user and --password-file\n";
      return {};
    }
    request.user = cmdline_user.value().str();
    std::ifstream file(cmdline_passwordFile.value().str());
    if (!file || !std::getline(file, request.password) || request.password.empty()) {
      err << "Can't read a password from " << cmdline_passwordFile.value() << "\n";
      return {};
    }
  }
  return request;
}

class CliFactory : public vorn::GameFactory {
 public:
  explicit CliFactory(cli::Request request) : request_(std::move(request)) {}
  std::string name() const override { return "ZandorLauncher"; }
  vorn::Game* create(vorn::Platform* platform) override {
    auto makePage = [this](webui::WebUISettings const&, webui::EventListener* system, vorn::Platform*) {
      std::function<int()> columns;
      if (isatty(STDOUT_FILENO)) columns = [] { return cli::terminalColumns(STDOUT_FILENO); };
      auto page = std::make_unique<cli::CliPage>(system, request_, std::cout, std::cerr, columns, gInterrupted);
      page_ = page.get();
      return page;
    };
    return new LauncherGUI(platform, makePage);
  }
  int exitStatus() const { return page_ ? page_->exitStatus() : 1; }

 private:
  cli::Request request_;
  cli::CliPage* page_ = nullptr;
};

}  // namespace

int main(int argc, char const** argv) {
  vorn::initCrashHandler();
  if (!ka::cmd_line::process(argc, argv, std::cerr)) return 1;
  if (ka::cmd_line::hasFlag("--help")) {
    ka::cmd_line::usage(std::cout);
    std::cout << kCommands;
    return 0;
  }
  cli::Request request = readRequest(std::cerr);
  if (request.command.empty()) return 1;
  std::signal(SIGINT, onInterrupt);
  CliFactory factory(request);
  int status = 1;
  {
    vorn::HeadlessPlatform platform(&factory);
    status = platform.run() == 0 ? factory.exitStatus() : 1;
  }
  if (status != 0)
    std::cerr << "The launcher's log: " << ka::getUserDataDir("Zandor Works", "ZandorLauncher")
              << "/ZandorLauncherLog.txt\n";
  return status;
}
