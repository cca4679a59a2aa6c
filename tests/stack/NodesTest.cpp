// The node manager of the simulated stack: lists, changes and what is announced of them.
#include <thread>

#include <bus/NodeLinkWrapper.h>
#include <platform/bus/object/Proxy.h>
#include <platform/hevra/HvTypes.h>
#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using Arguments = std::function<void(Bus::Message::Iterator&)>;

template <class Kind>
Kind node(std::uint32_t address, std::uint32_t backbone = 0, std::uint16_t type = 0) {
  Kind made;
  made.setAddress(address);
  made.setBackboneAddress(backbone);
  made.setNodeType(type);
  return made;
}

/// Notes the signals of a node manager: "modified 7 by 1", "linkModified 7 hall by 0".
class Listener : public Bus::Object::Proxy {
 public:
  Listener(const Client& client, Variant variant) {
    setConnection(client.connection);
    setHost(busNameOf(variant).c_str());
    setPath(nodePathOf(variant));
    start(true);
  }
  ~Listener() override { retire(); }
  std::string take() { return std::exchange(signals_, {}); }

 protected:
  void signal(const Bus::Message::Signal& signal) override {
    Bus::Message::ConstIterator argument = signal.begin(), field = argument.begin();
    std::uint32_t address = 0;
    field.read(address);
    signals_ += std::string(signal.getMember()) + " " + std::to_string(address);
    ++argument;
    if (argument.type() == STRUCTURE) {
      NodeLink link;
      Bus::Type::StructWrapper<NodeLink>().deserialize(argument, link);
      signals_ += " " + link.getLinkId();
      ++argument;
    }
    std::uint8_t action = 0;
    argument.get(action);
    signals_ += " by " + std::to_string(action) + "; ";
  }

 private:
  std::string signals_;
};

class Nodes : public StackTest {
 protected:
  void serveNodes(std::vector<AnyNode> nodes) {
    Options options;
    options.nodes = std::move(nodes);
    serve(options);
  }
  Return call(const char* member, const Arguments& append = {}, Variant variant = Variant::HEVRA) const {
    return client.call(nodePathOf(variant), nodeInterfaceOf(variant), member, append);
  }
  /// The addresses in the list, a space between two and "| " between arrays.
  std::string list(const Arguments& filter = {}, Variant variant = Variant::HEVRA) const {
    const Return reply = call("getnodes", filter, variant);
    std::string text = reply.getErrorName();
    for (Bus::Message::ConstIterator array = reply.begin(); array.type(); ++array) {
      if (!text.empty()) text += "| ";
      Bus::Message::ConstIterator element = array.begin();
      for (; element.type(); ++element) {
        std::uint32_t address = 0;
        element.begin().get(address);
        text += std::to_string(address) + " ";
      }
    }
    return text;
  }
  static std::string answerOf(const Return& reply) {
    if (reply.isException()) return reply.getErrorText();
    if (*reply.getSignature() == 's') return std::string(reply.begin().getText());
    bool answer = false;
    if (*reply.getSignature()) reply.begin().get(answer);
    return !*reply.getSignature() ? "done" : answer ? "yes" : "no";
  }
  std::string modify(const AnyNode& changed, std::int32_t action, Variant variant = Variant::HEVRA) const {
    return answerOf(call(
        "modify", [&](auto& to) { append(to, changed), to.append(action); }, variant));
  }
  std::string modifyLink(std::uint32_t at, std::uint32_t stack, const char* id, std::int32_t action) const {
    NodeLink link;
    link.setNodeAddress(at);
    link.setStackAddress(stack);
    link.setLinkId(id);
    link.setLinkType(NodeLinkType::SENSE);
    return answerOf(call("modifyLink", [&](auto& to) {
      Bus::Type::StructWrapper<NodeLink>().serialize(to, link);
      to.append(action);
    }));
  }
  std::string linkOf(std::uint32_t at, std::uint32_t type) const {
    return answerOf(call("getNodeLink", [&](auto& to) { to.append(at, type); }));
  }
};

