// Which messages from the bus are stored, and which are too large.
#pragma once

#include <cstddef>

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Internal {

/// What a link asks its client while it reads. Threads: the link's reader, which holds no mutex.
class Admission {
 public:
  /// A message up to this size is stored without asking.
  static constexpr std::size_t ALWAYS = Message::LEAST_LARGEST_MESSAGE;

  /// Up to which size a message is stored. `header` is that of the message, as far as it is known, its texts without
  /// their bytes.
  virtual std::size_t largest(const Message::Header& header) = 0;
  /// A message was discarded, and nothing of it is handed out.
  virtual void countDropped() noexcept = 0;

 protected:
  ~Admission() = default;
};

}  // namespace Quarnix::Bus::Internal
