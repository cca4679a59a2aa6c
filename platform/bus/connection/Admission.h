// How a link asks which messages from the bus are too large to store.
#pragma once

#include <cstddef>

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Internal {

/// A link asks this about large messages while it reads (see MessageReader). SizeLimits answers.
///
/// Threads: the link's reader, which holds no mutex.
class Admission {
 public:
  /// The link stores a message up to this size without asking, in bytes.
  static constexpr std::size_t ALWAYS = Message::LEAST_LARGEST_MESSAGE;

  /// The size up to which the message with this header is stored. The header has no texts, and nothing at all where it
  /// is itself too large.
  virtual std::size_t largest(const Message::Header& header) = 0;
  /// Counts a message that was discarded and of which the link hands out nothing.
  virtual void countDropped() noexcept = 0;

 protected:
  ~Admission() = default;
};

}  // namespace Quarnix::Bus::Internal
