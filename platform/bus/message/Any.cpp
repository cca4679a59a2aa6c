// Makes a message from bytes.
#include <platform/bus/message/Any.h>

#include <cstring>
#include <string>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Check.h>

namespace Quarnix::Bus::Message {

namespace {

Frame copyOf(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() > MAXIMUM_MESSAGE_SIZE)
    throw UnusableMessage("A message of " + std::to_string(bytes.size()) + " bytes");
  Frame frame{Storage(bytes.size()), 0, static_cast<std::uint32_t>(bytes.size())};
  std::memcpy(frame.storage.data(), bytes.data(), bytes.size());
  return frame;
}

Header headerOf(const Frame& frame) {
  Header header;
  if (const char* rule = check(frame.data(), frame.size(), header))
    throw UnusableMessage(std::string("The bytes are no message: ") + rule);
  return header;
}

}  // namespace

Any::Any(std::span<const std::uint8_t> bytes) : Any(copyOf(bytes)) {}

Any::Any(const Frame& frame) : Any(frame, headerOf(frame)) {}

Any::~Any() = default;

}  // namespace Quarnix::Bus::Message
