// The lower half of a connection: it sends, waits for replies, reads, and connects again after a loss.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/Counters.h>
#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/AsyncCall.h>
#include <platform/bus/connection/AsyncCalls.h>
#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/Link.h>
#include <platform/bus/connection/Listener.h>
#include <platform/bus/connection/ListenerThread.h>
#include <platform/bus/connection/LoopListener.h>
#include <platform/bus/connection/OutgoingQueue.h>
#include <platform/bus/connection/ProcessGuard.h>
#include <platform/bus/connection/ReaderRole.h>
#include <platform/bus/connection/Reports.h>
#include <platform/bus/connection/SizeLimits.h>
#include <platform/bus/connection/Transport.h>
#include <platform/bus/connection/Window.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// Exchange knows messages and replies. Client, the upper half, knows names, owners, subscriptions and objects.
///
/// A call goes through the parts like this, all on the caller's thread:
///
///   transact ─> Link.connect          brings the link up, if it is down; the message leaves with the greeting
///            ─> submit                numbers the message: Calls has the transaction, OutgoingQueue the bytes
///            ─> flush                 OutgoingQueue writes what is queued                   one send
///            ─> await                 takes the reader's role: ReaderRole polls and reads   one poll, one receive
///                 ─> dispatch         hands replies to Calls, signals and calls to the hooks below
///
/// One mutex guards all parts. It is free while a transport reads, writes or waits, and while anybody else's code runs.
/// Every operation holds it with a `Lock`, which does what is left to do before it releases the mutex (`settle`).
///
/// Threads: any, for everything public.
class Exchange : public std::enable_shared_from_this<Exchange>,
                 protected DriverQueue,
                 private Link::User,
                 private ListenerThread::Body,
                 private LoopListener::Body {
 public:
  /// Without addresses, it is a client of the in-process bus.
  explicit Exchange(std::vector<Address> addresses);
  virtual ~Exchange();
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  /// Connection describes these.
  void setLargestMessage(std::size_t calls, std::size_t replies) HEVRA_EXCLUDES(mutex_);
  void setLargestWindow(std::size_t calls) HEVRA_EXCLUDES(mutex_);
  Counters getCounters() HEVRA_EXCLUDES(mutex_);

  /// Makes an asynchronous call. Whatever goes wrong is the call's end.
  void begin(const std::shared_ptr<AsyncCall>& call) noexcept HEVRA_EXCLUDES(mutex_);
  /// Takes an asynchronous call out, if it is not over.
  void withdraw(AsyncCall& call) noexcept HEVRA_EXCLUDES(mutex_);
  /// Gives up the asynchronous calls of a caller that goes.
  void abandon(const Caller& caller) noexcept HEVRA_EXCLUDES(mutex_);
  /// The error for a call that was lost with the last link.
  Message::Method::Return lossError() HEVRA_EXCLUDES(mutex_);

  /// Listens on this loop instead of a thread. Does nothing if it listens already.
  void useLoop(Loop& loop) HEVRA_EXCLUDES(mutex_);
  /// Breaks the link for good and lets the listener end: the last user has gone.
  void close() noexcept HEVRA_EXCLUDES(mutex_);

  /// The in-process bus calls these two with its mutex held: a message has arrived, and a connection has gone. They do
  /// not call the bus. The answers leave with `flushAnswers`, which the bus calls when its mutex is free.
  void incoming(Received message) HEVRA_EXCLUDES(mutex_);
  void peerVanished(const std::string& uniqueName) HEVRA_EXCLUDES(mutex_);
  void flushAnswers() HEVRA_EXCLUDES(mutex_);

 protected:
  /// Holds the mutex for a scope, and calls `settle` before it releases the mutex.
  class HEVRA_SCOPED_CAPABILITY Lock {
   public:
    explicit Lock(Exchange& exchange) HEVRA_ACQUIRE(exchange.mutex_) : exchange_(exchange) { exchange.mutex_.lock(); }
    ~Lock() HEVRA_RELEASE() {
      exchange_.settle();
      exchange_.mutex_.unlock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    Exchange& exchange_;
  };

  /// Sends the message and waits until its transaction is over, up to the deadline. If the link is lost before a byte
  /// of the message has left, it is sent on the next link. Returns the reply, or an empty one if the message expects
  /// none, or an error reply for what went wrong. Raises what sealing the message raises.
  Message::SendReturn transact(const Request& request, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  /// Reads, or waits while others do, until the transaction is over or the deadline has come.
  void await(Transaction& transaction, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  void post(Message::Method::Call call, AnswerHandler handler) HEVRA_REQUIRES(mutex_) override;
  using DriverQueue::post;
  /// Queues an answer that the connection itself gives.
  void answer(Message::Method::Return reply) HEVRA_REQUIRES(mutex_);

  bool isInProcess() const noexcept { return addresses_.empty(); }
  /// Brings the link up, or returns what has prevented it. `first`: a message that may leave with the greeting; if it
  /// has not left then, it has no serial.
  std::optional<Message::Method::Return> connect(const Time::Monotonic& deadline,
                                                 const std::shared_ptr<Transaction>& first = nullptr)
      HEVRA_REQUIRES(mutex_);
  /// Whether the bus must be told each change of what it has to know, because it has been told the rest, or the flight
  /// of the link that is opened tells it.
  bool isTold() const noexcept HEVRA_REQUIRES(mutex_) { return link_.isUp() || isTold_; }
  /// Lets somebody read while nobody calls: on the loop that was given, else on that of the process's default
  /// dispatcher, else on a thread. Raises StartFailed.
  void startListener() HEVRA_REQUIRES(mutex_);
  /// Does what other threads need before the mutex is released for longer: it writes what is queued, passes on the
  /// reader's role, wakes the listener and the threads whose calls are over, and logs.
  void settle() noexcept HEVRA_REQUIRES(mutex_);

  /// Whether asynchronous calls need the listener.
  bool awaitsReplies() const HEVRA_REQUIRES(mutex_);

  // The hooks of the upper half.
  std::string packFlight(const std::shared_ptr<Transaction>& first) HEVRA_REQUIRES(mutex_) override;
  std::unique_ptr<Opening> openLink(std::string flight) override;
  void linkUp() HEVRA_REQUIRES(mutex_) override;
  void linkFailed() noexcept HEVRA_REQUIRES(mutex_) override;
  void linkLost() noexcept HEVRA_REQUIRES(mutex_) override;
  /// Posts what the bus has to know of this connection.
  virtual void tell() HEVRA_REQUIRES(mutex_) = 0;
  virtual void signalArrived(const Received& signal) HEVRA_REQUIRES(mutex_) = 0;
  virtual void callArrived(Received call) HEVRA_REQUIRES(mutex_) = 0;
  /// Whether somebody must read while nobody calls.
  virtual bool isListenerNeeded() const HEVRA_REQUIRES(mutex_) = 0;

  const ProcessGuard process_;
  Mutex mutex_;
  Link link_ HEVRA_GUARDED_BY(mutex_);
  ReaderRole reader_ HEVRA_GUARDED_BY(mutex_);
  Counters counters_ HEVRA_GUARDED_BY(mutex_);
  Window window_ HEVRA_GUARDED_BY(mutex_);
  Calls calls_ HEVRA_GUARDED_BY(mutex_);
  std::unique_ptr<Listener> listener_ HEVRA_GUARDED_BY(mutex_);
  Reports reports_ HEVRA_GUARDED_BY(mutex_);
  SizeLimits limits_{mutex_, calls_, reports_, counters_};  // the link's reader uses it while the mutex is free

 private:
  /// The bytes of a flight. A bus limits what may come before the end of the authentication; dbus-daemon to 16 KiB.
  static constexpr std::size_t LARGEST_FLIGHT = 4096;
  /// How many messages may wait for the end of a dispatch.
  static constexpr std::size_t MOST_PUT_OFF = 32;

  class Expiry;
  void submit(const std::shared_ptr<Transaction>& transaction) HEVRA_REQUIRES(mutex_);
  void leave(const std::shared_ptr<Transaction>& transaction) HEVRA_REQUIRES(mutex_);
  void leaveOrEnd(const std::shared_ptr<Transaction>& transaction) HEVRA_REQUIRES(mutex_);
  void admit() HEVRA_REQUIRES(mutex_);
  void takeOut(Transaction& transaction) noexcept HEVRA_REQUIRES(mutex_);
  void expire() HEVRA_EXCLUDES(mutex_);
  void failWaiting(const Message::Method::Return& failure) HEVRA_REQUIRES(mutex_);
  void flush() HEVRA_REQUIRES(mutex_);
  void readUntil(const Transaction& transaction, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  bool finishRead(const std::shared_ptr<Transport>& link, ReaderRole::Outcome outcome) HEVRA_REQUIRES(mutex_);
  void dispatch(Received& message) HEVRA_REQUIRES(mutex_);
  void listenOn(Loop& loop) HEVRA_REQUIRES(mutex_);
  void readOnce() HEVRA_REQUIRES(mutex_);
  bool listen(ListenerThread& thread) HEVRA_EXCLUDES(mutex_) override;
  std::shared_ptr<ListenerThread::Body> share() override;
  void step() noexcept HEVRA_EXCLUDES(mutex_) override;
  void sendNow() noexcept HEVRA_EXCLUDES(mutex_) override;
  void stepLocked() HEVRA_REQUIRES(mutex_);

  const std::vector<Address> addresses_;
  OutgoingQueue outgoing_ HEVRA_GUARDED_BY(mutex_);
  AsyncCalls asyncCalls_ HEVRA_GUARDED_BY(mutex_);
  bool isTold_ HEVRA_GUARDED_BY(mutex_) = false;  // the flight of the link that is opened tells the bus
  bool hadAsyncCalls_ HEVRA_GUARDED_BY(mutex_) = false;
  LoopListener* onLoop_ HEVRA_GUARDED_BY(mutex_) = nullptr;  // the listener, if it is one on a loop
  Time::Monotonic nextAttempt_ HEVRA_GUARDED_BY(mutex_);     // of the listener on a loop
  const std::unique_ptr<Expiry> expiry_;
};

}  // namespace Quarnix::Bus::Internal
