#include "ka/cmd_line.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace {

using ka::CmdLineArgument;

CmdLineArgument::Help help(char const* text) {
  return [text] { return std::string(text); };
}

CmdLineArgument optDir("-d", nullptr, CmdLineArgument::String, help("directory"));
CmdLineArgument optName(nullptr, "--name", CmdLineArgument::String, help("a name"),
                        [](ka::StringRange v) { return !v.empty(); });
CmdLineArgument optCount("-n", "--count", CmdLineArgument::Int, help("how many"));
CmdLineArgument optScale(nullptr, "--scale", CmdLineArgument::Float, help("scale"));
CmdLineArgument optVerbose("-v", "--verbose", CmdLineArgument::Flag, help("talk more"));
CmdLineArgument optSecret(nullptr, "--secret", CmdLineArgument::Flag, help("hidden"), nullptr, true);
CmdLineArgument optQuiet(nullptr, "--quiet", CmdLineArgument::Flag, help(""));

struct Parsed {
  bool ok;
  std::string err;
};

Parsed process(std::vector<char const*> args) {
  args.insert(args.begin(), "prog");
  std::ostringstream err;
  bool ok = ka::cmd_line::process(int(args.size()), args.data(), err);
  return {ok, err.str()};
}

TEST(CmdLine, TakesValuesInEveryForm) {
  struct Case {
    std::vector<char const*> args;
    char const* dir;
  } const cases[] = {
      {{"-dFOO"}, "FOO"}, {{"-d", "FOO"}, "FOO"}, {{"-d=FOO"}, "=FOO"}, {{"-d", "-v"}, "-v"},
  };
  for (Case const& c : cases) {
    ASSERT_TRUE(process(c.args).ok);
    ka::StringRange value;
    ASSERT_TRUE(ka::cmd_line::getArgVal("-d", value));
    EXPECT_EQ(value.str(), c.dir);
  }
  ASSERT_TRUE(process({"--count=12", "--scale", "1.5", "pos1", "", "--verbose", "pos2"}).ok);
  int count = 0;
  float scale = 0;
  EXPECT_TRUE(ka::cmd_line::getArgVal("-n", count));
  EXPECT_EQ(count, 12);
  EXPECT_TRUE(ka::cmd_line::getArgVal("--scale", scale));
  EXPECT_EQ(scale, 1.5f);
  EXPECT_TRUE(ka::cmd_line::hasFlag("-v"));
  EXPECT_FALSE(ka::cmd_line::getArgVal("--verbose", count)) << "a flag has no Int value";
  ASSERT_EQ(ka::cmd_line::positionals().size(), 3u);
  EXPECT_EQ(ka::cmd_line::positionals()[1].str(), "");
  EXPECT_EQ(ka::cmd_line::args().size(), 8u);

  ka::cmd_line::reset();
  EXPECT_FALSE(ka::cmd_line::hasFlag("-v"));
  EXPECT_FALSE(ka::cmd_line::getArgVal("-n", count));
  EXPECT_TRUE(ka::cmd_line::positionals().empty());
}

TEST(CmdLine, ReportsTheFirstFaultAndStops) {
  struct Case {
    std::vector<char const*> args;
    char const* err;
  } const cases[] = {
      {{"--bogus", "--verbose"}, "Unknown command line option --bogus\n"},
      {{"--name"}, "Missing value for --name option\na name\n"},
      {{"--name="}, "Invalid flag set: --name=\na name\n"},
      {{"--name", ""}, "Invalid flag set: --name\na name\n"},
      {{"--namesake"}, "Unknown command line option --namesake\n"},
  };
  for (Case const& c : cases) {
    Parsed run = process(c.args);
    EXPECT_FALSE(run.ok);
    EXPECT_EQ(run.err, c.err);
  }
  CmdLineArgument late(nullptr, "--late", CmdLineArgument::Flag, help("late"));
  process({"--bogus", "--late"});
  EXPECT_FALSE(late.isSet()) << "options behind a fault are not looked at";
}

TEST(CmdLine, UsageListsVisibleOptionsInRegistrationOrder) {
  process({});
  std::ostringstream out;
  ka::cmd_line::usage(out);
  EXPECT_EQ(out.str(),
            "usage: prog [options]\n"
            "-d   |                          : directory\n"
            "     | --name                   : a name\n"
            "-n   | --count                  : how many\n"
            "     | --scale                  : scale\n"
            "-v   | --verbose                : talk more\n");
}

TEST(CmdLine, DuplicateNamesAreRefusedExceptAgainstTheTail) {
  try {
    CmdLineArgument again("-d", nullptr, CmdLineArgument::Flag, help("x"));
    ADD_FAILURE() << "duplicate accepted";
  } catch (std::runtime_error const& e) {
    EXPECT_STREQ(e.what(), "Duplicate command line argument registered. Short=-d, Long=");
  }
  EXPECT_THROW(CmdLineArgument(nullptr, "--count", CmdLineArgument::Flag, help("x")), std::runtime_error);
  // The current tail is never compared, so a twin of the last option gets in.
  CmdLineArgument twin(nullptr, "--quiet", CmdLineArgument::Flag, help("twin"));
  EXPECT_TRUE(process({"--quiet"}).ok);
}

TEST(CmdLine, PassthroughSilencesUnknownOptions) {
  CmdLineArgument pass(nullptr, "--pass", CmdLineArgument::Passthrough, help("pass"));
  Parsed run = process({"--unknown", "-v"});
  EXPECT_TRUE(run.ok);
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(ka::cmd_line::hasFlag("--verbose"));
}

TEST(CmdLine, SplitsACommandLineIntoWords) {
  struct Case {
    char const* line;
    std::vector<std::string> words;
  } const cases[] = {
      {"a b\tc", {"a", "b", "c"}},
      {"  \"\"  ", {}},
      {"\"a b\" c", {"a b", "c"}},
      {"a\\\\\\\"b", {"a\\\"b"}},
      {"a\\\\\"b c\"", {"a\\b c"}},
      {"a\\\\b", {"a\\\\b"}},
      {"x\"open quote", {"xopen quote"}},
  };
  for (Case const& c : cases) EXPECT_EQ(ka::cmd_line::parseCmdLine(c.line), c.words) << c.line;
}

}  // namespace
