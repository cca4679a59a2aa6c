// Starts and stops a bus object, and queues messages for its task.
#include <platform/bus/object/Base.h>

#include <system_error>

#include <platform/bus/connection/AsyncCall.h>
#include <platform/bus/connection/Client.h>
#include <platform/core/internal/Fork.h>
#include <platform/core/internal/HookScope.h>
#include <platform/core/log/Logger.h>
#include <platform/core/log/internal/Boundary.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Object {

Base::Base() = default;

Base::~Base() = default;

void Base::setConnection(Shared::Pointer<Connection> connection) {
  MutexLock lock(connectionMutex_);
  connection_.swap(connection);
}

const Shared::Pointer<Connection>& Base::getConnection() const {
  MutexLock lock(connectionMutex_);
  if (!connection_) connection_ = Connection::getDefault();
  const auto* const used = &connection_;  // it does not change any more, so it may be read without the mutex
  return *used;
}

void Base::setLargestQueue(std::size_t messages, std::size_t bytes) {
  MutexLock lock(queueMutex_);
  queue_.setLimits(messages, bytes);
}

Base::Queued Base::enqueue(Message::Frame frame, const Message::Header& header, bool droppable) {
  auto delivery = std::make_unique<Delivery>(Delivery{std::move(frame), header});
  Queued queued{true, 0};
  {
    MutexLock lock(queueMutex_);
    if (!delivering_) return queued;
    queued = queue_.offer(std::move(delivery), droppable);
    keptOut_ += static_cast<unsigned>(queued.dropped);
  }
  if (queued.isTaken) schedule();
  return queued;
}

void Base::ended(std::unique_ptr<Delivery> call) noexcept {
  {
    MutexLock lock(queueMutex_);
    queue_.append(std::move(call));
  }
  schedule();
}

void Base::entry() {
  while (isEnabled()) {
    std::unique_ptr<Delivery> delivery;
    bool keptOut = false;
    {
      MutexLock lock(queueMutex_);
      if (!stopAsked_) delivery = queue_.take();
      keptOut = keptOut_ > 0;
    }
    if (keptOut) warnOfKeptOut(false);
    if (!delivery) return;
    if (delivery->call) {
      delivery->call->hear();
    } else {
      deliver(std::move(delivery->frame), delivery->header);
    }
  }
}

void Base::countRefused() {
  {
    MutexLock lock(queueMutex_);
    ++keptOut_;
    if (Time::Clock::get().now() < nextWarning_) return;
  }
  schedule();
}

void Base::warnOfKeptOut(bool isLast) {
  unsigned count = 0;
  {
    MutexLock lock(queueMutex_);
    const Time::Monotonic now = Time::Clock::get().now();
    if (keptOut_ == 0 || (now < nextWarning_ && !isLast)) return;
    nextWarning_ = now + Time::Elapsed(1, 0);
    count = std::exchange(keptOut_, 0);
  }
  Log::printQuietly(Log::Priority::WARNING, "%s", describeKeptOut(count).c_str());
}

void Base::begin(bool wait) {
  // In a forked child, a thread that is not there may hold the mutex.
  if (startedIn_ != NEVER && startedIn_ != forkCount())
    throw UnusableMessage("The bus object " + path_ + " was used before this process was forked: expected another");
  {
    MutexLock lock(queueMutex_);
    while (life_ == Life::STARTING || life_ == Life::STOPPING) {
      // A hook must not wait for another thread's `stop`, which waits for the hook.
      if (HookScope::isHere()) {
        if (life_ == Life::STARTING) return;
        throw StartFailed("Cannot start the bus object " + path_ + ": it is being stopped by another thread");
      }
      lifeChanged_.wait(queueMutex_);
    }
    if (life_ == Life::STARTED) return;
    life_ = Life::STARTING;
    startedIn_ = forkCount();
  }
  try {
    useDispatcher();
    beginDelivery();
    attach(wait);
  } catch (...) {
    endDelivery();
    settle(Life::STOPPED);
    throw;
  }
  if (settle(Life::STARTED)) end();
}

void Base::expectReplies() {
  if (startedIn_ != NEVER && startedIn_ != forkCount())
    throw UnusableMessage("The bus object " + path_ + " was used before this process was forked: expected another");
  {
    MutexLock lock(queueMutex_);
    startedIn_ = forkCount();
    if (life_ != Life::STOPPED) return;
  }
  useDispatcher();
  enable();
}

/// The connection of an object without a thread needs none either.
void Base::useDispatcher() {
  if (Loop* const own = loop()) getConnection()->client().useLoop(*own);
}

void Base::end() {
  if (startedIn_ != forkCount()) return;
  {
    MutexLock lock(queueMutex_);
    while (life_ == Life::STARTING || life_ == Life::STOPPING) {
      if (HookScope::isHere()) {
        stopAsked_ = life_ == Life::STARTING;
        return;
      }
      lifeChanged_.wait(queueMutex_);
    }
    life_ = Life::STOPPING;
  }
  // This also happens if the object is stopped already, because the hook that stopped it may still run.
  detach();
  endDelivery();
  settle(Life::STOPPED);
}

/// Returns whether somebody has asked for a stop meanwhile.
bool Base::settle(Life life) noexcept {
  MutexLock lock(queueMutex_);
  life_ = life;
  lifeChanged_.notifyAll();
  // The request stays until the object is stopped, so that nothing more is delivered.
  return life == Life::STOPPED ? std::exchange(stopAsked_, false) : stopAsked_;
}

void Base::beginDelivery() {
  try {
    prepare();
  } catch (const std::system_error& error) {
    throw StartFailed("Cannot start the bus object " + path_ + ": " + error.what());
  }
  {
    MutexLock lock(queueMutex_);
    delivering_ = true;
  }
  enable();
}

void Base::endDelivery() {
  {
    MutexLock lock(queueMutex_);
    delivering_ = false;
  }
  disable();
  for (;;) {
    std::unique_ptr<Delivery> waiting;
    {
      MutexLock lock(queueMutex_);
      waiting = queue_.take();
    }
    if (!waiting) break;
    if (waiting->call) {
      waiting->call->giveUp();
    } else {
      runAtBoundary("refusal of a call", [&] { refuse(std::move(waiting->frame), waiting->header); });
    }
  }
  runAtBoundary("warning of a bus object", [&] { warnOfKeptOut(true); });
}

}  // namespace Quarnix::Bus::Object
