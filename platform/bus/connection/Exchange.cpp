// The road of a message: queued, written, awaited, read and handed on.
#include <platform/bus/connection/Exchange.h>

#include <sys/epoll.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <utility>

#include <platform/bus/Error.h>
#include <platform/bus/connection/InProcessBus.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/SocketTransport.h>
#include <platform/bus/message/Limits.h>
#include <platform/core/internal/Fork.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Field;
using Message::Method::Call;
using Message::Method::Return;
using State = Transaction::State;

namespace {

std::string seconds(const Time::Elapsed& span) {
  char digits[32];
  const double value = static_cast<double>(span.getNanoseconds()) / 1e9;
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed).ptr;
  return std::string(digits, end) + " s";
}

}  // namespace

Exchange::Exchange(std::vector<Address> addresses)
    : link_(*this), calls_(reader_), addresses_(std::move(addresses)), forks_(forkCount()), outgoing_(calls_) {}

Exchange::~Exchange() = default;

bool Exchange::isSameProcess() const noexcept { return forkCount() == forks_; }

void Exchange::requireSameProcess() const {
  if (!isSameProcess())
    throw UnusableMessage("The connection was opened before this process was forked: expected one of its own");
}

Return Exchange::timeOut(const Call& call, const Host* host) {
  constexpr const char* NO_REPLY = "org.freedesktop.DBus.Error.NoReply";
  const std::string member = call.getMember();
  const std::string span = seconds(call.getTimeout());
  if (call.getTimeout() <= Time::Elapsed())
    return Return(NO_REPLY, "The call of " + member + " was not sent: its time-out of " + span + " is over");
  return Return(NO_REPLY,
                "No reply to " + member + " from " + (host ? host->name : call.getDestination()) + " within " + span);
}

Return Exchange::transact(const Request& request, const Time::Monotonic& deadline) {
  for (;;) {
    if (!request.reconnects && !link_.isUp()) return link_.lossError();
    if (std::optional<Return> failure = connect(deadline)) return std::move(*failure);
    const std::shared_ptr<Transaction> transaction = submit(request);
    // The reply is not to wake the listener, so this comes before the message leaves.
    if (transaction->replyExpected && reader_.isFree()) listener_.arm(0);
    if (outgoing_.isWaiting()) flush();
    await(*transaction, deadline);
    switch (transaction->state) {
      case State::ANSWERED:
        return std::move(*transaction->reply);
      case State::LOST:
        return link_.lossError();
      case State::UNSENT:
        if (!request.reconnects) return link_.lossError();
        if (Time::Clock::get().now() < deadline) continue;
        break;
      case State::SENT:
        if (transaction->isOver()) return Return(Call());
        break;
      case State::QUEUED:
      case State::LEAVING:
      case State::GIVEN_UP:
        break;
    }
    outgoing_.giveUp(*transaction);
    calls_.giveUp(*transaction);
    if (request.call) return timeOut(*request.call, request.host);
    return Return("org.freedesktop.DBus.Error.NoReply", "the bus does not take it");
  }
}

std::shared_ptr<Transaction> Exchange::submit(const Request& request) {
  const Host* const host = request.host;
  auto transaction = std::make_shared<Transaction>();
  transaction->replyExpected = request.call && request.call->isReplyExpected();
  transaction->host = request.host;
  transaction->owner = host ? host->owner : request.message.getDestination();
  transaction->serial = calls_.nextSerial();
  // A bus daemon names the sender itself; the in-process bus passes our bytes on as they are.
  const Message::Base::Route route{request.path, host ? std::string_view(host->name) : std::string_view(),
                                   isInProcess() ? std::string_view(link_.uniqueName()) : std::string_view()};
  Message::Frame frame = request.message.seal(transaction->serial, route);
  if (transaction->replyExpected) calls_.add(transaction);
  try {
    outgoing_.push(std::move(frame), transaction);
  } catch (...) {
    calls_.giveUp(*transaction);
    throw;
  }
  return transaction;
}

void Exchange::post(Call call, ReplyHandler handler) {
  if (!link_.isUp()) return;
  submit({call, &call})->handler = std::move(handler);
}

void Exchange::answer(Return reply) {
  Message::Base::Route route;
  if (isInProcess()) route.sender = link_.uniqueName();
  if (!outgoing_.pushAnswer(reply.seal(calls_.nextSerial(), route))) reports_.countDropped();
}

