// Knows the keys of each thing that happens.
#include <json/HappeningForm.h>

#include <vector>

#include <json/NodeForm.h>
#include <json/ObjectReader.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;
using Stack::Happening;

namespace {

Time::Elapsed readTime(const ObjectReader& reader, const char* key) {
  return Time::Elapsed::ofMilliseconds(reader.integer<std::uint32_t>(key));
}

NodeAction readAction(const ObjectReader& reader) {
  return static_cast<NodeAction>(reader.named<std::int32_t>("action", NODE_ACTIONS, false));
}

void readState(const ObjectReader& reader, Happening& happening) {
  Happening::State state{reader.integer<std::uint32_t>("address"), {}};
  const json& given = reader.at("state");
  const json list = given.is_array() ? given : json::array({given});
  for (const json& one : list) {
    const json member = {{"state", one}};
    state.states.push_back(ObjectReader(member, reader.place(), {"state"}).integer<std::uint8_t>("state"));
  }
  happening.what = std::move(state);
}

void readNodeChange(const ObjectReader& reader, Happening& happening) {
  happening.what = Happening::NodeChange{readNode(reader.at("node"), reader.placeOf("node")), readAction(reader)};
}

void readLinkChange(const ObjectReader& reader, Happening& happening) {
  happening.what = Happening::LinkChange{readLink(reader.at("link"), reader.placeOf("link")), readAction(reader)};
}

const struct {
  const char* word;
  std::vector<const char*> keys;  // in addition to those that every happening may have
  void (*read)(const ObjectReader& reader, Happening& happening);
} THINGS[] = {
    {"state", {"address", "state"}, readState},
    {"node", {"node", "action"}, readNodeChange},
    {"link", {"link", "action"}, readLinkChange},
    {"exception",
     {"text"},
     [](const ObjectReader& reader, Happening& happening) {
       happening.what = Happening::Exception{reader.text("text")};
     }},
    {"restart",
     {"ms"},
     [](const ObjectReader& reader, Happening& happening) {
       happening.what = Happening::Restart{readTime(reader, "ms")};
     }},
};

}  // namespace

Happening readHappening(const json& form, const std::string& where) {
  std::vector<const char*> keys = {"at", "every", "times", "do"};
  std::vector<const char*> all = keys;
  for (const auto& row : THINGS) all.insert(all.end(), row.keys.begin(), row.keys.end());
  const ObjectReader any(form, where, all);
  std::string expected = "one of";
  for (const auto& row : THINGS) {
    expected += std::string(" ") + row.word;
    if (any.at("do") != row.word) continue;
    keys.insert(keys.end(), row.keys.begin(), row.keys.end());
    const ObjectReader reader(form, where, keys);
    Happening happening;
    happening.at = readTime(reader, "at");
    if (reader.has("every")) happening.every = readTime(reader, "every");
    if (reader.has("times")) happening.times = reader.integer<std::uint32_t>("times");
    row.read(reader, happening);
    return happening;
  }
  any.refuse("do", expected);
}

}  // namespace Quarnix::Hevra::Json
