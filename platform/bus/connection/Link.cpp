// The link to the bus: connecting, losing it, coming back, and the thread that does so in the background.
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <platform/bus/Error.h>
#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/InProcessBus.h>
#include <platform/bus/connection/MutexUnlock.h>
#include <platform/bus/connection/SocketTransport.h>
#include <platform/bus/connection/Tracing.h>
#include <platform/core/Fork.h>
#include <platform/core/Thread.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Return;

namespace {

constexpr unsigned int BACKGROUND_STACK = 16 * 1024;

Time::Elapsed withJitter(const Time::Elapsed& pause) {
  static std::atomic<std::uint32_t> seed{static_cast<std::uint32_t>(::getpid())};
  const std::uint32_t draw = seed.fetch_add(0x9e3779b9u) * 2654435769u >> 16;  // 0 to 65535
  return Time::Elapsed::ofNanoseconds(pause.getNanoseconds() / 4 * 3 + pause.getNanoseconds() / 4 * draw / 65535);
}

}  // namespace

Client::Client(std::vector<Address> addresses) : addresses_(std::move(addresses)), forks_(forkCount()) {}

Client::~Client() {
  if (epoll_ >= 0) ::close(epoll_);
  if (wake_ >= 0) ::close(wake_);
  if (readerWake_ >= 0) ::close(readerWake_);
}

/// In a forked child the socket is still the parent's: nothing is written to it, and it is not shut down.
bool Client::isSameProcess() const noexcept { return forkCount() == forks_; }

void Client::requireSameProcess() const {
  if (!isSameProcess())
    throw UnusableMessage("The connection was opened before this process was forked: expected one of its own");
}

std::shared_ptr<Transport> Client::openLink(const Time::Monotonic& deadline) {
  if (addresses_.empty()) return InProcessBus::get().attach(shared_from_this());
  const Time::Monotonic limit = Time::Clock::get().now() + SocketTransport::MAXIMUM_CONNECT_TIME;
  return SocketTransport::connect(addresses_, std::min(deadline, limit));
}

std::optional<Return> Client::connect(const Time::Monotonic& deadline) {
  // An attempt that is under way already may have met a bus that has come back since: only the failure of a later one
  // counts.
  const std::uint64_t before = attempts_ + (state_ == State::CONNECTING);
  while (state_ != State::CONNECTED) {
    if (closed_) return Return("org.freedesktop.DBus.Error.Disconnected", "The connection is closed");
    if (state_ == State::CONNECTING) {
      if (!Time::Clock::get().wait(stateChanged_, mutex_, deadline))
        return Return("org.freedesktop.DBus.Error.NoReply", "The message bus was not reached in time");
      if (state_ == State::DISCONNECTED && attempts_ > before && lastFailure_) return lastFailure_;
      continue;
    }
    if (!addresses_.empty() && readerWake_ < 0 && (readerWake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) < 0)
      return Return("org.freedesktop.DBus.Error.LimitsExceeded",
                    std::string("Cannot connect to the message bus: ") + std::strerror(errno));
    state_ = State::CONNECTING;
    std::shared_ptr<Transport> transport;
    std::optional<Return> failure;
    bool noMemory = false;
    try {
      MutexUnlock unlock(mutex_);
      transport = traced(openLink(deadline));
    } catch (Return& error) {
      failure.emplace(std::move(error));
    } catch (const std::bad_alloc&) {
      noMemory = true;
    }
    // The state is whole before anything below needs memory.
    ++attempts_;
    state_ = State::DISCONNECTED;
    lastFailure_.reset();
    stateChanged_.notifyAll();
    if (transport && !closed_) noMemory = !adopt(transport);
    if (transport) {
      MutexUnlock unlock(mutex_);
      transport.reset();
    }
    if (noMemory) failure.emplace("org.freedesktop.DBus.Error.NoMemory", "No memory to connect to the message bus");
    // That this caller's time is up says nothing to the others, who try themselves.
    const bool outOfTime = failure && Time::Clock::get().now() >= deadline;
    if (outOfTime) failure = Return("org.freedesktop.DBus.Error.NoReply", "The message bus was not reached in time");
    lastFailure_ = outOfTime ? std::nullopt : failure;
    if (failure) return failure;
  }
  return std::nullopt;
}

