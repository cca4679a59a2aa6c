// The client's side of the dialogue with which a connection begins, by the EXTERNAL mechanism.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Quarnix::Bus::Internal {

/// The dialogue knows no socket: it says what to send, and you feed it the bytes that arrive. All lines leave at once,
/// and messages may follow them: the bus reads them when it agrees, and closes the connection when it does not.
///
/// The bus takes the user from the credentials of the socket that it sees. The first line names the same user, unless a
/// program is in between, which may run as another user on another machine.
///
///      WAITING ── the bus agrees ──> DONE
///         └────── the bus refuses, is not the expected one, or sends something else ──> REFUSED
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
  /// What you send.
  const std::string& lines() const noexcept { return lines_; }

 private:
  void line();
  void refuse(const std::string& why, std::string_view line);

  const std::string guid_;
  const bool isUserNamed_;
  std::string lines_;
  State state_ = State::WAITING;
  std::string line_;  // the one that arrives
  std::string reason_;
};

}  // namespace Quarnix::Bus::Internal
