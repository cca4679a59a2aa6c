// Queues, writes, awaits, reads and hands on messages. It is one piece of more than 500 lines, because all of it works
// on the same parts under one mutex, and each step leads to the next.
#include <platform/bus/connection/Exchange.h>

#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <platform/bus/Error.h>
#include <platform/bus/connection/InProcessBus.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/SocketOpening.h>
#include <platform/bus/connection/Tracing.h>
#include <platform/bus/message/Limits.h>
#include <platform/core/log/internal/Boundary.h>
#include <platform/core/time/Clock.h>
#include <platform/core/timer/internal/ThreadQueue.h>

namespace Quarnix::Bus::Internal {

using Message::Field;
using Message::Method::Call;
using Message::Method::Return;
using State = Transaction::State;

/// Ends the asynchronous calls whose time is over.
class Exchange::Expiry final : private Timer::QueueEntry {
 public:
  explicit Expiry(Exchange& exchange) noexcept
      : QueueEntry(Time::Monotonic::never(), false), exchange_(exchange), queue_(&Timer::ThreadQueue::get()) {}
  ~Expiry() { retire(); }

  void use(Timer::Queue& queue) noexcept { queue_ = &queue; }
  void startAt(const Time::Monotonic& deadline) {
    queue_->setTime(*this, deadline, false);
    if (const int error = queue_->start(*this))
      throw std::system_error(error, std::generic_category(), "no thread for the process's timers");
  }
  void retire() noexcept { queue_->retire(*this); }

 private:
  void deadlineReached(const Time::Monotonic&) noexcept override {
    runAtBoundary("connection's timer", [this] { exchange_.expire(); });
  }

  Exchange& exchange_;
  Timer::Queue* queue_;
};

namespace {

/// A call that the connection itself has made.
class DriverTransaction final : public Transaction {
 public:
  DriverTransaction(const Request& what, AnswerHandler handler) : Transaction(what), handler_(std::move(handler)) {}

 private:
  void over() override {
    if (reply) handler_(**reply);
  }

  const AnswerHandler handler_;
};

/// The in-process bus is there at once.
class InProcessOpening final : public Opening {
 public:
  explicit InProcessOpening(std::shared_ptr<Exchange> client) : client_(std::move(client)) {}

  std::optional<Interest> proceed() override {
    link_ = InProcessBus::get().attach(client_);
    return std::nullopt;
  }
  std::shared_ptr<Transport> take() noexcept override { return std::move(link_); }