/// False when there is no memory to ask the bus for everything: a link without it is none.
bool Client::adopt(const std::shared_ptr<Transport>& transport) {
  transport_ = transport;
  state_ = State::CONNECTED;
  ++links_;
  armed_ = 0;
  try {
    uniqueName_ = transport_->uniqueName();
    notifyObservers();
    restore();
  } catch (const std::bad_alloc&) {
    lose("no memory");
    return false;
  }
  if (!writing_) flush();
  wakeBackground();
  return true;
}

/// Everything that was on its way ends here: a message of which nothing has left may go out on the next link, every
/// other call gets its error reply at once.
void Client::lose(std::string reason) noexcept {
  if (!transport_) return;
  transport_->shutdown();
  if (watched_.lock() == transport_) {
    // Closing is not enough while a forked child has the socket too: the set would report its end for ever.
    ::epoll_ctl(epoll_, EPOLL_CTL_DEL, transport_->descriptor(), nullptr);
    watched_.reset();
  }
  transport_.reset();
  uniqueName_.clear();
  state_ = State::DISCONNECTED;

  // Nothing of this needs memory: where there is none, the calls must end all the same.
  lossReason_ = std::move(reason);
  lossUnreported_ = !closed_;
  monitors_ = false;
  outgoingOffset_ = 0;
  unsentAnswers_ = 0;
  for (auto& [name, host] : hosts_) {
    host.owner.clear();
    ++host.losses;
  }
  notifyObservers();
  for (const Outgoing& entry : outgoing_)
    if (entry.pending) loseOne(*entry.pending);
  for (const auto& [serial, entry] : pending_)
    if (!entry->done && !entry->handler) loseOne(*entry);
  outgoing_.clear();
  pending_.clear();
  wakeBackground();
}

void Client::loseOne(Pending& pending) noexcept {
  pending.lost = true;
  if (pending.writing) return;  // the writer says how much has left
  pending.retry = !pending.accepted && !closed_;
  pending.lost = !pending.retry;
  finish(pending);
}

/// What a call that was lost with the link ends with.
Return Client::lossError() const {
  return Return("org.freedesktop.DBus.Error.Disconnected",
                "The connection to the message bus was lost: " + lossReason_);
}

void Client::close() noexcept {
  if (!isSameProcess()) return;
  // Goes after the mutex: leaving the in-process bus takes the bus's, which comes first.
  std::shared_ptr<Transport> last;
  MutexLock lock(mutex_);
  last = transport_;
  closed_ = true;
  lose("it was closed");
  stateChanged_.notifyAll();
  wakeBackground();
}

void Client::keepInBackground() {
  if (addresses_.empty() || backgroundRuns_) return;
  if (epoll_ < 0) epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
  if (epoll_ >= 0 && wake_ < 0) {
    wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event event{};
    event.events = EPOLLIN;
    if (wake_ >= 0) ::epoll_ctl(epoll_, EPOLL_CTL_ADD, wake_, &event);
  }
  if (epoll_ < 0 || wake_ < 0)
    throw StartFailed(std::string("Cannot listen to the message bus in the background: ") + std::strerror(errno));
  auto self = std::make_unique<std::shared_ptr<Client>>(shared_from_this());
  pthread_t thread{};
  if (const int error = startThread(thread, BACKGROUND_STACK, "hevra-bus", &Client::backgroundThread, self.get()))
    throw StartFailed(std::string("Cannot listen to the message bus in the background: ") + std::strerror(error));
  ::pthread_detach(thread);
  static_cast<void>(self.release());
  backgroundRuns_ = true;
}

void Client::wakeBackground() noexcept {
  if (!backgroundRuns_) return;
  backgroundChanged_.notifyAll();
  const std::uint64_t one = 1;
  static_cast<void>(!::write(wake_, &one, sizeof one));
}

void* Client::backgroundThread(void* client) {
  const std::unique_ptr<std::shared_ptr<Client>> self(static_cast<std::shared_ptr<Client>*>(client));
  // Without memory it goes on a little later; what it had in hand, it has let go.
  while (!(*self)->background()) {
  }
  return nullptr;
}

