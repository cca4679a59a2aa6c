// A cross-task wake-up: `send` from anywhere makes `receive` run on the event's own task.
#pragma once

#include <cstdint>

#include <platform/core/Task.h>

namespace Quarnix {

/// Threads: `send` from any thread, a timer's included; `receive` runs on the event's task only. Sends that come while
/// `receive` has not begun are delivered together, with their number.
class HEVRA_EXPORT Event : public Task {
 public:
  Event() noexcept;
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() override;

  void send() noexcept;

 protected:
  /// The hook; `count` sends since the last time. Retire the event first in the destructor of the overriding class.
  virtual void receive(unsigned long long count) = 0;

  void entry() override;

 private:
  std::atomic<std::uint32_t> sent_{0};
};

}  // namespace Quarnix
