// A plan in JSON.
#include <stack/forms/PlanForm.h>

#include <stdexcept>
#include <vector>

#include <platform/bus/Error.h>
#include <stack/forms/Malformed.h>
#include <stack/forms/ObjectReader.h>

namespace Quarnix::Hevra::Stack::Forms {

using nlohmann::json;

namespace {

Time::Elapsed readTime(const ObjectReader& reader) {
  return Time::Elapsed::ofMilliseconds(reader.integer<std::uint32_t>("ms"));
}

std::string readText(const ObjectReader& reader) {
  return reader.has("text") ? reader.text("text") : "the scenario says so";
}

Effect readCallError(const ObjectReader& reader) {
  return Effect::error(reader.has("name") ? reader.text("name") : "org.freedesktop.DBus.Error.Failed",
                       readText(reader));
}

Effect readReportError(const ObjectReader& reader) {
  const auto type = reader.has("type") ? reader.integer<std::uint8_t>("type") : std::uint8_t{1};
  const auto id = reader.has("id") ? reader.integer<std::int32_t>("id") : 1;
  return Effect::error(ErrorCode(type, id), readText(reader));
}

enum class Of { ALL, CALLS, REPORTS };

const struct {
  const char* word;
  Of of;
  std::vector<const char*> keys;  // beside those that every rule may have
  Effect (*read)(const ObjectReader& reader);
} EFFECTS[] = {
    {"delay", Of::ALL, {"ms"}, [](const ObjectReader& reader) { return Effect::delay(readTime(reader)); }},
    {"error", Of::CALLS, {"name", "text"}, readCallError},
    {"error", Of::REPORTS, {"type", "id", "text"}, readReportError},
    {"silence", Of::ALL, {}, [](const ObjectReader&) { return Effect::silence(); }},
    {"wrong-arguments", Of::ALL, {}, [](const ObjectReader&) { return Effect::wrongArguments(); }},
    {"duplicate", Of::ALL, {}, [](const ObjectReader&) { return Effect::duplicate(); }},
    {"late", Of::ALL, {}, [](const ObjectReader&) { return Effect::late(); }},
    {"restart", Of::ALL, {"ms"}, [](const ObjectReader& reader) { return Effect::restart(readTime(reader)); }},
};

Rule readRule(const json& form, const std::string& where) {
  std::vector<const char*> keys = {"on", "group", "command", "nth", "times", "do"};
  const ObjectReader any(form, where,
                         {"on", "group", "command", "nth", "times", "do", "ms", "name", "type", "id", "text"});
  const Of of = any.text("on") == "progress" ? Of::REPORTS : Of::CALLS;
  std::string expected = "one of";
  for (const auto& row : EFFECTS) {
    if (row.of != Of::ALL && row.of != of) continue;
    expected += std::string(" ") + row.word;
    if (any.at("do") != row.word) continue;
    keys.insert(keys.end(), row.keys.begin(), row.keys.end());
    const ObjectReader reader(form, where, keys);
    Rule rule;
    rule.on = reader.text("on");
    if (reader.has("group")) rule.group = reader.text("group");
    if (reader.has("command")) rule.command = reader.integer<std::uint32_t>("command");
    if (reader.has("nth")) rule.nth = reader.integer<std::uint32_t>("nth");
    if (reader.has("times")) rule.times = reader.integer<std::uint32_t>("times");
    rule.effect = row.read(reader);
    return rule;
  }
  any.refuse("do", expected);
}

}  // namespace

Plan readPlan(const json& document, const std::string& name) {
  if (!document.is_array()) throw Malformed(name, excerptOf(document), "an array of rules");
  Plan plan;
  for (const json& form : document) {
    const std::string where = name + ": [" + std::to_string(plan.size()) + "]";
    plan.push_back(readRule(form, where));
    try {
      check(plan.back());
    } catch (const std::invalid_argument& error) {
      throw Malformed(where + ": " + error.what());
    } catch (const Bus::InvalidArgument& error) {
      throw Malformed(where + ": " + error.what());
    }
  }
  return plan;
}

}  // namespace Quarnix::Hevra::Stack::Forms
