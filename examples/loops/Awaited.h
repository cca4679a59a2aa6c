// Lets a coroutine await an asynchronous operation of a manager.
#pragma once

#include <coroutine>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <platform/bus/PendingCall.h>
#include <platform/bus/Result.h>

/// Returns what the operation returns, or raises what it raises:
///
///   auto nodes = co_await Awaited<Nodes>([&](auto handler) { return manager.getNodesAsync(std::move(handler)); });
///
/// If the operation is given up, because its manager is stopped for example, the coroutine is destroyed where it waits.
///
/// Threads: the coroutine goes on where the handler runs, so its manager must be on a dispatcher, and the coroutine on
/// the thread that dispatches. A coroutine must not destroy the manager that it awaits.
template <class T>
class Awaited {
 public:
  using Begin = std::function<Quarnix::Bus::PendingCall(Quarnix::Bus::Handler<T> handler)>;
  explicit Awaited(Begin begin) : begin_(std::move(begin)) {}

  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> coroutine) {
    begin_([this, waiting = std::make_shared<Waiting>(coroutine)](const Quarnix::Bus::Result<T>& result) {
      result_.emplace(result);
      waiting->resume();
    });
  }
  T await_resume() { return result_->get(); }

 private:
  /// Destroys the coroutine unless it has been resumed.
  class Waiting {
   public:
    explicit Waiting(std::coroutine_handle<> coroutine) noexcept : coroutine_(coroutine) {}
    ~Waiting() {
      if (coroutine_) coroutine_.destroy();
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    void resume() { std::exchange(coroutine_, nullptr).resume(); }

   private:
    std::coroutine_handle<> coroutine_;
  };

  Begin begin_;
  std::optional<Quarnix::Bus::Result<T>> result_;
};