 private:
  const std::shared_ptr<Exchange> client_;
  std::shared_ptr<Transport> link_;
};

}  // namespace

Transaction::Transaction(const Request& what)
    : request(what),
      replyExpected(what.call && what.call->isReplyExpected()),
      isInWindow(what.call && what.begun != Time::Monotonic()) {}

Exchange::Exchange(std::vector<Address> addresses)
    : link_(*this),
      calls_(reader_, window_, counters_),
      listener_(std::make_unique<ListenerThread>(static_cast<ListenerThread::Body&>(*this))),
      addresses_(std::move(addresses)),
      outgoing_(calls_),
      expiry_(std::make_unique<Expiry>(*this)) {}

Exchange::~Exchange() = default;

Message::SendReturn Exchange::transact(const Request& request, const Time::Monotonic& deadline) {
  for (;;) {
    if (!request.reconnects && !link_.isUp()) return link_.lossError();
    const auto transaction = std::make_shared<Transaction>(request);
    if (std::optional<Return> failure = connect(deadline, transaction)) return std::move(*failure);
    if (transaction->serial == 0 && !transaction->isOver()) submit(transaction);
    // The reply must not wake the listener, so this comes before the message leaves.
    if (transaction->replyExpected && reader_.isFree()) listener_->arm(0);
    if (outgoing_.isReady()) flush();
    await(*transaction, deadline);
    switch (transaction->state) {
      case State::ANSWERED:
        return std::move(*transaction->reply);
      case State::LOST:
        return link_.lossError();
      case State::UNSENDABLE:
        std::rethrow_exception(transaction->error);
      case State::UNSENT:
        if (!request.reconnects) return link_.lossError();
        if (Time::Clock::get().now() < deadline) continue;
        break;
      case State::SENT:
        if (transaction->isOver()) return Return(Call());
        break;
      case State::WAITING:
      case State::QUEUED:
      case State::LEAVING:
      case State::GIVEN_UP:
        break;
    }
    takeOut(*transaction);
    calls_.giveUp(*transaction);
    if (request.call) return Calls::timeOut(*request.call, request.host);
    return Return("org.freedesktop.DBus.Error.NoReply", "the bus does not take it");
  }
}

/// Lets a message leave, or wait in the window for its turn.
void Exchange::submit(const std::shared_ptr<Transaction>& transaction) {
  if (transaction->isInWindow) transaction->turn = window_.nextTurn();
  if (!transaction->isInWindow || (link_.isUp() && window_.isOpen())) return leave(transaction);
  window_.wait(transaction);
  admit();
}

void Exchange::leave(const std::shared_ptr<Transaction>& transaction) {
  const Request& request = transaction->request;
  const Host* const host = request.host;
  transaction->owner = host ? host->owner : request.message.getDestination();
  transaction->former.clear();
  transaction->settledAt = transaction->question = 0;
  transaction->serial = calls_.nextSerial();
  // A bus daemon adds the sender; the in-process bus passes the bytes on as they are.
  const Message::Base::Route route{request.path, host ? std::string_view(host->name) : std::string_view(),
                                   isInProcess() ? std::string_view(link_.uniqueName()) : std::string_view()};
  Message::Frame frame = request.message.seal(transaction->serial, route);
  transaction->state = State::QUEUED;
  if (transaction->replyExpected) calls_.add(transaction);
  try {
    outgoing_.push(std::move(frame), transaction);
  } catch (...) {
    calls_.remove(*transaction);
    throw;
  }
}

/// If the message cannot be sealed, whoever has made it raises the error.
void Exchange::leaveOrEnd(const std::shared_ptr<Transaction>& transaction) {
  try {
    leave(transaction);
  } catch (...) {
    transaction->error = std::current_exception();
    calls_.end(transaction, State::UNSENDABLE);
  }
}

/// Lets calls leave whose turn has come.
void Exchange::admit() {
  while (link_.isUp()) {
    const std::shared_ptr<Transaction> next = window_.takeNext();
    if (!next) return;
    leaveOrEnd(next);
  }
}

/// Takes a message out of everything but the transport, from which its rest must follow.
void Exchange::takeOut(Transaction& transaction) noexcept {
  if (transaction.state == State::WAITING) window_.remove(transaction);
  outgoing_.giveUp(transaction);
  calls_.remove(transaction);
}

void Exchange::begin(const std::shared_ptr<AsyncCall>& call) noexcept {
  try {
    process_.requireSameProcess();
  } catch (const UnusableMessage&) {
    return call->fail(std::current_exception());
  }
  Lock lock(*this);
  try {
    const Time::Elapsed& timeout = call->message().getTimeout();
    if (timeout <= Time::Elapsed()) return call->end(Calls::timeOut(call->message(), call->request.host));
    if (calls_.isFull()) return call->end(calls_.fullError());
    const Time::Monotonic deadline = call->request.begun + timeout;
    hadAsyncCalls_ = true;
    startListener();
    call->enter(shared_from_this(), asyncCalls_, deadline);
    if (asyncCalls_.earliest() == deadline) expiry_->startAt(deadline);
    if (isInProcess())
      if (const std::optional<Return> failure = connect(deadline)) return call->end(*failure);
    submit(call);
    if (!link_.isUp()) listener_->wake();
    if (onLoop_ && outgoing_.isReady() && outgoing_.size() < MOST_PUT_OFF) onLoop_->putOff();
  } catch (...) {
    call->fail(std::current_exception());  // its result raises it
  }
}

void Exchange::withdraw(AsyncCall& call) noexcept {
  if (!process_.isSameProcess()) return;
  Lock lock(*this);
  takeOut(call);
  call.leave();
}

void Exchange::abandon(const Caller& caller) noexcept {
  if (!process_.isSameProcess()) return;
  std::shared_ptr<Transaction> abandoned;
  {
    Lock lock(*this);
    for (auto entry = asyncCalls_.begin(); entry != asyncCalls_.end();) {
      const std::shared_ptr<AsyncCall> call = (entry++)->second;
      if (&call->caller() != &caller) continue;
      takeOut(*call);
      call->leave();
      call->nextToWake = std::exchange(abandoned, call);
    }
  }
  // What the handlers hold is released with the mutex free.
  for (; abandoned; abandoned = std::move(abandoned->nextToWake)) static_cast<AsyncCall&>(*abandoned).takeHandler();
}

/// Ends the asynchronous calls whose deadline has come.
void Exchange::expire() {
  Lock lock(*this);
  while (const std::shared_ptr<AsyncCall> call = asyncCalls_.findDue(Time::Clock::get().now())) {
    takeOut(*call);
    calls_.giveUp(*call);
    try {
      call->end(Calls::timeOut(call->message(), call->request.host));
    } catch (const std::bad_alloc&) {
      call->fail(std::current_exception());
    }
  }
  if (!asyncCalls_.isEmpty()) expiry_->startAt(asyncCalls_.earliest());
}

/// Ends the calls that wait for a link, because there is none.
void Exchange::failWaiting(const Return& failure) {
  while (const std::shared_ptr<Transaction> call = window_.takeFirst()) calls_.answer(call, failure);
}

Return Exchange::lossError() {
  MutexLock lock(mutex_);
  return link_.lossError();
}

void Exchange::post(Call call, AnswerHandler handler) {
  if (isTold()) submit(std::make_shared<DriverTransaction>(Request{call, &call}, std::move(handler)));
}

void Exchange::answer(Return reply) {
  Message::Base::Route route;
  if (isInProcess()) route.sender = link_.uniqueName();
  if (!outgoing_.pushAnswer(reply.seal(calls_.nextSerial(), route))) reports_.countDropped(counters_.droppedUnread);
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
      if (reader_.isFree()) listener_->arm(EPOLLIN | EPOLLOUT);
  }
}

