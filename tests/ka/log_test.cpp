#include "ka/log.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "ka/logsink.h"

namespace {

TEST(Log, LinesCarryTimeLevelAndText) {
  ka::LogSinkMemory sink(0);
  KA_LOG(Info) << "hello " << 42;
  KA_LOG(Error) << "bad";
  ASSERT_EQ(sink.messages().size(), 2u);
  EXPECT_TRUE(std::regex_match(sink.messages()[0], std::regex(R"(\[\d\d:\d\d:\d\d\.\d{3}\] INFO hello 42\n)")))
      << sink.messages()[0];
  EXPECT_TRUE(std::regex_match(sink.messages()[1], std::regex(R"(\[[^\]]+\] ERROR bad\n)")));
}

TEST(Log, SuppressedLevelsFormatNothing) {
  ka::LogSinkMemory sink(0);
  int formatted = 0;
  auto expensive = [&] { return ++formatted; };
  KA_LOG(Debug) << expensive();
  EXPECT_EQ(formatted, 0);
  EXPECT_TRUE(sink.messages().empty());
  ka::setLogReportingLevel(ka::LogLevel::Trace);
  KA_LOG(Debug) << expensive();
  ka::setLogReportingLevel(ka::LogLevel::Info);
  EXPECT_EQ(formatted, 1);
  EXPECT_EQ(sink.messages().size(), 1u);
}

TEST(Log, EverySinkGetsEveryLineAndMemoryKeepsOneBeyondItsLimit) {
  std::ostringstream stream;
  ka::LogSinkStream streamSink(stream);
  ka::LogSinkMemory limited(2);
  for (int i = 1; i <= 5; ++i) ka::LogSink::broadcast("line " + std::to_string(i) + "\n");
  EXPECT_EQ(stream.str(), "line 1\nline 2\nline 3\nline 4\nline 5\n");
  ASSERT_EQ(limited.messages().size(), 3u);
  EXPECT_EQ(limited.messages().front(), "line 3\n");
  limited.clear();
  EXPECT_TRUE(limited.messages().empty());
}

TEST(Log, ASinkStopsReceivingWhenDestroyed) {
  ka::LogSinkMemory outer(0);
  {
    ka::LogSinkMemory inner(0);
    ka::LogSink::broadcast("a\n");
    EXPECT_EQ(inner.messages().size(), 1u);
  }
  ka::LogSink::broadcast("b\n");
  EXPECT_EQ(outer.messages().size(), 2u);
}

}  // namespace
