// Polls and reads the link for everybody who waits.
#include <platform/bus/connection/ReaderRole.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

#include <platform/core/internal/Descriptor.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

ReaderRole::~ReaderRole() {
  if (wakeDescriptor_ >= 0) ::close(wakeDescriptor_);
}

bool ReaderRole::prepare() noexcept {
  if (wakeDescriptor_ < 0) wakeDescriptor_ = aboveStandard(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  return wakeDescriptor_ >= 0;
}

ReaderRole::Turn ReaderRole::waitAndRead(Mutex& mutex, Transport& link, const Transaction& awaited, bool unsent,
                                         const Time::Monotonic& deadline) {
  if (!link.isMoreThere()) ++reads_;
  pollfd descriptors[3] = {
      {link.descriptor(), static_cast<short>(unsent ? POLLIN | POLLOUT : POLLIN), 0}, {wakeDescriptor_, POLLIN, 0}, {}};
  state_ = unsent ? State::POLLING_TO_WRITE : State::POLLING;
  polledFor_ = &awaited;
  int ready = 0;
  Outcome outcome = Outcome::READ;
  {
    MutexUnlock unlock(mutex);
    if (link.hasEarly()) {
      outcome = readUnlocked(link);
    } else {
      ready = Time::Clock::get().poll(descriptors, 2, deadline);
      if (ready > 0 && (descriptors[0].revents & ~POLLOUT)) outcome = readUnlocked(link);
      if (ready == 0 || (ready < 0 && errno != EINTR)) outcome = Outcome::TIMED_OUT;
    }
  }
  state_ = State::TAKEN;
  polledFor_ = nullptr;
  if (ready > 0 && descriptors[1].revents) {
    eventfd_t ignored = 0;
    ::eventfd_read(wakeDescriptor_, &ignored);
  }
  return {outcome, !unsent || (descriptors[0].revents & POLLOUT)};
}

ReaderRole::Outcome ReaderRole::read(Mutex& mutex, Transport& link) {
  if (!link.isMoreThere()) ++reads_;
  MutexUnlock unlock(mutex);
  return readUnlocked(link);
}

ReaderRole::Outcome ReaderRole::readUnlocked(Transport& link) noexcept {
  try {
    return link.read(arrived_, reason_) ? Outcome::READ : Outcome::BROKEN;
  } catch (const std::bad_alloc&) {
    // A message of the bus itself is missing. Without it the connection would have a wrong picture of the bus.
    reason_ = "no memory";  // so short a text needs none
    return Outcome::BROKEN;
  }
}

void ReaderRole::wake() noexcept { ::eventfd_write(wakeDescriptor_, 1); }

void ReaderRole::wakeIfFor(const Transaction& transaction) noexcept {
  if (polledFor_ == &transaction) wake();
}

void ReaderRole::wakeToWrite() noexcept {
  if (state_ == State::POLLING) wake();
}

bool ReaderRole::wait(Mutex& mutex, Transaction& transaction, const Time::Monotonic& deadline) {
  transaction.hasWaiter = true;
  transaction.nextWaiter = std::exchange(waiters_, &transaction);
  const bool inTime = Time::Clock::get().wait(transaction.changed, mutex, deadline);
  transaction.hasWaiter = false;
  Transaction** link = &waiters_;
  while (*link != &transaction) link = &(*link)->nextWaiter;
  *link = transaction.nextWaiter;
  return inTime;
}

bool ReaderRole::passToWaiter() noexcept {
  if (waiters_) waiters_->changed.notifyOne();
  return waiters_ != nullptr;
}

}  // namespace Quarnix::Bus::Internal
