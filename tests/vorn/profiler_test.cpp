// The frame profiler: names as pointers, turning the frame over, merging trees, and the reports.
#include "vorn/profiler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using vorn::Profiler;
using vorn::SectionData;
using vorn::SectionReport;
using vorn::SectionReportMemory;

// Names live in one array, so that their pointer order, which is the order of a section's maps,
// is their order here and reports come out in a known order.
constexpr char kNames[][10] = {"render", "swap",     "draw",    "tris",   "quads",
                               "gpu",    "textures", "buffers", "meshes", "fonts"};
char const* const kRender = kNames[0];
char const* const kSwap = kNames[1];
char const* const kDraw = kNames[2];
char const* const kTris = kNames[3];
char const* const kQuads = kNames[4];
char const* const kGpu = kNames[5];
char const* const kTextures = kNames[6];
char const* const kBuffers = kNames[7];
char const* const kMeshes = kNames[8];
char const* const kFonts = kNames[9];

template <typename Report>
std::string str(Report const& report) {
  std::ostringstream os;
  os << report;
  return os.str();
}

void expectEmpty(SectionData const& s) {
  EXPECT_EQ(s.total, 0);
  EXPECT_TRUE(s.events.empty());
  EXPECT_TRUE(s.subSections.empty());
}

TEST(Profiler, SameTextInTwoArraysMakesTwoEntries) {
  // Two distinct arrays are two objects, so unlike two equal literals they cannot be merged.
  static char const first[] = "draw";
  static char const second[] = "draw";
  ASSERT_NE(static_cast<char const*>(first), static_cast<char const*>(second));

  Profiler p;
  p.noteEvent(first, 1);
  p.noteEvent(second, 4);
  p.noteEvent(first, 2);
  p.startSubSection(first);
  p.endSubSection();
  p.startSubSection(second);
  p.endSubSection();

  SectionData const& frame = p.runningData();
  EXPECT_EQ(frame.events, (SectionData::EventMap{{first, 3}, {second, 4}}));
  EXPECT_EQ(frame.subSections.size(), 2u);
}

TEST(Profiler, NextFrameShowsTheFrameJustEndedAndEmptiesTheRunningOne) {
  Profiler p;
  p.noteEvent(kQuads, 5);
  p.startSubSection(kSwap);
  int64_t swapped = p.endSubSection();
  SectionData const* swapSection = &p.runningData().subSections.at(kSwap);
  p.nextFrame();

  SectionData const& first = p.profileData();
  EXPECT_EQ(first.events.at(kQuads), 5);
  ASSERT_TRUE(first.subSections.contains(kSwap));
  EXPECT_EQ(first.subSections.at(kSwap).total, swapped);
  EXPECT_EQ(&first.subSections.at(kSwap), swapSection) << "the frame is swapped over, not copied";
  expectEmpty(p.runningData());

  // The next frame replaces it whole: nothing of the first is left over.
  p.noteEvent(kTris, 7);
  p.nextFrame();
  EXPECT_EQ(p.profileData().events, (SectionData::EventMap{{kTris, 7}}));
  EXPECT_TRUE(p.profileData().subSections.empty());
  expectEmpty(p.runningData());
}

TEST(Profiler, EventsAndTimesGoToTheInnermostOpenSection) {
  Profiler p;
  p.noteEvent(kQuads, 1);
  p.startSubSection(kRender);
  p.noteEvent(kQuads, 2);
  p.startSubSection(kDraw);
  p.noteEvent(kTris, 3);
  p.noteEvent(kTris, 4);
  int64_t draw1 = p.endSubSection();
  p.noteEvent(kTris, 5);
  int64_t render1 = p.endSubSection();
  p.noteEvent(kQuads, 6);
  // Opened again, a section adds to what it has.
  p.startSubSection(kRender);
  p.startSubSection(kDraw);
  int64_t draw2 = p.endSubSection();
  int64_t render2 = p.endSubSection();

  SectionData const& frame = p.runningData();
  EXPECT_EQ(frame.events, (SectionData::EventMap{{kQuads, 7}}));
  EXPECT_EQ(frame.total, 0) << "the frame's own time is added when it ends";
  ASSERT_EQ(frame.subSections.size(), 1u);
  SectionData const& render = frame.subSections.at(kRender);
  EXPECT_EQ(render.events, (SectionData::EventMap{{kQuads, 2}, {kTris, 5}}));
  EXPECT_EQ(render.total, render1 + render2);
  ASSERT_EQ(render.subSections.size(), 1u);
  SectionData const& draw = render.subSections.at(kDraw);
  EXPECT_EQ(draw.events, (SectionData::EventMap{{kTris, 7}}));
  EXPECT_EQ(draw.total, draw1 + draw2);
  EXPECT_TRUE(draw.subSections.empty());
}

