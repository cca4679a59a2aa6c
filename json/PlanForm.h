// Reads scenarios: plans of faults in JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <stack/Plan.h>

namespace Quarnix::Hevra::Json {

/// Reads an array of rules; docs/testing.md describes their keys. `name` is what errors call the document. Raises
/// Malformed, also for a rule that `Stack::check` refuses.
Stack::Plan readPlan(const nlohmann::json& document, const std::string& name);

}  // namespace Quarnix::Hevra::Json