void Exchange::await(Transaction& transaction, const Time::Monotonic& deadline) {
  while (!transaction.isOver()) {
    if (!reader_.isFree() || !link_.isReadable()) {
      if (!reader_.wait(mutex_, transaction, deadline)) return;
      continue;
    }
    readUntil(transaction, deadline);
    // The deadline holds even if messages for others never cease.
    if (!transaction.isOver() && Time::Clock::get().now() >= deadline) return;
  }
}

/// Has the reader's role until the transaction is over, the link is lost or the deadline has come.
void Exchange::readUntil(const Transaction& transaction, const Time::Monotonic& deadline) {
  const std::shared_ptr<Transport> link = link_.transport();
  reader_.take();
  listener_->arm(0);
  while (!transaction.isOver() && link_.transport() == link) {
    const ReaderRole::Turn turn = reader_.waitAndRead(mutex_, *link, transaction, outgoing_.isWaiting(), deadline);
    if (turn.outcome == ReaderRole::Outcome::TIMED_OUT || !finishRead(link, turn.outcome)) break;
    if (outgoing_.isWaiting() && turn.mayWrite) flush();
    if (!transaction.isOver() && Time::Clock::get().now() >= deadline) break;
  }
  reader_.release();
}

/// Hands on what was read. Returns false if the connection has another link now, or none.
bool Exchange::finishRead(const std::shared_ptr<Transport>& link, ReaderRole::Outcome outcome) {
  std::vector<Received>& arrived = reader_.arrived();
  for (Received& message : arrived) {
    counters_.bytesReceived += message.frame.size();
    if (link_.transport() == link) dispatch(message);
  }
  arrived.clear();
  admit();
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
      case Message::Type::ERROR: {
        const auto call =
            calls_.find(message.header.replySerial, message.text(Field::SENDER), type == Message::Type::ERROR);
        if (!call) return;
        return calls_.answer(call, message.discarded ? Return(LIMITS_EXCEEDED, limits_.describeDiscarded(message))
                                                     : Return(std::move(message.frame), message.header));
      }
      case Message::Type::SIGNAL:
        if (message.discarded) return reports_.countDropped(counters_.droppedTooLarge);
        return signalArrived(message);
      case Message::Type::METHOD_CALL:
        return callArrived(std::move(message));
      default:
        return;  // unknown types are ignored
    }
  } catch (const std::bad_alloc&) {
    reports_.countDropped(counters_.droppedTooLarge);
  }
}

void Exchange::setLargestMessage(std::size_t calls, std::size_t replies) {
  process_.requireSameProcess();
  Lock lock(*this);
  limits_.set(calls, replies);
}

void Exchange::setLargestWindow(std::size_t calls) {
  process_.requireSameProcess();
  Lock lock(*this);
  window_.setSize(calls);
}

Counters Exchange::getCounters() {
  process_.requireSameProcess();
  MutexLock lock(mutex_);
  Counters counters = counters_;
  counters.callsInFlight = window_.used();
  counters.callsWaiting = window_.waiting();
  counters.bytesSent = outgoing_.bytesSent();
  return counters;
}

