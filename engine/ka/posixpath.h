// Splitting POSIX paths into directory and file, and finding a file's extension.
#pragma once

#include <utility>

#include "string_range.h"

namespace ka::posix_path {

// Directory and file; a path without '/' has a null directory, "/x" has the directory "/".
std::pair<StringRange, StringRange> split(StringRange path);
// From the last dot of the file name; only a dot in first place is passed over.
StringRange extension(StringRange path);

}  // namespace ka::posix_path