/// False when it is to be called again.
bool Client::background() {
  try {
    listen();
    return true;
  } catch (const std::bad_alloc&) {
    MutexLock lock(mutex_);
    Time::Clock::get().wait(backgroundChanged_, mutex_, Time::Clock::get().now() + FIRST_PAUSE);
    return false;
  }
}

bool Client::isListenerNeeded() const {
  return !closed_ && (monitors_ || awaitingOwners_ > 0 || !proxies_.empty() || !servers_.empty() || !names_.empty() ||
                      !observers_.empty());
}

void Client::listen() {
  MutexLock lock(mutex_);
  Time::Elapsed pause = FIRST_PAUSE;
  while (isListenerNeeded()) {
    if (!transport_) {
      if (!connect(Time::Clock::get().now() + SocketTransport::MAXIMUM_CONNECT_TIME)) {
        pause = FIRST_PAUSE;
        continue;
      }
      // What is started meanwhile does not shorten the pause.
      const Time::Monotonic next = Time::Clock::get().now() + withJitter(pause);
      while (isListenerNeeded() && !transport_ && Time::Clock::get().wait(backgroundChanged_, mutex_, next)) {
      }
      pause = std::min(pause + pause, LAST_PAUSE);
      continue;
    }
    if (reading_) {
      backgroundParked_ = true;
      backgroundChanged_.wait(mutex_);
      backgroundParked_ = false;
      continue;
    }
    const std::shared_ptr<Transport> transport = transport_;
    const std::uint32_t events = !outgoing_.empty() && !writing_ ? EPOLLIN | EPOLLOUT : EPOLLIN;
    if (watched_.lock() == transport) {
      arm(events);
    } else {
      epoll_event event{};
      event.events = armed_ = events;
      event.data.u64 = 1;
      ::epoll_ctl(epoll_, EPOLL_CTL_ADD, transport->descriptor(), &event);
      watched_ = transport;
    }
    epoll_event ready[2] = {};
    int count = 0;
    {
      const int epoll = epoll_;
      MutexUnlock unlock(mutex_);
      count = ::epoll_wait(epoll, ready, 2, -1);
    }
    for (int i = 0; i < count; ++i) {
      if (ready[i].data.u64 == 0) {
        std::uint64_t ignored = 0;
        static_cast<void>(!::read(wake_, &ignored, sizeof ignored));
      } else if (transport_ == transport && !reading_) {
        readOnce(transport);
      }
    }
  }
  backgroundRuns_ = false;
  armed_ = 0;
  if (const std::shared_ptr<Transport> transport = watched_.lock()) {
    ::epoll_ctl(epoll_, EPOLL_CTL_DEL, transport->descriptor(), nullptr);
    watched_.reset();
  }
}

/// The reader's role for what is there now.
void Client::readOnce(const std::shared_ptr<Transport>& transport) {
  reading_ = true;
  if (!transport->isMoreThere()) ++reads_;
  std::string reason;
  bool alive = true;
  {
    MutexUnlock unlock(mutex_);
    alive = read(*transport, reason);
  }
  if (transport_ == transport) {
    dispatchAll(arrived_);
    if (!alive && transport_ == transport) {
      lose(std::move(reason));
    } else if (!outgoing_.empty() && !writing_) {
      flush();
    }
  }
  arrived_.clear();
  reading_ = false;
  passOn();
  reportUnlocked();
}

/// Last, with no role left: a logger may use the connection.
void Client::reportUnlocked() {
  if (!lossUnreported_ && warnings_.empty() && !dropped_.load(std::memory_order_relaxed)) return;
  MutexUnlock unlock(mutex_);
  report();
}

void Client::report() noexcept {
  std::vector<std::string> warnings;
  {
    MutexLock lock(mutex_);
    try {
      if (lossUnreported_) warnings_.insert(warnings_.begin(), "Lost the message bus: " + lossReason_);
      lossUnreported_ = false;
    } catch (const std::bad_alloc&) {
      // Next time.
    }
    warnings.swap(warnings_);
  }
  for (const std::string& warning : warnings) Log::printQuietly(Log::Priority::WARNING, "%s", warning.c_str());
  if (const unsigned count = dropped_.exchange(0))
    Log::printQuietly(Log::Priority::ERROR, "%u bus messages were dropped: no memory, or a bus that does not read",
                      count);
}

}  // namespace Quarnix::Bus::Internal
