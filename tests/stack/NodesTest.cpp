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
};

TEST_F(Nodes, AreListedInOneArrayAKindWhenTheRunsAreTooMany) {
  std::vector<AnyNode> mixed;
  std::string sensors, controllers;
  for (std::uint32_t address = 0; address < 20; address += 2) {
    mixed.emplace_back(node<RemoteSensorNode>(address));
    mixed.emplace_back(node<RemoteControllerNode>(address + 1));
    sensors += "sensor " + std::to_string(address) + ", ";
    controllers += ", controller " + std::to_string(address + 1);
  }
  serveNodes(mixed);
  EXPECT_EQ(namesOf(watcher.getNodes()), sensors + controllers.substr(2));
}

TEST_F(Nodes, TakeTheValueThatACommandWrites) {
  serveNodes({node<RemoteActuatorNode>(4)});
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
    add("g", command);
    advance(1000);
    EXPECT_EQ(stack.stateOf(4), row.state);
    EXPECT_EQ(watcher.notifications.take(), row.write ? Lines{"modified actuator 4 by 1"} : Lines());
  }
}

TEST_F(Nodes, OfBothVariantsLoseTheirLinksBeforeTheyAreRemoved) {
  serveNodes({node<StackNode>(1, 1), node<RemoteSensorNode>(2, 1), node<RemoteControllerNode>(3, 2),
              node<RemoteActuatorNode>(4, 1)});
  NodeLink link;
  link.setNodeAddress(2);
  link.setStackAddress(1);
  link.setLinkId("hall");
  EXPECT_TRUE(stack.nodes().modify(link, NodeAction::ADDED));
  link.setNodeAddress(3);
  EXPECT_TRUE(stack.nodes().modify(link, NodeAction::ADDED));
  stack.settle();
  watcher.notifications.take();
  Watcher other(true);
  other.start(true);
  other.deleteNodes(1);
  stack.settle();
  EXPECT_EQ(other.notifications.take(), watcher.notifications.all());
  EXPECT_EQ(watcher.notifications.take(),
            (Lines{"linked sensor 2 hall by 2", "modified sensor 2 by 2", "modified actuator 4 by 2"}));
  EXPECT_TRUE(stack.nodes().modify(node<StackNode>(1), NodeAction::REMOVED));
  stack.settle();
  EXPECT_EQ(watcher.notifications.take(), (Lines{"linked controller 3 hall by 2", "modified stack 1 by 2"}));
  EXPECT_EQ(stack.nodes().getNodes().size(), 1U);
  stack.serve({.variants = {Variant::ZUV}});
  EXPECT_FALSE(other.getNodes().empty());
  zuv.cancel();
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
  std::map<std::string, std::string> actions;
  for (const std::string& line : watcher.notifications.take()) actions[line.substr(0, 19)] += line.back();
  std::string expected;
  for (int round = 0; round < 50; ++round) expected += "02";
  EXPECT_EQ(actions.size(), 4U);
  for (const auto& [node, told] : actions) EXPECT_EQ(told, expected) << node;
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
