// Reads the rules of a scenario.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <stack/Plan.h>

namespace Quarnix::Hevra::Json {

/// `where` is the rule's place in the document. Raises Malformed.
Stack::Rule readRule(const nlohmann::json& form, const std::string& where);

}  // namespace Quarnix::Hevra::Json
