#include "color.h"

#include <ostream>

namespace ka {

std::ostream& operator<<(std::ostream& os, Color4b const& c) {
  os << "Color4b(" << int(c.r) << ',' << int(c.g) << ',' << int(c.b);
  if (c.a < 255) os << ',' << int(c.a);
  return os << ')';
}

std::ostream& operator<<(std::ostream& os, Color4f const& c) {
  os << "Color4f(" << c.r << ',' << c.g << ',' << c.b;
  if (c.a < 1) os << ',' << c.a;
  return os << ')';
}

}  // namespace ka
