// The messages that the benchmarks and the peer of the project encode and decode with the library.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmarks/peers/Wire.h>
#include <bus/CommandContainerWrapper.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <proxy/node/Manager.h>

namespace Benchmarks {

/// The call "add" of these commands, ready to be sealed or sent.
inline Quarnix::Bus::Message::Method::Call makeAdd(
    const std::string& group, const Quarnix::HomeAutomation::Container<Quarnix::Hevra::Command>& commands) {
  namespace Message = Quarnix::Bus::Message;
  Message::Method::Call call;
  call.setPath(Peers::COMMAND_PATH);
  call.setDestination(Peers::HOST);
  call.setInterface(Peers::COMMAND_INTERFACE);
  call.setMember("add");
  Message::Iterator arguments = call.begin();
  Message::Iterator originator = arguments.begin(Message::STRUCTURE);
  originator.appendPath(Peers::ORIGINATOR_PATH);
  arguments.end(originator);
  Message::Iterator identifier = arguments.begin(Message::STRUCTURE);
  identifier.append(group);
  arguments.end(identifier);
  Quarnix::Bus::Type::Wrapper<const Quarnix::HomeAutomation::Container<Quarnix::Hevra::Command>>().serialize(arguments,
                                                                                                             commands);
  return call;
}

/// A reply that lists sensors, as the transport receives it: its bytes are aligned to 8.
inline Quarnix::Bus::Message::Frame receiveNodes(std::uint32_t iteration, std::uint32_t count) {
  const std::string bytes = Peers::nodeReply(iteration, count);
  const Quarnix::Bus::Message::Frame frame{Quarnix::Bus::Message::Storage(bytes.size()), 0,
                                           static_cast<std::uint32_t>(bytes.size())};
  std::memcpy(frame.storage.data(), bytes.data(), bytes.size());
  return frame;
}

/// Checks a received message as a connection does. Raises std::runtime_error with the rule that it violates.
inline Quarnix::Bus::Message::Header checkReceived(const Quarnix::Bus::Message::Frame& frame) {
  Quarnix::Bus::Message::Header header;
  if (const char* rule = Quarnix::Bus::Message::check(frame.data(), frame.size(), header))
    throw std::runtime_error(rule);
  return header;
}

/// Checks and decodes a reply that lists nodes.
inline std::vector<Quarnix::Shared::Pointer<Quarnix::Hevra::Node>> decodeNodes(
    const Quarnix::Bus::Message::Frame& frame) {
  return Quarnix::Hevra::Proxy::Node::Manager::parseBusReply(
      Quarnix::Bus::Message::Method::Return(frame, checkReceived(frame)));
}

}  // namespace Benchmarks
