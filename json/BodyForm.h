// Converts the arguments of any message to JSON and back.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <platform/bus/message/Base.h>

namespace Quarnix::Hevra::Json {

/// Returns an array of the message's arguments. Numbers, booleans and texts stay what they are; an array or a structure
/// becomes an array; an array of bytes becomes hexadecimal digits; a variant becomes {"type": T, "value": V}; a double
/// that is infinite or not a number becomes the sixteen hexadecimal digits of its bits. Nothing is lost: `appendBody`
/// builds the same arguments from it.
nlohmann::ordered_json writeBody(const Bus::Message::Base& message);

/// Appends the arguments in `body`, which must have the types of `signature`. Raises Malformed, naming `where`, for a
/// value of another type. Raises what the iterator raises for a signature or a text that the bus cannot carry.
void appendBody(Bus::Message::Base& message, const std::string& signature, const nlohmann::json& body,
                const std::string& where);

}  // namespace Quarnix::Hevra::Json