void Exchange::flush() {
  switch (outgoing_.write(mutex_, link_.transport(), reader_)) {
    case OutgoingQueue::Result::EMPTY:
      return;
    case OutgoingQueue::Result::BROKEN:
      return link_.lose("write failed");  // so short that it needs no memory
    case OutgoingQueue::Result::BLOCKED:
      // The thread that reads also waits for the link to take the rest.
      reader_.wakeToWrite();
      if (reader_.isFree()) listener_.arm(EPOLLIN | EPOLLOUT);
  }
}

void Exchange::await(Transaction& transaction, const Time::Monotonic& deadline) {
  while (!transaction.isOver()) {
    if (!reader_.isFree() || !link_.isReadable()) {
      if (!reader_.wait(mutex_, transaction, deadline)) return;
      continue;
    }
    readUntil(transaction, deadline);
    // Also when messages for others never cease, the deadline is the deadline.
    if (!transaction.isOver() && Time::Clock::get().now() >= deadline) return;
  }
}

/// The reader's role, until the transaction is over, the link is lost or the deadline has come.
void Exchange::readUntil(const Transaction& transaction, const Time::Monotonic& deadline) {
  const std::shared_ptr<Transport> link = link_.transport();
  reader_.take();
  listener_.arm(0);
  while (!transaction.isOver() && link_.transport() == link) {
    const ReaderRole::Turn turn = reader_.waitAndRead(mutex_, *link, transaction, outgoing_.isWaiting(), deadline);
    if (turn.outcome == ReaderRole::Outcome::TIMED_OUT || !finishRead(link, turn.outcome)) break;
    if (outgoing_.isWaiting() && turn.mayWrite) flush();
    if (!transaction.isOver() && Time::Clock::get().now() >= deadline) break;
  }
  reader_.release();
}

/// Hands on what was read. False when the link is not that link any more.
bool Exchange::finishRead(const std::shared_ptr<Transport>& link, ReaderRole::Outcome outcome) {
  std::vector<Received>& arrived = reader_.arrived();
  if (link_.transport() == link)
    for (Received& message : arrived) dispatch(message);
  arrived.clear();
  if (std::shared_ptr<Transaction> answered = calls_.takeToWake()) {
    MutexUnlock unlock(mutex_);
    Calls::wake(std::move(answered));
  }
  if (link_.transport() == link && outcome == ReaderRole::Outcome::BROKEN) link_.lose(reader_.takeReason());
  return link_.transport() == link;
}

void Exchange::dispatch(Received& message) {
  const auto type = static_cast<Message::Type>(message.header.type);
  try {
    switch (type) {
      case Message::Type::METHOD_RETURN:
      case Message::Type::ERROR:
        return replyArrived(message, type == Message::Type::ERROR);
      case Message::Type::SIGNAL:
        if (message.discarded) return reports_.countDropped();
        return signalArrived(message);
      case Message::Type::METHOD_CALL:
        return callArrived(std::move(message));
      default:
        return;  // unknown types are ignored
    }
  } catch (const std::bad_alloc&) {
    reports_.countDropped();
  }
}

void Exchange::replyArrived(Received& reply, bool isError) {
  const auto call = calls_.find(reply.header.replySerial, reply.text(Field::SENDER), isError);
  if (!call) return;
  calls_.answer(call, reply.discarded ? Return(LIMITS_EXCEEDED, describeDiscarded(reply))
                                      : Return(std::move(reply.frame), reply.header));
}

void Exchange::setLargestMessage(std::size_t calls, std::size_t replies) {
  requireSameProcess();
  Lock lock(*this);
  largestCall_ = calls;
  largestReply_ = replies;
}

std::size_t Exchange::largest(const Message::Header& header) {
  MutexLock lock(mutex_);
  return largestOf(header);
}

// Who may answer a call is not known yet while a message is read: the owner of the service's name may stand before it.
std::size_t Exchange::largestOf(const Message::Header& header) const {
  if (isMonitor()) return Message::MAXIMUM_MESSAGE_SIZE;
  return header.replySerial && calls_.isInFlight(header.replySerial) ? largestReply_ : largestCall_;
}

std::string Exchange::describeDiscarded(const Received& message) const {
  const std::size_t limit = largestOf(message.header);
  return "A message of " + std::to_string(message.discarded) + " bytes was discarded: " +
         (message.discarded > limit ? "expected at most " + std::to_string(limit) : "no memory for it");
}

void Exchange::countDropped() noexcept {
  MutexLock lock(mutex_);
  reports_.countDropped();
}

