// The limits of the D-Bus wire format, and of this library.
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
/// The part of the header before its fields: byte order, type, flags, version, body length, serial, length of the
/// fields.
constexpr std::size_t FIXED_HEADER_SIZE = 16;

/// How large a message may be that a connection stores, unless Connection::setLargestMessage says otherwise, and the
/// least size that you can set there.
constexpr std::size_t LARGEST_CALL = std::size_t{1} << 20;
constexpr std::size_t LARGEST_REPLY = std::size_t{32} << 20;
constexpr std::size_t LEAST_LARGEST_MESSAGE = std::size_t{16} << 10;

/// No message may name these, nor a name that begins with one: a client library uses them for messages to itself.
/// libdbus compares only the beginning.
constexpr std::string_view RESERVED_PATH = "/org/freedesktop/DBus/Local";
constexpr std::string_view RESERVED_INTERFACE = "org.freedesktop.DBus.Local";

}  // namespace Quarnix::Bus::Message
