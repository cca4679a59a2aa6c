// Shows every message that goes over the bus to people, a recording or an application.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/message/Any.h>
#include <platform/core/shared/Pointer.h>

namespace Quarnix::Bus {

/// A trace sees every message that leaves or arrives over the links of this process. Derive from it and `set` an
/// instance.
///
/// If you set none, the environment variable HEVRA_TRACE decides when the first link comes up. "1" writes each message
/// as a line to standard error; a path appends the lines to that file; "0", empty or unset means no trace, and costs
/// nothing. If the process got higher privileges when it was started, it ignores HEVRA_TRACE, because its user could
/// choose a file to write with them.
///
/// A trace does not see messages that are too large to be stored, nor those with which a link comes up. On the
/// in-process bus it sees a message once, where it is sent.
class HEVRA_EXPORT Trace {
 public:
  enum class Direction : std::uint8_t { OUT, IN };

  virtual ~Trace();

  /// Sees one message, before its first byte leaves or before anybody else gets it. Runs on the thread that sends or
  /// reads, with nothing locked, and possibly on several at once. It must not use the bus. An exception that leaves it
  /// is logged.
  virtual void message(Direction direction, const Message::Any& message) = 0;

  /// Sets the trace of every link that comes up from now on; empty for none. Threads: any.
  static void set(Shared::Pointer<Trace> trace);

  /// Returns whether an array of bytes is secret. It is field number `field`, from 0, of a structure of that signature,
  /// or of the message itself if the signature is empty. The process has one, which knows the keys of stack nodes (see
  /// StructWrapper<StackNode>).
  using Redactor = bool (*)(const Message::Any& message, std::string_view structure, unsigned field) noexcept;
  static void setRedactor(Redactor redactor) noexcept;

  /// The message in one line for people. Secrets are "****", long texts and arrays are cut, and no character of it is a
  /// control character:
  ///
  ///       -> call #7 to com.example.Service /path com.example.Interface.member(1, "text", [2, 3], <true>)
  ///       <- return #5 of #7 from :1.4 (true)
  static std::string describe(Direction direction, const Message::Any& message);
  /// The message's bytes with the secrets' bytes all zero.
  static std::vector<std::uint8_t> withoutSecrets(const Message::Any& message);
};

}  // namespace Quarnix::Bus
