// Exchanges messages with a bus: sends, waits for replies, reads, and comes back after the bus was gone.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/Admission.h>
#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/Link.h>
#include <platform/bus/connection/Listener.h>
#include <platform/bus/connection/OutgoingQueue.h>
#include <platform/bus/connection/ReaderRole.h>
#include <platform/bus/connection/Reports.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// The lower half of a connection: it knows messages, not what they mean. Client, the upper half, knows names, owners,
/// subscriptions and objects.
///
/// A call goes through the parts like this, on the caller's thread alone:
///
///   transact ─> Link.connect          brings the link up, if it is down
///            ─> submit                numbers the message: Calls has the transaction, OutgoingQueue the bytes
///            ─> flush                 OutgoingQueue writes what is queued                            one send
///            ─> await                 with the reader's role: ReaderRole polls and reads            one poll, one
///            receive
///                 ─> dispatch         replies to Calls, signals and calls to the hooks below
///
/// One mutex guards all parts. It is held neither while a transport reads, writes or waits nor while anybody else's
/// code runs. Every operation holds it with a `Lock`, which leaves nothing undone when it lets the mutex go (`settle`).
///
/// Threads: any, for everything public.
class Exchange : public std::enable_shared_from_this<Exchange>,
                 protected DriverQueue,
                 private Admission,
                 private Link::User,
                 private Listener::Body {
 public:
  static constexpr std::size_t MAXIMUM_OUTSTANDING_CALLS = Calls::MAXIMUM;
  static constexpr std::size_t MAXIMUM_UNSENT_ANSWERS = OutgoingQueue::MAXIMUM_UNSENT_ANSWERS;

  /// Without addresses it is a client of the in-process bus.
  explicit Exchange(std::vector<Address> addresses);
  virtual ~Exchange();
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  /// See Connection::setLargestMessage.
  void setLargestMessage(std::size_t calls, std::size_t replies) HEVRA_EXCLUDES(mutex_);
  /// The last user has gone: breaks the link and lets the listener end.
  void close() noexcept HEVRA_EXCLUDES(mutex_);

  /// From the in-process bus, with the bus's mutex held: a message has arrived; a connection has gone. Neither calls
  /// back into the bus: the answers leave with `flushAnswers`, when the bus's mutex is free.
  void incoming(Received message) HEVRA_EXCLUDES(mutex_);
  void peerVanished(const std::string& uniqueName) HEVRA_EXCLUDES(mutex_);
  void flushAnswers() HEVRA_EXCLUDES(mutex_);

 protected:
  /// Holds the mutex for a scope. Before it lets the mutex go, it settles what the scope has left to do.
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

  /// A message to be sent, and where it goes.
  struct Request {
    Message::Base& message;
    const Message::Method::Call* call = nullptr;  // the message, if it is a call
    std::string_view path = {};                   // where the message itself names none
    Host* host = nullptr;                         // null: where the message itself says
    bool reconnects = true;                       // otherwise it leaves on this link or not at all
  };
  /// Sends the message and waits until its transaction is over, up to the deadline. A message of which nothing has left
  /// when the link is lost is sent again on the next link. Returns the reply; an empty one to a message that expects
  /// none; an error reply for what went wrong. Raises what sealing the message raises.
  Message::Method::Return transact(const Request& request, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  /// How a call ends at its deadline.
  static Message::Method::Return timeOut(const Message::Method::Call& call, const Host* host);
  void post(Message::Method::Call call, ReplyHandler handler) HEVRA_REQUIRES(mutex_) override;
  using DriverQueue::post;
  /// Queues an answer of the connection's own.
  void answer(Message::Method::Return reply) HEVRA_REQUIRES(mutex_);

  bool isInProcess() const noexcept { return addresses_.empty(); }
  /// Brings the link up; returns what prevented it.
  std::optional<Message::Method::Return> connect(const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  /// Makes the thread that reads although nobody calls. Raises StartFailed.
  void startListener() HEVRA_REQUIRES(mutex_);
  /// Does what the other threads need before the mutex is let go for longer: writes what is queued, hands on the
  /// reader's role, wakes the threads whose calls are over and the listener, and logs.
  void settle() noexcept HEVRA_REQUIRES(mutex_);

  /// What the sender of a message that was discarded is told.
  std::string describeDiscarded(const Received& message) const HEVRA_REQUIRES(mutex_);

  /// In a forked child the socket is the parent's: nothing is written to it, and it is not shut down.
  bool isSameProcess() const noexcept;
  /// Raises UnusableMessage in a forked child. Comes before the mutex, which a thread of the parent may have held.
  void requireSameProcess() const;

  // What the upper half does.
  std::shared_ptr<Transport> openLink(const Time::Monotonic& deadline) override;
  void linkUp() HEVRA_REQUIRES(mutex_) override = 0;
  void linkLost() noexcept HEVRA_REQUIRES(mutex_) override;
  virtual void signalArrived(const Received& signal) HEVRA_REQUIRES(mutex_) = 0;
  virtual void callArrived(Received call) HEVRA_REQUIRES(mutex_) = 0;
  /// Whether the bus shows this connection what goes between others.
  virtual bool isMonitor() const HEVRA_REQUIRES(mutex_) = 0;
  /// Whether somebody must read although nobody calls.
  virtual bool isListenerNeeded() const HEVRA_REQUIRES(mutex_) = 0;

  Mutex mutex_;
  Link link_ HEVRA_GUARDED_BY(mutex_);
  ReaderRole reader_ HEVRA_GUARDED_BY(mutex_);
  Calls calls_ HEVRA_GUARDED_BY(mutex_);
  Listener listener_ HEVRA_GUARDED_BY(mutex_);
  Reports reports_ HEVRA_GUARDED_BY(mutex_);

 private:
  std::shared_ptr<Transaction> submit(const Request& request) HEVRA_REQUIRES(mutex_);
  void flush() HEVRA_REQUIRES(mutex_);
  void await(Transaction& transaction, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  void readUntil(const Transaction& transaction, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  bool finishRead(const std::shared_ptr<Transport>& link, ReaderRole::Outcome outcome) HEVRA_REQUIRES(mutex_);
  void dispatch(Received& message) HEVRA_REQUIRES(mutex_);
  void replyArrived(Received& reply, bool isError) HEVRA_REQUIRES(mutex_);
  std::size_t largest(const Message::Header& header) override HEVRA_EXCLUDES(mutex_);
  std::size_t largestOf(const Message::Header& header) const HEVRA_REQUIRES(mutex_);
  void countDropped() noexcept override HEVRA_EXCLUDES(mutex_);
  bool listen() HEVRA_EXCLUDES(mutex_) override;
  void listenWhileNeeded() HEVRA_REQUIRES(mutex_);

  // Constant after construction.
  const std::vector<Address> addresses_;
  const unsigned forks_;

  OutgoingQueue outgoing_ HEVRA_GUARDED_BY(mutex_);
  std::size_t largestCall_ HEVRA_GUARDED_BY(mutex_) = Message::LARGEST_CALL;
  std::size_t largestReply_ HEVRA_GUARDED_BY(mutex_) = Message::LARGEST_REPLY;
};

}  // namespace Quarnix::Bus::Internal
