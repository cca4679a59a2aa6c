// Opens and closes a source. Loop calls its hook.
#include <platform/core/dispatcher/internal/Source.h>

#include <cerrno>
#include <utility>

namespace Quarnix {

int Loop::Source::open(Loop& loop, int descriptor, std::uint32_t events) noexcept {
  if (!loop.isOfThisProcess()) return ESRCH;
  MutexLock lock(loop.mutex_);
  if (const int error = loop.wakeUp_.control(EPOLL_CTL_ADD, descriptor, events, this)) return error;
  loop.retain();
  loop_ = &loop;
  descriptor_ = descriptor;
  armed_ = events;
  return 0;
}

void Loop::Source::arm(std::uint32_t events) noexcept {
  if (!loop_ || !loop_->isOfThisProcess()) return;
  MutexLock lock(loop_->mutex_);
  if (armed_ == events) return;
  loop_->wakeUp_.control(EPOLL_CTL_MOD, descriptor_, events, this);
  armed_ = events;
}

void Loop::Source::remove() noexcept {
  Loop* const loop = std::exchange(loop_, nullptr);
  if (!loop) return;
  // The set is shared with a forked child.
  if (loop->isOfThisProcess()) {
    MutexLock lock(loop->mutex_);
    loop->wakeUp_.control(EPOLL_CTL_DEL, descriptor_, 0, nullptr);
    for (epoll_event& event : loop->events_)
      if (event.data.ptr == this) event.data.ptr = nullptr;
  }
  loop->release();
}

void Loop::Source::close() noexcept {
  Loop* const loop = loop_;
  if (!loop) return;
  loop->retain();
  remove();
  loop->awaitOut(*this);
  loop->release();
}

}  // namespace Quarnix
