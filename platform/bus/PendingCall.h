// The handle of an asynchronous call.
#pragma once

#include <memory>

#include <platform/core/Export.h>

namespace Quarnix::Bus {

namespace Internal {
class AsyncCall;
}

/// With it you give up a call that is under way. You need not keep it: the call goes on without it. Copies are handles
/// of the same call.
///
/// Threads: any, also the handler itself.
class HEVRA_EXPORT PendingCall {
 public:
  PendingCall() noexcept = default;
  explicit PendingCall(std::shared_ptr<Internal::AsyncCall> call) noexcept;
  PendingCall(const PendingCall&) noexcept;
  PendingCall(PendingCall&&) noexcept;
  PendingCall& operator=(const PendingCall&) noexcept;
  PendingCall& operator=(PendingCall&&) noexcept;
  ~PendingCall();

  /// Gives the call up: unless its handler has begun already, the handler is not called, and what it holds is released
  /// before this returns. The service may carry out the call all the same. Does not wait for a handler that runs.
  void giveUp() noexcept;
  /// Whether the handler has not begun, and the call is not given up.
  bool isPending() const noexcept;

 private:
  std::shared_ptr<Internal::AsyncCall> call_;
};

}  // namespace Quarnix::Bus