void Exchange::settle() noexcept {
  if (link_.isUp() && outgoing_.isWaiting()) flush();
  if (link_.isReadable() && reader_.isFree() && !reader_.passToWaiter() && !listener_.unpark())
    listener_.arm(outgoing_.isWaiting() ? EPOLLIN | EPOLLOUT : EPOLLIN);
  listener_.update(isListenerNeeded(), link_.generation());

  std::shared_ptr<Transaction> answered = calls_.takeToWake();
  if (!answered && !reports_.isDue(link_.isClosed())) return;
  const Reports reports = reports_.take(link_.lossReason(), link_.isClosed());
  MutexUnlock unlock(mutex_);
  Calls::wake(std::move(answered));
  reports.log();
}

std::shared_ptr<Transport> Exchange::openLink(const Time::Monotonic& deadline) {
  if (isInProcess()) return InProcessBus::get().attach(shared_from_this());
  const Time::Monotonic limit = Time::Clock::get().now() + SocketTransport::MAXIMUM_CONNECT_TIME;
  return SocketTransport::connect(addresses_, std::min(deadline, limit), *this);
}

std::optional<Return> Exchange::connect(const Time::Monotonic& deadline) {
  if (link_.isUp()) return std::nullopt;
  if (!isInProcess() && !reader_.prepare())
    return Return(LIMITS_EXCEEDED, std::string("Cannot connect to the message bus: ") + std::strerror(errno));
  return link_.connect(mutex_, deadline);
}

/// Every message on its way ends here. Nothing of this needs memory: where there is none, the calls must end all the
/// same.
void Exchange::linkLost() noexcept {
  listener_.forget(link_.transport().get());
  if (!link_.isClosed()) reports_.noteLoss();
  outgoing_.loseAll();
  calls_.loseAll();
}

void Exchange::close() noexcept {
  if (!isSameProcess()) return;
  // The last reference to a link of the in-process bus takes the bus's mutex, which comes before this one.
  std::shared_ptr<Transport> last;
  Lock lock(*this);
  last = link_.transport();
  link_.close();
}

void Exchange::startListener() {
  if (!isInProcess()) listener_.start(std::shared_ptr<Listener::Body>(shared_from_this(), this));
}

/// Without memory it goes on a little later.
bool Exchange::listen() {
  Lock lock(*this);
  try {
    listenWhileNeeded();
    listener_.end();
    return true;
  } catch (const std::bad_alloc&) {
    listener_.pause(mutex_, Time::Clock::get().now() + Link::FIRST_PAUSE);
    return false;
  }
}

void Exchange::listenWhileNeeded() {
  while (isListenerNeeded()) {
    settle();
    if (!link_.isUp()) {
      if (!connect(Time::Clock::get().now() + SocketTransport::MAXIMUM_CONNECT_TIME)) continue;
      // What is started meanwhile does not shorten the pause.
      const Time::Monotonic next = link_.nextAttempt();
      while (isListenerNeeded() && !link_.isUp() && listener_.pause(mutex_, next)) {
      }
    } else if (!reader_.isFree()) {
      listener_.park(mutex_);
    } else {
      const std::shared_ptr<Transport> link = link_.transport();
      const bool isReady = listener_.sleep(mutex_, *link, outgoing_.isWaiting() ? EPOLLIN | EPOLLOUT : EPOLLIN);
      if (!isReady || link_.transport() != link || !reader_.isFree()) continue;
      reader_.take();
      finishRead(link, reader_.read(mutex_, *link));
      reader_.release();
    }
  }
}

void Exchange::incoming(Received message) {
  std::shared_ptr<Transaction> answered;
  {
    MutexLock lock(mutex_);
    if (!link_.isUp()) return;
    const std::size_t size = message.frame.size();
    if (size > ALWAYS && size > largestOf(message.header)) message.discarded = size;
    dispatch(message);
    answered = calls_.takeToWake();
  }
  Calls::wake(std::move(answered));
}

void Exchange::peerVanished(const std::string& uniqueName) {
  std::shared_ptr<Transaction> answered;
  {
    MutexLock lock(mutex_);
    calls_.failThoseHeldBy(uniqueName, nullptr, "org.freedesktop.DBus.Error.NoReply",
                           "The service left the bus without replying");
    answered = calls_.takeToWake();
  }
  Calls::wake(std::move(answered));
}

void Exchange::flushAnswers() { Lock lock(*this); }

}  // namespace Quarnix::Bus::Internal
