#include "launcher_config.h"

#include <gtest/gtest.h>

#include <sstream>

#include "ka/logsink.h"
#include "launcher_version.h"

namespace {

ka::Json parse(std::string const& text) {
  std::istringstream in(text);
  return ka::Json::readFrom(in);
}

TEST(LauncherConfig, ReadsKeysWithNullForMissingTexts) {
  ka::Json full = parse(
      "{\"company\":\"Acme\",\"product\":\"Game\",\"executable_linux\":\"bin/game\","
      "\"executable_osx\":\"Game.app\",\"productCode\":\"AG\",\"titleId\":7}");
  LauncherConfig config = parseConfig(full);
  EXPECT_EQ(config.company, "Acme");
  EXPECT_EQ(config.product, "Game");
  EXPECT_EQ(config.executable, "bin/game");
  EXPECT_EQ(config.productCode, "AG");
  EXPECT_EQ(config.titleId, 7);

  ka::Json sparse = parse("{\"titleId\":\"7\",\"executable_osx\":\"Game.app\"}");
  config = parseConfig(sparse);
  EXPECT_EQ(config.titleId, 7);
  EXPECT_EQ(config.product, "null");
  EXPECT_EQ(config.executable, "null") << "only the Linux key names the executable here";
  ka::Json empty = parse("{}");
  EXPECT_EQ(parseConfig(empty).titleId, 0);
}

TEST(LauncherConfig, UnusableRootIsLoggedAndLeavesTheRecordEmpty) {
  ka::LogSinkMemory log(0);
  ka::Json root = parse("[\"not an object\"]");
  LauncherConfig config = parseConfig(root);
  EXPECT_EQ(config.company, "");
  EXPECT_EQ(config.titleId, 0);
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_NE(log.messages()[0].find(" ERROR Json value isn't an object"), std::string::npos);
}

TEST(LauncherVersion, IsThisBuildsNumber) { EXPECT_STREQ(getLauncherVersion(), "110299"); }

}  // namespace
