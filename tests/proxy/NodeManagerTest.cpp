// The node manager: what each call sends, what it makes of every kind of answer, and which signals are told.
#include <future>

#include <platform/core/time/SimulatedClock.h>
#include <platform/hevra/EmptyKeySet.h>
#include <tests/proxy/NodeSupport.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using Manager = Proxy::Node::Manager;
using Quarnix::Test::actuatorText;
using Quarnix::Test::controllerText;
using Quarnix::Test::sensorText;
using Quarnix::Test::stackText;
using Quarnix::Test::textOf;

std::string boolean(bool value) { return value ? "true" : "false"; }

template <class Kind>
Kind nodeOf(unsigned nodeClass) {
  Kind node;
  node.setAddress(7);
  node.setNodeClass(static_cast<NodeClass>(nodeClass));
  return node;
}

template <class Kind, unsigned CLASS>
std::string modifyNode(Manager& manager) {
  return boolean(manager.modify(nodeOf<Kind>(CLASS), static_cast<NodeAction>(-300)));
}

std::string modifyLink(Manager& manager) {
  NodeLink link;
  link.setNodeAddress(1);
  link.setStackAddress(2);
  link.setLinkId("link");
  link.setLinkType(NodeLinkType::UNKNOWN);
  return boolean(manager.modify(link, NodeAction::REMOVED));
}

