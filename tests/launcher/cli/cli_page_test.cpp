#include "cli/cli_page.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

namespace {

// Occurrences of `what` in `text`.
size_t count(std::string const& text, std::string const& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

TEST(CliPage, AJobThreadsEventAndTheFramesProgressDoNotMix) {
  // A failed disk test is reported from the job thread while the frame sends progress.
  webui::EventListener system;
  std::ostringstream out, err;
  std::atomic<bool> interrupted{false};
  cli::CliPage page(&system, {}, out, err, true, interrupted);
  int const events = 300;
  std::thread job([&] {
    for (int i = 0; i < events; ++i) page.TriggerEvent("sanityTestFailed");
  });
  for (int i = 0; i < events; ++i)
    page.TriggerEvent("asyncProgress", std::string(R"({"message":"Sanity test","index":0,"total":0})"));
  job.join();
  page.update(0);
  EXPECT_EQ(count(err.str(), "Warning: the test of the game's disk found problems"), size_t(events));
  EXPECT_EQ(count(out.str(), "Sanity test"), size_t(events));
}

}  // namespace
