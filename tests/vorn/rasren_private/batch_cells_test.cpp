// The batched group's cells: which cell a position falls in, slots taken and given back, and the
// gathered transforms by cell and block.
#include "vorn/rasren_private/batch_cells.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using vorn::RasRenBatchCells;

ka::Mat4x4f at(ka::Vec3<float> const& position) { return ka::Mat4x4f::translation(position); }

// Latitude and longitude in degrees on a sphere of radius 100, z up.
ka::Vec3<float> onSphere(double latitude, double longitude) {
  double lat = latitude * M_PI / 180, lon = longitude * M_PI / 180;
  return {float(100 * std::cos(lat) * std::cos(lon)), float(100 * std::cos(lat) * std::sin(lon)),
          float(100 * std::sin(lat))};
}

TEST(BatchCells, PositionsFallInTheCapsOrInBandsOfTwentyCells) {
  EXPECT_EQ(RasRenBatchCells::getGroupIndex({0, 0, 100}), 1) << "north pole";
  EXPECT_EQ(RasRenBatchCells::getGroupIndex({0, 0, -100}), 0) << "south pole";
  EXPECT_EQ(RasRenBatchCells::getGroupIndex(onSphere(85, 40)), 1);
  EXPECT_EQ(RasRenBatchCells::getGroupIndex(onSphere(-85, 40)), 0);
  // Band trunc((lat + 90) / 9), column trunc((lon + 180) / 18): cell = column + 20 band - 18.
  struct Case {
    double latitude, longitude;
    int cell;
  } const cases[] = {{1, 1, 10 + 200 - 18},   {1, -1, 9 + 200 - 18},   {-80, -179, 0 + 20 - 18},
                     {80, 179, 19 + 360 - 18}, {45, 100, 15 + 300 - 18}, {-45, -100, 4 + 100 - 18}};
  for (Case const& c : cases)
    EXPECT_EQ(RasRenBatchCells::getGroupIndex(onSphere(c.latitude, c.longitude)), c.cell)
        << c.latitude << ", " << c.longitude;
  // Across the longitude wrap: both sides of 180 degrees are the band's last and first cells, and
  // 180 exactly stays in its band.
  EXPECT_EQ(RasRenBatchCells::getGroupIndex({-100, 0.001f, 0}), 19 + 200 - 18);
  EXPECT_EQ(RasRenBatchCells::getGroupIndex({-100, -0.001f, 0}), 0 + 200 - 18);
  EXPECT_EQ(RasRenBatchCells::getGroupIndex({-100, 0, 0}), 19 + 200 - 18);
}

TEST(BatchCells, FreedSlotsAreTakenAgainAndBadHandlesIgnored) {
  RasRenBatchCells cells;
  cells.setOffset({0, 0, 100});  // the group's centre: instances are placed round it
  uint32_t first = cells.addInstance(at({0, 0, 0}));
  uint32_t second = cells.addInstance(at({1, 0, 0}));
  EXPECT_EQ(first >> 16, 1u) << "the offset put it on the north pole";
  EXPECT_EQ(second, first + 1);
  EXPECT_EQ(cells.instanceCount(), 2);
  cells.removeInstance(first);
  cells.removeInstance(first);  // twice: nothing more
  cells.removeInstance(400u << 16);
  cells.removeInstance(first + 7);
  EXPECT_EQ(cells.instanceCount(), 1);
  cells.rebuild();
  EXPECT_EQ(cells.cell(1).freeSlots, 1);
  EXPECT_EQ(cells.addInstance(at({2, 0, 0})), first) << "the freed slot, before any new one";
  cells.rebuild();
  EXPECT_EQ(cells.range(1).count, 2);
  EXPECT_EQ(cells.gathered()[size_t(cells.range(1).first)].translationPart(), (ka::Vec3<float>{2, 0, 100}));
}

TEST(BatchCells, LiveTransformsAreGatheredByCellIntoBlocks) {
  RasRenBatchCells cells;
  for (int i = 0; i < 4096; ++i) cells.addInstance(at(onSphere(45, 100)));
  cells.rebuild();
  EXPECT_EQ(cells.blockCount(), 1);
  uint32_t last = cells.addInstance(at(onSphere(-45, -100)));
  EXPECT_TRUE(cells.dirty());
  cells.rebuild();
  EXPECT_EQ(cells.blockCount(), 2) << "4097 instances";
  int north = RasRenBatchCells::getGroupIndex(onSphere(45, 100)), south = int(last >> 16);
  EXPECT_EQ(cells.range(south).first, 0) << "cells in order: the southern one first";
  EXPECT_EQ(cells.range(south).count, 1);
  EXPECT_EQ(cells.range(north).first, 1);
  EXPECT_EQ(cells.range(north).count, 4096);

  cells.markImpostors(onSphere(45, 100) * 1.01f, 50, 1000);
  EXPECT_FALSE(cells.cell(north).impostor) << "1 from the camera";
  EXPECT_TRUE(cells.cell(south).impostor) << "200 away";
  EXPECT_FALSE(cells.cell(south).faded);
  cells.markImpostors(onSphere(45, 100) * 1.01f, 50, 150);
  EXPECT_TRUE(cells.cell(south).faded) << "beyond the fade distance";
  EXPECT_FALSE(cells.cell(north).faded);
  cells.removeAllInstances();
  cells.rebuild();
  EXPECT_EQ(cells.blockCount(), 0);
  EXPECT_EQ(cells.instanceCount(), 0);
}

}  // namespace