std::string changeKey(Manager& manager) {
  const unsigned char key[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  return manager.changeStackNodeKey(7, key), "done";
}

std::string deleteNodes(Manager& manager) { return manager.deleteNodes(4294967295), "done"; }

std::string getLinkId(Manager& manager) { return manager.getNodeLinkId(7, NodeLinkType::UNKNOWN); }

std::string getAll(Manager& manager) { return namesOf(manager.getNodes()); }
std::string getOfClass(Manager& manager) { return namesOf(manager.getNodes(static_cast<NodeClass>(300))); }
std::string getOfType(Manager& manager) { return namesOf(manager.getNodes(NodeClass::SENSOR, 65535)); }

constexpr const char* EMPTY_HEAD =
    " q0 y0 ay0000000000000000000000000000 ay00000000000000000000000000000000 ay00000000000000000000000000000000 t0 y0 "
    "u0 u0";
std::string recordOf(const char* nodeClass, const char* members) {
  return std::string("(u7 ") + nodeClass + EMPTY_HEAD + members + ") i-300";
}

const struct {
  std::string (*call)(Manager& manager);
  const char* member;
  std::string arguments;
  const char* answer;
  const char* result;
  const char* onError;  // what an error reply ends in; null for its own name
} CALLS[] = {
    {getAll, "getnodes", "", "", "", nullptr},
    {getOfClass, "getnodes", "y44", "", "", "NotAContainer"},
    {getOfType, "getnodes", "y1 q65535", "", "", "NotAContainer"},
    {modifyNode<RemoteActuatorNode, 0>, "modify", recordOf("y0", " y0 q0"), "b1", "true", nullptr},
    {modifyNode<RemoteActuatorNode, 4>, "modify", recordOf("y4", " y0 q0"), "b0", "false", nullptr},
    {modifyNode<RemoteActuatorNode, 5>, "modify", recordOf("y5", " y0 q0"), "b1", "true", nullptr},
    {modifyNode<RemoteSensorNode, 1>, "modify", recordOf("y1", " y0 q0 q0 y0 y0 y0 y0 y0 q0 b0"), "b1", "true",
     nullptr},
    {modifyNode<StackNode, 2>, "modify",
     recordOf("y2", " ay00000000000000000000000000000000 ay00000000000000000000000000000000 ay000000 ay00000000 s''"),
     "b1", "true", nullptr},
    {modifyNode<RemoteControllerNode, 6>, "modify", recordOf("y6", ""), "b1", "true", nullptr},
    {modifyLink, "modifyLink", "(u1 u2 s'link' i-1) i2", "b1", "true", nullptr},
    {changeKey, "changekey", "u7 ay00000000000000000000000000000001", "", "done", "done"},
    {deleteNodes, "removeChildrenNodes", "u4294967295", "s'not looked at'", "done", "done"},
    {getLinkId, "getNodeLink", "u7 u4294967295", "s'link'", "link", nullptr},
};

class NodeManager : public testing::Test {
 protected:
  NodeManager() { manager.setConnection(Bus::Connection::open("in-process")); }

  /// Every call from now on is answered with these arguments.
  void answerWith(std::string arguments) {
    Quarnix::Test::signalOf(arguments);  // raises here, and not on the service's task, what is wrong with them
    stack.answer = [arguments](const Call& call) { return Quarnix::Test::filled(Return(call), arguments); };
  }

  LoggedLines lines;
  Time::SimulatedClock clock;
  StackObject stack{NODE_SERVICE, NODE_PATH};
  Watcher manager{false};
};

TEST_F(NodeManager, SendsItsCalls) {
  for (const auto& row : CALLS) {
    SCOPED_TRACE(row.member + (" " + row.arguments));
    answerWith(row.answer);
    EXPECT_EQ(row.call(manager), row.result);
    const Call call = stack.calls.all().back();
    EXPECT_STREQ(call.getInterface(), NODE_INTERFACE);
    EXPECT_STREQ(call.getMember(), row.member);
    EXPECT_EQ(textOf(call.begin()), row.arguments);
  }
  EXPECT_EQ(lines.take(), Lines());
}

TEST_F(NodeManager, ThrowsErrorRepliesWhereTheyAreLookedFor) {
  for (const auto& row : CALLS) {
    stack.answer = [](const Call& call) { return Return(call, "test.Error", "no"); };
    EXPECT_EQ(outcomeOf([&] { return row.call(manager); }), row.onError ? row.onError : "test.Error") << row.member;

    stack.answer = nullptr;
    auto outcome = std::async(std::launch::async, [&] { return outcomeOf([&] { return row.call(manager); }); });
    clock.awaitWaiters(1);
    EXPECT_EQ(clock.advance(Time::Elapsed(20, -1)), 0u) << row.member;
    EXPECT_EQ(clock.advance(Time::Elapsed(0, 1)), 1u) << row.member;
    EXPECT_EQ(outcome.get(), row.onError ? row.onError : "org.freedesktop.DBus.Error.NoReply") << row.member;
  }
  EXPECT_EQ(stack.calls.all().size(), 2 * std::size(CALLS));
  EXPECT_EQ(lines.take(), Lines());
  // The error that the filtered queries end in once hid the reply's.
  stack.answer = [](const Call& call) { return Return(call, "test.Error", "no"); };
  try {
    getOfClass(manager);
    FAIL();
  } catch (const Bus::NotAContainer& error) {
    EXPECT_TRUE(std::string_view(error.what()).starts_with("test.Error: no (")) << error.what();
  }
}

TEST_F(NodeManager, SendsNothingThatItRefuses) {
  const std::pair<std::string (*)(Manager&), const char*> rows[] = {
      {modifyNode<RemoteSensorNode, 3>, "UnknownNodeClass"},
      {modifyNode<RemoteActuatorNode, 7>, "UnknownNodeClass"},
      {modifyNode<RemoteActuatorNode, 65536>, "UnknownNodeClass"},
      {modifyNode<RemoteActuatorNode, 1>, "bad_cast"},
      {modifyNode<RemoteSensorNode, 2>, "bad_cast"},
      {modifyNode<StackNode, 6>, "bad_cast"},
      {modifyNode<RemoteControllerNode, 5>, "bad_cast"},
  };
  for (const auto& row : rows) EXPECT_EQ(outcomeOf([&] { return row.first(manager); }), row.second);
  try {
    modifyNode<StackNode, 4294967295>(manager);
    FAIL();
  } catch (const Manager::UnknownNodeClass& error) {
    EXPECT_EQ(error.getNodeClass(), 65535);
  }
  try {
    manager.changeStackNodeKey(7, StackNode().getKey().data());
    FAIL();
  } catch (const EmptyKeySet& error) {
    EXPECT_STREQ(error.what(), "com.quarnix.Trellium.Application.Hevra.Node.EmptyKeySet");
    EXPECT_FALSE(error.getStackNode());
  }
  EXPECT_TRUE(stack.calls.all().empty());
}

TEST_F(NodeManager, LogsAnAnswerOfAnotherSignature) {
  const std::pair<const char*, std::string> rows[] = {{"", ""}, {"y1", "y"}, {"b1 b1", "bb"}, {"s'a' s'b'", "ss"}};
  for (const auto& [answer, signature] : rows) {
    answerWith(answer);
    EXPECT_EQ((modifyNode<RemoteSensorNode, 1>(manager)), "false");
    EXPECT_EQ(modifyLink(manager), "false");
    EXPECT_EQ(getLinkId(manager), "");
    EXPECT_EQ(lines.take(),
              (Lines{"NodeManager modify reply bad signature: " + signature + " (expected was b)",
                     "NodeManager modify link reply bad signature: " + signature + " (expected was b)",
                     "NodeManager getNodeLinkId bad response signature: " + signature + ", expected was s"}));
  }
  Log::Logger::set({});
  for (const auto call : {modifyNode<RemoteSensorNode, 1>, modifyLink, getLinkId})
    EXPECT_EQ(outcomeOf([&] { return call(manager); }), "Nil");
}

TEST_F(NodeManager, ReadsTheNodesOfAReplyInItsOrder) {
  const std::string link = "(u1 u2 s'link' i0)", actuator = "a(uyqyayayaytyuuyq)", controller = "a(uyqyayayaytyuu)",
                    sensor = "a(uyqyayayaytyuuyqqyyyyyqb)", stackNode = "a(uyqyayayaytyuuayayayays)";
  const std::string sensors = sensor + "[" + sensorText() + " " + sensorText() + "]";
  const struct {
    std::string answer, outcome;
  } rows[] = {
      {"", ""},
      {stackNode + "[" + stackText() + "] " + actuator + "[] " + sensors + " " + controller + "[" + controllerText() +
           "] " + actuator + "[" + actuatorText() + "]",
       "stack 1, sensor 1, sensor 1, controller 1, actuator 1"},
      {"(" + controllerText() + " " + sensorText() + " " + actuatorText() + " " + sensorText() + ") " + sensors,
       "controller 1, sensor 1, actuator 1, sensor 1, sensor 1, sensor 1"},
      {"a(uusi)[]", ""},
      {"a(uusi)[" + link + "]", "BadSignatureOnBus"},
      {sensors + " a(uusi)[" + link + "]", "BadSignatureOnBus"},
      {"(" + sensorText() + " " + link + ")", "BadSignatureOnBus"},
      {sensorText(), "BadSignatureOnBus"},
      {"s'no container'", "NotAContainer"},
      {sensors + " u1", "NotAContainer"},
  };
  for (const auto& row : rows) {
    answerWith(row.answer);
    for (const auto call : {getAll, getOfClass, getOfType})
      EXPECT_EQ(outcomeOf([&] { return call(manager); }), row.outcome) << row.answer;
  }
}

TEST_F(NodeManager, TellsWhatWasSignalled) {
  manager.start(true);
  const auto announce = [this](const char* member, const std::string& arguments, const char* interface) {
    auto signal = Quarnix::Test::filled(Bus::Message::Signal(NODE_PATH, interface, member), arguments);
    stack.send(signal);
    clock.settle();
  };
  const std::string link = " (u1 u2 s'link' i0)";
  const struct {
    const char* member;
    std::string arguments;
    Lines told, logged;
  } rows[] = {
      {"modified", actuatorText() + " y2", {"modified actuator 1 by 2"}, {}},
      {"modified", sensorText() + " y255", {"modified sensor 1 by 255"}, {}},
      {"modified", stackText() + " y0", {"modified stack 1 by 0"}, {}},
      {"modified", controllerText() + " y1", {"modified controller 1 by 1"}, {}},
      {"modified", controllerText(), {}, {"NodeManager modified bad signature: (uyqyayayaytyuu)"}},
      {"modified", controllerText() + " i1", {}, {"NodeManager modified bad signature: (uyqyayayaytyuu)i"}},
      {"modified", controllerText() + " y1 y1", {}, {"NodeManager modified bad signature: (uyqyayayaytyuu)yy"}},
      {"modified", "", {}, {"NodeManager modified bad signature: "}},
      {"linkModified", actuatorText() + link + " y2", {"linked actuator 1 link by 2"}, {}},
      {"linkModified", sensorText() + link + " y0", {"linked sensor 1 link by 0"}, {}},
      {"linkModified", stackText() + link + " y1", {"linked stack 1 link by 1"}, {}},
      {"linkModified", controllerText() + link + " y3", {"linked controller 1 link by 3"}, {}},
      {"linkModified", controllerText() + " y1", {}, {"NodeManager link modified bad signature: (uyqyayayaytyuu)y"}},
      {"other", sensorText() + " y1", {}, {"NodeManager signal unknown member: other"}},
  };
  for (const auto& row : rows) {
    announce(row.member, row.arguments, NODE_INTERFACE);
    EXPECT_EQ(manager.notifications.take(), row.told) << row.member << " " << row.arguments;
    EXPECT_EQ(lines.take(), row.logged) << row.member << " " << row.arguments;
  }
  for (const char* member : {"modified", "linkModified", "other"})
    announce(member, "", "com.quarnix.Application.Zuv.Manager.Node");
  EXPECT_EQ(lines.take(), Lines()) << "another interface";
}

TEST(UnknownNodeClass, WritesItsNameAndItsNumber) {
  const std::string name = "com.quarnix.Trellium.Application.Hevra.Proxy.Node.Manager.UnknownNodeClass";
  const Manager::UnknownNodeClass error(65535);
  EXPECT_EQ(error.getCategory(), 9);
  const std::pair<unsigned short, std::string> rows[] = {
      {200, name + " : 65535"}, {10, name.substr(0, 9)}, {1, ""}, {0, "held"}};
  for (const auto& [size, text] : rows) {
    char buffer[200] = "held";
    EXPECT_EQ(error.serialize(buffer, size), static_cast<int>(text.size()));
    EXPECT_EQ(buffer, text);
  }
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
