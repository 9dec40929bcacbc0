#include "profiler.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "ka/printutil.h"

namespace vorn {

void SectionData::reset() {
  total = 0;
  events.clear();
  subSections.clear();
  cleared = 0;
  flag = 0;
}

SectionData& SectionData::operator+=(SectionData const& other) {
  total += other.total;
  for (auto const& [name, count] : other.events) events[name] += count;
  for (auto const& [name, section] : other.subSections) {
    auto found = subSections.find(name);
    if (found == subSections.end()) {
      subSections.emplace(name, section);
    } else {
      found->second += section;
    }
  }
  return *this;
}

void SectionData::swap(SectionData& other) noexcept {
  std::swap(total, other.total);
  events.swap(other.events);
  subSections.swap(other.subSections);
  std::swap(cleared, other.cleared);
  std::swap(flag, other.flag);
}

Profiler::Profiler() {
  // Deep enough for any nesting in use, so that opening a section does not allocate.
  stack_.reserve(16);
  stack_.emplace_back(&running_, timer_.elapsedCycles());
}

void Profiler::noteEvent(char const* name, long long count) { stack_.back().first->events[name] += count; }

void Profiler::startSubSection(char const* name) {
  SectionData& section = stack_.back().first->subSections[name];
  section.cleared = 0;
  // Map nodes do not move, so the pointer holds while siblings are added.
  stack_.emplace_back(&section, timer_.elapsedCycles());
}

int64_t Profiler::endSubSection() {
  assert(stack_.size() > 1 && "endSubSection without a matching startSubSection");
  auto [section, start] = stack_.back();
  int64_t duration = timer_.elapsedCycles() - start;
  section->total += duration;
  stack_.pop_back();
  return duration;
}

void Profiler::nextFrame() {
  assert(stack_.size() == 1 && "nextFrame with a sub-section open");
  int64_t now = timer_.elapsedCycles();
  running_.total += now - stack_.back().second;
  // Swapped, not copied: the frame's maps change hands without a node being copied.
  running_.swap(last_);
  running_.reset();
  stack_.back().second = now;
}

std::ostream& operator<<(std::ostream& os, SectionReport const& r) {
  SectionData const& s = r.section;
  os << ka::CyclesAsSeconds{s.total, r.scale};
  if (!s.subSections.empty()) {
    int64_t inSubSections = 0;
    for (auto const& [name, sub] : s.subSections) {
      os << '\n' << ka::Indent{r.indent + 4} << name << ": " << SectionReport{sub, r.indent + 4, r.scale};
      inSubSections += sub.total;
    }
    os << '\n' << ka::Indent{r.indent} << "other: " << ka::CyclesAsSeconds{s.total - inSubSections, r.scale};
  }
  for (auto const& [name, count] : s.events) {
    os << '\n' << ka::Indent{r.indent} << name << ": " << ka::Count{count, r.scale};
  }
  return os;
}

std::ostream& operator<<(std::ostream& os, SectionReportMemory const& r) {
  // 1 / 2^20 in single precision (where it is exact): bytes to MB.
  constexpr float kBytesToMB = 9.536743e-7f;
  SectionData const& s = r.section;
  os << ka::CyclesAsSeconds{s.total};
  if (!s.subSections.empty()) {
    int64_t inSubSections = 0;
    for (auto const& [name, sub] : s.subSections) {
      os << '\n' << ka::Indent{r.indent + 4} << name << ": " << SectionReportMemory{sub, r.indent + 4};
      inSubSections += sub.total;
    }
    os << '\n' << ka::Indent{r.indent} << "other: " << s.total - inSubSections;
  }
  // Largest first; equal sizes by name, so that the order does not hang on where names are stored.
  std::vector<std::pair<char const*, int64_t>> sorted(s.events.begin(), s.events.end());
  std::sort(sorted.begin(), sorted.end(), [](auto const& a, auto const& b) {
    if (a.second != b.second) return a.second > b.second;
    return std::strcmp(a.first, b.first) < 0;
  });
  int64_t bytes = 0;
  for (auto const& [name, count] : sorted) {
    os << '\n' << ka::Indent{r.indent} << name << ": " << float(count) * kBytesToMB << "MB";
    bytes += count;
  }
  os << '\n' << ka::Indent{r.indent} << "Total memory: " << float(bytes) * kBytesToMB << "MB";
  return os;
}

}  // namespace vorn
