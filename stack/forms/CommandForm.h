// Commands and their values in JSON, as hevractl reads and prints them.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <platform/core/shared/Pointer.h>
#include <platform/hevra/Command.h>

namespace Quarnix::Hevra::Stack::Forms {

/// Reads an array of commands; every key but "id" may be missing and is zero then, the Acei too. `name` is what the
/// errors call the document. Raises Malformed, also for two commands of one identifier and an Acei that is neither
/// valid nor unknown. The text of an error is ignored.
std::vector<Command> readCommands(const nlohmann::json& document, const std::string& name);

/// The command with all of its keys; the error's text is the whole of `DetailedError::toString`. Integers are exact. A
/// double that is no number or infinite is written as null, because JSON has no word for it.
nlohmann::ordered_json writeCommand(const Command& command);

/// {"type": T, "value": V}, or null for no value. Raises Malformed; `where` is the value's place.
Shared::Pointer<HvType> readValue(const nlohmann::json& form, const std::string& where);
nlohmann::ordered_json writeValue(const Shared::Pointer<HvType>& value);

}  // namespace Quarnix::Hevra::Stack::Forms
