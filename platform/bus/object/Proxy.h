// The local stand-in for an object of another process.
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

/// Sends calls to an object (`path`) of a service (`host`), and, while started, receives the object's signals.
///
/// Calls need no start. Signals count only from the connection that owns the host's name at that moment.
class HEVRA_EXPORT Proxy : public Base {
 public:
  Proxy();
  ~Proxy() override;

  /// The bus name of the service. Before the first use.
  void setHost(const char* host);
  const std::string& getHost() const noexcept { return host_; }

  /// Sends the call to the host and the path and waits for the reply or the call's time-out; any number of threads may
  /// call at once. Failures on the way are error replies; a message that must not be sent raises InvalidArgument or
  /// UnusableMessage.
  Message::SendReturn send(Message::Method::Call& call) const;

  /// Whether somebody owns the service's name now. While an object of the connection is started this is known,
  /// otherwise the bus is asked; false also when the bus is not there.
  bool isAvailable() const;
  /// Waits until somebody owns the service's name, also for a bus that is not there yet; false when that has not
  /// happened by `deadline`, a time of Time::Clock. For a thread that can wait: a ConnectionObserver made from the
  /// proxy tells of the service's coming and going instead. Raises StartFailed when there is no thread that listens
  /// meanwhile.
  bool waitForService(const Time::Monotonic& deadline) const;

  /// The object's description of itself, in the introspection format. An error reply is thrown as it is.
  std::string introspect() const;

  void start(bool wait) override;
  void stop() override;

 protected:
  void attach(bool wait) override;
  void detach() override;
  /// The hook: one signal of the object. Runs on the proxy's task.
  virtual void signal(const Message::Signal& signal);

  /// The generation of the service: a number that grows whenever an owner gives the service's name up or loses it, and
  /// when the bus is lost. It does not grow when the first owner comes, or becomes known.
  std::uint64_t getGeneration() const;
  /// The same if `owner`, a unique name, has the service's name now, otherwise 0, which no generation is.
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
