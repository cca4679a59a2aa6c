// Commands in JSON: what is accepted and how it is printed, what is refused and in which words.
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <platform/hevra/HvTypes.h>
#include <stack/forms/CommandForm.h>
#include <stack/forms/Document.h>
#include <stack/forms/Malformed.h>

namespace Quarnix::Hevra::Stack::Forms {
namespace {

std::vector<Command> read(const std::string& text) {
  std::istringstream input(text);
  return readCommands(readDocument(input, "commands.json"), "commands.json");
}

std::string refusalOf(const std::string& text) {
  try {
    read(text);
  } catch (const Malformed& error) {
    return error.what();
  }
  return "accepted";
}

TEST(CommandForm, ReadsAndPrintsEveryKey) {
  const std::string whole =
      R"({"id":7,"parameterId":4294967297,"write":true,"address":1193046,"value":{"type":"u","value":42},"origin":-1,)"
      R"("context":2147483647,"error":{"type":255,"id":-2147483648,"text":"255/-2147483648"},"delay":4294967295,)"
      R"("label":"lamp \"1\" é","tag":3,"status":255,"acei":227})";
  const std::string empty =
      R"({"id":4294967295,"parameterId":0,"write":false,"address":0,"value":null,"origin":0,"context":0,)"
      R"("error":{"type":0,"id":0,"text":"0/0"},"delay":0,"label":"","tag":0,"status":0,"acei":0})";
  const std::vector<Command> commands = read("[" + whole + ", {\"id\": 4294967295}]");
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(writeCommand(commands[0]).dump(), whole);
  EXPECT_EQ(writeCommand(commands[1]).dump(), empty);
  EXPECT_TRUE(read("[]").empty());
}

TEST(CommandForm, PrintsTheWholeTextOfAnError) {
  Command command;
  command.getDetailedError().setErrorCode(ErrorCode(1, 2));
  command.getDetailedError().setErrorFieldsToString("out of reach");
  EXPECT_EQ(writeCommand(command)["error"].dump(), R"({"type":1,"id":2,"text":"1/2: out of reach"})");
}

TEST(CommandForm, KeepsEveryTypedValueExactly) {
  for (const char* form : {
           R"({"type":"ay","value":""})",
           R"({"type":"ay","value":"00ff7f"})",
           R"({"type":"y","value":255})",
           R"({"type":"q","value":65535})",
           R"({"type":"n","value":-32768})",
           R"({"type":"u","value":4294967295})",
           R"({"type":"i","value":-2147483648})",
           R"({"type":"t","value":18446744073709551615})",
           R"({"type":"t","value":9007199254740993})",
           R"({"type":"x","value":-9223372036854775808})",
           R"({"type":"x","value":9223372036854775807})",
           R"({"type":"s","value":"\u0001 ü"})",
           R"({"type":"d","value":0.1})",
           R"({"type":"d","value":1.7976931348623157e+308})",
           R"({"type":"b","value":true})",
           R"({"type":"null","value":null})",
           "null",
       }) {
    const Shared::Pointer<HvType> value = readValue(nlohmann::json::parse(form), "value");
    EXPECT_EQ(writeValue(value).dump(), form);
  }
  EXPECT_EQ(readValue(nlohmann::json::parse(R"({"type":"d","value":3})"), "").as<HvDouble>()->getValue(), 3.0);
  EXPECT_TRUE(readValue(nlohmann::json::parse(R"({"type":"null"})"), "").as<HvNull>());
  EXPECT_EQ(writeValue(Shared::make<HvDouble>(std::numeric_limits<double>::infinity())).dump(),
            R"({"type":"d","value":null})");
}

