// Calls the handlers of a connection's calls.
#include <platform/bus/connection/ReplyTask.h>

#include <platform/bus/connection/AsyncCall.h>

namespace Quarnix::Bus::Internal {

ReplyTask::~ReplyTask() {
  client_.abandon(*this);
  retire();
  while (const std::unique_ptr<Delivery> delivery = take()) delivery->call->giveUp();
}

void ReplyTask::ended(std::unique_ptr<Delivery> call) noexcept {
  {
    MutexLock lock(mutex_);
    queue_.append(std::move(call));
  }
  schedule();
}

std::unique_ptr<Delivery> ReplyTask::take() noexcept {
  MutexLock lock(mutex_);
  return queue_.take();
}

void ReplyTask::entry() {
  while (const std::unique_ptr<Delivery> delivery = take()) delivery->call->hear();
}

}  // namespace Quarnix::Bus::Internal
