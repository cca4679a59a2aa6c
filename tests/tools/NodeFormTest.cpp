// Nodes in JSON: what is accepted and how it is printed, what is refused and in which words.
#include <cstdint>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <platform/bus/message/method/Call.h>
#include <stack/House.h>
#include <stack/forms/Document.h>
#include <stack/forms/Malformed.h>
#include <stack/forms/NodeForm.h>
#include <tools/NodeText.h>

namespace Quarnix::Hevra::Stack::Forms {
namespace {

/// What all kinds have; `rest` stands behind it.
std::string form(const std::string& kind, int nodeClass, const std::string& rest) {
  return R"({"kind":")" + kind + R"(","address":4294967295,"nodeClass":)" + std::to_string(nodeClass) +
         R"(,"nodeType":65535,"manufacturerId":255,"firstIdentity":"000102030405060708090a0b0cff",)"
         R"("secondIdentity":"101112131415161718191a1b1c1d1eff","thirdIdentity":"202122232425262728292a2b2c2d2eff",)"
         R"("stamp":18446744073709551615,"state":255,"extra":4294967294,"backboneAddress":4294967293)" +
         rest + "}";
}
const std::string ACTUATOR = form("actuator", 5, R"(,"multiInformationByte":254,"timeStamp":65534)");
const std::string SENSOR =
    form("sensor", 1,
         R"(,"measuredValueParameterType":1,"minimalSensedValue":65533,"maximalSensedValue":65532,"scaleFactor":2,)"
         R"("resolutionValue":3,"resolutionScaleFactor":4,"operatingMode":5,"maxNumberOfEventHandled":6,)"
         R"("minRefreshTimePeriod":65531,"listening":true)");
const std::string STACK = form(
    "stack", 2,
    R"(,"key":"202122232425262728292a2b2c2d2eff","oldKey":"303132333435363738393a3b3c3d3eff","shortBlock":"4041ff",)"
    R"("longBlock":"505152ff","label":"gateway \"é\"")");
const std::string CONTROLLER = form("controller", 6, "");

AnyNode read(const std::string& text) {
  std::istringstream input(text);
  return readNode(readDocument(input, "node.json"), "node.json");
}

/// The node after it has been on the bus.
AnyNode carry(const AnyNode& node) {
  Bus::Message::Method::Call call;
  {
    Bus::Message::Iterator arguments = call.begin();
    append(arguments, node);
  }
  Bus::Message::ConstIterator argument = std::as_const(call).begin();
  return Stack::read(argument, node.index());
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

TEST(NodeForm, KeepsEveryFieldOfEveryKindOverTheBus) {
  for (const std::string& text : {ACTUATOR, SENSOR, STACK, CONTROLLER})
    EXPECT_EQ(writeNode(headOf(carry(read(text)))).dump(), text);
  for (const AnyNode& node : makeHouse()) {
    const std::string text = writeNode(headOf(node)).dump();
    EXPECT_EQ(writeNode(headOf(read(text))).dump(), text);
  }
  NodeLink link;
  link.setLinkId("hall");
  EXPECT_EQ(writeLink(link).dump(), R"({"node":0,"stack":0,"id":"hall","type":-1})");
}

TEST(NodeForm, LeavesAClassWithoutARecordToTheManager) {
  EXPECT_EQ(static_cast<unsigned>(headOf(read(form("controller", 300, ""))).getNodeClass()), 300U);
}

TEST(NodeForm, SaysWhatIsWrongAndWhere) {
  const struct {
    std::string text, from, to, refusal;
  } rows[] = {
      {"[]", "", "", ": [] given, expected a node, which is an object"},
      {"{}", "", "", ".kind: nothing given, expected actuator, controller, sensor or stack"},
      {CONTROLLER, "controller", "beacon", ".kind: \"beacon\" given, expected actuator, controller, sensor or stack"},
      {CONTROLLER, ":6", ":1", ".nodeClass: 1 given, expected a class of the kind controller, and not of sensor"},
      {CONTROLLER, "\"extra\":4294967294,", "", ".extra: nothing given, expected an integer from 0 to 4294967295"},
      {CONTROLLER, "255,\"ext", "256,\"ext", ".state: 256 given, expected an integer from 0 to 255"},
      {CONTROLLER, "65535", "65536", ".nodeType: 65536 given, expected an integer from 0 to 65535"},
      {CONTROLLER, "0cff", "0c", ".firstIdentity: a text of 26 characters given, expected 28 hexadecimal digits"},
      {CONTROLLER, "0cff", "0cf-", ".firstIdentity: a text of other characters given, expected 28 hexadecimal digits"},
      {CONTROLLER, "\"101112131415161718191a1b1c1d1eff\"", "1",
       ".secondIdentity: no text given, expected 32 hexadecimal digits"},
      {CONTROLLER, "\"kind\"", "\"kind\":\"sensor\",\"kind\"",
       ": the key \"kind\" twice given, expected each key once"},
      {SENSOR, "true", "1", ".listening: 1 given, expected true or false"},
      {STACK, "key\":\"2021", "key\":\"2020", ".key: another key than thirdIdentity given, expected the same bytes"},
      {STACK, "gateway", "\\u0000", ".label: \"\\u0000 \\\"\\u00e9\\\"\" given, expected a string without \\u0000"},
  };
  for (const auto& row : rows) {
    std::string text = row.text;
    if (!row.from.empty()) text.replace(text.find(row.from), row.from.size(), row.to);
    EXPECT_EQ(refusalOf([&] { read(text); }), "node.json" + row.refusal);
  }
  EXPECT_TRUE(refusalOf([] {
                read(form("controller", 6, ",\"key\":\"\""));
              }).starts_with("node.json: the key \"key\" given, expected one of kind, address, "));
}

TEST(NodeForm, KeepsAHalfWrittenKeyOutOfTheError) {
  EXPECT_EQ(refusalOf([] { read("{\"key\":\"a0a1"); }),
            "node.json: line 1, column 13: syntax error while parsing value - invalid string: missing closing quote");
}

TEST(NodeForm, RefusesATableThatIsNone) {
  const std::pair<std::string, std::string> rows[] = {
      {"{}", ": {} given, expected an array of nodes"},
      {"[" + ACTUATOR + "," + form("controller", 3, "") + "]",
       ": [1].nodeClass: 3 given, expected a class that has a record: 0, 1, 2, 4, 5, 6"},
      {"[" + ACTUATOR + "," + CONTROLLER + "]", ": [1].address: 4294967295 given, expected another than that of [0]"},
  };
  for (const auto& [text, refusal] : rows)
    EXPECT_EQ(refusalOf([&, &table = text] { readNodes(nlohmann::json::parse(table), "table"); }), "table" + refusal);
}

TEST(NodeText, MasksTheKeysOfAStackNode) {
  const AnyNode stack = read(STACK);
  const std::string masked = Tools::nodeRow(headOf(stack), false);
  EXPECT_NE(masked.find("thirdIdentity=********"), masked.npos);
  EXPECT_NE(masked.find(" key=******** oldKey=********"), masked.npos);
  EXPECT_EQ(masked.find("2021"), masked.npos);
  EXPECT_EQ(masked.find("3031"), masked.npos);
  EXPECT_NE(Tools::nodeRow(headOf(stack), true).find("oldKey=303132333435363738393a3b3c3d3eff"), masked.npos);
  EXPECT_NE(Tools::nodeRow(headOf(read(SENSOR)), false).find("thirdIdentity=2021"), masked.npos);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Forms
