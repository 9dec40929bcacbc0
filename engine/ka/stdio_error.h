// The system's text for the current errno.
#pragma once

#include <string>

namespace ka {

std::string getLastErrorMessage();

}  // namespace ka
