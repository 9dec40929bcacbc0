// Control of the leak checker of sanitizer builds; nothing in other builds.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define KA_LEAK_CHECKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KA_LEAK_CHECKS 1
#endif
#endif

#ifdef KA_LEAK_CHECKS
#include <sanitizer/lsan_interface.h>
#endif

namespace ka {

// Runs the leak check now instead of at exit, for example while a driver that is unloaded later
// still holds the only references to its threads' data. Ends the process if something leaked; a
// process checks once, so nothing is checked at exit afterwards.
inline void checkLeaksNow() {
#ifdef KA_LEAK_CHECKS
  __lsan_do_leak_check();
#endif
}

}  // namespace ka
