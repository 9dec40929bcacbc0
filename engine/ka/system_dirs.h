// Where the program's own directories are. None of these creates a directory.
#pragma once

#include <string>

#include "string_range.h"

namespace ka {

std::string getExecutableFilename();
std::string getTempDir();
// <per-user data directory>/company/product/data
std::string getUserDataDir(StringRange company, StringRange product);
// <per-user data directory>/company/product/user
std::string getUserDocDir(StringRange company, StringRange product);
// The read-only resources beside the executable; throws if they aren't there.
std::string getResourceDir();

}  // namespace ka
