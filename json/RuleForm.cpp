// Knows the keys of a rule and of each effect.
#include <json/RuleForm.h>

#include <vector>

#include <json/ObjectReader.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;
using Stack::Effect;
using Stack::Rule;

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

enum class Subject { ANY, CALL, REPORT };

const struct {
  const char* word;
  Subject subject;
  std::vector<const char*> keys;  // in addition to those that every rule may have
  Effect (*read)(const ObjectReader& reader);
} EFFECTS[] = {
    {"delay", Subject::ANY, {"ms"}, [](const ObjectReader& reader) { return Effect::delay(readTime(reader)); }},
    {"error", Subject::CALL, {"name", "text"}, readCallError},
    {"error", Subject::REPORT, {"type", "id", "text"}, readReportError},
    {"silence", Subject::ANY, {}, [](const ObjectReader&) { return Effect::silence(); }},
    {"wrong-arguments", Subject::ANY, {}, [](const ObjectReader&) { return Effect::wrongArguments(); }},
    {"duplicate", Subject::ANY, {}, [](const ObjectReader&) { return Effect::duplicate(); }},
    {"late", Subject::ANY, {}, [](const ObjectReader&) { return Effect::late(); }},
    {"restart", Subject::ANY, {"ms"}, [](const ObjectReader& reader) { return Effect::restart(readTime(reader)); }},
};

}  // namespace

Rule readRule(const json& form, const std::string& where) {
  std::vector<const char*> keys = {"on", "group", "command", "nth", "times", "do"};
  const ObjectReader any(form, where,
                         {"on", "group", "command", "nth", "times", "do", "ms", "name", "type", "id", "text"});
  const Subject subject = any.text("on") == "progress" ? Subject::REPORT : Subject::CALL;
  std::string expected = "one of";
  for (const auto& row : EFFECTS) {
    if (row.subject != Subject::ANY && row.subject != subject) continue;
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

}  // namespace Quarnix::Hevra::Json
