// Showing every message that goes over the bus: to people, to a recording, to an application.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/message/Any.h>
#include <platform/core/shared/Pointer.h>

namespace Quarnix::Bus {

/// Sees every message that leaves or arrives over the links of this process. Derive from it and `set` an instance.
///
/// Without one, the environment variable HEVRA_TRACE decides when the first connection is opened: with "1" each message
/// is a line on standard error, with a path a line at the end of that file; unset, empty or "0", and as long as nothing
/// is set, messages cost nothing more. Where the process's privileges were raised when it was started, HEVRA_TRACE is
/// ignored: it would let its user choose a file that is written with them.
///
/// A message that is too large to be stored is not seen. On the in-process bus a message is seen once, where it is
/// sent. What a link does to come up is not seen.
class HEVRA_EXPORT Trace {
 public:
  enum class Direction : std::uint8_t { OUT, IN };

  virtual ~Trace();

  /// One message: before its first byte leaves, or when it has arrived, before anybody hears of it. Called on the
  /// thread that sends or reads, with nothing locked, and possibly on several at once. What leaves it as an exception
  /// is logged. It must not use the bus.
  virtual void message(Direction direction, const Message::Any& message) = 0;

  /// The trace of every link that comes up from now on; none when empty. Threads: any.
  static void set(Shared::Pointer<Trace> trace);

  /// Says whether an array of bytes is secret: field number `field`, from 0, of a structure of that signature, or of
  /// the message itself where that is empty. It is the process's; libHevra's layers set one that knows the keys.
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
