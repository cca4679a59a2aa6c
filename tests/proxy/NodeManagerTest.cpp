// The node manager: what it makes of every kind of answer, what it refuses to send, and which signals are told. What
// each call sends is compared on a real bus, with another implementation at the other end.
#include <future>

#include <platform/core/time/SimulatedClock.h>
#include <platform/hevra/EmptyKeySet.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using Manager = Proxy::Node::Manager;

template <class Kind, unsigned CLASS>
std::string modifyNode(Manager& manager) {
  Kind node;
  node.setAddress(7);
  node.setNodeClass(static_cast<NodeClass>(CLASS));
  return manager.modify(node, static_cast<NodeAction>(-300)) ? "true" : "false";
}
constexpr auto modifySensor = modifyNode<RemoteSensorNode, 1>;

std::string modifyLink(Manager& manager) { return manager.modify(NodeLink(), NodeAction::REMOVED) ? "true" : "false"; }
std::string changeKey(Manager& manager) {
  const unsigned char key[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  return manager.changeStackNodeKey(7, key), "done";
}
std::string deleteNodes(Manager& manager) { return manager.deleteNodes(7), "done"; }
std::string getLinkId(Manager& manager) { return manager.getNodeLinkId(7, NodeLinkType::UNKNOWN); }
std::string getAll(Manager& manager) { return namesOf(manager.getNodes()); }
std::string getOfClass(Manager& manager) { return namesOf(manager.getNodes(static_cast<NodeClass>(300))); }
std::string getOfType(Manager& manager) { return namesOf(manager.getNodes(NodeClass::SENSOR, 65535)); }

class NodeManager : public testing::Test {
 protected:
  NodeManager() { manager.setConnection(Bus::Connection::open("in-process")); }

  LoggedLines lines;
  Time::SimulatedClock clock;
  StackObject stack{SERVICE, NODE_PATH};
  Watcher manager{false};
};

TEST_F(NodeManager, ThrowsErrorRepliesWhereTheyAreLookedFor) {
  const struct {
    std::string (*call)(Manager& manager);
    const char* onError;  // what an error reply ends in; null for its own name
  } rows[] = {{getAll, nullptr},       {getOfClass, "NotAContainer"}, {getOfType, "NotAContainer"},
              {modifySensor, nullptr}, {modifyLink, nullptr},         {changeKey, "done"},
              {deleteNodes, "done"},   {getLinkId, nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    stack.answer = [](const Call& call) { return Return(call, "test.Error", "no"); };
    EXPECT_EQ(outcomeOf([&] { return row.call(manager); }), row.onError ? row.onError : "test.Error");

    stack.answer = nullptr;
    auto outcome = std::async(std::launch::async, [&] { return outcomeOf([&] { return row.call(manager); }); });
    clock.awaitWaiters(1);
    EXPECT_EQ(clock.advance(Time::Elapsed(20, -1)), 0u);
    EXPECT_EQ(clock.advance(Time::Elapsed(0, 1)), 1u);
    EXPECT_EQ(outcome.get(), row.onError ? row.onError : "org.freedesktop.DBus.Error.NoReply");
  }
  EXPECT_EQ(lines.take(), Lines());
}

TEST_F(NodeManager, SendsNothingThatItRefuses) {
  const std::pair<std::string (*)(Manager&), const char*> rows[] = {
      {modifyNode<RemoteSensorNode, 3>, "UnknownNodeClass"},   {modifyNode<RemoteActuatorNode, 7>, "UnknownNodeClass"},
      {modifyNode<StackNode, 4294967295>, "UnknownNodeClass"}, {modifyNode<RemoteActuatorNode, 1>, "bad_cast"},
      {modifyNode<RemoteSensorNode, 2>, "bad_cast"},           {modifyNode<StackNode, 6>, "bad_cast"},
      {modifyNode<RemoteControllerNode, 5>, "bad_cast"},
  };
  for (const auto& row : rows) EXPECT_EQ(outcomeOf([&] { return row.first(manager); }), row.second);
  try {
    manager.changeStackNodeKey(7, StackNode().getKey().data());
    FAIL();
  } catch (const EmptyKeySet& error) {
    EXPECT_STREQ(error.what(), "com.quarnix.Trellium.Application.Hevra.Node.EmptyKeySet");
    EXPECT_FALSE(error.getStackNode());
  }
  EXPECT_TRUE(stack.calls.all().empty());
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
