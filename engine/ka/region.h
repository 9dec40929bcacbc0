// A set of integer pixels held as bands of spans, for dirty areas and occupancy. Equal pixel sets
// have equal representations, and an empty region holds no bands at all.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <list>
#include <vector>

#include "rect.h"

namespace ka {

class Region {
 public:
  // Holds from `y` down to the next band's `y`; `xs` pairs are spans [x0, x1). The last band has
  // no spans and only marks the bottom.
  struct YSpan {
    int32_t y;
    std::vector<int32_t> xs;
    bool operator==(YSpan const&) const = default;
  };
  using List = std::list<YSpan>;

  // The rectangles of a region, top to bottom, left to right.
  class RegionIter {
   public:
    RegionIter(List::const_iterator band, List::const_iterator end) : band_(band), end_(end) {}
    Rect<int> operator*() const;
    RegionIter& operator++();
    bool operator==(RegionIter const& other) const { return band_ == other.band_ && index_ == other.index_; }

   private:
    List::const_iterator band_, end_;
    size_t index_ = 0;
  };

  Region() = default;
  explicit Region(Rect<int> const& rect);

  void clear() { bands_.clear(); }
  bool empty() const { return bands_.empty(); }
  void unionWith(Rect<int> const& rect);
  void differenceWith(Rect<int> const& rect);
  void intersectWith(Rect<int> const& rect);

  RegionIter begin() const { return {bands_.begin(), bands_.end()}; }
  RegionIter end() const { return {bands_.end(), bands_.end()}; }
  List const& bands() const { return bands_; }
  // Each band's y, ":", its xs joined by ",", and a line end.
  void debugDumpTo(std::ostream& out) const;
  void swap(Region& other) noexcept { bands_.swap(other.bands_); }
  bool operator==(Region const&) const = default;

  friend Region union_(Region const& a, Region const& b);
  friend Region intersection(Region const& a, Region const& b);
  friend Region difference(Region const& a, Region const& b);

 private:
  template <class Inside>
  static Region merge(Region const& a, Region const& b, Inside const& inside);
  // The band that starts at `y`, splitting the band that holds it into two equal ones if needed;
  // the walk starts at `hint`.
  List::iterator findAndSplit(int32_t y, List::iterator hint);
  // Drops bands that repeat the band above and leading bands with no spans.
  void cleanup();

  List bands_;
};

Region union_(Region const& a, Region const& b);
Region intersection(Region const& a, Region const& b);
Region difference(Region const& a, Region const& b);
inline void swap(Region& a, Region& b) noexcept { a.swap(b); }
// Per rectangle: "[left...right,top...bottom)".
std::ostream& operator<<(std::ostream& out, Region const& region);

}  // namespace ka
