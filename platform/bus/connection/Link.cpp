// Connects to the bus and loses it.
#include <platform/bus/connection/Link.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

#include <platform/bus/connection/Tracing.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Return;

namespace {

Time::Elapsed withJitter(const Time::Elapsed& pause) {
  static std::atomic<std::uint32_t> seed{static_cast<std::uint32_t>(::getpid())};
  const std::uint32_t draw = seed.fetch_add(0x9e3779b9u) * 2654435769u >> 16;  // 0 to 65535
  return Time::Elapsed::ofNanoseconds(pause.getNanoseconds() / 4 * 3 + pause.getNanoseconds() / 4 * draw / 65535);
}

Return outOfTime() { return Return("org.freedesktop.DBus.Error.NoReply", "The message bus was not reached in time"); }

}  // namespace

std::optional<Return> Link::connect(Mutex& mutex, const Time::Monotonic& deadline,
                                    const std::shared_ptr<Transaction>& first) {
  // If an attempt that began before this call fails, the bus may have come back since.
  const std::uint64_t before = attempts_ + (state_ == State::CONNECTING && !opening_);
  while (!isUp()) {
    if (isClosed()) return Return("org.freedesktop.DBus.Error.Disconnected", "The connection is closed");
    if (state_ == State::CONNECTING && !opening_) {
      if (!Time::Clock::get().wait(changed_, mutex, deadline)) return outOfTime();
      if (state_ == State::DOWN && attempts_ > before && lastFailure_) return lastFailure_;
      continue;
    }
    Progress progress = attempt(mutex, first, [&](Opening& opening, std::shared_ptr<Transport>& transport) {
      transport = opening.complete(deadline);
      if (!transport) throw outOfTime();
      return std::nullopt;
    });
    // If only this caller's time is up, the others make their own attempts.
    const bool isLate = progress.failure && Time::Clock::get().now() >= deadline;
    if (isLate) progress.failure = outOfTime();
    lastFailure_ = isLate ? std::nullopt : progress.failure;
    if (progress.failure) return progress.failure;
  }
  return std::nullopt;
}

Link::Progress Link::step(Mutex& mutex) {
  if (isUp() || isClosed() || (state_ == State::CONNECTING && !opening_)) return {};
  Progress progress = attempt(mutex, nullptr, [](Opening& opening, std::shared_ptr<Transport>& transport) {
    std::optional<Opening::Interest> wait = opening.proceed();
    if (!wait) transport = opening.take();
    return wait;
  });
  lastFailure_ = progress.failure;
  return progress;
}

/// Lets `work` open a transport with the mutex released: what is there of an opening, or a new one.
template <class Work>
Link::Progress Link::attempt(Mutex& mutex, const std::shared_ptr<Transaction>& first, const Work& work) {
  state_ = State::CONNECTING;
  std::unique_ptr<Opening> opening = std::move(opening_);
  std::shared_ptr<Transport> transport;
  Progress progress;
  bool noMemory = false;
  try {
    std::string flight;
    if (!opening) flight = user_.packFlight(first);
    MutexUnlock unlock(mutex);
    if (!opening) opening = user_.openLink(std::move(flight));
    progress.interest = work(*opening, transport);
    if (transport) transport = traced(std::move(transport));
  } catch (Return& error) {
    progress.failure.emplace(std::move(error));
  } catch (const std::bad_alloc&) {
    noMemory = true;
  }
  // Whoever waits looks at the state when the mutex is free again, and at the failure.
  changed_.notifyAll();
  if (progress.interest && !isClosed()) {
    opening_ = std::move(opening);
    return progress;
  }
  // The state is complete before anything below needs memory.
  ++attempts_;
  if (!isClosed()) state_ = State::DOWN;
  lastFailure_.reset();
  if (transport && !isClosed()) {
    noMemory = !adopt(transport);
  } else {
    user_.linkFailed();
  }
  if (transport || opening) {
    // Dropping the last reference to a link of the in-process bus locks the bus's mutex, which comes before this one.
    MutexUnlock unlock(mutex);
    transport.reset();
    opening.reset();
  }
  if (noMemory)
    progress.failure.emplace("org.freedesktop.DBus.Error.NoMemory", "No memory to connect to the message bus");
  return progress;
}

/// Returns false, without a link, if there is no memory to tell the bus what it has to know.
bool Link::adopt(std::shared_ptr<Transport> transport) {
  transport_ = std::move(transport);
  state_ = State::UP;
  ++generation_;
  pause_ = FIRST_PAUSE;
  try {
    uniqueName_ = transport_->uniqueName();
    user_.linkUp();
    return true;
  } catch (const std::bad_alloc&) {
    lose("no memory");
    return false;
  }
}

Return Link::lossError() const {
  return Return("org.freedesktop.DBus.Error.Disconnected",
                "The connection to the message bus was lost: " + lossReason_);
}

void Link::lose(std::string reason) noexcept {
  if (isUp()) breakLink(State::DOWN, std::move(reason));
}

void Link::close() noexcept {
  if (isUp()) {
    breakLink(State::CLOSED, "it was closed");
  } else {
    state_ = State::CLOSED;
    if (std::exchange(opening_, nullptr)) user_.linkFailed();
  }
  changed_.notifyAll();
}

void Link::breakLink(State state, std::string reason) noexcept {
  transport_->shutdown();
  state_ = state;
  ++generation_;
  lossReason_ = std::move(reason);
  uniqueName_.clear();
  user_.linkLost();
  transport_.reset();
}

Time::Monotonic Link::nextAttempt() noexcept {
  const Time::Monotonic next = Time::Clock::get().now() + withJitter(pause_);
  pause_ = std::min(pause_ + pause_, LAST_PAUSE);
  return next;
}

}  // namespace Quarnix::Bus::Internal
