// The signatures of the command record and of what it stands in. No part of the public interface.
#pragma once

#include <cstdint>
#include <string>

#include <platform/bus/message/Signature.h>

namespace Quarnix::Bus::Type::RecordSignature {

/// A command's fifteen values.
inline constexpr auto COMMAND =
    Message::SIGNATURE_OF<std::uint32_t, std::uint64_t, bool, std::uint32_t> + Message::ANY_VALUE +
    Message::SIGNATURE_OF<std::int32_t, std::int32_t, std::uint8_t, std::int32_t, std::string, std::uint32_t,
                          std::string, std::uint32_t, std::uint8_t, std::uint8_t>;
inline constexpr auto COMMAND_STRUCTURE = Message::structureOf(COMMAND);
inline constexpr auto COMMANDS = Message::arrayOf(COMMAND_STRUCTURE);

/// The arguments of "add": where the originator is, the group, the commands.
inline constexpr auto ADD =
    Message::structureOf(Message::OBJECT_PATH) + Message::structureOf(Message::SIGNATURE_OF<std::string>) + COMMANDS;
/// The arguments of "progress": the command, the group, the status.
inline constexpr auto PROGRESS =
    COMMAND_STRUCTURE + Message::structureOf(Message::SIGNATURE_OF<std::string>) + Message::SIGNATURE_OF<std::int32_t>;

}  // namespace Quarnix::Bus::Type::RecordSignature
