#include "launcher_options.h"

#include <stdexcept>

#include "webui/log_severity.h"

using ka::CmdLineArgument;

namespace {

CmdLineArgument::Help text(char const* help) {
  return [help] { return std::string(help); };
}

std::string logLevelHelp() {
  std::string help = "Set coherent logging level [";
  for (char const* word : webui::SeverityStrings) {
    help += word;
    help += "|";
  }
  return help + "]";
}

// Digits only, and small enough for 64 bits.
bool isByteCount(ka::StringRange value) {
  std::string text = value.str();
  return !text.empty() && text.size() <= 19 && text.find_first_not_of("0123456789") == std::string::npos;
}

bool isLogSeverity(ka::StringRange value) {
  try {
    webui::parseCoherentLogSeverity(value);
    return true;
  } catch (std::runtime_error const&) {
    return false;
  }
}

}  // namespace

// Registration order is the order of --help.
CmdLineArgument cmdline_gameDir("-d", nullptr, CmdLineArgument::String, text("base game directory"));
CmdLineArgument cmdline_updateCheckUrl(nullptr, "--update-check-url", CmdLineArgument::String,
                                       text("update check url"));
CmdLineArgument cmdline_serviceUrl(nullptr, "--service-url", CmdLineArgument::String, text("service url"));
CmdLineArgument cmdline_downloadUrl(nullptr, "--download-url", CmdLineArgument::String, text("download url"));
CmdLineArgument cmdline_tmp("-t", nullptr, CmdLineArgument::String, text("temp dir"));
CmdLineArgument cmdline_uiurl(nullptr, "--uiurl", CmdLineArgument::String, text("url for custom ui."));
CmdLineArgument cmdline_skipversioncheck(nullptr, "--skip-version-check", CmdLineArgument::Flag,
                                         text("launcher doesn't check for updates to itself"));
CmdLineArgument cmdline_beta(nullptr, "--beta", CmdLineArgument::Flag,
                             text("allow use of beta versions of the launcher"));
CmdLineArgument cmdline_devmode(nullptr, "--devmode", CmdLineArgument::Flag,
                                text("developer mode for internal testing (requires appropriate credentials)"));
CmdLineArgument cmdline_softwareui(nullptr, "--software-ui", CmdLineArgument::Flag,
                                   text("render ui without using gpu"));
CmdLineArgument cmdline_disableuibootcache(nullptr, "--disable-ui-boot-cache", CmdLineArgument::Flag,
                                           text("Don't cache boot.js - for development"));
CmdLineArgument cmdline_coherentloglevel(nullptr, "--coherent-log-level", CmdLineArgument::String, logLevelHelp,
                                         isLogSeverity);
CmdLineArgument cmdline_coherentallowminidumps(nullptr, "--coherent-allow-minidumps", CmdLineArgument::Flag,
                                               text("allow coherent to create minidumps"));
CmdLineArgument cmdline_maxDownloadRate(nullptr, "--max-download-rate", CmdLineArgument::String,
                                        text("bytes a second all downloads may take together, 0 for no limit"),
                                        isByteCount);
CmdLineArgument cmdline_help("-h", "--help", CmdLineArgument::Flag, text("Prints the list of command line options"));
