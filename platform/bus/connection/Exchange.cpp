// Sending and waiting: calls, the queue of outgoing messages, and the roles of reader and writer.
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/MutexUnlock.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

namespace {

std::string seconds(const Time::Elapsed& span) {
  std::string text = std::to_string(span.getNanoseconds() / 1'000'000 % 1000);
  text.insert(0, 3 - text.size(), '0');
  text = std::to_string(span.getSeconds()) + "." + text;
  while (text.back() == '0') text.pop_back();
  if (text.back() == '.') text.pop_back();
  return text;
}

}  // namespace

std::uint32_t Client::nextSerial() noexcept {
  // 0 is no serial, and one that is still waited for is not used again.
  do {
    ++serial_;
  } while (serial_ == 0 || (!pending_.empty() && pending_.count(serial_)));
  return serial_;
}

void Client::submit(Message::Base& message, const Message::Base::Route& route,
                    const std::shared_ptr<Pending>& pending) {
  const std::uint32_t serial = nextSerial();
  Message::Base::Route complete = route;
  // A bus daemon names the sender itself; the in-process bus passes our bytes on as they are.
  if (addresses_.empty()) complete.sender = uniqueName_;
  Message::Frame frame = message.seal(serial, complete);
  pending->serial = serial;
  outgoing_.push_back({std::move(frame), pending});
  if (!pending->replyExpected) return;
  try {
    pending_.emplace(serial, pending);
  } catch (...) {
    outgoing_.pop_back();
    throw;
  }
}

Return Client::call(Call& call, std::string_view path, Host* host) {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + call.getTimeout();
  MutexLock lock(mutex_);
  for (;;) {
    if (std::optional<Return> failure = connect(deadline)) return std::move(*failure);
    if (pending_.size() >= MAXIMUM_OUTSTANDING_CALLS)
      return Return("org.freedesktop.DBus.Error.LimitsExceeded",
                    "More than " + std::to_string(MAXIMUM_OUTSTANDING_CALLS) + " calls wait for a reply");

    auto pending = std::make_shared<Pending>();
    pending->replyExpected = call.isReplyExpected();
    pending->host = host;
    pending->owner = host ? host->owner : std::string(call.getDestination());
    submit(call, {path, host ? std::string_view(host->name) : std::string_view(), {}}, pending);
    exchange(*pending, deadline);
    if (pending->retry && Time::Clock::get().now() < deadline) continue;
    if (pending->lost) return lossError();
    if (pending->reply) return std::move(*pending->reply);
    // A call that expects no reply is done when it is sent.
    if (pending->done && !pending->retry) return Return(Call());

    withdraw(pending);
    return Return("org.freedesktop.DBus.Error.NoReply", "No reply to " + std::string(call.getMember()) + " from " +
                                                            (host ? host->name : call.getDestination()) + " within " +
                                                            seconds(call.getTimeout()) + " s");
  }
}

/// Empty when the message is on its way, otherwise what prevented it.
std::string Client::sendAndWait(Message::Base& message, bool reconnect) {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  for (;;) {
    if (!reconnect && !transport_) return "the connection to the message bus was lost";
    if (const std::optional<Return> failure = connect(deadline)) return failure->getErrorText();
    auto pending = std::make_shared<Pending>();
    submit(message, {}, pending);
    exchange(*pending, deadline);
    if (pending->retry && Time::Clock::get().now() < deadline) continue;
    if (pending->lost) return lossError().getErrorText();
    if (pending->done && !pending->retry) return {};
    withdraw(pending);
    return "the bus does not take it";
  }
}

void Client::send(Message::Signal& signal) {
  if (const std::string failure = sendAndWait(signal, true); !failure.empty())
    Log::printQuietly(Log::Priority::WARNING, "Signal %s of %s was not sent: %s", signal.getMember(), signal.getPath(),
                      failure.c_str());
}

