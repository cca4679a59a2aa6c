// Makes threads: sets their stack size, signal mask and name.
#include <platform/core/internal/Thread.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>

#include <unistd.h>

namespace Quarnix {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HEVRA_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HEVRA_SANITIZED 1
#endif
#endif

// What raising an exception, formatting a log line and calling through a fresh library need; sanitizers need far more.
#ifdef HEVRA_SANITIZED
constexpr std::uint64_t RUNTIME_STACK = 1024 * 1024;
#else
constexpr std::uint64_t RUNTIME_STACK = 128 * 1024;
#endif

std::uint64_t wholeStack(unsigned int requested) noexcept {
  // The least that the system allows is added, not compared: it is what the C library and thread-local data occupy.
  const auto page = static_cast<std::uint64_t>(::getpagesize());
  const std::uint64_t size = RUNTIME_STACK + static_cast<std::uint64_t>(PTHREAD_STACK_MIN) + requested;
  return (size + page - 1) / page * page;
}

}  // namespace

int startThread(pthread_t& thread, unsigned int stackSize, const char* name, void* (*body)(void*),
                void* argument) noexcept {
  const std::uint64_t stack = wholeStack(stackSize);
  if (stack > std::numeric_limits<std::size_t>::max() / 2) return ENOMEM;
  pthread_attr_t attributes;
  if (const int error = pthread_attr_init(&attributes)) return error;
  int error = pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(stack));
  if (!error) {
    sigset_t mask;
    sigset_t former;
    sigfillset(&mask);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&mask, fault);
    pthread_sigmask(SIG_SETMASK, &mask, &former);
    error = pthread_create(&thread, &attributes, body, argument);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    if (!error) pthread_setname_np(thread, name);
  }
  pthread_attr_destroy(&attributes);
  return error;
}

}  // namespace Quarnix
