// The authentication dialogue at the beginning of a connection: the client's side of the EXTERNAL mechanism.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Quarnix::Bus::Internal {

/// Knows no socket: it is fed the bytes that arrive and says what to send. The bus takes the user from the socket's
/// credentials, and we name it in the first line.
class Authentication {
 public:
  /// A line of the bus longer than this is refused.
  static constexpr std::size_t MAXIMUM_LINE = 4096;

  enum class State { WAITING, DONE, REFUSED };

  /// `guid`: what the bus must call itself when it agrees; anything where it is empty.
  explicit Authentication(std::uint32_t userId, std::string guid = {});

  /// Takes bytes up to the end of the dialogue; how many were taken. What is behind them belongs to messages.
  std::size_t feed(const char* bytes, std::size_t count);

  State state() const noexcept { return state_; }
  /// Why it was refused.
  const std::string& reason() const noexcept { return reason_; }
  /// What is to be sent now; empty until the next line has arrived.
  std::string takeOutput() { return std::exchange(output_, {}); }

 private:
  void line();
  void refuse(const std::string& why, std::string_view line);

  const std::string guid_;
  State state_ = State::WAITING;
  std::string line_;
  std::string output_;
  std::string reason_;
};

}  // namespace Quarnix::Bus::Internal