void Client::send(Return& reply) {
  // A bus refuses a reply that nobody waits for, and says so in its log.
  if (!reply.isExpected()) return;
  if (const std::string failure = sendAndWait(reply, false); !failure.empty())
    Log::printQuietly(Log::Priority::WARNING, "Reply to %s was not sent: %s", reply.getDestination(), failure.c_str());
}

void Client::finish(Pending& pending) {
  pending.done = true;
  if (pending.waiting) pending.changed.notifyOne();
  if (reader_ == &pending) wakeReader();
}

/// Takes a message that is given up out of all lists. One of which a part has left stays queued: its rest must follow.
void Client::withdraw(const std::shared_ptr<Pending>& pending) {
  pending_.erase(pending->serial);
  if (pending->accepted || pending->writing) return;
  const auto found =
      std::find_if(outgoing_.begin(), outgoing_.end(), [&](const Outgoing& entry) { return entry.pending == pending; });
  if (found != outgoing_.end()) outgoing_.erase(found);
}

/// Writes what is queued until the link takes no more. Whoever comes while somebody writes only queues.
void Client::flush() {
  constexpr std::size_t BATCH = 8;
  writing_ = true;
  while (transport_ && !outgoing_.empty()) {
    std::shared_ptr<Transport> transport = transport_;
    // References of our own: while the mutex is not held the queue may be emptied by a loss of the link.
    Message::Frame frames[BATCH];
    std::shared_ptr<Pending> batch[BATCH];
    const std::size_t count = std::min(BATCH, outgoing_.size());
    for (std::size_t i = 0; i < count; ++i) {
      frames[i] = outgoing_[i].frame;
      batch[i] = outgoing_[i].pending;
      if (batch[i]) batch[i]->writing = true;
    }
    const std::size_t offset = outgoingOffset_;
    std::ptrdiff_t written = 0;
    {
      MutexUnlock unlock(mutex_);
      written = transport->write(frames, count, offset);
    }
    std::size_t left = written > 0 ? static_cast<std::size_t>(written) + offset : offset;
    std::size_t before = 0;
    for (std::size_t i = 0; i < count; before += frames[i++].size()) {
      if (!batch[i]) continue;
      batch[i]->writing = false;
      batch[i]->accepted = left > before;
      // The link went meanwhile and left it to us, who know how much had left.
      if (batch[i]->lost) loseOne(*batch[i]);
    }
    if (transport_ != transport) {
      // The link has gone, and its queue with it: what is queued now is for the next one. Whoever is the last to let a
      // link go leaves the in-process bus, whose mutex comes before ours.
      MutexUnlock unlock(mutex_);
      transport.reset();
      continue;
    }

    std::size_t complete = 0;
    for (; complete < count && left >= frames[complete].size(); ++complete) {
      left -= frames[complete].size();
      outgoing_.pop_front();
      if (!batch[complete]) {
        unsentAnswers_ -= frames[complete].size();
      } else if (!batch[complete]->replyExpected) {
        finish(*batch[complete]);
      } else {
        // What is pushed comes in order. Otherwise the read under way and the one after it may still bring what was
        // there before.
        batch[complete]->settledAt = transport->descriptor() < 0 ? reads_ : reads_ + 2;
      }
    }
    outgoingOffset_ = left;
    if (written < 0) {
      lose("the bus does not take messages any more");
      break;
    }
    if (complete < count) break;
  }
  writing_ = false;
  if (!transport_ || outgoing_.empty()) return;
  // Whoever reads also waits for the link to take the rest.
  if (reader_ && !readerWrites_) wakeReader();
  if (!reading_) arm(EPOLLIN | EPOLLOUT);
}

/// Sends what is queued and waits until the message is done or the deadline has come.
void Client::exchange(Pending& pending, const Time::Monotonic& deadline) {
  // Before the message leaves, so that its reply does not wake the background thread.
  if (pending.replyExpected && !reading_) arm(0);
  if (!writing_) flush();
  await(pending, deadline);
}