void Exchange::settle() noexcept {
  admit();
  const bool isLater = onLoop_ && onLoop_->hasPutOff() && outgoing_.size() < MOST_PUT_OFF;
  if (link_.isUp() && outgoing_.isReady() && !isLater) flush();
  if (link_.isReadable() && reader_.isFree() && !reader_.passToWaiter() && !listener_->unpark())
    listener_->arm(outgoing_.isWaiting() ? EPOLLIN | EPOLLOUT : EPOLLIN);
  listener_->update(isListenerNeeded(), link_.generation());

  std::shared_ptr<Transaction> answered = calls_.takeToWake();
  if (!answered && !reports_.isDue(link_.isClosed())) return;
  const Reports reports = reports_.take(link_.lossReason(), link_.isClosed());
  MutexUnlock unlock(mutex_);
  Calls::wake(std::move(answered));
  reports.log();
}

/// There is no flight if the bus may be the wrong one, because there are several addresses, an identifier to compare,
/// or a program in between. Nor is there one if a trace is set, which sees only what goes through the link.
std::string Exchange::packFlight(const std::shared_ptr<Transaction>& first) {
  const bool isCertain = addresses_.size() == 1 && addresses_[0].guid.empty() && !addresses_[0].isProgram();
  if (!isCertain || isTraced() || !outgoing_.isIdle()) return {};
  isTold_ = true;
  tell();
  if (first && first->serial == 0 && (!first->isInWindow || (window_.isEmpty() && window_.isOpen()))) {
    if (first->isInWindow) first->turn = window_.nextTurn();
    leaveOrEnd(first);
  }
  return outgoing_.takeFlight(LARGEST_FLIGHT);
}

void Exchange::linkUp() {
  outgoing_.land(reader_.reads() + 2);
  if (!std::exchange(isTold_, false)) tell();
}

void Exchange::linkFailed() noexcept {
  isTold_ = false;
  outgoing_.loseAll();
  calls_.loseAll();
}

std::unique_ptr<Opening> Exchange::openLink(std::string flight) {
  if (isInProcess()) return std::make_unique<InProcessOpening>(shared_from_this());
  return std::make_unique<SocketOpening>(addresses_, Time::Clock::get().now() + SocketTransport::MAXIMUM_CONNECT_TIME,
                                         limits_, std::move(flight));
}

std::optional<Return> Exchange::connect(const Time::Monotonic& deadline, const std::shared_ptr<Transaction>& first) {
  if (link_.isUp()) return std::nullopt;
  if (!isInProcess() && !reader_.prepare())
    return Return(LIMITS_EXCEEDED, std::string("Cannot connect to the message bus: ") + std::strerror(errno));
  std::optional<Return> failure = link_.connect(mutex_, deadline, first);
  if (failure && onLoop_) onLoop_->wake();  // this thread may have taken its attempt over
  return failure;
}

/// Ends every message on its way. It needs no memory, because the calls must end without any too.
void Exchange::linkLost() noexcept {
  listener_->forget(link_.transport().get());
  if (!link_.isClosed()) reports_.noteLoss();
  isTold_ = false;
  outgoing_.loseAll();
  calls_.loseAll();
  // Threads connect again for themselves; asynchronous calls wait for the next link.
  while (const std::shared_ptr<Transaction> call = window_.takeFirstOfThread()) calls_.end(call, State::UNSENT);
}

void Exchange::close() noexcept {
  if (!process_.isSameProcess()) return;
  Listener* listener = nullptr;
  {
    MutexLock lock(mutex_);
    listener = listener_.get();  // it stays
    listener->stop();
  }
  listener->awaitOut();
  expiry_->retire();
  // Dropping the last reference to a link of the in-process bus locks the bus's mutex, which comes before this one.
  std::shared_ptr<Transport> last;
  Lock lock(*this);
  last = link_.transport();
  link_.close();
  failWaiting(link_.lossError());
}

bool Exchange::awaitsReplies() const { return hadAsyncCalls_ && (link_.isUp() || !asyncCalls_.isEmpty()); }

void Exchange::useLoop(Loop& loop) {
  process_.requireSameProcess();
  Lock lock(*this);
  listenOn(loop);
}

void Exchange::listenOn(Loop& loop) {
  if (onLoop_ || listener_->readsAtOnce()) return;
  auto onLoop = std::make_unique<LoopListener>(loop, static_cast<LoopListener::Body&>(*this));
  onLoop_ = onLoop.get();
  listener_ = std::move(onLoop);
  expiry_->use(loop.timers());
}

