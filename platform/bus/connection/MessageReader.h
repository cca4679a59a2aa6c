// Takes messages out of a stream of bytes that comes in pieces of any size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/connection/Admission.h>
#include <platform/bus/connection/Transport.h>
#include <platform/bus/message/internal/Check.h>

namespace Quarnix::Bus::Internal {

/// The reader knows no socket. `room` says where the next bytes go, and `take` takes them from there.
///
/// A message of at most Admission::ALWAYS bytes is stored when all of it is there. About a larger one the reader
/// decides when its header is there. If the client admits its size, the rest is read straight into the message's own
/// block. If not, or without memory for it, the rest is read and discarded. Of a discarded message the reader hands out
/// the checked header, so that the client can answer a call and end its own call with an error. If the header alone is
/// larger than Admission::ALWAYS, the message is only counted.
///
/// Threads: one at a time.
class MessageReader {
 public:
  static constexpr std::size_t BUFFER_SIZE = 64 * 1024;

  struct Room {
    std::uint8_t* at;
    std::size_t size;
  };

  /// `admission` must outlive the reader.
  explicit MessageReader(Admission& admission);

  /// Where the next bytes go; never empty.
  Room room() noexcept;
  /// Takes the `count` bytes that are in the room now, and appends the messages that they complete. Returns false when
  /// they break a rule; `reason` says which. Raises std::bad_alloc when there is no memory for a message of the bus
  /// itself, because without it the client would have a wrong picture of the bus.
  bool take(std::size_t count, std::vector<Received>& messages, std::string& reason);

 private:
  // These are about the message at `begin_`. A rule is the one that the message breaks, or null.
  bool isAdmitted(const Message::DeclaredSize& declared);
  /// Returns false without memory.
  bool store(std::size_t available, std::size_t size, std::vector<Received>& messages, const char*& rule) noexcept;
  const char* discard(const Message::DeclaredSize& declared, bool isTooLarge, std::vector<Received>& messages);

  Admission& admission_;
  Message::Checker checker_;
  const std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t begin_ = 0, end_ = 0;  // the bytes in the buffer that are no whole message yet
  Message::Storage large_;           // the message that is read into its own block, if any
  std::size_t largeSize_ = 0, largeFilled_ = 0;
  std::size_t discarding_ = 0;  // how much of a discarded message is still to come
};

}  // namespace Quarnix::Bus::Internal
