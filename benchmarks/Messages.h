// The messages that the benchmarks and the peer of the project encode and decode with the library.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include <benchmarks/peers/Wire.h>
#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/internal/UncheckedCall.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/node/Manager.h>

namespace Benchmarks {

inline Quarnix::Shared::Pointer<Quarnix::Hevra::HvType> makeValue(const Peers::Value& from) {
  namespace Hevra = Quarnix::Hevra;
  return std::visit(
      []<class T>(const T& value) -> Quarnix::Shared::Pointer<Hevra::HvType> {
        using Quarnix::Shared::make;
        if constexpr (std::is_same_v<T, Peers::Bytes>) {
          if (value.empty()) return make<Hevra::HvNull>();
          return make<Hevra::HvBlob>(value);
        }
        if constexpr (std::is_same_v<T, std::uint8_t>) return make<Hevra::HvByte>(value);
        if constexpr (std::is_same_v<T, std::uint16_t>) return make<Hevra::HvUInt16>(value);
        if constexpr (std::is_same_v<T, std::int16_t>) return make<Hevra::HvInt16>(value);
        if constexpr (std::is_same_v<T, std::uint32_t>) return make<Hevra::HvUInt32>(value);
        if constexpr (std::is_same_v<T, std::int32_t>) return make<Hevra::HvInt32>(value);
        if constexpr (std::is_same_v<T, std::uint64_t>) return make<Hevra::HvUInt64>(value);
        if constexpr (std::is_same_v<T, std::int64_t>) return make<Hevra::HvInt64>(value);
        if constexpr (std::is_same_v<T, std::string>) return make<Hevra::HvString>(value);
        if constexpr (std::is_same_v<T, double>) return make<Hevra::HvDouble>(value);
        if constexpr (std::is_same_v<T, bool>) return make<Hevra::HvBool>(value);
      },
      from);
}

/// The commands as an application has them.
inline Quarnix::Hevra::Proxy::CommandContainerList makeCommands(Peers::Commands&& commands) {
  Quarnix::Hevra::Proxy::CommandContainerList made;
  for (Peers::Command& from : commands.list) {
    Quarnix::Hevra::Command command;
    command.setId(from.id);
    command.setParameterId(from.parameterId);
    command.setWrite(from.write);
    command.setAddress(from.address);
    command.setValue(makeValue(from.value));
    command.setOrigin(from.origin);
    command.setContext(from.context);
    command.getDetailedError().setErrorCode(Quarnix::Hevra::ErrorCode(from.errorType, from.errorId));
    command.getDetailedError().setErrorFieldsToString(std::string(Peers::errorDetails(from)));
    command.setDelay(from.delay, 0);
    command.setLabel(std::move(from.label));
    command.setTag(from.tag);
    command.setStatus(static_cast<Quarnix::Hevra::HvDetailedCommandStatus>(from.status));
    command.setAcei(Quarnix::Hevra::Command::Acei(from.acei));
    made.append(std::move(command));
  }
  return made;
}

/// The call "add" of these commands, as the command manager makes it: where it goes is added when it is sealed.
inline Quarnix::Bus::Message::Method::Call makeAdd(
    const std::string& group, const Quarnix::HomeAutomation::Container<Quarnix::Hevra::Command>& commands) {
  namespace Message = Quarnix::Bus::Message;
  Message::Method::Call call = Message::UncheckedCall::make(Peers::COMMAND_INTERFACE, "add");
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

inline Quarnix::Bus::Message::Frame sealAdd(Quarnix::Bus::Message::Method::Call& call, std::uint32_t serial) {
  return call.seal(serial, {Peers::COMMAND_PATH, Peers::HOST, {}});
}

/// The call "progress" of a command, ready to be sealed or sent. The stack service makes it so.
inline Quarnix::Bus::Message::Method::Call makeReport(const std::string& group,
                                                      const Quarnix::Hevra::Command& command) {
  namespace Message = Quarnix::Bus::Message;
  Message::Method::Call call;
  call.setPath(Peers::ORIGINATOR_PATH);
  call.setDestination(Peers::HOST);
  call.setInterface(Peers::REPORT_INTERFACE);
  call.setMember("progress");
  Message::Iterator arguments = call.begin();
  Message::Iterator record = arguments.begin(Message::STRUCTURE);
  Quarnix::Bus::Type::Wrapper<Quarnix::Hevra::Command>().serialize(record, command);
  arguments.end(record);
  Message::Iterator identifier = arguments.begin(Message::STRUCTURE);
  identifier.append(group);
  arguments.end(identifier);
  arguments.append(std::int32_t{1});
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

/// Checks and decodes a call "add".
inline std::vector<Quarnix::Hevra::Command> decodeAdd(const Quarnix::Bus::Message::Frame& frame) {
  const Quarnix::Bus::Message::Method::Call call(frame, checkReceived(frame));
  auto argument = call.begin();
  ++argument;
  ++argument;
  std::vector<Quarnix::Hevra::Command> commands;
  Quarnix::Bus::Type::Wrapper<std::vector<Quarnix::Hevra::Command>>().deserialize(argument, commands);
  return commands;
}

/// Checks and decodes a reply that lists nodes.
inline std::vector<Quarnix::Shared::Pointer<Quarnix::Hevra::Node>> decodeNodes(
    const Quarnix::Bus::Message::Frame& frame) {
  return Quarnix::Hevra::Proxy::Node::Manager::parseBusReply(
      Quarnix::Bus::Message::Method::Return(frame, checkReceived(frame)));
}

}  // namespace Benchmarks
