// The link to a real bus daemon over a Unix-domain socket, or over a program that is in between.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <platform/bus/connection/MessageReader.h>
#include <platform/bus/connection/Program.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// SocketOpening makes it. `write` sends several messages with one system call, and `read` receives once and lets
/// MessageReader take the messages out.
class SocketTransport : public Transport {
 public:
  /// How long the bus may take at most to accept, authenticate and greet a connection.
  static constexpr Time::Elapsed MAXIMUM_CONNECT_TIME{25, 0};

  /// Owns the descriptor, once it is made. `admission` must outlive it.
  SocketTransport(int descriptor, Admission& admission);
  /// Over the program's socket.
  SocketTransport(std::unique_ptr<Program> program, Admission& admission);
  ~SocketTransport() override;
  SocketTransport(const SocketTransport&) = delete;
  SocketTransport& operator=(const SocketTransport&) = delete;

  int descriptor() const noexcept override { return descriptor_; }
  std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override;
  bool read(std::vector<Received>& messages, std::string& reason) override;
  bool isMoreThere() const noexcept override { return moreThere_; }
  bool hasEarly() const noexcept override { return !early_.empty(); }
  void shutdown() noexcept override;

  /// What the program in between has written to its standard error, as the end of a sentence; empty without one.
  std::string programWords() const;

  // For who opens the link.
  /// Takes bytes that have come with the end of the authentication, as MessageReader::take does.
  bool takeEarly(const char* bytes, std::size_t count, std::vector<Received>& messages, std::string& reason);
  /// The first `read` hands these out.
  void keepEarly(std::vector<Received> messages) noexcept { early_ = std::move(messages); }
  void setUniqueName(std::string name) noexcept { uniqueName_ = std::move(name); }

 private:
  const std::unique_ptr<Program> program_;  // null without one in between
  const int descriptor_;                    // the program's, or its own
  MessageReader reader_;
  bool moreThere_ = false;
  std::vector<Received> early_;  // the messages that arrived together with the answer to the greeting
};

}  // namespace Quarnix::Bus::Internal
