// Grows a message's body.
#include <platform/bus/message/Body.h>

#include <algorithm>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Message {

void Body::grow(std::uint64_t count) {
  const std::uint64_t needed = size + count;
  if (needed > MAXIMUM_MESSAGE_SIZE) {
    unusable = true;
    throw InvalidArgument("Message body of " + std::to_string(needed) + " bytes: expected a message of at most " +
                          std::to_string(MAXIMUM_MESSAGE_SIZE) + " bytes");
  }
  const std::size_t least = begin + static_cast<std::size_t>(needed) + SLACK;
  try {
    storage.grow(std::max(least, storage.capacity() ? storage.capacity() * 2 : std::size_t{1024}), begin + size);
  } catch (...) {
    unusable = true;
    throw;
  }
}

}  // namespace Quarnix::Bus::Message
