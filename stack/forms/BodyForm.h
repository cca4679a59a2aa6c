// The arguments of any message in JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <platform/bus/message/Base.h>

namespace Quarnix::Hevra::Stack::Forms {

/// An array of the arguments. Numbers, booleans and texts are what they are; arrays and structures are arrays, arrays
/// of bytes hexadecimal digits, a variant is {"type": T, "value": V}; a double that is no number or infinite is the
/// sixteen hexadecimal digits of its bits. Nothing is lost: `appendBody` makes the same message of it.
nlohmann::ordered_json writeBody(const Bus::Message::Base& message);

/// Appends the arguments of that signature. Raises Malformed, which names `where`, for a value that is not of its type,
/// and what the iterator raises for a signature or a text that the bus does not carry.
void appendBody(Bus::Message::Base& message, const std::string& signature, const nlohmann::json& body,
                const std::string& where);

}  // namespace Quarnix::Hevra::Stack::Forms
