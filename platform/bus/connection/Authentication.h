// The client's side of the dialogue with which a connection begins, by the EXTERNAL mechanism.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Quarnix::Bus::Internal {

/// The dialogue knows no socket: you feed it the bytes that arrive, and it says what to send. The bus takes the user
/// from the credentials of the socket that it sees. The first line names the same user, unless a program is in between,
/// which may run as another user on another machine.
///
///      WAITING ── the bus agrees ──> DONE
///         └────── the bus refuses, is not the expected one, or sends an endless line ──> REFUSED
class Authentication {
 public:
  /// The longest line that the bus may send, in bytes.
  static constexpr std::size_t MAXIMUM_LINE = 4096;

  enum class State { WAITING, DONE, REFUSED };

  /// `userId`: the user that the first line names; none if the bus alone knows. `guid`: the identifier that the bus
  /// must name when it agrees; empty for any.
  explicit Authentication(std::optional<std::uint32_t> userId, std::string guid = {});

  /// Takes bytes up to the end of the dialogue and returns how many. The bytes behind them belong to messages.
  std::size_t feed(const char* bytes, std::size_t count);

  State state() const noexcept { return state_; }
  /// Why it was refused.
  const std::string& reason() const noexcept { return reason_; }
  /// What you send now; empty until the next line has arrived.
  std::string takeOutput() { return std::exchange(output_, {}); }

 private:
  void line();
  void refuse(const std::string& why, std::string_view line);

  const std::string guid_;
  const bool isUserNamed_;
  State state_ = State::WAITING;
  std::string line_;
  std::string output_;
  std::string reason_;
};

}  // namespace Quarnix::Bus::Internal
