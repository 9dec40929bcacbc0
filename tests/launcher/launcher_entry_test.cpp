// Runs the launcher executable itself and reads what it prints.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "support/temp_dir.h"
#include "support/text.h"

namespace {

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

Outcome launch(std::string const& args) {
  TempDir dir;
  // The launcher writes its log and certificates under the per-user data folder: keep them here.
  // With no display it stops once the options are read.
  std::string command = "env -u DISPLAY XDG_DATA_HOME='" + dir.path() + "' '" + ZANDOR_LAUNCHER_EXE + "' " + args + " >'" +
                        dir.file("out") + "' 2>'" + dir.file("err") + "' </dev/null";
  int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readFile(dir.file("out")), readFile(dir.file("err"))};
}

std::string const kNoDisplay = "ZandorLauncher: cannot open a window: X11: The DISPLAY environment variable is missing\n";

std::string const kUsage = std::string("usage: ") + ZANDOR_LAUNCHER_EXE + " [options]\n" +
    "-d   |                          : base game directory\n"
    "     | --update-check-url       : update check url\n"
    "     | --service-url            : service url\n"
    "     | --download-url           : download url\n"
    "-t   |                          : temp dir\n"
    "     | --uiurl                  : url for custom ui.\n"
    "     | --skip-version-check     : launcher doesn't check for updates to itself\n"
    "     | --beta                   : allow use of beta versions of the launcher\n"
    "     | --devmode                : developer mode for internal testing (requires appropriate credentials)\n"
    "     | --software-ui            : render ui without using gpu\n"
    "     | --disable-ui-boot-cache  : Don't cache boot.js - for development\n"
    "     | --coherent-log-level     : Set coherent logging level [TRACE|DEBUG|INFO|WARNING|ASSERTFAILURE|ERROR|]\n"
    "     | --coherent-allow-minidumps : allow coherent to create minidumps\n"
    "     | --max-download-rate      : bytes a second all downloads may take together, 0 for no limit\n"
    "-h   | --help                   : Prints the list of command line options\n";

TEST(LauncherEntry, HelpPrintsEveryOptionInRegistrationOrder) {
  for (char const* flag : {"--help", "-h", "-d /x --help"}) {
    Outcome o = launch(flag);
    EXPECT_EQ(o.status, 0) << flag;
    EXPECT_EQ(o.out, kUsage) << flag;
    EXPECT_EQ(o.err, "") << flag;
  }
}

TEST(LauncherEntry, AnUnknownOptionIsReportedAndTheRunGoesOn) {
  Outcome helpFirst = launch("--help --bogus");
  EXPECT_EQ(helpFirst.status, 0);
  EXPECT_EQ(helpFirst.err, "Unknown command line option --bogus\n");
  EXPECT_EQ(helpFirst.out, kUsage);

  // Options behind the bad one are never looked at.
  Outcome helpLast = launch("--bogus --help");
  EXPECT_EQ(helpLast.status, 1);
  EXPECT_EQ(helpLast.err, "Unknown command line option --bogus\n" + kNoDisplay);
  EXPECT_EQ(helpLast.out.find("usage"), std::string::npos);
}

TEST(LauncherEntry, OptionValuesAreValidated) {
  Outcome o = launch("--coherent-log-level=loud");
  EXPECT_EQ(o.err,
            "loud is not valid for option --coherent-log-level=loud\n"
            "Set coherent logging level [TRACE|DEBUG|INFO|WARNING|ASSERTFAILURE|ERROR|]\n" +
                kNoDisplay);
  EXPECT_EQ(launch("--coherent-log-level warning").err, kNoDisplay);
  EXPECT_EQ(launch("-t").err, "Missing value for -t option\ntemp dir\n" + kNoDisplay);
}

TEST(LauncherEntry, WithoutADisplayItSaysWhyAndStops) {
  Outcome o = launch("");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, kNoDisplay);
  EXPECT_NE(o.out.find(" INFO Exiting with 1\n"), std::string::npos) << o.out;
}

}  // namespace
