// Stands for an object of another process.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

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

  /// Whether somebody owns the service's name now. While an object of the connection is started, the connection knows
  /// it; otherwise it asks the bus. Returns false if the bus is not there.
  bool isAvailable() const;
  /// Waits until somebody owns the service's name, even if the bus is not there yet. Returns false at `deadline`, which
  /// is a time of Time::Clock. If your thread cannot wait, use a ConnectionObserver. Raises StartFailed if there is no
  /// thread that listens meanwhile.
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

  /// Connection::expectCalls of the proxy's connection, without a lock once calls are answered.
  void expectCalls() const;

  /// The generation of the service. This number grows when an owner gives up or loses the service's name, and when the
  /// bus is lost. It does not grow when the first owner comes or becomes known.
  std::uint64_t getGeneration() const;
  /// The same if `owner`, a unique name, owns the service's name now; otherwise 0, which no generation is.
  std::uint64_t getGenerationOf(std::string_view owner) const;

  void retire() noexcept;

 private:
  Internal::Host* host() const;
  void deliver(Message::Frame frame, const Message::Header& header) override;
  void refuse(Message::Frame frame, const Message::Header& header) override;
  std::string describeKeptOut(unsigned count) const override;

  std::string host_;
  mutable std::atomic<Internal::Host*> watched_{nullptr};
};

}  // namespace Object
}  // namespace Quarnix::Bus
