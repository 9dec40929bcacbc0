#include "rect.h"

#include <ostream>

namespace ka {

template <class T>
std::ostream& operator<<(std::ostream& os, Rect<T> const& r) {
  return os << '[' << r.left << "..." << r.right << ',' << r.top << "..." << r.bottom << ')';
}

template std::ostream& operator<<(std::ostream&, Rect<int> const&);
template std::ostream& operator<<(std::ostream&, Rect<float> const&);

}  // namespace ka
