#include "posixpath.h"

namespace ka::posix_path {

std::pair<StringRange, StringRange> split(StringRange path) {
  if (path.empty()) return {StringRange(), StringRange()};
  for (char const* p = path.end; p != path.begin;) {
    if (*--p == '/') {
      StringRange dir(path.begin, p == path.begin ? p + 1 : p);
      return {dir, StringRange(p + 1, path.end)};
    }
  }
  return {StringRange(), path};
}

StringRange extension(StringRange path) {
  StringRange file = split(path).second;
  if (file.empty()) return StringRange();
  for (char const* p = file.end; p != file.begin;) {
    if (*--p == '.') return p == file.begin ? StringRange() : StringRange(p, file.end);
  }
  return StringRange();
}

}  // namespace ka::posix_path