void Client::await(Pending& pending, const Time::Monotonic& deadline) {
  while (!pending.done) {
    if (!reading_ && transport_ && transport_->descriptor() >= 0) {
      readUntil(pending, deadline);
      if (!pending.done && Time::Clock::get().now() >= deadline) break;
      continue;
    }
    pending.waiting = true;
    pending.nextWaiter = std::exchange(waiters_, &pending);
    const bool inTime = Time::Clock::get().wait(pending.changed, mutex_, deadline);
    pending.waiting = false;
    Pending** link = &waiters_;
    while (*link != &pending) link = &(*link)->nextWaiter;
    *link = pending.nextWaiter;
    if (!inTime) break;
  }
  // Whoever leaves hands on the roles that it held or was woken for.
  passOn();
  reportUnlocked();
}

/// The reader's role: polls the socket until the awaited message is done, reads for everybody, and writes what is left.
void Client::readUntil(Pending& pending, const Time::Monotonic& deadline) {
  const std::shared_ptr<Transport> transport = transport_;
  reading_ = true;
  arm(0);
  std::string reason;
  while (!pending.done && transport_ == transport) {
    if (!transport->isMoreThere()) ++reads_;
    const bool unsent = !outgoing_.empty() && !writing_;
    pollfd descriptors[3] = {{transport->descriptor(), static_cast<short>(unsent ? POLLIN | POLLOUT : POLLIN), 0},
                             {readerWake_, POLLIN, 0},
                             {}};
    int ready = 0;
    bool alive = true;
    reader_ = &pending;
    readerWrites_ = unsent;
    {
      MutexUnlock unlock(mutex_);
      ready = Time::Clock::get().poll(descriptors, 2, deadline);
      if (ready > 0 && (descriptors[0].revents & ~POLLOUT)) alive = read(*transport, reason);
    }
    reader_ = nullptr;
    if (ready > 0 && descriptors[1].revents) {
      eventfd_t ignored = 0;
      ::eventfd_read(readerWake_, &ignored);
    }
    if (ready == 0 || (ready < 0 && errno != EINTR)) break;
    if (transport_ != transport) {
      arrived_.clear();
      break;
    }
    dispatchAll(arrived_);
    if (transport_ != transport) break;
    if (!alive) {
      lose(std::move(reason));
      break;
    }
    if (!outgoing_.empty() && !writing_ && (!unsent || (descriptors[0].revents & POLLOUT))) flush();
    // Also when messages for others never cease, the deadline is the deadline.
    if (!pending.done && Time::Clock::get().now() >= deadline) break;
  }
  reading_ = false;
}

/// Appends to what has arrived. False when the link is broken.
bool Client::read(Transport& transport, std::string& reason) noexcept {
  try {
    return transport.read(arrived_, reason);
  } catch (const std::bad_alloc&) {
    // What does not fit into memory cannot be skipped: the stream would be out of step.
    reason = "no memory";  // so short that it needs none itself
    return false;
  }
}

/// Has the reader look again: its message is done, or there is something to write.
void Client::wakeReader() noexcept { ::eventfd_write(readerWake_, 1); }

void Client::passOn() {
  if (!transport_ || transport_->descriptor() < 0 || reading_) return;
  if (waiters_) {
    waiters_->changed.notifyOne();
  } else if (backgroundParked_) {
    backgroundChanged_.notifyAll();
  } else {
    arm(!outgoing_.empty() && !writing_ ? EPOLLIN | EPOLLOUT : EPOLLIN);
  }
}

/// Sets what wakes the background thread. Callers that read switch it off, so that it sleeps through their traffic.
void Client::arm(std::uint32_t events) noexcept {
  if (!backgroundRuns_ || armed_ == events || watched_.lock() != transport_) return;
  epoll_event event{};
  event.events = events;
  event.data.u64 = 1;
  ::epoll_ctl(epoll_, EPOLL_CTL_MOD, transport_->descriptor(), &event);
  armed_ = events;
}

}  // namespace Quarnix::Bus::Internal
