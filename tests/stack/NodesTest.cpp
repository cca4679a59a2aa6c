// The node manager of the simulated stack: lists, changes and what is announced of them.
#include <thread>

#include <platform/hevra/HvTypes.h>
#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

template <class Kind>
Kind node(std::uint32_t address, std::uint32_t backbone = 0, std::uint16_t type = 0) {
  Kind made;
  made.setAddress(address);
  made.setBackboneAddress(backbone);
  made.setNodeType(type);
  return made;
}

class Nodes : public StackTest {
 protected:
  void serveNodes(std::vector<AnyNode> nodes) {
    Options options;
    options.nodes = std::move(nodes);
    stack.serve(options);
  }
  Return call(const char* member, const std::string& arguments = {}) const {
    return client.call(nodePathOf(Variant::HEVRA), nodeInterfaceOf(Variant::HEVRA), member, arguments);
  }
};

TEST_F(Nodes, AreListedInOneArrayAKindWhenTheRunsAreTooMany) {
  std::vector<AnyNode> mixed;
  std::string sensors, controllers;
  for (std::uint32_t address = 0; address < 20; address += 2) {
    mixed.emplace_back(node<RemoteSensorNode>(address));
    mixed.emplace_back(node<RemoteControllerNode>(address + 1));
    sensors += std::to_string(address) + " ";
    controllers += std::to_string(address + 1) + " ";
  }
  serveNodes(mixed);
  const Return reply = call("getnodes");
  std::string lists;
  for (Bus::Message::ConstIterator array = reply.begin(); array.type(); ++array) {
    if (!lists.empty()) lists += "| ";
    for (Bus::Message::ConstIterator element = array.begin(); element.type(); ++element) {
      std::uint32_t address = 0;
      element.begin().get(address);
      lists += std::to_string(address) + " ";
    }
  }
  EXPECT_EQ(lists, sensors + "| " + controllers);
}

TEST_F(Nodes, TakeTheValueThatACommandWrites) {
  serveNodes({node<RemoteActuatorNode>(4)});
  Listener listener(client, nodePathOf(Variant::HEVRA));
  const struct {
    bool write;
    Shared::Pointer<HvType> value;
    std::uint32_t state;
  } rows[] = {
      {false, Shared::make<HvBool>(true), 0},
      {true, Shared::make<HvBool>(true), 1},
      {true, Shared::make<HvInt64>(-1), 255},
      {true, Shared::make<HvString>("up"), 0},
  };
  for (const auto& row : rows) {
    std::vector<Command> command = commands(1);
    command[0].setAddress(4);
    command[0].setWrite(row.write);
    command[0].setValue(row.value);
    client.add(originator, "g", command);
    advance(1000);
    EXPECT_EQ(stack.stateOf(4), row.state);
    EXPECT_EQ(listener.take(), row.write ? "Hevra.Manager.Node modified 4 1; " : "");
  }
}

TEST_F(Nodes, LoseTheirLinksBeforeTheyAreRemoved) {
  serveNodes({node<StackNode>(1, 1), node<RemoteSensorNode>(2, 1), node<RemoteControllerNode>(3, 2),
              node<RemoteActuatorNode>(4, 1)});
  NodeLink link;
  link.setNodeAddress(2);
  link.setStackAddress(1);
  link.setLinkId("hall");
  EXPECT_TRUE(stack.nodes().modify(link, NodeAction::ADDED));
  link.setNodeAddress(3);
  EXPECT_TRUE(stack.nodes().modify(link, NodeAction::ADDED));
  Listener listener(client, nodePathOf(Variant::HEVRA));
  EXPECT_FALSE(call("removeChildrenNodes", "u1").isException());
  stack.settle();
  EXPECT_EQ(listener.take(),
            "Hevra.Manager.Node linkModified 2 2 hall 2; Hevra.Manager.Node modified 2 2; "
            "Hevra.Manager.Node modified 4 2; ");
  EXPECT_TRUE(stack.nodes().modify(node<StackNode>(1), NodeAction::REMOVED));
  stack.settle();
  EXPECT_EQ(listener.take(), "Hevra.Manager.Node linkModified 3 3 hall 2; Hevra.Manager.Node modified 1 2; ");
  EXPECT_EQ(stack.nodes().getNodes().size(), 1U);
}

TEST_F(Nodes, SayWhatABadCallWants) {
  serveNodes({node<StackNode>(1), node<RemoteActuatorNode>(2)});
  const std::string controller = "(" + Quarnix::Test::headOf("y6") + ")",
                    strange = "(" + Quarnix::Test::headOf("y1") + ")";
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"getnodes", "s'a'", "with the arguments s, expected none, a class (y) or a class and a type (yq)"},
      {"modify", controller + " i3", "with the action 3, expected 0 (added), 1 (modified) or 2 (removed)"},
      {"modify", strange + " i1", "with the class 1 of the node 1, expected one of its kind's record"},
      {"changekey", "u1 ay0102030405060708090a0b0c0d0e0f", "with a key of 15 bytes, expected 16 that are not all zero"},
      {"changekey", "u2 ay0102030405060708090a0b0c0d0e0f10", "for 2, which is no stack node's address"},
  };
  for (const auto& [member, arguments, text] : rows) {
    const Return reply = call(member, arguments);
    EXPECT_STREQ(reply.getErrorName(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(reply.getErrorText(), member + std::string(" was called ") + text);
  }
  EXPECT_STREQ(client.call(nodePathOf(Variant::ZUV), nodeInterfaceOf(Variant::HEVRA), "getnodes").getErrorName(),
               "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(Nodes, RefuseATableThatCannotBeAnnounced) {
  AnyNode strange = node<RemoteActuatorNode>(2);
  headOf(strange).setNodeClass(NodeClass::BEACON);
  EXPECT_THROW(serveNodes({strange}), std::invalid_argument);
  EXPECT_THROW(serveNodes({node<StackNode>(1), node<RemoteSensorNode>(1)}), std::invalid_argument);
  StackNode garbled = node<StackNode>(1);
  garbled.setLabel("\xFF");
  EXPECT_THROW(serveNodes({garbled}), Bus::InvalidArgument);
}

TEST_F(Nodes, AnnounceChangesOfManyThreadsInTheirOrder) {
  serveNodes({});
  Listener listener(client, nodePathOf(Variant::HEVRA));
  std::vector<std::thread> threads;
  for (std::uint32_t address = 0; address < 4; ++address) {
    threads.emplace_back([&, address] {
      for (int round = 0; round < 50; ++round)
        for (const NodeAction action : {NodeAction::ADDED, NodeAction::REMOVED})
          EXPECT_TRUE(stack.nodes().modify(AnyNode(node<RemoteActuatorNode>(address)), action));
    });
  }
  for (std::thread& thread : threads) thread.join();
  stack.settle();
  const std::string signals = listener.take();
  for (std::uint32_t address = 0; address < 4; ++address) {
    std::string actions;
    const std::string head = "modified " + std::to_string(address) + " ";
    for (auto found = signals.find(head); found != signals.npos; found = signals.find(head, found + 1))
      actions += signals[found + head.size()];
    std::string expected;
    for (int round = 0; round < 50; ++round) expected += "02";
    EXPECT_EQ(actions, expected);
  }
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
