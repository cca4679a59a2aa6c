// Keeps the calls that wait in order.
#include <platform/bus/connection/Window.h>

#include <utility>

namespace Quarnix::Bus::Internal {

void Window::wait(std::shared_ptr<Transaction> call) noexcept {
  ++waiting_;
  if (!last_ || last_->turn < call->turn) {  // nearly always
    Transaction* const added = call.get();
    (last_ ? last_->nextInWindow : first_) = std::move(call);
    last_ = added;
    return;
  }
  std::shared_ptr<Transaction>* link = &first_;
  while ((*link)->turn < call->turn) link = &(*link)->nextInWindow;
  call->nextInWindow = std::move(*link);
  *link = std::move(call);
}

std::shared_ptr<Transaction> Window::takeNext() noexcept { return used_ < size_ ? takeFirst() : nullptr; }

template <class Wanted>
std::shared_ptr<Transaction> Window::takeFirst(const Wanted& isWanted) noexcept {
  Transaction* before = nullptr;
  std::shared_ptr<Transaction>* link = &first_;
  while (*link && !isWanted(**link)) {
    before = link->get();
    link = &before->nextInWindow;
  }
  std::shared_ptr<Transaction> taken = std::move(*link);
  if (!taken) return taken;
  *link = std::move(taken->nextInWindow);
  if (last_ == taken.get()) last_ = before;
  --waiting_;
  return taken;
}

std::shared_ptr<Transaction> Window::takeFirst() noexcept {
  return takeFirst([](const Transaction&) { return true; });
}

std::shared_ptr<Transaction> Window::takeFirstOfThread() noexcept {
  return takeFirst([](const Transaction& call) { return !call.waitsForLink(); });
}

void Window::remove(const Transaction& call) noexcept {
  takeFirst([&](const Transaction& one) { return &one == &call; });
}

}  // namespace Quarnix::Bus::Internal
