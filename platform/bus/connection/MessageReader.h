// Messages out of a stream of bytes that comes in pieces of any size.
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

/// Knows no socket: it says where the next bytes go and takes them there.
///
/// A message of more than Admission::ALWAYS is decided on as soon as its header is there: it is read straight into a
/// block of its own, or, when the client does not admit its size or there is no memory for it, read and discarded in
/// pieces. Of a discarded one the checked header is handed out, so that a call can be answered and a reply reported;
/// one whose header alone has more than Admission::ALWAYS is only counted.
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
  /// Takes the bytes that were put there and appends the messages that they complete. False when they break a rule,
  /// `reason` says which. Raises std::bad_alloc when a message of the bus itself cannot be stored, without which the
  /// client's picture of the bus would be wrong.
  bool take(std::size_t count, std::vector<Received>& messages, std::string& reason);

 private:
  bool parse(std::vector<Received>& messages, std::string& reason);
  bool store(std::size_t available, std::size_t size, std::vector<Received>& messages, const char*& rule) noexcept;
  void discard(const Message::DeclaredSize& declared, bool isTooLarge, std::vector<Received>& messages,
               const char*& rule);

  Admission& admission_;
  const std::unique_ptr<std::uint8_t[]> buffer_;  // bytes that are not yet a whole message
  std::size_t begin_ = 0, end_ = 0;
  Message::Storage large_;  // a message that goes on behind the buffer, read straight into its own storage
  std::size_t largeSize_ = 0, largeFilled_ = 0;
  std::size_t discarding_ = 0;  // how much of a discarded message is still to come
};

}  // namespace Quarnix::Bus::Internal
