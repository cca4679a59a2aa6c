// Stands for an object of another process.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <string_view>
#include <utility>

#include <platform/bus/PendingCall.h>
#include <platform/bus/Result.h>
#include <platform/bus/object/Base.h>

namespace Quarnix::Bus {

namespace Internal {
struct Host;
}

namespace Object {

/// A proxy sends calls to an object (its path) of a service (its host). While started, it receives the object's
/// signals.
///
/// You can send calls without a start. A signal counts only from the connection that owns the host's name at that
/// moment.
class HEVRA_EXPORT Proxy : public Base {
 public:
  Proxy();
  ~Proxy() override;

  /// The bus name of the service. Call it before the first use.
  void setHost(const char* host);
  const std::string& getHost() const noexcept { return host_; }

  /// Sends the call to the host and the path, and waits for the reply or the call's time-out. Any number of threads may
  /// call at once. If something goes wrong on the way, the reply is an error. If the message must not be sent, raises
  /// InvalidArgument or UnusableMessage.
  Message::SendReturn send(Message::Method::Call& call) const;

  /// Sends the call without waiting. The handler runs once, on the proxy's task, when the reply is there, the time-out
  /// is over or something has gone wrong. Its result returns or raises what `send` does. Returns a handle with which
  /// you can give the call up. After `stop`, no handler of the calls made before is called any more. Raises only
  /// std::bad_alloc, and UnusableMessage in a forked child.
  ///
  /// Calls of one thread, synchronous ones too, leave in the order in which it makes them. See
  /// Connection::setLargestWindow for how many are on the bus at the same time.
  PendingCall sendAsync(Message::Method::Call call, Handler<Message::SendReturn> handler);
  std::future<Message::SendReturn> sendAsync(Message::Method::Call call);

  /// How long the calls of a manager wait for their replies, from now on. 0: as long as each operation says, which is
  /// the default. Raises InvalidArgument for a time below 0. It does not apply to `send` and `sendAsync`, whose calls
  /// have time-outs of their own. Call it at any time.
  void setTimeout(const Time::Elapsed& timeout);

  /// Whether somebody owns the service's name now. While an object of the connection is started, the connection knows
  /// it; otherwise it asks the bus. Returns false if the bus is not there.
  bool isAvailable() const;
  /// Waits until somebody owns the service's name, even if the bus is not there yet. Returns false at `deadline`, which
  /// is a time of Time::Clock. If your thread cannot wait, use a ConnectionObserver.
  bool waitForService(const Time::Monotonic& deadline) const;

  /// The object's description of itself, in the introspection format. Throws an error reply.
  std::string introspect() const;

  void start(bool wait) override;
  void stop() override;

 protected:
  void attach(bool wait) override;
  void detach() override;
  /// The hook for a signal of the object. Runs on the proxy's task.
  virtual void signal(const Message::Signal& signal);

  /// The time-out that `setTimeout` has set, or else `usual`.
  Time::Elapsed timeoutOr(const Time::Elapsed& usual) const noexcept;
  /// Begins an asynchronous operation: `encode` returns its call, and `read` reads the reply. If `timeout` is above 0,
  /// it replaces that of the call. What `encode` raises, the result raises.
  template <class T>
  PendingCall request(const std::function<Message::Method::Call()>& encode, typename Result<T>::Read read,
                      Handler<T> handler, const Time::Elapsed& timeout) {
    return begin(encode, reading<T>(read, std::move(handler)), timeout);
  }
  PendingCall begin(const std::function<Message::Method::Call()>& encode, ReplyHandler handler,
                    const Time::Elapsed& timeout);
  using Base::begin;

  /// Connection::expectCalls of the proxy's connection, without a lock once calls are answered.
  void expectCalls() const;

  /// The generation of the service. This number grows when an owner gives up or loses the service's name, and when the
  /// bus is lost. It does not grow when the first owner comes or becomes known.
  std::uint64_t getGeneration() const;
  /// The same if `owner`, a unique name, owns the service's name now; otherwise 0, which no generation is.
  std::uint64_t getGenerationOf(std::string_view owner) const;

  void retire() noexcept;

 private:
  HEVRA_INTERNAL Internal::Host* host() const;
  void deliver(Message::Frame frame, const Message::Header& header) override;
  void refuse(Message::Frame frame, const Message::Header& header) override;
  std::string describeKeptOut(unsigned count) const override;

  std::string host_;
  mutable std::atomic<Internal::Host*> watched_{nullptr};
  std::atomic<std::int64_t> timeout_{0};  // in nanoseconds
};

}  // namespace Object
}  // namespace Quarnix::Bus
