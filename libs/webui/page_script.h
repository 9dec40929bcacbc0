// The script that gives the page its `engine` object, injected before the page's own scripts.
#pragma once

#include <string>

namespace webui {

// The page's side of the bridge. `secret` goes with every message, so that only this script,
// in the top frame of our own page, can call commands.
std::string pageScript(std::string const& secret);

// A fresh secret of 32 hexadecimal digits from the system's random source.
std::string makeSecret();

}  // namespace webui
