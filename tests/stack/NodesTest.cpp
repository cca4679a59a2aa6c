// The node manager of the simulated stack: lists, changes and what is announced of them.
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
  void serveNodes(std::vector<AnyNode> nodes) { stack.serve({.nodes = std::move(nodes)}); }
  bool link(std::uint32_t nodeAddress, std::uint32_t stackAddress, const char* id, NodeAction action) {
    NodeLink link;
    link.setNodeAddress(nodeAddress);
    link.setStackAddress(stackAddress);
    link.setLinkId(id);
    return watcher.modify(link, action);
  }
  /// That a change was made, and is what was announced since the last one.
  void expect(bool done, const Lines& told) {
    stack.settle();
    EXPECT_EQ(done, !told.empty());
    EXPECT_EQ(watcher.notifications.take(), told);
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

TEST_F(Nodes, AndLinksAreChangedWhereTheyCanBe) {
  serveNodes({node<StackNode>(1), node<RemoteSensorNode>(2)});
  const auto sensor = node<RemoteSensorNode>(3);
  expect(watcher.modify(sensor, NodeAction::MODIFIED), {});
  expect(watcher.modify(sensor, NodeAction::REMOVED), {});
  expect(watcher.modify(sensor, NodeAction::ADDED), {"modified sensor 3 by 0"});
  expect(watcher.modify(sensor, NodeAction::ADDED), {});
  expect(watcher.modify(node<RemoteActuatorNode>(3), NodeAction::MODIFIED), {"modified actuator 3 by 1"});
  expect(link(2, 1, "hall", NodeAction::MODIFIED), {});
  expect(link(2, 1, "hall", NodeAction::ADDED), {"linked sensor 2 hall by 0"});
  expect(link(2, 1, "attic", NodeAction::ADDED), {});
  expect(link(2, 1, "attic", NodeAction::MODIFIED), {"linked sensor 2 attic by 1"});
  EXPECT_EQ(watcher.getNodeLinkId(2, NodeLink().getLinkType()), "attic");
  EXPECT_EQ(watcher.getNodeLinkId(2, NodeLinkType{1}), "");
  expect(link(2, 1, "any", NodeAction::REMOVED), {"linked sensor 2 attic by 2"});
  expect(link(2, 1, "any", NodeAction::REMOVED), {});
  expect(link(77, 1, "no such node", NodeAction::ADDED), {});
  expect(link(2, 3, "no stack node", NodeAction::ADDED), {});
  EXPECT_EQ(namesOf(watcher.getNodes()), "stack 1, sensor 2, actuator 3");
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
  Watcher other(true);
  other.start(true);
  expect(link(2, 1, "hall", NodeAction::ADDED), {"linked sensor 2 hall by 0"});
  expect(link(3, 1, "hall", NodeAction::ADDED), {"linked controller 3 hall by 0"});
  other.notifications.take();
  other.deleteNodes(1);
  expect(true, {"linked sensor 2 hall by 2", "modified sensor 2 by 2", "modified actuator 4 by 2"});
  EXPECT_EQ(other.notifications.take().size(), 3U);
  expect(watcher.modify(node<StackNode>(1), NodeAction::REMOVED),
         {"linked controller 3 hall by 2", "modified stack 1 by 2"});
  EXPECT_EQ(namesOf(other.getNodes()), "controller 3");
  stack.serve({.variants = {Variant::ZUV}});
  EXPECT_FALSE(other.getNodes().empty());
  zuv.cancel();
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
