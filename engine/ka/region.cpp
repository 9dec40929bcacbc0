#include "region.h"

#include <algorithm>
#include <ostream>

namespace ka {

namespace {

// The spans of one band from those of two, walking both by rising x and keeping what `inside`
// says; a value that would repeat the last one cancels it, so empty spans vanish.
template <class Inside>
std::vector<int32_t> mergeSpans(std::vector<int32_t> const& a, std::vector<int32_t> const& b, Inside const& inside) {
  std::vector<int32_t> out;
  bool inA = false, inB = false, was = false;
  size_t i = 0, j = 0;
  while (i < a.size() || j < b.size()) {
    int32_t x;
    if (j == b.size() || (i < a.size() && a[i] < b[j])) {
      x = a[i++];
      inA = !inA;
    } else if (i == a.size() || b[j] < a[i]) {
      x = b[j++];
      inB = !inB;
    } else {
      x = a[i++];
      ++j;
      inA = !inA;
      inB = !inB;
    }
    bool now = inside(inA, inB);
    if (now == was) continue;
    was = now;
    if (!out.empty() && out.back() == x) {
      out.pop_back();
    } else {
      out.push_back(x);
    }
  }
  return out;
}

}  // namespace

Region::Region(Rect<int> const& rect) {
  if (rect.empty()) return;
  bands_.push_back({rect.top, {rect.left, rect.right}});
  bands_.push_back({rect.bottom, {}});
}

Region::List::iterator Region::findAndSplit(int32_t y, List::iterator hint) {
  while (hint != bands_.end() && hint->y < y) ++hint;
  if (hint != bands_.end() && hint->y == y) return hint;
  std::vector<int32_t> above = hint == bands_.begin() ? std::vector<int32_t>() : std::prev(hint)->xs;
  return bands_.insert(hint, {y, std::move(above)});
}

// In each band of the rectangle's rows, `lo` is the first x not left of `left` and `hi` the first
// right of `right`; an even index lies outside every span, an odd one inside.
void Region::unionWith(Rect<int> const& rect) {
  if (rect.empty()) return;
  auto top = findAndSplit(rect.top, bands_.begin());
  auto bottom = findAndSplit(rect.bottom, top);
  for (auto band = top; band != bottom; ++band) {
    std::vector<int32_t>& xs = band->xs;
    auto lo = std::lower_bound(xs.begin(), xs.end(), rect.left);
    auto hi = std::upper_bound(xs.begin(), xs.end(), rect.right);
    bool loOutside = (lo - xs.begin()) % 2 == 0, hiOutside = (hi - xs.begin()) % 2 == 0;
    if (lo != hi) {
      if (loOutside) *lo++ = rect.left;
      if (hiOutside) *--hi = rect.right;
      xs.erase(lo, hi);
    } else if (loOutside) {
      xs.insert(lo, {rect.left, rect.right});
    }
  }
  cleanup();
}

// As the union, with the tests turned round: spans inside are cut out and the ends trimmed.
void Region::differenceWith(Rect<int> const& rect) {
  if (rect.empty() || bands_.empty()) return;
  auto top = findAndSplit(rect.top, bands_.begin());
  auto bottom = findAndSplit(rect.bottom, top);
  for (auto band = top; band != bottom; ++band) {
    std::vector<int32_t>& xs = band->xs;
    auto lo = std::lower_bound(xs.begin(), xs.end(), rect.left);
    auto hi = std::upper_bound(xs.begin(), xs.end(), rect.right);
    bool loInside = (lo - xs.begin()) % 2 == 1, hiInside = (hi - xs.begin()) % 2 == 1;
    if (lo != hi) {
      if (loInside) *lo++ = rect.left;
      if (hiInside) *--hi = rect.right;
      xs.erase(lo, hi);
    } else if (loInside) {
      xs.insert(lo, {rect.left, rect.right});
    }
  }
  cleanup();
}

void Region::intersectWith(Rect<int> const& rect) {
  if (rect.empty() || bands_.empty()) {
    bands_.clear();
    return;
  }
  auto top = findAndSplit(rect.top, bands_.begin());
  auto bottom = findAndSplit(rect.bottom, top);
  bands_.erase(bands_.begin(), top);
  bands_.erase(std::next(bottom), bands_.end());
  bottom->xs.clear();
  std::vector<int32_t> const window{rect.left, rect.right};
  for (auto band = top; band != bottom; ++band) {
    band->xs = mergeSpans(band->xs, window, [](bool inA, bool inB) { return inA && inB; });
  }
  cleanup();
}

template <class Inside>
Region Region::merge(Region const& a, Region const& b, Inside const& inside) {
  static std::vector<int32_t> const none;
  Region out;
  auto ia = a.bands_.begin(), ib = b.bands_.begin();
  std::vector<int32_t> const* xa = &none;
  std::vector<int32_t> const* xb = &none;
  while (ia != a.bands_.end() || ib != b.bands_.end()) {
    int32_t y;
    bool takeA = ib == b.bands_.end() || (ia != a.bands_.end() && ia->y <= ib->y);
    bool takeB = ia == a.bands_.end() || (ib != b.bands_.end() && ib->y <= ia->y);
    y = takeA ? ia->y : ib->y;
    if (takeA) xa = &(ia++)->xs;
    if (takeB) xb = &(ib++)->xs;
    out.bands_.push_back({y, mergeSpans(*xa, *xb, inside)});
  }
  out.cleanup();
  return out;
}

void Region::cleanup() {
  for (auto band = bands_.begin(); band != bands_.end();) {
    auto next = std::next(band);
    if (next != bands_.end() && next->xs == band->xs) {
      bands_.erase(next);
    } else {
      band = next;
    }
  }
  while (!bands_.empty() && bands_.front().xs.empty()) bands_.pop_front();
}

Region union_(Region const& a, Region const& b) {
  return Region::merge(a, b, [](bool inA, bool inB) { return inA || inB; });
}

Region intersection(Region const& a, Region const& b) {
  return Region::merge(a, b, [](bool inA, bool inB) { return inA && inB; });
}

Region difference(Region const& a, Region const& b) {
  return Region::merge(a, b, [](bool inA, bool inB) { return inA && !inB; });
}

Rect<int> Region::RegionIter::operator*() const {
  return {band_->xs[index_], band_->y, band_->xs[index_ + 1], std::next(band_)->y};
}

Region::RegionIter& Region::RegionIter::operator++() {
  index_ += 2;
  if (index_ < band_->xs.size()) return *this;
  index_ = 0;
  do {
    ++band_;
  } while (band_ != end_ && band_->xs.empty());
  return *this;
}

void Region::debugDumpTo(std::ostream& out) const {
  for (YSpan const& band : bands_) {
    out << band.y << ":";
    for (size_t i = 0; i < band.xs.size(); ++i) out << (i ? "," : "") << band.xs[i];
    out << "\n";
  }
}

std::ostream& operator<<(std::ostream& out, Region const& region) {
  for (Rect<int> const& r : region) out << "[" << r.left << "..." << r.right << "," << r.top << "..." << r.bottom << ")";
  return out;
}

}  // namespace ka
