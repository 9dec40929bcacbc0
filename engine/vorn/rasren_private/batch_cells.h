// The instances of a batched mesh group, kept by cell of latitude and longitude on a sphere round
// the group's origin (trees on a planet): 400 cells, each a list of records whose free slots the
// next instance of that cell takes. The live transforms are gathered cell by cell into one
// contiguous array, drawn in blocks of 4096.
#pragma once

#include <cstdint>
#include <vector>

#include "ka/vecmath.h"

namespace vorn {

class RasRenBatchCells {
 public:
  static constexpr int kCellCount = 400;
  static constexpr int kBlock = 4096;
  static constexpr uint32_t kNoHandle = ~0u;

  // A position and its scale (negative for a free slot), and the whole transform.
  struct Record {
    ka::Vec4<float> positionScale;
    ka::Mat4x4f matrix;
  };
  struct Cell {
    std::vector<Record> records;
    int freeSlots = 0;
    ka::AABB box = ka::AABB::inverted();
    float maxScale = 0;  // of the live instances, for how far their meshes reach past the box
    bool impostor = false;
    bool faded = false;  // beyond the fade distance: not drawn at all
  };
  // Where a cell's live transforms lie in the gathered array.
  struct Range {
    int first = 0, count = 0;
  };

  // Cell 0 and 1 are the polar caps below 9 and above 81 degrees of latitude (z up); the bands
  // between have 20 cells of 18 degrees of longitude each.
  static int getGroupIndex(ka::Vec3<float> const& position);

  // Added to every instance's translation before it is placed.
  void setOffset(ka::Vec3<float> const& offset) { offset_ = offset; }
  // `cell << 16 | slot`; all ones when the cell already holds 65,536 instances.
  uint32_t addInstance(ka::Mat4x4f const& matrix);
  // A handle that names no live slot is ignored.
  void removeInstance(uint32_t handle);
  void removeAllInstances();
  // Gathers the live transforms, recounts the free slots and remakes the cells' boxes and largest
  // scales; once after any change is enough.
  void rebuild();
  // Cells whose box's centre lies `impostorDistance` or farther from the camera draw as impostors,
  // those at `fadeDistance` or farther not at all.
  void markImpostors(ka::Vec3<float> const& camera, float impostorDistance, float fadeDistance);

  bool dirty() const { return dirty_; }
  int instanceCount() const { return instanceCount_; }
  Cell const& cell(int index) const { return cells_[size_t(index)]; }
  Range range(int cell) const { return ranges_[size_t(cell)]; }
  std::vector<ka::Mat4x4f> const& gathered() const { return gathered_; }
  int blockCount() const { return int((gathered_.size() + kBlock - 1) / kBlock); }

 private:
  std::vector<Cell> cells_ = std::vector<Cell>(kCellCount);
  std::vector<Range> ranges_ = std::vector<Range>(kCellCount);
  std::vector<ka::Mat4x4f> gathered_;
  ka::Vec3<float> offset_{0, 0, 0};
  int instanceCount_ = 0;
  bool dirty_ = false;
};

}  // namespace vorn
