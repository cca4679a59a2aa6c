// The limits of the D-Bus wire format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Quarnix::Bus::Message {

constexpr std::size_t MAXIMUM_MESSAGE_SIZE = std::size_t{1} << 27;
constexpr std::size_t MAXIMUM_ARRAY_SIZE = std::size_t{1} << 26;
constexpr std::size_t MAXIMUM_SIGNATURE_LENGTH = 255;
constexpr std::size_t MAXIMUM_NAME_LENGTH = 255;
constexpr int MAXIMUM_ARRAY_DEPTH = 32;
constexpr int MAXIMUM_STRUCTURE_DEPTH = 32;
constexpr int MAXIMUM_DEPTH = 64;
/// The header's part before its fields: byte order, type, flags, version, body length, serial, length of the fields.
constexpr std::size_t FIXED_HEADER_SIZE = 16;

/// How large the messages are that a connection stores unless it is told otherwise, and the least that it can be told.
constexpr std::size_t LARGEST_CALL = std::size_t{1} << 20;
constexpr std::size_t LARGEST_REPLY = std::size_t{32} << 20;
constexpr std::size_t LEAST_LARGEST_MESSAGE = std::size_t{16} << 10;

/// What no message may name, nor begin a name with, as libdbus compares no further: a client library uses them for
/// messages to itself.
constexpr std::string_view RESERVED_PATH = "/org/freedesktop/DBus/Local";
constexpr std::string_view RESERVED_INTERFACE = "org.freedesktop.DBus.Local";

}  // namespace Quarnix::Bus::Message
