// Reports fatal signals with a backtrace on standard error before the process dies.
#pragma once

namespace vorn {

// Installs the handlers for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT.
void initCrashHandler();
// Gives the calling thread an alternate signal stack, so that a stack overflow is reported too.
void crashHandlerRegisterThread();
void crashHandlerForgetThread();

}  // namespace vorn