TEST(SectionData, PlusEqualsMergesTrees) {
  SectionData a;
  a.total = 10;
  a.events = {{kQuads, 1}, {kTris, 2}};
  a.subSections[kRender].total = 5;
  a.subSections[kRender].events[kTris] = 3;
  a.subSections[kRender].subSections[kDraw].total = 1;

  SectionData b;
  b.total = 7;
  b.events = {{kTris, 5}, {kGpu, 1}};
  b.subSections[kRender].total = 2;
  b.subSections[kRender].events[kQuads] = 6;
  b.subSections[kRender].subSections[kSwap].total = 4;
  b.subSections[kSwap].total = 3;
  b.subSections[kSwap].events[kTris] = 8;

  a += b;
  EXPECT_EQ(a.total, 17);
  EXPECT_EQ(a.events, (SectionData::EventMap{{kQuads, 1}, {kTris, 7}, {kGpu, 1}}));
  ASSERT_EQ(a.subSections.size(), 2u);
  SectionData const& render = a.subSections.at(kRender);
  EXPECT_EQ(render.total, 7);
  EXPECT_EQ(render.events, (SectionData::EventMap{{kTris, 3}, {kQuads, 6}}));
  ASSERT_EQ(render.subSections.size(), 2u);
  EXPECT_EQ(render.subSections.at(kDraw).total, 1);
  EXPECT_EQ(render.subSections.at(kSwap).total, 4);
  SectionData const& swap = a.subSections.at(kSwap);
  EXPECT_EQ(swap.total, 3);
  EXPECT_EQ(swap.events, (SectionData::EventMap{{kTris, 8}}));
}

TEST(SectionReport, AFrameWithNoSubSectionsHasNoOtherLine) {
  SectionData s;
  s.total = 4000000;
  s.events = {{kTris, 300}, {kQuads, 12}};
  EXPECT_EQ(str(SectionReport{s}), "4.00 msec\ntris: 300\nquads: 12");
  SectionData bare;
  bare.total = 1000000;
  EXPECT_EQ(str(SectionReport{bare}), "1.00 msec");
}

TEST(SectionReport, NestedSectionsAreIndentedAndOtherIsWhatTheyLeave) {
  SectionData s;
  s.total = 10000000;  // 10 ms at one cycle a nanosecond
  s.events[kQuads] = 4000;
  SectionData& render = s.subSections[kRender];
  render.total = 6000000;
  render.events[kTris] = 300;
  render.subSections[kDraw].total = 2500000;
  s.subSections[kSwap].total = 2000000;

  // Sub-sections four further in; a section's "other: " and events at its own indent. The first line
  // follows whatever the caller wrote, and the scale halves times and counts alike.
  EXPECT_EQ(str(SectionReport{s, 2, 0.5f}),
            "5.00 msec\n"
            "      render: 3.00 msec\n"
            "          draw: 1.25 msec\n"
            "      other: 1.75 msec\n"
            "      tris: 150\n"
            "      swap: 1.00 msec\n"
            "  other: 1.00 msec\n"
            "  quads: 2.00 K");
}

TEST(SectionReportMemory, ListsBytesInMBLargestFirstWithTheirTotal) {
  SectionData s;
  s.total = 1000;
  s.events = {{kMeshes, 524288}, {kFonts, 3145728}};
  SectionData& gpu = s.subSections[kGpu];
  gpu.total = 600;
  // Equal sizes by name: "textures" has the lower address, "buffers" the earlier name.
  gpu.events = {{kTextures, 1048576}, {kBuffers, 1048576}};

  // At this precision, a factor of 9.536743e-7 in double rather than single precision (where it is
  // exactly 1 / 2^20) would show a whole MB as 0.999999...
  std::ostringstream os;
  os.precision(12);
  os << SectionReportMemory{s};
  EXPECT_EQ(os.str(),
            "1.00 usec\n"
            "    gpu: 0.600 usec\n"
            "    buffers: 1MB\n"
            "    textures: 1MB\n"
            "    Total memory: 2MB\n"
            "other: 400\n"
            "fonts: 3MB\n"
            "meshes: 0.5MB\n"
            "Total memory: 3.5MB");
}

}  // namespace
