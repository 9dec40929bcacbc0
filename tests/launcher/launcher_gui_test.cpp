// Construction of the launcher object in a temporary home: log, hosts, configuration, certificates.
#include "launcher_gui.h"

#include <gtest/gtest.h>

#include "ka/logsink.h"
#include "launcher_hosts.h"
#include "support/launcher_home.h"
#include "support/text.h"

namespace {

using Inspect = LauncherGUIInspector;

class LauncherGUITest : public ::testing::Test, public LauncherHome {
 protected:
  std::unique_ptr<LauncherGUI> make() {
    return std::unique_ptr<LauncherGUI>(static_cast<LauncherGUI*>(factory()->create(&platform)));
  }
  static vorn::GameFactory* factory() { return vorn::GameFactorySingleton::instance(); }
  void write(std::string const& name, std::string const& text) { writeUI(name, text); }

  vorn::HeadlessPlatform platform{factory(), home.path()};
};

TEST_F(LauncherGUITest, RegistersAsTheLaunchersFactory) { EXPECT_EQ(factory()->name(), "ZandorLauncher"); }

TEST_F(LauncherGUITest, StartsAFreshLogFileInTheFixedLauncherFolder) {
  std::string logPath = dataDir("Zandor Works", "ZandorLauncher") + "/ZandorLauncherLog.txt";
  std::filesystem::create_directories(dataDir("Zandor Works", "ZandorLauncher"));
  std::ofstream(logPath) << "a line of the previous run\n";
  options({});
  {
    auto gui = make();
    EXPECT_EQ(Inspect::logFilePath(*gui), logPath);
  }
  std::string log = readFile(logPath);
  EXPECT_EQ(log.find("previous run"), std::string::npos);
  EXPECT_NE(log.find(" INFO Log file " + logPath + " opened\n"), std::string::npos) << log;
  EXPECT_NE(log.find(" INFO Loading fake embedded: " + ui() + "/config.json\n"), std::string::npos) << log;
  EXPECT_NE(log.find(" INFO Loading fake embedded: " + ui() + "/cacert.pem\n"), std::string::npos) << log;
}

TEST_F(LauncherGUITest, ReadsItsConfigurationAndWritesTheCertificatesUnderTheCompany) {
  options({});
  auto gui = make();
  LauncherConfig const& config = Inspect::config(*gui);
  EXPECT_EQ(config.company, "Test Studio");
  EXPECT_EQ(config.product, "TestGame");
  EXPECT_EQ(config.executable, "bin/game");
  EXPECT_EQ(config.titleId, 12);
  EXPECT_EQ(readFile(dataDir("Test Studio", "ZandorLauncher") + "/cacert.pem"), readFile(ui() + "/cacert.pem"));
  ka::Json params = Inspect::engineParams(*gui);
  EXPECT_EQ(params.numKeys(), 2u);
  EXPECT_EQ(params.get("devmode").type(), ka::Json::TYPE_Boolean);
  EXPECT_EQ(params.get("launcher_build_version").asString(""), "110299");
  std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(Inspect::hostDir(*gui), std::filesystem::path(exe).parent_path().string() + "/host");
}

TEST_F(LauncherGUITest, DevModeChoosesTheDevelopmentHostsAndOptionsOverrideThem) {
  struct Case {
    std::vector<std::string> options;
    std::string service;
    std::string updateCheck;
    bool devmode;
  } const cases[] = {
      {{}, hosts::kLiveServiceUrl, hosts::kLiveUpdateCheckUrl, false},
      {{"--devmode"}, hosts::kDevServiceUrl, hosts::kDevUpdateCheckUrl, true},
      {{"--devmode", "--service-url", "https://accounts.test"}, "https://accounts.test", hosts::kDevUpdateCheckUrl,
       true},
      {{"--update-check-url=http://check.test"}, hosts::kLiveServiceUrl, "http://check.test", false},
  };
  for (Case const& c : cases) {
    options(c.options);
    auto gui = make();
    EXPECT_EQ(Inspect::serviceUrl(*gui), c.service);
    EXPECT_EQ(Inspect::updateCheckUrl(*gui), c.updateCheck);
    EXPECT_EQ(Inspect::engineParams(*gui).get("devmode").asBoolean(!c.devmode), c.devmode);
  }
  EXPECT_NE(std::string(hosts::kLiveServiceUrl), hosts::kDevServiceUrl);
}

TEST_F(LauncherGUITest, ALogFileThatCannotBeCreatedLeavesTheConsole) {
  std::string logPath = dataDir("Zandor Works", "ZandorLauncher") + "/ZandorLauncherLog.txt";
  std::filesystem::create_directories(logPath);  // a folder where the file should be
  ka::LogSinkMemory console(0);
  options({});
  auto gui = make();
  ASSERT_FALSE(console.messages().empty());
  EXPECT_NE(console.messages().front().find(" ERROR Could not open log file " + logPath + " for output"),
            std::string::npos)
      << console.messages().front();
}

TEST_F(LauncherGUITest, BadConfigurationEndsTheStart) {
  write("config.json", "{\"company\": ");
  options({});
  EXPECT_THROW(make(), std::runtime_error);
}

TEST_F(LauncherGUITest, AMissingConfigurationEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::filesystem::remove(ui() + "/config.json");
  options({});
  // The threadsafe style runs the test again in a child, in a temporary folder of its own.
  EXPECT_DEATH(make(), "Failed to open /.*/ui/config.json");
}

}  // namespace
