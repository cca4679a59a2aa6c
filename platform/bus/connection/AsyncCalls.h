// The asynchronous calls of a connection, in the order of their deadlines.
#pragma once

#include <map>
#include <memory>
#include <utility>

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

class AsyncCall;

/// It has every asynchronous call that is not over, whether it is on the bus or waits.
///
/// Threads: the connection's mutex guards it, and every caller holds it.
class AsyncCalls {
 public:
  using Place = std::multimap<Time::Monotonic, std::shared_ptr<AsyncCall>>::iterator;

  bool isEmpty() const noexcept { return calls_.empty(); }
  /// The earliest deadline, or never.
  Time::Monotonic earliest() const noexcept { return isEmpty() ? Time::Monotonic::never() : calls_.begin()->first; }

  /// Raises std::bad_alloc.
  Place add(std::shared_ptr<AsyncCall> call, const Time::Monotonic& deadline) {
    return calls_.emplace_hint(calls_.end(), deadline, std::move(call));  // most time-outs are the same
  }
  void remove(Place place) noexcept { calls_.erase(place); }

  /// A call whose deadline has come, or null.
  std::shared_ptr<AsyncCall> findDue(const Time::Monotonic& now) const noexcept {
    return earliest() <= now && !isEmpty() ? calls_.begin()->second : nullptr;
  }
  Place begin() noexcept { return calls_.begin(); }
  Place end() noexcept { return calls_.end(); }

 private:
  std::multimap<Time::Monotonic, std::shared_ptr<AsyncCall>> calls_;
};

}  // namespace Quarnix::Bus::Internal
