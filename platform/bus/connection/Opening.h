// A link to the bus that is being opened, step by step.
#pragma once

#include <memory>
#include <optional>

#include <platform/bus/connection/Transport.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// It never waits; it says what to wait for. A thread that calls waits in poll, and a dispatcher in its own loop.
///
/// Threads: one at a time.
class Opening {
 public:
  /// What to wait for: an event of the descriptor (POLLIN or POLLOUT), or a time, whichever comes first.
  struct Interest {
    int descriptor;  // -1 for none
    short events;
    Time::Monotonic until;
  };

  virtual ~Opening() = default;

  /// Goes on as far as it can without waiting. Returns what it waits for, or nothing when the link is open. Throws an
  /// error reply (Message::Method::Return) that says what went wrong, and raises std::bad_alloc; then it is over.
  virtual std::optional<Interest> proceed() = 0;
  /// The link, when it is open.
  virtual std::shared_ptr<Transport> take() noexcept = 0;

  /// Opens the link, and waits for it up to `deadline`. Returns null then. Throws what `proceed` throws.
  std::shared_ptr<Transport> complete(const Time::Monotonic& deadline);

 protected:
  Opening() = default;
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;
};

}  // namespace Quarnix::Bus::Internal