TEST_F(Nodes, AreListedInArraysOfOneKind) {
  serveNodes({node<StackNode>(1), node<RemoteActuatorNode>(2), node<RemoteActuatorNode>(3, 0, 9),
              node<RemoteSensorNode>(4), node<RemoteActuatorNode>(5, 0, 9), node<RemoteControllerNode>(6)});
  const auto byClass = [](std::uint8_t is) { return [=](Bus::Message::Iterator& to) { to.append(is); }; };
  const auto byType = [](std::uint8_t is, std::uint16_t type) {
    return [=](Bus::Message::Iterator& to) { to.append(is, type); };
  };
  EXPECT_EQ(list(), "1 | 2 3 | 4 | 5 | 6 ");
  EXPECT_EQ(list({}, Variant::ZUV), list());
  EXPECT_STREQ(call("getnodes", byClass(1)).getSignature(), "a(uyqyayayaytyuuyqqyyyyyqb)");
  const std::pair<Arguments, const char*> rows[] = {
      {byClass(0), "2 3 5 "}, {byClass(2), "1 "},   {byClass(6), "6 "}, {byClass(3), ""},
      {byType(0, 9), "3 5 "}, {byType(6, 0), "6 "}, {byType(6, 9), ""},
  };
  for (const auto& [filter, addresses] : rows) EXPECT_EQ(list(filter), addresses);
}

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
  EXPECT_EQ(list(), sensors + "| " + controllers);
}

TEST_F(Nodes, AreChangedAndAnnounced) {
  serveNodes({node<StackNode>(1), node<RemoteSensorNode>(2, 1), node<RemoteControllerNode>(3, 2),
              node<RemoteActuatorNode>(4, 1)});
  Listener hevra(client, Variant::HEVRA), zuv(client, Variant::ZUV);
  const StackNode::Key key{1, 2, 3};
  Command write;
  write.setAddress(4);
  write.setWrite(true);
  const auto run = [&](Shared::Pointer<HvType> value) {
    write.setValue(std::move(value));
    client.add(originator, "g", {write});
    advance(1000);
    return std::to_string(headOf(*service->getNodes().find(4)).getState());
  };
  const auto changeKey = [&] {
    const std::string answer =
        answerOf(call("changekey", [&](auto& to) { to.append(std::uint32_t{1}), to.appendBytes(key.data(), 16); }));
    const auto changed = std::get<StackNode>(*service->getNodes().find(1));
    return answer + (changed.getKey() == key && changed.getOldKey() == StackNode::Key{} ? ", kept" : ", lost");
  };
  // In this order.
  const struct {
    const char* what;
    std::function<std::string()> act;
    const char* answer;
    const char* signals;
  } rows[] = {
      {"modify", [&] { return modify(node<RemoteSensorNode>(2, 1, 7), 1); }, "yes", "modified 2 by 1; "},
      {"by the other variant", [&] { return modify(node<RemoteControllerNode>(9, 9), 0, Variant::ZUV); }, "yes",
       "modified 9 by 0; "},
      {"add what is there", [&] { return modify(node<RemoteActuatorNode>(9), 0); }, "no", ""},
      {"modify what is not there", [&] { return modify(node<RemoteActuatorNode>(8), 1); }, "no", ""},
      {"remove what is not there", [&] { return modify(node<RemoteActuatorNode>(8), 2); }, "no", ""},
      {"remove", [&] { return modify(node<RemoteControllerNode>(9), 2); }, "yes", "modified 9 by 2; "},
      {"add a link", [&] { return modifyLink(2, 1, "hall", 0); }, "yes", "linkModified 2 hall by 0; "},
      {"add it again", [&] { return modifyLink(2, 1, "roof", 0); }, "no", ""},
      {"modify it", [&] { return modifyLink(2, 1, "roof", 1); }, "yes", "linkModified 2 roof by 1; "},
      {"look it up", [&] { return linkOf(2, 1); }, "roof", ""},
      {"of another type", [&] { return linkOf(2, 0xFFFFFFFF); }, "", ""},
      {"link of no node", [&] { return modifyLink(8, 1, "hall", 0); }, "no", ""},
      {"link to no stack node", [&] { return modifyLink(3, 2, "hall", 0); }, "no", ""},
      {"add another", [&] { return modifyLink(3, 1, "door", 0); }, "yes", "linkModified 3 door by 0; "},
      {"remove it", [&] { return modifyLink(3, 1, "", 2); }, "yes", "linkModified 3 door by 2; "},
      {"change the key", changeKey, "done, kept", "modified 1 by 1; "},
      {"a command that reads", [&] { return write.setWrite(false), run(Shared::make<HvBool>(true)); }, "0", ""},
      {"that writes", [&] { return write.setWrite(true), run(Shared::make<HvBool>(true)); }, "1", "modified 4 by 1; "},
      {"an integer", [&] { return run(Shared::make<HvInt64>(-1)); }, "255", "modified 4 by 1; "},
      {"a text", [&] { return run(Shared::make<HvString>("up")); }, "0", "modified 4 by 1; "},
      {"remove children",
       [&] { return answerOf(call("removeChildrenNodes", [](auto& to) { to.append(std::uint32_t{1}); })); }, "done",
       "linkModified 2 roof by 2; modified 2 by 2; modified 4 by 2; "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.act(), row.answer);
    clock.settle();
    EXPECT_EQ(hevra.take(), row.signals);
    EXPECT_EQ(zuv.take(), row.signals);
  }
  EXPECT_EQ(list(), "1 | 3 ");
}

