// The link to a real bus daemon over a Unix-domain socket.
#pragma once

#include <memory>

#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

class SocketTransport : public Transport {
 public:
  /// How long the bus may take to accept, authenticate and greet a connection at the most.
  static constexpr Time::Elapsed MAXIMUM_CONNECT_TIME{25, 0};
  /// The largest message that is accepted from the bus.
  static constexpr std::size_t MAXIMUM_INCOMING_SIZE = std::size_t{1} << 27;

  /// Connects to the first address that answers, authenticates and says hello. Throws what went wrong as an error reply
  /// (Message::Method::Return).
  static std::shared_ptr<SocketTransport> connect(const std::vector<Address>& addresses,
                                                  const Time::Monotonic& deadline);

  explicit SocketTransport(int descriptor);
  ~SocketTransport() override;
  SocketTransport(const SocketTransport&) = delete;
  SocketTransport& operator=(const SocketTransport&) = delete;

  int descriptor() const noexcept override { return descriptor_; }
  std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override;
  bool read(std::vector<Received>& messages, std::string& reason) override;
  bool isMoreThere() const noexcept override { return moreThere_; }
  void shutdown() noexcept override;

 private:
  static constexpr std::size_t BUFFER_SIZE = 64 * 1024;

  void authenticate(const Time::Monotonic& deadline);
  void greet(const Time::Monotonic& deadline);
  void writeAll(const char* bytes, std::size_t count, const Time::Monotonic& deadline);
  void awaitReady(short events, const Time::Monotonic& deadline);
  bool parse(std::vector<Received>& messages, std::string& reason);
  bool accept(Message::Storage storage, std::size_t size, std::vector<Received>& messages, std::string& reason);

  int descriptor_;
  std::unique_ptr<std::uint8_t[]> buffer_;  // bytes that are not yet a whole message
  std::size_t begin_ = 0, end_ = 0;
  Message::Storage large_;  // a message too large for the buffer, read straight into its own storage
  std::size_t largeSize_ = 0, largeFilled_ = 0;
  bool moreThere_ = false;
  std::vector<Received> early_;  // what arrived together with the answer to the greeting
};

}  // namespace Quarnix::Bus::Internal
