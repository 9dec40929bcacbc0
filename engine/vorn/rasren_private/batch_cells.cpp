#include "batch_cells.h"

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

constexpr float kHalfPi = 1.5707964f, kPi = 3.1415927f;
constexpr int kBands = 20, kCellsABand = 20;

}  // namespace

int RasRenBatchCells::getGroupIndex(ka::Vec3<float> const& position) {
  float length = ka::length(position);
  float latitude = length > 0 ? std::asin(std::clamp(position.z / length, -1.0f, 1.0f)) : 0.0f;
  float longitude = std::atan2(position.y, position.x);
  int band = int((latitude + kHalfPi) / kHalfPi * (kBands / 2));
  if (band < 1) return 0;
  if (band > kBands - 2) return 1;
  // Longitude +pi exactly would make 20, the first cell of the next band: it is the band's last.
  int column = std::min(int((longitude + kPi) / kPi * (kCellsABand / 2)), kCellsABand - 1);
  return column + band * kCellsABand - 18;
}

uint32_t RasRenBatchCells::addInstance(ka::Mat4x4f const& matrix) {
  Record record;
  record.matrix = matrix;
  record.matrix.m[3][0] += offset_.x;
  record.matrix.m[3][1] += offset_.y;
  record.matrix.m[3][2] += offset_.z;
  ka::Vec3<float> position = record.matrix.translationPart();
  float scale = ka::length(record.matrix.row(0).xyz());
  record.positionScale = {position.x, position.y, position.z, scale};
  int index = getGroupIndex(position);
  Cell& cell = cells_[size_t(index)];
  size_t slot = cell.records.size();
  if (cell.freeSlots > 0) {
    auto free = std::find_if(cell.records.begin(), cell.records.end(),
                             [](Record const& r) { return r.positionScale.w < 0; });
    if (free == cell.records.end()) return kNoHandle;
    slot = size_t(free - cell.records.begin());
    *free = record;
    --cell.freeSlots;
  } else if (slot > 0xffff) {
    return kNoHandle;  // a handle has 16 bits for the slot
  } else {
    cell.records.push_back(record);
  }
  dirty_ = true;
  ++instanceCount_;
  return uint32_t(index) << 16 | uint32_t(slot);
}

void RasRenBatchCells::removeInstance(uint32_t handle) {
  size_t index = handle >> 16, slot = handle & 0xffff;
  if (index >= size_t(kCellCount)) return;
  Cell& cell = cells_[index];
  if (slot >= cell.records.size() || cell.records[slot].positionScale.w < 0) return;
  cell.records[slot].positionScale.w = -1;
  --instanceCount_;
  dirty_ = true;
}

void RasRenBatchCells::removeAllInstances() {
  for (Cell& cell : cells_) cell = Cell();
  instanceCount_ = 0;
  dirty_ = true;
}

void RasRenBatchCells::rebuild() {
  gathered_.clear();
  gathered_.reserve(size_t(instanceCount_));
  for (size_t index = 0; index < cells_.size(); ++index) {
    Cell& cell = cells_[index];
    ranges_[index].first = int(gathered_.size());
    cell.freeSlots = 0;
    cell.box = ka::AABB::inverted();
    cell.maxScale = 0;
    for (Record const& record : cell.records) {
      if (record.positionScale.w < 0) {
        ++cell.freeSlots;
        continue;
      }
      gathered_.push_back(record.matrix);
      cell.box.addPoint(record.matrix.translationPart());
      cell.maxScale = std::max(cell.maxScale, record.positionScale.w);
    }
    ranges_[index].count = int(gathered_.size()) - ranges_[index].first;
  }
  dirty_ = false;
}

void RasRenBatchCells::markImpostors(ka::Vec3<float> const& camera, float impostorDistance, float fadeDistance) {
  for (size_t index = 0; index < cells_.size(); ++index) {
    Cell& cell = cells_[index];
    float distance = ranges_[index].count > 0 ? ka::length(cell.box.center() - camera) : 0;
    cell.impostor = ranges_[index].count > 0 && impostorDistance <= distance;
    cell.faded = cell.impostor && fadeDistance <= distance;
  }
}

}  // namespace vorn
