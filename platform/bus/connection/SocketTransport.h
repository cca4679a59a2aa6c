// The link to a real bus daemon over a Unix-domain socket.
#pragma once

#include <memory>

#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/MessageReader.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// `connect` makes the socket, lets Authentication talk to the bus, and says hello. From then on `write` sends several
/// messages with one system call, and `read` receives once and lets MessageReader take the messages out.
class SocketTransport : public Transport {
 public:
  /// How long the bus may take at most to accept, authenticate and greet a connection.
  static constexpr Time::Elapsed MAXIMUM_CONNECT_TIME{25, 0};

  /// Connects to the first address at which a bus answers, authenticates and greets. Throws an error reply
  /// (Message::Method::Return) that says what went wrong. `admission` must outlive the link.
  static std::shared_ptr<SocketTransport> connect(const std::vector<Address>& addresses,
                                                  const Time::Monotonic& deadline, Admission& admission);

  SocketTransport(int descriptor, Admission& admission);
  ~SocketTransport() override;
  SocketTransport(const SocketTransport&) = delete;
  SocketTransport& operator=(const SocketTransport&) = delete;

  int descriptor() const noexcept override { return descriptor_; }
  std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override;
  bool read(std::vector<Received>& messages, std::string& reason) override;
  bool isMoreThere() const noexcept override { return moreThere_; }
  void shutdown() noexcept override;

 private:
  std::size_t authenticate(const std::string& guid, const Time::Monotonic& deadline);
  void greet(std::size_t early, const Time::Monotonic& deadline);
  void writeAll(const char* bytes, std::size_t count, const Time::Monotonic& deadline);
  void awaitReady(short events, const Time::Monotonic& deadline);

  const int descriptor_;
  MessageReader reader_;
  bool moreThere_ = false;
  std::vector<Received> early_;  // the messages that arrived together with the answer to the greeting
};

}  // namespace Quarnix::Bus::Internal
