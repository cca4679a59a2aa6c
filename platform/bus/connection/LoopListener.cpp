// Watches a descriptor and a time on a dispatcher's loop.
#include <platform/bus/connection/LoopListener.h>

#include <poll.h>

#include <utility>

#include <platform/core/timer/internal/Queue.h>

namespace Quarnix::Bus::Internal {

namespace {

/// When it tries again what the system had no memory for.
constexpr Time::Elapsed RETRY{1, 0};

}  // namespace

LoopListener::LoopListener(Loop& loop, Body& body) noexcept
    : QueueEntry(Time::Monotonic::never(), false), loop_(loop), body_(body), sending_(body) {
  loop.retain();
}

LoopListener::~LoopListener() {
  stop();
  awaitOut();
  loop_.release();
}

void LoopListener::start() {
  if (state_ != State::IDLE) return;
  state_ = State::STARTED;
  wake();
}

void LoopListener::wake() noexcept {
  if (state_ == State::STARTED) loop_.post(*this);
}

void LoopListener::arm(std::uint32_t events) noexcept {
  if (watched_) Source::arm(events);
}

void LoopListener::forget(const Transport* link) noexcept {
  if (link && watched_ == link) rest();
}

bool LoopListener::putOff() noexcept {
  if (!loop_.isDispatchedHere() || state_ == State::STOPPED) return false;
  if (std::exchange(round_, loop_.rounds()) != loop_.rounds()) return false;
  hasPutOff_ = true;
  loop_.postAtEnd(sending_);
  return true;
}

/// A step that is under way finds out for itself that the state has changed.
void LoopListener::rest() noexcept {
  watched_ = nullptr;
  Source::remove();
  loop_.timers().stop(*this);
}

void LoopListener::watch(const Transport& link, std::uint32_t events) noexcept {
  if (state_ == State::STOPPED) return;
  if (watched_ == &link) return Source::arm(events);
  rest();
  watched_ = &link;
  watchDescriptor(link.descriptor(), events);
}

void LoopListener::await(const Opening::Interest& interest) noexcept {
  if (state_ == State::STOPPED) return;
  loop_.timers().setTime(*this, interest.until, false);
  loop_.timers().start(*this);
  if (interest.descriptor >= 0)
    watchDescriptor(interest.descriptor, interest.events == POLLOUT ? std::uint32_t{EPOLLOUT} : std::uint32_t{EPOLLIN});
}

void LoopListener::watchDescriptor(int descriptor, std::uint32_t events) noexcept {
  if (Source::open(loop_, descriptor, events) == 0) return;
  loop_.timers().setTime(*this, Time::Monotonic(RETRY), true);
  loop_.timers().start(*this);
  watched_ = nullptr;
}

void LoopListener::stop() noexcept {
  state_ = State::STOPPED;
  rest();
}

void LoopListener::awaitOut() noexcept {
  loop_.awaitOut(static_cast<const Loop::Source&>(*this));
  loop_.withdraw(*this);
  loop_.withdraw(sending_);
  loop_.timers().retire(*this);
}

}  // namespace Quarnix::Bus::Internal
