#include "quat.h"

#include <ostream>

namespace ka {

template <class T>
std::ostream& operator<<(std::ostream& os, Quat<T> const& q) {
  return os << (std::is_same_v<T, float> ? "Quat<float>(" : "Quat<double>(") << q.x << ',' << q.y << ',' << q.z << ','
            << q.w << ')';
}

template std::ostream& operator<<(std::ostream&, Quat<float> const&);
template std::ostream& operator<<(std::ostream&, Quat<double> const&);

}  // namespace ka
