// Starting and stopping the simulated stack, bad calls to it, and what an application does with one that it embeds.
#include <cmath>
#include <stdexcept>

#include <tests/bus/Arguments.h>
#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using Quarnix::Test::HEAD;
using Quarnix::Test::headOf;
using StackService = StackTest;

TEST_F(StackService, RefusesWrongOptions) {
  const Options rows[] = {
      {.silent = std::nan("")},
      {.duplicate = 1.01},
      {.pace = Time::Elapsed(0, -1)},
      {.variants = {Variant::ZUV, Variant::ZUV}},
      {.plan = {{.on = "cancel", .group = "g", .effect = {}}}},
      {.plan = {{.on = "add", .effect = Effect::error(ErrorCode(), "no")}}},
  };
  for (const Options& options : rows) EXPECT_THROW(Service(options, board.getConnection()), std::invalid_argument);
  EXPECT_THROW(FakeStack(), std::logic_error) << "a second one";
}

TEST_F(StackService, SaysWhatABadCallWants) {
  StackNode stackNode;
  RemoteActuatorNode actuator;
  stackNode.setAddress(1);
  actuator.setAddress(2);
  stack.serve({.nodes = {stackNode, actuator}});
  const std::string node = '(' + HEAD + ")i";
  const std::pair<std::string, std::string> commands = {COMMAND_PATH, commandInterfaceOf(Variant::ZUV)},
                                            daughterBoard = {BOARD_PATH, boardInterface()},
                                            nodes = {NODE_PATH, NODE_INTERFACE};
  const struct {
    std::pair<std::string, std::string> object;
    const char* member;
    std::string signature, arguments, text;
  } rows[] = {
      {commands, "add", "ss", R"(["a","b"])",
       "ss, expected (o)(s)a(utbuviiyisusuyy): an originator, a group and its commands"},
      {commands, "cancel", "su", R"(["g_1",1])", "su, expected none, a key (s) or a priority (u)"},
      {daughterBoard, "hardreset", "i", "[1]", "hardreset was called with the arguments i, expected none"},
      {nodes, "getnodes", "yu", "[1,1]", "yu, expected none, a class (y) or a class and a type (yq)"},
      {nodes, "modify", node, "[[" + headOf(6) + "],3]",
       "the action 3, expected 0 (added), 1 (modified) or 2 (removed)"},
      {nodes, "modify", node, "[[" + headOf(1) + "],1]",
       "the class 1 of the node 1, expected one of its kind's record"},
      {nodes, "modifyLink", "(uusi)i", R"([[2,1,"",0],-1])",
       "the action -1, expected 0 (added), 1 (modified) or 2 (removed)"},
      {nodes, "getNodeLink", "ui", "[1,1]", "ui, expected uu: the address of a node and the type of a link"},
      {nodes, "changekey", "uay", R"([1,"00000000000000000000000000000000"])",
       "of 16 bytes, expected 16 that are not all zero"},
      {nodes, "changekey", "uay", R"([2,"0102030405060708090a0b0c0d0e0f10"])", "2, which is no stack node's address"},
      {{COMMAND_PATH, boardInterface()}, "hardreset", "", "[]", ""},
      {nodes, "getNodes", "", "[]", ""},
      {{NODE_PATH, nodeInterfaceOf(Variant::ZUV)}, "getnodes", "", "[]", ""},
  };
  for (const auto& row : rows) {
    Call call;
    Json::appendBody(call, row.signature, nlohmann::json::parse(row.arguments), "arguments");
    call.setDestination(SERVICE);
    call.setPath(row.object.first);
    call.setInterface(row.object.second.c_str());
    call.setMember(row.member);
    const Return reply = *hevra.getConnection()->call(call);
    EXPECT_EQ(reply.getErrorName(),
              std::string("org.freedesktop.DBus.Error.") + (row.text.empty() ? "UnknownMethod" : "InvalidArgs"));
    EXPECT_TRUE(std::string(reply.getErrorText()).ends_with(row.text)) << reply.getErrorText();
  }
  EXPECT_EQ(stack.resets(), 0U);
}

TEST_F(StackService, LeavesNothingWhenItCannotStart) {
  const auto connection = Bus::Connection::open("in-process");
  stack.service().stop();
  connection->requestName("com.quarnix.Application.Zuv");
  Service second({}, Bus::Connection::open("in-process"));
  EXPECT_THROW(second.start(), Bus::StartFailed);
  EXPECT_EQ(connection->getNameOwner("com.quarnix.Application.Hevra"), "");
  connection->releaseName("com.quarnix.Application.Zuv");
  second.start();
  EXPECT_EQ(reset(), "true");
}

TEST_F(StackService, DropsItsCommandsWhenItGoesAndComesBack) {
  const auto client = add("g", commands(1));
  stack.settle();
  stack.service().stop();
  EXPECT_EQ(stack.commandsInFlight(), 0U);
  EXPECT_EQ(reset(), "org.freedesktop.DBus.Error.ServiceUnknown");
  stack.service().start();
  add("g", commands(2), client);
  stack.restart(std::chrono::seconds(1));
  EXPECT_EQ(stack.commandsInFlight(), 0U);
  EXPECT_EQ(reset(), "org.freedesktop.DBus.Error.ServiceUnknown");
  advance(1000);
  add("h", commands(1), client);
  advance(100'000);
  EXPECT_EQ(client->reports["g_1"], "1/1@0 1/1@0");
  EXPECT_EQ(client->reports["h_1"], "1/1@1000 2/1@1200 3/2@1400");
}

TEST_F(StackService, AnnouncesExceptionsAndAnswersResets) {
  stack.exception("radio lost");
  EXPECT_EQ(hevra.exceptions.take(), Lines{"radio lost"});
  EXPECT_EQ(zuv.exceptions.take(), Lines{"radio lost"});
  EXPECT_THROW(stack.exception("\xFF"), Bus::InvalidArgument);
  stack.answerResets(false);
  EXPECT_EQ(reset(), "false");
  EXPECT_EQ(stack.resets(), 1U);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
