// The signal handler raises a counter that the waiting thread polls.
#include <cli/Interruption.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <system_error>

#include <cli/Output.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Hevra::Cli {

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM};
// They belong to the process, as signals do, and are safe in a handler because they need no lock.
std::atomic<int> received = 0;
std::atomic<int> counter = -1;  // a descriptor
static_assert(std::atomic<int>::is_always_lock_free);

void raiseCounter() noexcept {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written =
      ::write(counter, &one, sizeof one);  // fails only when the count is very high
}

void note(int number) {
  const int before = errno;
  received = number;
  raiseCounter();
  errno = before;
}

void handle(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int number : SIGNALS) ::sigaction(number, &action, nullptr);
}

}  // namespace

Interruption::Interruption() {
  counter = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (counter < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Interruption::~Interruption() {
  handle(SIG_DFL);
  ::close(counter);
}

void Interruption::begin() { handle(note); }

int Interruption::getSignal() noexcept { return received; }

void Interruption::wait(const Time::Monotonic& deadline) {
  pollfd descriptors[3] = {{counter, POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {}};
  if (Time::Clock::get().poll(descriptors, 2, deadline) <= 0) return;
  if (descriptors[1].revents & (POLLERR | POLLHUP)) Output::fail(EPIPE);
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = ::read(counter, &count, sizeof count);
}

void Interruption::wake() noexcept { raiseCounter(); }

void Interruption::obey() {
  handle(SIG_DFL);
  std::raise(received);
  std::abort();  // not reached
}

}  // namespace Quarnix::Hevra::Cli
