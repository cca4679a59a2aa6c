// Opens and closes a source. Loop calls its hook.
#include <platform/core/dispatcher/internal/Source.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace Quarnix {

int Loop::Source::open(Loop& loop, int descriptor, std::uint32_t events) noexcept {
  if (!loop.isOfThisProcess()) return ESRCH;
  MutexLock lock(loop.mutex_);
  const auto place = std::find(loop.sources_.begin(), loop.sources_.end(), nullptr);
  const auto index = static_cast<std::size_t>(place - loop.sources_.begin());
  try {
    if (place == loop.sources_.end()) loop.sources_.push_back(nullptr);
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
  key_ = (std::uint64_t{index} << 32) + loop.opened_++;
  if (const int error = loop.wakeUp_.control(EPOLL_CTL_ADD, descriptor, events, key_)) return error;
  loop.sources_[index] = this;
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
  loop_->wakeUp_.control(EPOLL_CTL_MOD, descriptor_, events, key_);
  armed_ = events;
}

void Loop::Source::remove() noexcept {
  Loop* const loop = std::exchange(loop_, nullptr);
  if (!loop) return;
  // The set is shared with a forked child.
  if (loop->isOfThisProcess()) {
    MutexLock lock(loop->mutex_);
    loop->wakeUp_.control(EPOLL_CTL_DEL, descriptor_, 0, 0);
    loop->sources_[placeOf(key_)] = nullptr;
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
