// Commands and nodes in JSON: what is accepted, what is refused and in which words.
#include <string>

#include <gtest/gtest.h>

#include <json/CommandForm.h>
#include <json/Document.h>
#include <json/Malformed.h>
#include <json/NodeForm.h>
#include <json/ValueForm.h>
#include <platform/hevra/HvTypes.h>
#include <stack/House.h>

namespace Quarnix::Hevra::Json {
namespace {

using nlohmann::json;

json parsed(const std::string& text, const char* name) { return readDocument(text, name); }
std::vector<Command> read(const std::string& text) {
  return readCommands(readObjects(text, "commands.json"), "commands.json");
}

template <class Read>
std::string refusalOf(const Read& act) {
  try {
    act();
  } catch (const Malformed& error) {
    return error.what();
  }
  return "accepted";
}

TEST(CommandForm, FillsInWhatIsLeftOut) {
  const std::vector<Command> commands = read(R"([{"id": 4294967295}])");
  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(writeCommand(commands[0]).dump(),
            R"({"id":4294967295,"parameterId":0,"write":false,"address":0,"value":null,"origin":0,"context":0,)"
            R"("error":{"type":0,"id":0,"text":"0/0"},"delay":0,"label":"","tag":0,"status":0,"acei":0})");
}

TEST(CommandForm, TakesNumbersInTextsAndNames) {
  const json form = parsed(R"([{"id":"0xfFffffff","address":"4097","origin":"-7","status":"in_progress",
      "value":{"type":"x","value":"-9223372036854775808"}}])",
                           "");
  const json plain = parsed(R"([{"id":4294967295,"address":4097,"origin":-7,"status":2,
      "value":{"type":"x","value":-9223372036854775808}}])",
                            "");
  EXPECT_EQ(writeCommand(readCommands(form, "")[0]), writeCommand(readCommands(plain, "")[0]));
  EXPECT_EQ(writeCommand(readCommands(parsed(R"([{"id":1,"status":"0xff"}])", ""), "", true)[0])["status"], 255U);
}

TEST(CommandForm, KeepsOddValuesExactly) {
  for (const char* form : {R"({"type":"t","value":9007199254740993})", R"({"type":"x","value":9223372036854775807})",
                           R"({"type":"s","value":"\u0001 ü"})", R"({"type":"d","value":1.7976931348623157e+308})",
                           R"({"type":"null","value":null})", "null"})
    EXPECT_EQ(writeValue(readValue(json::parse(form), "value")).dump(), form);
  EXPECT_EQ(readValue(json::parse(R"({"type":"d","value":3})"), "").as<HvDouble>()->getValue(), 3.0);
}

