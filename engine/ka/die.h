// Ends the process on a programming fault or unusable start-up data.
#pragma once

#include "string_range.h"

namespace ka {

[[noreturn]] void die(StringRange message);
[[noreturn]] void dief(char const* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace ka
