// Virtual texturing's bookkeeping on synthetic feedback: addresses, the pages a read-back queues,
// the mip bias, which slot a page takes and which page leaves, and pages made stale.
#include "vorn/rasren_private/vt_page_table.h"

#include <gtest/gtest.h>

namespace {

using namespace vorn;

// Every texture exists with 8 mips.
int eightMips(int) { return 8; }

TEST(VTAddressTest, FeedbackAndPageMapTexelsFollowTheirBitLayouts) {
  // x = 0xABC, y = 0x123 at mip 0; asked at mip 2 of texture 5.
  EXPECT_EQ(encodeFeedback(0xABC, 0x123, 2, 5), 0x521A23BCu);
  VTAddress page = decodeFeedback(0x521A23BCu);
  EXPECT_EQ(page.x, 0xABC >> 2);
  EXPECT_EQ(page.y, 0x123 >> 2);
  EXPECT_EQ(page.mip, 2);
  EXPECT_EQ(page.textureId, 5);
  // Slot 0x1234 of a cache 0x100 columns wide: column 0x34, row 0x12; max mip 10, mip 3.
  EXPECT_EQ(pageMapTexel(0x1234, 0x100, 10, 3), 0x07001234u);
  // Column 0x345 and row 0x123 of a wider cache: the high bits share the third byte.
  EXPECT_EQ(pageMapTexel(0x123 * 0x1000 + 0x345, 0x1000, 4, 4), 0x00132345u);
  // FNV-1a with this offset basis, the last byte's xor not multiplied.
  EXPECT_EQ(vtBlockHash(0, 0, 0, 0), 0xd7e4fcfa299d713dull);
  EXPECT_EQ(vtBlockHash(0x1234, 0x5678, 3, 9), 0xcbf93b824036c17dull);
}

TEST(VTPageTableTest, APixelQueuesItsPageAndItsParentOnce) {
  VTPageTable table;
  table.reset(16, 128);
  uint32_t const wanted = encodeFeedback(10, 14, 0, 1);
  std::vector<uint32_t> pixels = {kVTNoPage, wanted, wanted, wanted, kVTNoPage, wanted};
  table.updateActivePages(pixels.data(), pixels.size());
  EXPECT_EQ(table.seen(), 2) << "the page and its parent, however many pixels ask";
  EXPECT_EQ(table.requested(), 2);
  ASSERT_NE(table.find(10, 14, 0, 1), nullptr);
  ASSERT_NE(table.find(5, 7, 1, 1), nullptr) << "the parent";
  EXPECT_EQ(table.blockCount(), 2u);

  // No stale pages: the candidates, coarsest mip first.
  VTBlock* first = table.getNextRequestedPage(eightMips);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->mip, 1);
  EXPECT_EQ(table.getNextRequestedPage(eightMips)->mip, 0);
}

TEST(VTPageTableTest, Mips14And15AreSkippedAndMip13HasNoParent) {
  VTPageTable table;
  table.reset(16, 128);
  std::vector<uint32_t> pixels = {encodeFeedback(0, 0, 14, 0), encodeFeedback(0, 0, 15, 0),
                                  encodeFeedback(0, 0, 13, 2)};
  table.updateActivePages(pixels.data(), pixels.size());
  EXPECT_EQ(table.blockCount(), 1u);
  EXPECT_NE(table.find(0, 0, 13, 2), nullptr);
}

TEST(VTPageTableTest, TheMipBiasFollowsHowManyPagesAreWanted) {
  VTPageTable table;
  table.reset(12, 128);  // a ceiling of ceil(log2 128) - 1 = 6
  // Each pixel a page of its own and a parent of its own: two pages seen and requested.
  auto readBack = [&](int pixelCount) {
    std::vector<uint32_t> pixels;
    for (int i = 0; i < pixelCount; ++i) pixels.push_back(encodeFeedback(2 * i, 0, 0, 0));
    table.updateActivePages(pixels.data(), pixels.size());
  };
  readBack(9);  // 18 requested, more than 12 * 4 / 3 = 16
  EXPECT_FLOAT_EQ(table.mipBias(), 3.0f);
  readBack(7);  // above 1.5 now; 14 seen of 12 slots
  EXPECT_FLOAT_EQ(table.mipBias(), 3.1f);
  readBack(4);  // 8: between half and all the slots
  EXPECT_FLOAT_EQ(table.mipBias(), 3.1f);
  readBack(1);  // 2, under half: (2 / 12 - 1) * 0.1
  EXPECT_NEAR(table.mipBias(), 3.1f - 5.0f / 60, 1e-5);
  table.setMipBias(5.95f);
  readBack(7);
  EXPECT_FLOAT_EQ(table.mipBias(), 6.0f) << "at most ceil(log2(page size)) - 1";
  table.setMipBias(-0.45f);
  readBack(0);
  EXPECT_FLOAT_EQ(table.mipBias(), -0.5f) << "at least -0.5";
}