TEST(CommandForm, SaysWhatIsWrongAndWhere) {
  const std::string u32 = ", expected an integer from 0 to 4294967295";
  const std::string statuses =
      ", expected INITIALIZED (0), TRANSMITTED (1), IN_PROGRESS (2), COMPLETED (3), FAILED (4), CANCELLED (5), "
      "DELAYED (6), TIMED_OUT (7) or REJECTED (8)";
  const std::string bytes = ", expected an even number of lower-case hexadecimal digits";
  const struct {
    std::string text, refusal;
  } rows[] = {
      {"", "line 1, column 1: the end given, expected more of a JSON text"},
      {"[{\"id\":1}\n,]", "line 2, column 2: ']' given, expected JSON in UTF-8"},
      {std::string("[]\0garbage", 10), "line 1, column 3: the byte 0 given, expected JSON in UTF-8"},
      {"[{\"id\":1,\"label\":\"\xFF\"}]", "line 1, column 19: the byte 255 given, expected JSON in UTF-8"},
      {std::string(1'000'000, '['),
       "arrays and objects more than 128 deep in each other given, expected at most so many"},
      {R"([{"id":1,"value":{"type":"d","value":1e999}}])",
       "[0].value.value: 1e999 given, expected a number that a double holds"},
      {"1", "1 given, expected an array of commands"},
      // Objects one after another.
      {"{\"id\":1}\n{\"id\":2,\"label\":\"}\\\"{\"}{\"id\":1}\r\n",
       "[2].id: 1 given, expected another than that of [0]"},
      {"{\"id\":1}\n,{\"id\":2}", "line 2, column 1: ',' given, expected JSON in UTF-8"},
      {"{\"id\":1}\n\n{\"id\":", "line 3, column 7: the end given, expected more of a JSON text"},
      {"{\"id\":1} [{\"id\":2}]", "[1]: [{\"id\":2}] given, expected an object"},
      {"{\"id\":1}{\"id\":1e999}", "[1].id: 1e999 given, expected a number that a double holds"},
      {"[{}]", "[0].id: nothing given" + u32},
      {R"([{"id":1},{"id":2,"value":{"type":"y","value":1,"type":"q"}}])",
       "[1].value: the key \"type\" twice given, expected each key once"},
      {R"([{"id":1},{"id":2},{"id":1}])", "[2].id: 1 given, expected another than that of [0]"},
      {R"([{"id":1,"status":256}])", "[0].status: 256 given" + statuses},
      {R"([{"id":1,"status":"done"}])", "[0].status: \"done\" given" + statuses},
      {R"([{"id":"0x100000000"}])", "[0].id: \"0x100000000\" given" + u32},
      {R"([{"id":"0x1","tag":"-0x1"}])", "[0].tag: \"-0x1\" given" + u32},
      {R"([{"id":1,"parameterId":18446744073709551616}])",
       "[0].parameterId: 1.8446744073709552e+19 given, expected an integer from 0 to 18446744073709551615"},
      {R"([{"id":1,"acei":4}])", "[0].acei: 4 given, expected a byte whose bit 2 is clear, or 255 for unknown"},
      {R"([{"id":1,"label":"a\u0000b"}])", "[0].label: \"a\\u0000b\" given, expected a string without \\u0000"},
      {R"([{"id":1,"value":{"type":"w","value":1}}])",
       "[0].value.type: \"w\" given, expected one of ay y q n u i t x s d b null"},
      {R"([{"id":1,"value":{"type":"n","value":-32769}}])",
       "[0].value.value: -32769 given, expected an integer from -32768 to 32767"},
      {R"([{"id":1,"value":{"type":"ay","value":"0G"}}])", "[0].value.value: \"0G\" given" + bytes},
  };
  for (const auto& row : rows)
    EXPECT_EQ(refusalOf([&] { read(row.text); }), "commands.json: " + row.refusal) << row.text;
}

constexpr std::size_t STACK = 0, SENSOR = 4, CONTROLLER = 5;  // places in the house

/// The node of the house at this place, in JSON.
json form(std::size_t place) { return writeNode(Stack::headOf(Stack::makeHouse().at(place))); }

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
      {CONTROLLER, "nodeClass", "Stack",
       ".nodeClass: \"Stack\" given, expected a class of the kind controller, and not of stack"},
      {CONTROLLER, "nodeClass", 300U, "accepted"},
      {CONTROLLER, "extra", {}, ".extra: nothing given, expected an integer from 0 to 4294967295"},
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
  EXPECT_EQ(refusalOf([] { readNode(parsed("[]", "node.json"), "node.json"); }),
            "node.json: [] given, expected a node, which is an object");
  EXPECT_EQ(refusalOf([] { parsed(R"({"key":"a","key":"b"})", "node.json"); }),
            "node.json: the key \"key\" twice given, expected each key once");
  // A key that is half written stays out of the error.
  EXPECT_EQ(refusalOf([] { parsed("{\"key\":\"a0a1", "node.json"); }),
            "node.json: line 1, column 13: the end given, expected more of a JSON text");
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
}  // namespace Quarnix::Hevra::Json