void Exchange::startListener() {
  if (Loop* const loop = Loop::getDefault()) listenOn(*loop);
  if (!isInProcess()) listener_->start();
}

std::shared_ptr<ListenerThread::Body> Exchange::share() { return {shared_from_this(), this}; }

/// Reads what is there, with the reader's role, which is free.
void Exchange::readOnce() {
  const std::shared_ptr<Transport> link = link_.transport();
  reader_.take();
  finishRead(link, reader_.read(mutex_, *link));
  reader_.release();
}

/// Without memory it ends early, and goes on a little later.
bool Exchange::listen(ListenerThread& thread) {
  Lock lock(*this);
  try {
    while (isListenerNeeded()) {
      settle();
      if (!link_.isUp()) {
        const auto failure = connect(Time::Clock::get().now() + SocketTransport::MAXIMUM_CONNECT_TIME);
        if (!failure) continue;
        failWaiting(*failure);
        // What is started meanwhile does not shorten the pause; an asynchronous call ends it.
        const Time::Monotonic next = link_.nextAttempt();
        while (isListenerNeeded() && !link_.isUp() && window_.isEmpty() && thread.pause(mutex_, next)) {
        }
      } else if (!reader_.isFree()) {
        thread.park(mutex_);
      } else {
        const std::shared_ptr<Transport> link = link_.transport();
        const bool isReady =
            link->hasEarly() || thread.sleep(mutex_, *link, outgoing_.isWaiting() ? EPOLLIN | EPOLLOUT : EPOLLIN);
        if (isReady) outgoing_.unblock();
        if (isReady && link_.transport() == link && reader_.isFree()) readOnce();
      }
    }
    thread.end();
    return true;
  } catch (const std::bad_alloc&) {
    thread.pause(mutex_, Time::Clock::get().now() + Link::FIRST_PAUSE);
    return false;
  }
}

void Exchange::step() noexcept {
  Lock lock(*this);
  try {
    stepLocked();
  } catch (const std::bad_alloc&) {
    onLoop_->rest();
    onLoop_->await({-1, 0, Time::Clock::get().now() + Link::FIRST_PAUSE});
  }
}

void Exchange::sendNow() noexcept {
  Lock lock(*this);
  onLoop_->endPutOff();
}

/// Does what `listen` does, once and without waiting. While a caller reads, `settle` sees to the rest.
void Exchange::stepLocked() {
  if (!isListenerNeeded()) return onLoop_->rest();
  if (!link_.isUp()) {
    onLoop_->rest();
    const Time::Monotonic now = Time::Clock::get().now();
    if (now < nextAttempt_ && window_.isEmpty()) return onLoop_->await({-1, 0, nextAttempt_});
    if (!reader_.prepare()) return onLoop_->await({-1, 0, now + Link::LAST_PAUSE});
    const Link::Progress progress = link_.step(mutex_);
    if (progress.failure) {
      failWaiting(*progress.failure);
      nextAttempt_ = link_.nextAttempt();
      return onLoop_->await({-1, 0, nextAttempt_});
    }
    if (progress.interest) return onLoop_->await(*progress.interest);
    if (link_.isUp() && reader_.isFree() && link_.transport()->hasEarly()) readOnce();
  } else if (reader_.isFree()) {
    outgoing_.unblock();
    readOnce();
  }
  // A loss wakes the listener, and so does the end of another thread's attempt.
  if (!link_.isUp()) return;
  onLoop_->watch(*link_.transport(), !reader_.isFree() ? 0 : outgoing_.isWaiting() ? EPOLLIN | EPOLLOUT : EPOLLIN);
}

void Exchange::incoming(Received message) {
  std::shared_ptr<Transaction> answered;
  {
    MutexLock lock(mutex_);
    if (!link_.isUp()) return;
    const std::size_t size = message.frame.size();
    if (size > Admission::ALWAYS && size > limits_.of(message.header)) message.discarded = size;
    counters_.bytesReceived += size;
    dispatch(message);
    admit();
    answered = calls_.takeToWake();
  }
  Calls::wake(std::move(answered));
}

void Exchange::peerVanished(const std::string& uniqueName) {
  std::shared_ptr<Transaction> answered;
  {
    MutexLock lock(mutex_);
    calls_.failThoseHeldBy(uniqueName, "org.freedesktop.DBus.Error.NoReply",
                           "The service left the bus without replying");
    answered = calls_.takeToWake();
  }
  Calls::wake(std::move(answered));
}

void Exchange::flushAnswers() { Lock lock(*this); }

}  // namespace Quarnix::Bus::Internal
