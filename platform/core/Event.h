// A wake-up across tasks: you call `send` on any thread, and `receive` runs on the event's own task.
#pragma once

#include <cstdint>

#include <platform/core/Task.h>

namespace Quarnix {

/// Threads: `send` from any thread, a timer's included; `receive` runs on the event's task only. Sends that come while
/// `receive` has not begun are delivered together, with their number.
class HEVRA_EXPORT Event : public Task {
 public:
  Event() noexcept : Event([](Event& event, unsigned long long count) { event.receive(count); }) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() override;

  void send() noexcept;

 protected:
  /// The function that takes the sends.
  using Receive = void (*)(Event& event, unsigned long long count);
  /// Makes an event that calls `hook` instead of `receive`, for the same reason as a task with a body, see Task.
  explicit Event(Receive hook) noexcept : Task(&run), receive_(hook) {}

  /// The hook; `count` is the number of sends since the last time. Retire the event first in the destructor of the
  /// overriding class.
  virtual void receive(unsigned long long count) = 0;

  void entry() override;

 private:
  static void run(Task& task);

  const Receive receive_;
  std::atomic<std::uint32_t> sent_{0};
};

}  // namespace Quarnix
