// Reads scenarios: what goes wrong with which calls and reports, and what happens by itself.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <stack/Plan.h>
#include <stack/Timeline.h>

namespace Quarnix::Hevra::Json {

struct Scenario {
  Stack::Plan plan;
  Stack::Timeline timeline;
};

/// Reads an array of rules, which have the key "on", and of happenings, which have the key "at"; docs/testing.md
/// describes their other keys. `name` is what errors call the document. Raises Malformed, also for what `Stack::check`
/// refuses.
Scenario readScenario(const nlohmann::json& document, const std::string& name);

}  // namespace Quarnix::Hevra::Json
