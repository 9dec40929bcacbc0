// The frame profiler: a per-frame tree of named time sections and named event counters, cheap
// enough to stay on. The rasterizer and the renderer note their calls; the platform turns the
// frame over.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <utility>
#include <vector>

#include "ka/timer.h"

namespace vorn {

// Names are compared as pointers, never as text, so that noting an event costs a few pointer
// comparisons: a name must be a string with static storage, and the same pointer must be used each
// time. The same text in two different literals (or arrays) makes two entries.
struct SectionData {
  // std::less gives pointers a total order, where < on unrelated pointers would not.
  using EventMap = std::map<char const*, int64_t, std::less<char const*>>;
  using SectionMap = std::map<char const*, SectionData, std::less<char const*>>;

  // Cycles of ka::Timer spent in this section.
  int64_t total = 0;
  EventMap events;
  SectionMap subSections;
  // Cleared each time the section is entered as a sub-section; nothing in this system reads it
  // or the flag byte.
  uint64_t cleared = 0;
  uint8_t flag = 0;

  SectionData() = default;
  SectionData(SectionData const&) = default;
  SectionData(SectionData&&) = default;
  SectionData& operator=(SectionData const&) = default;
  SectionData& operator=(SectionData&&) = default;

  // Back to an empty section: no time, no events, no sub-sections.
  void reset();
  // Adds totals and events by name, and sub-sections recursively; sub-sections and events that
  // `other` alone has are copied in.
  SectionData& operator+=(SectionData const& other);
  // Exchanges the whole contents without copying or allocating.
  void swap(SectionData& other) noexcept;
};

// One per thread at a time: it has no lock.
class Profiler {
 public:
  Profiler();
  // The stack points into the profiler itself.
  Profiler(Profiler const&) = delete;
  Profiler& operator=(Profiler const&) = delete;

  // The last finished frame.
  virtual SectionData const& profileData() const { return last_; }
  // The factor a report of profileData() is to be given.
  virtual float scale() const { return 1.0f; }
  // After the two operations above, so that they keep the first slots.
  virtual ~Profiler() = default;

  // Adds `count` to the event `name` of the innermost open section.
  void noteEvent(char const* name, long long count);
  // Opens the sub-section `name` of the innermost open section, making it if it is new.
  void startSubSection(char const* name);
  // Closes the innermost sub-section and returns the cycles it was open; its total grows by as
  // much. Calls must pair up with startSubSection; only debug builds check.
  int64_t endSubSection();
  // Ends the running frame, which becomes profileData(), and starts an empty one. Call it with
  // no sub-section open; the platform calls it after each present.
  void nextFrame();

  // The frame being recorded.
  SectionData const& runningData() const { return running_; }

 private:
  ka::Timer timer_;
  SectionData running_;
  SectionData last_;
  // The open sections with the elapsed cycles at which each was entered; the bottom entry is
  // running_ and stays there.
  std::vector<std::pair<SectionData*, int64_t>> stack_;
};

// Streams a section's tree of times and events: the total; if there are sub-sections, each on a
// line of its own, indented 4 more, with its own tree, and a line "other: " with the time not in
// any of them; then a line for each event. Times are scaled as ka::CyclesAsSeconds, counts as
// ka::Count.
struct SectionReport {
  SectionData const& section;
  int indent = 0;
  float scale = 1.0f;
};
std::ostream& operator<<(std::ostream& os, SectionReport const& r);

// The same tree for a section whose events are byte counts: the "other: " line has a plain
// number, and the events are listed in MB, largest first, and totalled.
struct SectionReportMemory {
  SectionData const& section;
  int indent = 0;
};
std::ostream& operator<<(std::ostream& os, SectionReportMemory const& r);

}  // namespace vorn
