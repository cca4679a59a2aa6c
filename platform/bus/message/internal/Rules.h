// The rules of the D-Bus wire format, as texts that fit behind "expected ". The checks report them. Internal to libBus;
// the limits themselves are in Limits.h.
#pragma once

namespace Quarnix::Bus::Message::Rules {

// The fixed header.
inline constexpr const char* ENDIANNESS = "a byte order of 'l' or 'B'";
inline constexpr const char* TYPE = "a message type other than 0";
inline constexpr const char* VERSION = "protocol version 1";
inline constexpr const char* SERIAL = "a serial other than 0";
inline constexpr const char* FIELDS_SIZE = "header fields of at most 67108864 bytes";
inline constexpr const char* MESSAGE_SIZE = "a message of at most 134217728 bytes";
inline constexpr const char* DECLARED_SIZE = "exactly as many bytes as the message's header declares";

// The header fields.
inline constexpr const char* FIELDS_END = "header fields that end on a whole field";
inline constexpr const char* HEADER_PADDING = "zero bytes as padding between header and body";
inline constexpr const char* FIELD_CODE = "a header field code other than 0";
inline constexpr const char* FIELD_TYPE = "a header field of the type that belongs to its code";
inline constexpr const char* FIELD_TWICE = "each header field at most once";
inline constexpr const char* CALL_FIELDS = "the header fields PATH and MEMBER in a method call";
inline constexpr const char* RETURN_FIELDS = "the header field REPLY_SERIAL in a method return";
inline constexpr const char* ERROR_FIELDS = "the header fields ERROR_NAME and REPLY_SERIAL in an error";
inline constexpr const char* SIGNAL_FIELDS = "the header fields PATH, INTERFACE and MEMBER in a signal";
inline constexpr const char* REPLY_SERIAL = "a REPLY_SERIAL other than 0";
inline constexpr const char* RESERVED_PATH = "a PATH that does not begin with the reserved /org/freedesktop/DBus/Local";
inline constexpr const char* RESERVED_INTERFACE =
    "an INTERFACE that does not begin with the reserved org.freedesktop.DBus.Local";
inline constexpr const char* FILE_DESCRIPTORS = "no file descriptors, which this connection has not negotiated";

// Signatures.
inline constexpr const char* SIGNATURE_LENGTH = "a signature of at most 255 bytes";
inline constexpr const char* SIGNATURE_INSIDE = "a signature that ends inside what holds it";
inline constexpr const char* SIGNATURE_NUL = "a NUL behind a signature";
inline constexpr const char* TYPE_CODE = "a signature of the type codes ybnqiuxtdhsoga(){}v";
inline constexpr const char* ARRAY_DEPTH = "at most 32 arrays in each other in a signature";
inline constexpr const char* STRUCTURE_DEPTH = "at most 32 structures in each other in a signature";
inline constexpr const char* DEPTH = "at most 64 containers in each other";
inline constexpr const char* ARRAY_ELEMENT = "an element type behind each 'a' of a signature";
inline constexpr const char* EMPTY_STRUCTURE = "a member in each structure of a signature";
inline constexpr const char* BRACKETS = "brackets that nest properly in a signature";
inline constexpr const char* ENTRY_PLACE = "dictionary entries only as the elements of an array";
inline constexpr const char* ENTRY_FIELDS = "exactly two fields in a dictionary entry";
inline constexpr const char* ENTRY_KEY = "a basic type as a dictionary entry's first field";
inline constexpr const char* SINGLE_TYPE = "exactly one complete type";

// Values.
inline constexpr const char* BODY_SIGNATURE = "a SIGNATURE for a body that is not empty";
inline constexpr const char* BODY_LENGTH = "a body of exactly the values that its signature names";
inline constexpr const char* PADDING = "zero bytes as alignment padding";
inline constexpr const char* ARRAY_LENGTH = "an array of at most 67108864 bytes";
inline constexpr const char* ARRAY_INSIDE = "an array that ends inside what holds it";
inline constexpr const char* ARRAY_MULTIPLE = "an array length that is a multiple of the element's size";
inline constexpr const char* ARRAY_END = "an array that ends on a whole element";
inline constexpr const char* BOOLEAN = "0 or 1 as a boolean";
inline constexpr const char* TEXT_INSIDE = "a string that ends inside what holds it";
inline constexpr const char* TEXT_END = "a NUL behind a string";
inline constexpr const char* TEXT_NUL = "a text without NUL";
inline constexpr const char* TEXT_UTF8 = "a text in valid UTF-8";

// Names.
inline constexpr const char* PATH = "a path of '/' alone, or of elements of [A-Za-z0-9_] with one '/' before each";
inline constexpr const char* INTERFACE =
    "an interface name of at most 255 characters: two or more elements of [A-Za-z0-9_], none with a digit first, "
    "joined by '.'";
inline constexpr const char* MEMBER = "a member name of 1 to 255 characters of [A-Za-z0-9_], no digit first";
inline constexpr const char* ERROR_NAME =
    "an error name of at most 255 characters: two or more elements of [A-Za-z0-9_], none with a digit first, "
    "joined by '.'";
inline constexpr const char* BUS_NAME =
    "a bus name of at most 255 characters: two or more elements of [A-Za-z0-9_-] joined by '.', no digit first in any, "
    "or with ':' in front";

}  // namespace Quarnix::Bus::Message::Rules