TEST(VTPageTableTest, SlotsFillFromZeroThenTheLongestUnseenFinePageLeaves) {
  VTPageTable table;
  table.reset(3, 128);
  auto see = [&](std::vector<VTBlock*> const& blocks) {
    std::vector<uint32_t> pixels;
    for (VTBlock* b : blocks) pixels.push_back(encodeFeedback(b->x << b->mip, b->y << b->mip, b->mip, 0));
    table.updateActivePages(pixels.data(), pixels.size());
  };
  VTBlock* coarse = table.findOrCreate(0, 0, 10, 0);
  VTBlock* fine = table.findOrCreate(1, 0, 2, 0);
  VTBlock* recent = table.findOrCreate(0, 1, 10, 0);
  EXPECT_EQ(table.allocatePageSlot(coarse, nullptr), 0) << "the first page taken goes to slot 0";
  EXPECT_EQ(table.allocatePageSlot(fine, nullptr), 1);
  EXPECT_EQ(table.allocatePageSlot(recent, nullptr), 2);

  // A read-back forgets pages not in the cache: the newcomer is made after it.
  see({coarse, fine, recent});
  VTBlock* newcomer = table.findOrCreate(3, 3, 0, 0);
  VTBlock evicted;
  EXPECT_EQ(table.allocatePageSlot(newcomer, &evicted), -1) << "every page was seen this frame";

  // Four frames on, only `recent` still seen: coarse and fine score 4 | 1 << (14 - mip).
  for (int frame = 0; frame < 4; ++frame) see({recent});
  newcomer = table.findOrCreate(3, 3, 0, 0);
  EXPECT_EQ(table.allocatePageSlot(newcomer, &evicted), 1) << "the fine page goes first";
  EXPECT_EQ(evicted.mip, 2);
  EXPECT_EQ(fine->slot, -1);
  EXPECT_EQ(table.slot(1), newcomer);

  // A stale page is the fallback when every other page is needed.
  std::vector<std::array<float, 4>> everything = {{0, 0, 1, 1}};
  see({coarse, newcomer, recent});
  table.updateDirtyPages(0, 2048, 2048, everything);
  EXPECT_TRUE(coarse->dirty && recent->dirty && newcomer->dirty);
  VTBlock* another = table.findOrCreate(2, 2, 0, 0);
  EXPECT_EQ(table.allocatePageSlot(another, &evicted), 0) << "the first stale page";
}

TEST(VTPageTableTest, StalePagesAndWantedPagesTakeTurnsByFrame) {
  VTPageTable table;
  table.reset(8, 128);
  VTBlock* resident = table.findOrCreate(0, 0, 0, 0);
  table.allocatePageSlot(resident, nullptr);
  // Two pages 16 pages across: a region over the right half touches only the page at x 12.
  VTBlock* right = table.findOrCreate(12, 0, 0, 0);
  table.allocatePageSlot(right, nullptr);
  std::vector<uint32_t> wanted = {encodeFeedback(4, 4, 3, 0)};
  table.updateActivePages(wanted.data(), wanted.size());  // frame 1: odd
  table.updateDirtyPages(0, 16, 16, {{0.5f, 0, 1, 1}});
  EXPECT_FALSE(resident->dirty);
  EXPECT_TRUE(right->dirty);
  // Neither queued nor seen: the stale page is resident, so it is taken first in an odd frame.
  EXPECT_EQ(table.getNextRequestedPage(eightMips), right);
  EXPECT_FALSE(right->dirty);
  VTBlock* candidate = table.getNextRequestedPage(eightMips);
  ASSERT_NE(candidate, nullptr);
  EXPECT_EQ(candidate->mip, 4) << "candidates from the coarsest mip: the parent first";
  EXPECT_EQ(table.getNextRequestedPage(eightMips)->mip, 3);
  EXPECT_EQ(table.getNextRequestedPage(eightMips), nullptr);
  EXPECT_EQ(table.getNextRequestedPage([](int) { return 0; }), nullptr) << "no texture";

  // A stale page drawn again is clean and off the stale list, so that once evicted and forgotten
  // nothing refers to it.
  table.updateDirtyPages(0, 16, 16, {{0, 0, 0.25f, 1}});
  ASSERT_TRUE(resident->dirty);
  table.markClean(resident);
  VTBlock evicted;
  for (int frame = 0; frame < 4; ++frame) table.updateActivePages(nullptr, 0);
  for (int i = 0; i < 6; ++i) table.allocatePageSlot(table.findOrCreate(i, 9, 0, 0), nullptr);  // slots 2 to 7
  ASSERT_EQ(table.allocatePageSlot(table.findOrCreate(8, 9, 0, 0), &evicted), 0) << "the unseen page leaves";
  table.updateActivePages(nullptr, 0);
  EXPECT_EQ(table.getNextRequestedPage(eightMips), nullptr);

  // A removed texture's pages leave the table and free their slots, queued ones too.
  table.updateActivePages(wanted.data(), wanted.size());
  table.removeTexture(0);
  EXPECT_EQ(table.blockCount(), 0u);
  EXPECT_EQ(table.slot(0), nullptr);
  EXPECT_EQ(table.getNextRequestedPage(eightMips), nullptr);
  EXPECT_LT(table.allocatePageSlot(table.findOrCreate(1, 1, 0, 1), nullptr), 2) << "slots 0 and 1 are free again";
}

}  // namespace
