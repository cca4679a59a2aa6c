// Scenarios: a plan of faults in JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <stack/Plan.h>

namespace Quarnix::Hevra::Stack::Forms {

/// Reads an array of rules, see docs/testing.md for their keys. `name` is what the errors call the document. Raises
/// Malformed, also for what a rule must not say.
Plan readPlan(const nlohmann::json& document, const std::string& name);

}  // namespace Quarnix::Hevra::Stack::Forms
