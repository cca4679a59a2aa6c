// The task on which the handlers of a connection's own asynchronous calls run.
#pragma once

#include <memory>

#include <platform/bus/DeliveryQueue.h>
#include <platform/bus/connection/Client.h>
#include <platform/core/Mutex.h>
#include <platform/core/Task.h>

namespace Quarnix::Bus::Internal {

/// The calls of a bus object end on the object's task; those of a connection end here.
///
/// Threads: any.
class ReplyTask final : public Task, public Caller {
 public:
  explicit ReplyTask(Client& client) noexcept : client_(client) {}
  ~ReplyTask() override;

  void ended(std::unique_ptr<Delivery> call) noexcept override;

 private:
  void entry() override;
  std::unique_ptr<Delivery> take() noexcept;

  Client& client_;
  Mutex mutex_;
  DeliveryQueue queue_ HEVRA_GUARDED_BY(mutex_){0, 0};
};

}  // namespace Quarnix::Bus::Internal
