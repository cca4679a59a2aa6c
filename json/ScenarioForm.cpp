// Tells rules from happenings.
#include <json/ScenarioForm.h>

#include <cstddef>
#include <stdexcept>

#include <json/HappeningForm.h>
#include <json/Malformed.h>
#include <json/ObjectReader.h>
#include <json/RuleForm.h>
#include <platform/bus/Error.h>

namespace Quarnix::Hevra::Json {

namespace {

template <class Entry>
void add(std::vector<Entry>& entries, Entry entry, const std::string& where) {
  try {
    check(entry);
  } catch (const std::invalid_argument& error) {
    throw Malformed(where + ": " + error.what());
  } catch (const Bus::InvalidArgument& error) {
    throw Malformed(where + ": " + error.what());
  }
  entries.push_back(std::move(entry));
}

}  // namespace

Scenario readScenario(const nlohmann::json& document, const std::string& name) {
  if (!document.is_array()) throw Malformed(name, excerptOf(document), "an array of rules and happenings");
  Scenario scenario;
  for (std::size_t i = 0; i < document.size(); ++i) {
    const nlohmann::json& form = document[i];
    const std::string where = name + ": [" + std::to_string(i) + "]";
    if (form.is_object() && form.contains("at")) {
      add(scenario.timeline, readHappening(form, where), where);
    } else {
      add(scenario.plan, readRule(form, where), where);
    }
  }
  return scenario;
}

}  // namespace Quarnix::Hevra::Json