TEST_F(Nodes, AnswerABadCallWithAnError) {
  serveNodes({node<StackNode>(1), node<RemoteActuatorNode>(2)});
  AnyNode strange = node<RemoteActuatorNode>(2);
  headOf(strange).setNodeClass(NodeClass::SENSOR);
  const auto key = [](std::uint32_t address, std::uint8_t first, std::size_t size) {
    return [=](Bus::Message::Iterator& to) {
      const std::uint8_t bytes[17] = {first};
      to.append(address);
      to.appendBytes(bytes, size);
    };
  };
  const auto text = [](Bus::Message::Iterator& to) { to.append("a"); };
  const struct {
    const char* member;
    Arguments arguments;
    const char* text;
  } rows[] = {
      {"getnodes", text,
       "getnodes was called with the arguments s, expected none, a class (y) or a class and a type (yq)"},
      {"modify", text,
       "modify was called with the arguments s, expected one of the four node records and an action (i)"},
      {"modify", [&](auto& to) { append(to, node<RemoteActuatorNode>(2)), to.append(std::int32_t{3}); },
       "modify was called with the action 3, expected 0 (added), 1 (modified) or 2 (removed)"},
      {"modify", [&](auto& to) { append(to, strange), to.append(std::int32_t{1}); },
       "modify was called with the class 1 of the node 2, expected one of its kind's record"},
      {"modifyLink", text, "modifyLink was called with the arguments s, expected (uusi)i: a link and an action"},
      {"removeChildrenNodes",
       {},
       "removeChildrenNodes was called with no arguments, expected u: the address of a node"},
      {"changekey", text,
       "changekey was called with the arguments s, expected uay: the address of a stack node and its key"},
      {"changekey", key(1, 1, 15), "changekey was called with a key of 15 bytes, expected 16 that are not all zero"},
      {"changekey", key(1, 1, 17), "changekey was called with a key of 17 bytes, expected 16 that are not all zero"},
      {"changekey", key(1, 0, 16), "changekey was called with a key of 16 bytes, expected 16 that are not all zero"},
      {"changekey", key(2, 1, 16), "changekey was called for 2, which is no stack node's address"},
      {"getNodeLink", text,
       "getNodeLink was called with the arguments s, expected uu: the address of a node and the type of a link"},
  };
  for (const auto& row : rows) {
    const Return reply = call(row.member, row.arguments);
    EXPECT_STREQ(reply.getErrorName(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_STREQ(reply.getErrorText(), row.text);
  }
  const std::string unknown = "org.freedesktop.DBus.Error.UnknownMethod";
  EXPECT_EQ(call("getNodes").getErrorName(), unknown);
  EXPECT_EQ(client.call(nodePathOf(Variant::ZUV), nodeInterfaceOf(Variant::HEVRA), "getnodes").getErrorName(), unknown);
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
  Listener listener(client, Variant::HEVRA);
  std::vector<std::thread> threads;
  for (std::uint32_t address = 0; address < 4; ++address) {
    threads.emplace_back([&, address] {
      for (int round = 0; round < 50; ++round)
        for (const NodeAction action : {NodeAction::ADDED, NodeAction::REMOVED})
          EXPECT_TRUE(service->getNodes().modify(AnyNode(node<RemoteActuatorNode>(address)), action));
    });
  }
  for (std::thread& thread : threads) thread.join();
  clock.settle();
  const std::string signals = listener.take();
  for (std::uint32_t address = 0; address < 4; ++address) {
    std::string actions;
    const std::string head = "modified " + std::to_string(address) + " by ";
    for (auto found = signals.find(head); found != signals.npos; found = signals.find(head, found + 1))
      actions += signals[found + head.size()];
    std::string expected;
    for (int round = 0; round < 50; ++round) expected += "02";
    EXPECT_EQ(actions, expected);
  }
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
