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

std::optional<Return> Link::connect(Mutex& mutex, const Time::Monotonic& deadline) {
  // If an attempt that began before this call fails, the bus may have come back since.
  const std::uint64_t before = attempts_ + (state_ == State::CONNECTING);
  while (!isUp()) {
    if (isClosed()) return Return("org.freedesktop.DBus.Error.Disconnected", "The connection is closed");
    if (state_ == State::CONNECTING) {
      if (!Time::Clock::get().wait(changed_, mutex, deadline)) return outOfTime();
      if (state_ == State::DOWN && attempts_ > before && lastFailure_) return lastFailure_;
      continue;
    }
    state_ = State::CONNECTING;
    std::shared_ptr<Transport> transport;
    std::optional<Return> failure;
    bool noMemory = false;
    try {
      MutexUnlock unlock(mutex);
      transport = traced(user_.openLink(deadline));
    } catch (Return& error) {
      failure.emplace(std::move(error));
    } catch (const std::bad_alloc&) {
      noMemory = true;
    }
    // The state is complete before anything below needs memory.
    ++attempts_;
    if (!isClosed()) state_ = State::DOWN;
    lastFailure_.reset();
    changed_.notifyAll();
    if (transport && !isClosed()) noMemory = !adopt(transport);
    if (transport) {
      // Dropping the last reference to a link of the in-process bus locks the bus's mutex, which comes before this one.
      MutexUnlock unlock(mutex);
      transport.reset();
    }
    if (noMemory) failure.emplace("org.freedesktop.DBus.Error.NoMemory", "No memory to connect to the message bus");
    // If only this caller's time is up, the others make their own attempts.
    const bool isLate = failure && Time::Clock::get().now() >= deadline;
    if (isLate) failure = outOfTime();
    lastFailure_ = isLate ? std::nullopt : failure;
    if (failure) return failure;
  }
  return std::nullopt;
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
