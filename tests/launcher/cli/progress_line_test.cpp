#include "cli/progress_line.h"

#include <gtest/gtest.h>

#include "support/text.h"

namespace {

TEST(ProgressLine, ShowsThePhaseStepsAndTransfer) {
  struct Case {
    char const* document;
    char const* line;
  } const cases[] = {
      {R"({"message":"Sanity test","errors":0,"index":0,"total":0})", "Sanity test"},
      {R"({"message":"Updating game files","errors":0,"index":3,"total":12})",
       "Updating game files [##......]   25%"},
      {R"({"message":"Downloading update 2","errors":0,"index":0,"total":4,"download":{
          "bytesPerSecond":"Calculating ...","etaSeconds":0,"totalExpectedBytes":4096,"totalBytesReceived":1024,
          "downloadsActive":1,"downloadsCompleted":0,"bytesProgress":"1.0 KB / 4.0 KB"}})",
       "Downloading update 2 [##......]   25%  Calculating ...  1.0 KB / 4.0 KB"},
      {R"({"message":"Downloading update 2","errors":0,"index":0,"total":4,"download":{
          "bytesPerSecond":"1.5 MB/s","etaSeconds":75.4,"totalExpectedBytes":100,"totalBytesReceived":100,
          "downloadsActive":2,"downloadsCompleted":2,"bytesProgress":"100 B / 100 B"}})",
       "Downloading update 2 [########]  100%  1.5 MB/s  ETA 1:15  100 B / 100 B"},
  };
  for (Case const& c : cases) EXPECT_EQ(cli::progressLine(parseJson(c.document), 8), c.line);
}

TEST(ProgressLine, FitsTheWidthGivenDroppingTheLeastTellingFirst) {
  ka::Json download = parseJson(R"({"message":"Downloading update 2","errors":0,"index":0,"total":4,"download":{
      "bytesPerSecond":"1.2 MB/s","etaSeconds":12,"totalExpectedBytes":1000,"totalBytesReceived":350,
      "downloadsActive":1,"downloadsCompleted":0,"bytesProgress":"3.5 MB / 10.0 MB"}})");
  struct Case {
    size_t width;
    char const* line;
  } const cases[] = {
      {std::string::npos,
       "Downloading update 2 [########................]   35%  1.2 MB/s  ETA 0:12  3.5 MB / 10.0 MB"},
      {79, "Downloading update 2 [####........]   35%  1.2 MB/s  ETA 0:12  3.5 MB / 10.0 MB"},
      {60, "Downloading update 2 [####.......]   35%  1.2 MB/s  ETA 0:12"},
      {50, "Downloading update 2 [####.......]   35%  1.2 MB/s"},
      {40, "Downloading update 2 [####.......]   35%"},
      {30, "Downloading update 2   35%"},
      {20, "Downloading...   35%"},
      {4, "D..."},
  };
  for (Case const& c : cases) {
    std::string line = cli::progressLine(download, 24, c.width);
    EXPECT_EQ(line, c.line) << c.width;
    EXPECT_LE(line.size(), c.width);
  }
  ka::Json steps = parseJson(R"({"message":"Updating game files","errors":0,"index":3,"total":12})");
  EXPECT_EQ(cli::progressLine(steps, 24, 40), "Updating game files [###.........]   25%");
  EXPECT_EQ(cli::progressLine(parseJson(R"({"message":"Sanity test","index":0,"total":0})"), 24, 8), "Sanit...");
}

TEST(ProgressLine, FindsTheMessageOfAFailure) {
  EXPECT_EQ(cli::failureMessage(R"({"Message":"canceled"})"), "canceled");
  EXPECT_EQ(cli::failureMessage(R"({"ErrorCode":-1,"Message":"{\"ErrorCode\":1001,\"Message\":\"Wrong password.\"}"})"),
            "Wrong password.");
  EXPECT_EQ(cli::failureMessage("not json"), "not json");
  EXPECT_EQ(cli::failureMessage(R"({"Other":1})"), R"({"Other":1})");
}

}  // namespace
