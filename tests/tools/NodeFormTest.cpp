// Nodes in JSON: what is accepted and how it is printed, what is refused and in which words.
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <stack/House.h>
#include <stack/forms/Document.h>
#include <stack/forms/Malformed.h>
#include <stack/forms/NodeForm.h>

namespace Quarnix::Hevra::Stack::Forms {
namespace {

AnyNode read(const std::string& text) {
  std::istringstream input(text);
  return readNode(readDocument(input, "node.json"), "node.json");
}

using nlohmann::json;

constexpr std::size_t STACK = 0, SENSOR = 4, CONTROLLER = 5;  // places in the house

/// The node of the house at this place, in JSON.
json form(std::size_t place) { return writeNode(headOf(makeHouse().at(place))); }

template <class Read>
std::string refusalOf(const Read& act) {
  try {
    act();
  } catch (const Malformed& error) {
    return error.what();
  }
  return "accepted";
}

TEST(NodeForm, SaysWhatIsWrongAndWhere) {
  const struct {
    std::size_t node;
    const char* key;
    json value;  // nothing takes the key away
    const char* refusal;
  } rows[] = {
      {CONTROLLER, "kind", {}, ".kind: nothing given, expected actuator, controller, sensor or stack"},
      {CONTROLLER, "kind", "beacon", ".kind: \"beacon\" given, expected actuator, controller, sensor or stack"},
      {CONTROLLER, "nodeClass", 1U, ".nodeClass: 1 given, expected a class of the kind controller, and not of sensor"},
      {CONTROLLER, "nodeClass", 300U, "accepted"},
      {CONTROLLER, "extra", {}, ".extra: nothing given, expected an integer from 0 to 4294967295"},
      {CONTROLLER, "state", 256U, ".state: 256 given, expected an integer from 0 to 255"},
      {CONTROLLER, "firstIdentity", "0c",
       ".firstIdentity: a text of 2 characters given, expected 28 hexadecimal digits"},
      {CONTROLLER, "firstIdentity", std::string(27, '0') + "-",
       ".firstIdentity: a text of other characters given, expected 28 hexadecimal digits"},
      {CONTROLLER, "secondIdentity", 1, ".secondIdentity: no text given, expected 32 hexadecimal digits"},
      {SENSOR, "listening", 1U, ".listening: 1 given, expected true or false"},
      {STACK, "key", std::string(32, 'e'), ".key: another key than thirdIdentity given, expected the same bytes"},
  };
  for (const auto& row : rows) {
    json node = form(row.node);
    node.erase(row.key);
    if (!row.value.is_null()) node[row.key] = row.value;
    EXPECT_EQ(refusalOf([&] { readNode(node, "node.json"); }),
              (row.refusal[0] == '.' ? "node.json" : "") + std::string(row.refusal));
  }
  EXPECT_EQ(refusalOf([] { read("[]"); }), "node.json: [] given, expected a node, which is an object");
  EXPECT_EQ(refusalOf([] { read(R"({"key":"a","key":"b"})"); }),
            "node.json: the key \"key\" twice given, expected each key once");
  // A key that is half written stays out of the error.
  EXPECT_EQ(refusalOf([] { read("{\"key\":\"a0a1"); }),
            "node.json: line 1, column 13: syntax error while parsing value - invalid string: missing closing quote");
}

TEST(NodeForm, RefusesATableThatIsNone) {
  json unknown = form(CONTROLLER);
  unknown["nodeClass"] = 3U;
  const std::pair<json, std::string> rows[] = {
      {json::object(), ": {} given, expected an array of nodes"},
      {json::array({form(SENSOR), unknown}),
       ": [1].nodeClass: 3 given, expected a class that has a record: 0, 1, 2, 4, 5, 6"},
      {json::array({form(STACK), form(STACK)}), ": [1].address: 4096 given, expected another than that of [0]"},
  };
  for (const auto& row : rows) EXPECT_EQ(refusalOf([&] { readNodes(row.first, "table"); }), "table" + row.second);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Forms
