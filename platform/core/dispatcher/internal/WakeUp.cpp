// Makes the descriptors, and uses them.
#include <platform/core/dispatcher/internal/WakeUp.h>

#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <platform/core/internal/Descriptor.h>

namespace Quarnix {

WakeUp::WakeUp()
    : set_(aboveStandard(::epoll_create1(EPOLL_CLOEXEC))),
      signal_(set_ < 0 ? -1 : aboveStandard(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))),
      timer_(signal_ < 0 ? -1 : aboveStandard(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))) {
  int error = timer_ < 0 ? errno : 0;
  // Edge-triggered, a signal needs not be read.
  if (!error) error = control(EPOLL_CTL_ADD, signal_, EPOLLIN | EPOLLET, SIGNAL);
  if (!error) error = control(EPOLL_CTL_ADD, timer_, EPOLLIN, TIMER);
  if (!error) return;
  close();
  throw std::system_error(error, std::generic_category(), "no descriptor for a dispatcher");
}

WakeUp::~WakeUp() { close(); }

void WakeUp::close() noexcept {
  for (const int descriptor : {set_, signal_, timer_})
    if (descriptor >= 0) ::close(descriptor);
}

int WakeUp::control(int operation, int descriptor, std::uint32_t events, std::uint64_t key) noexcept {
  epoll_event event{};
  event.events = events;
  event.data.u64 = key;
  return ::epoll_ctl(set_, operation, descriptor, &event) == 0 ? 0 : errno;
}

int WakeUp::takeWithin(int milliseconds, epoll_event* events, int most) noexcept {
  const int count = ::epoll_wait(set_, events, most, milliseconds);
  int taken = 0;
  for (int i = 0; i < count; ++i) {
    if (events[i].data.u64 == SIGNAL) {
      isSignalled_ = false;
    } else if (events[i].data.u64 != TIMER) {
      events[taken++] = events[i];
    }
  }
  return taken;
}

void WakeUp::signal() noexcept {
  if (!isSignalled_.exchange(true)) ::eventfd_write(signal_, 1);
}

void WakeUp::setTimer(const Time::Monotonic& deadline) noexcept {
  itimerspec time{};  // of zero, which switches the timer off
  if (!deadline.isNever()) {
    // A time since the start of the system that fits every time_t, and is not zero.
    const Time::Elapsed point = std::clamp(deadline.getElapsed(), Time::Elapsed(0, 1), Time::Elapsed(INT32_MAX, 0));
    time.it_value.tv_sec = static_cast<time_t>(point.getSeconds());
    time.it_value.tv_nsec = static_cast<long>(point.getNanoseconds() % 1'000'000'000);
  }
  ::timerfd_settime(timer_, TFD_TIMER_ABSTIME, &time, nullptr);
}

}  // namespace Quarnix