TEST(CommandForm, SaysWhatIsWrongAndWhere) {
  const std::string u32 = ", expected an integer from 0 to 4294967295";
  const std::string bytes = ", expected an even number of lower-case hexadecimal digits";
  const struct {
    std::string text;
    std::string refusal;
  } rows[] = {
      {"",
       "line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
       "literal"},
      {"[{\"id\": 1},]",
       "line 1, column 12: syntax error while parsing value - unexpected ']'; expected '[', '{', or "
       "a literal"},
      {"{\"id\": 1}", R"({"id":1} given, expected an array of commands)"},
      {"[[]]", "[0]: [] given, expected an object"},
      {"[{}]", "[0].id: nothing given" + u32},
      {R"([{"id":1},{"id":2,"colour":3}])",
       "[1]: the key \"colour\" given, expected one of id, parameterId, write, address, value, origin, context, error, "
       "delay, label, tag, status, acei"},
      {R"([{"id":1},{"id":2,"value":{"type":"y","value":1,"type":"q"}}])",
       "[1].value: the key \"type\" twice given, expected each key once"},
      {R"({"a":[[],{}],"b":{"id":1},"b":2})", "the key \"b\" twice given, expected each key once"},
      {R"([{"id":1},{"id":2},{"id":1}])", "[2].id: 1 given, expected another than that of [0]"},
      {R"([{"id":-1}])", "[0].id: -1 given" + u32},
      {R"([{"id":4294967296}])", "[0].id: 4294967296 given" + u32},
      {R"([{"id":1.0}])", "[0].id: 1.0 given" + u32},
      {R"([{"id":"1"}])", "[0].id: \"1\" given" + u32},
      {R"([{"id":true}])", "[0].id: true given" + u32},
      {R"([{"id":null}])", "[0].id: null given" + u32},
      {R"([{"id":1,"parameterId":18446744073709551616}])",
       "[0].parameterId: 1.8446744073709552e+19 given, expected an integer from 0 to 18446744073709551615"},
      {R"([{"id":1,"origin":2147483648}])",
       "[0].origin: 2147483648 given, expected an integer from -2147483648 to 2147483647"},
      {R"([{"id":1,"context":-2147483649}])",
       "[0].context: -2147483649 given, expected an integer from -2147483648 to 2147483647"},
      {R"([{"id":1,"write":1}])", "[0].write: 1 given, expected true or false"},
      {R"([{"id":1,"status":256}])", "[0].status: 256 given, expected an integer from 0 to 255"},
      {R"([{"id":1,"acei":4}])", "[0].acei: 4 given, expected a byte whose bit 2 is clear, or 255 for unknown"},
      {R"([{"id":1,"label":"a\u0000b"}])", "[0].label: \"a\\u0000b\" given, expected a string without \\u0000"},
      {R"([{"id":1,"label":7}])", "[0].label: 7 given, expected a string"},
      {R"([{"id":1,"error":{"code":1}}])", "[0].error: the key \"code\" given, expected one of type, id, text"},
      {R"([{"id":1,"error":{"type":256}}])", "[0].error.type: 256 given, expected an integer from 0 to 255"},
      {R"([{"id":1,"value":5}])", "[0].value: 5 given, expected an object"},
      {R"([{"id":1,"value":{}}])", "[0].value.type: nothing given, expected one of ay y q n u i t x s d b null"},
      {R"([{"id":1,"value":{"type":"w","value":1}}])",
       "[0].value.type: \"w\" given, expected one of ay y q n u i t x s d b null"},
      {R"([{"id":1,"value":{"type":"y"}}])", "[0].value.value: nothing given, expected an integer from 0 to 255"},
      {R"([{"id":1,"value":{"type":"n","value":32768}}])",
       "[0].value.value: 32768 given, expected an integer from -32768 to 32767"},
      {R"([{"id":1,"value":{"type":"x","value":9223372036854775808}}])",
       "[0].value.value: 9223372036854775808 given, expected an integer from -9223372036854775808 to "
       "9223372036854775807"},
      {R"([{"id":1,"value":{"type":"ay","value":"0"}}])", "[0].value.value: \"0\" given" + bytes},
      {R"([{"id":1,"value":{"type":"ay","value":"0G"}}])", "[0].value.value: \"0G\" given" + bytes},
      {R"([{"id":1,"value":{"type":"ay","value":[1]}}])", "[0].value.value: [1] given" + bytes},
      {R"([{"id":1,"value":{"type":"d","value":"1"}}])", "[0].value.value: \"1\" given, expected a number"},
      {R"([{"id":1,"value":{"type":"b","value":0}}])", "[0].value.value: 0 given, expected true or false"},
      {R"([{"id":1,"value":{"type":"null","value":0}}])", "[0].value.value: 0 given, expected null"},
  };
  for (const auto& row : rows) EXPECT_EQ(refusalOf(row.text), "commands.json: " + row.refusal) << row.text;
  EXPECT_TRUE(refusalOf("[{\"id\":1,\"label\":\"\xFF\"}]").starts_with("commands.json: line 1, column 19: "));
  EXPECT_TRUE(refusalOf(R"([{"id":1,"value":{"type":"d","value":1e999}}])").starts_with("commands.json: number over"));
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Forms
