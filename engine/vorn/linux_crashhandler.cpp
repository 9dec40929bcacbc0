#include "linux_crashhandler.h"

#include <execinfo.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace vorn {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitizerOwnsSignals = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitizerOwnsSignals = true;
#else
constexpr bool kSanitizerOwnsSignals = false;
#endif
#else
constexpr bool kSanitizerOwnsSignals = false;
#endif

int const kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

thread_local void* tAltStack = nullptr;

void writeText(char const* text) {
  ssize_t ignored = ::write(STDERR_FILENO, text, std::strlen(text));
  (void)ignored;
}

// Only async-signal-safe calls in here; backtrace is primed in initCrashHandler so it doesn't allocate.
void onFatalSignal(int signal) {
  char const* name = sigabbrev_np(signal);
  writeText("Fatal signal SIG");
  writeText(name ? name : "?");
  writeText("\n");
  void* frames[64];
  int count = backtrace(frames, 64);
  backtrace_symbols_fd(frames, count, STDERR_FILENO);
  // SA_RESETHAND restored the default action, so this ends the process as the signal would have.
  raise(signal);
}

}  // namespace

void initCrashHandler() {
  if (kSanitizerOwnsSignals) return;
  void* prime[1];
  backtrace(prime, 1);
  crashHandlerRegisterThread();
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = onFatalSignal;
  action.sa_flags = SA_RESETHAND | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (int signal : kFatalSignals) sigaction(signal, &action, nullptr);
}

void crashHandlerRegisterThread() {
  if (kSanitizerOwnsSignals || tAltStack) return;
  size_t size = 64 * 1024;
  tAltStack = std::malloc(size);
  if (!tAltStack) return;
  stack_t stack{};
  stack.ss_sp = tAltStack;
  stack.ss_size = size;
  sigaltstack(&stack, nullptr);
}

void crashHandlerForgetThread() {
  if (!tAltStack) return;
  stack_t stack{};
  stack.ss_flags = SS_DISABLE;
  sigaltstack(&stack, nullptr);
  std::free(tAltStack);
  tAltStack = nullptr;
}

}  // namespace vorn
