// Converts commands to JSON and back.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <platform/hevra/Command.h>

namespace Quarnix::Hevra::Json {

/// Reads an array of commands; `name` is what errors call the document. Every key but "id" may be missing and is then
/// zero, also "acei". The text of an error is ignored. Raises Malformed, also when two commands have the same
/// identifier, for an Acei that is neither valid nor unknown, and for a status without a name unless `isAnyKept`.
std::vector<Command> readCommands(const nlohmann::json& document, const std::string& name, bool isAnyKept = false);

/// Returns the command with all its keys; the error's text is what `DetailedError::toString` returns. Integers are
/// exact. A double that is infinite or not a number becomes null, because JSON cannot express it.
nlohmann::ordered_json writeCommand(const Command& command);

}  // namespace Quarnix::Hevra::Json
