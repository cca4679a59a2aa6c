// Checks the type of each value and words the errors.
#include <json/ObjectReader.h>

#include <algorithm>
#include <utility>

#include <json/Malformed.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;

std::string excerptOf(const json& value) {
  constexpr std::size_t LONGEST = 60;
  std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
  if (text.size() > LONGEST) text = text.substr(0, LONGEST) + "...";
  return text;
}

ObjectReader::ObjectReader(const json& value, std::string where, const std::vector<const char*>& keys)
    : object_(value), where_(std::move(where)) {
  if (!value.is_object()) throw Malformed(where_, excerptOf(value), "an object");
  for (const auto& [key, unused] : value.items()) {
    if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
    std::string expected;
    for (const char* known : keys) expected += (expected.empty() ? "one of " : ", ") + std::string(known);
    throw Malformed(where_, "the key " + excerptOf(key), expected);
  }
}

const json& ObjectReader::at(const char* key) const {
  static const json MISSING;
  const auto found = object_.find(key);
  return found == object_.end() ? MISSING : *found;
}

bool ObjectReader::boolean(const char* key) const {
  if (!at(key).is_boolean()) refuse(key, "true or false");
  return at(key).get<bool>();
}

double ObjectReader::number(const char* key) const {
  if (!at(key).is_number()) refuse(key, "a number");
  return at(key).get<double>();
}

std::string ObjectReader::text(const char* key) const {
  const json& value = at(key);
  if (!value.is_string()) refuse(key, "a string");
  // That it is UTF-8 was checked when the document was read.
  if (value.get_ref<const std::string&>().find('\0') != std::string::npos) refuse(key, "a string without \\u0000");
  return value.get<std::string>();
}

void ObjectReader::refuse(const char* key, const std::string& expected) const {
  throw Malformed(placeOf(key), has(key) ? excerptOf(at(key)) : "nothing", expected);
}

}  // namespace Quarnix::Hevra::Json
