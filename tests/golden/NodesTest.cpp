// The messages of the node manager that another implementation made hold what they should, and ours are the same
// bytes: the four records, links, byte blocks and vectors, in lists, calls and signals.
#include <functional>
#include <string>
#include <vector>

#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/SequenceContainerWrapper.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Return.h>
#include <proxy/node/Manager.h>
#include <tests/golden/Golden.h>
#include <tests/golden/Nodes.h>

namespace Quarnix::Bus::Message {
namespace {

using Method::Call;
using Method::Return;

constexpr char PATH[] = "/com/quarnix/Application/Hevra/Manager/Node";
constexpr char INTERFACE[] = "com.quarnix.Application.Hevra.Manager.Node";

template <class T>
void expectNext(ConstIterator& read, const T& value) {
  T found{};
  read.get(found);
  EXPECT_EQ(found, value);
  ++read;
}

/// Reads the rest of the arguments, which must be these values.
template <class... T>
void expectRest(ConstIterator read, const ConstIterator& end, const T&... values) {
  (expectNext(read, values), ...);
  EXPECT_EQ(read, end);
}

template <class... T>
void expectCall(const char* member, const std::string& name, const T&... values) {
  SCOPED_TRACE(name);
  for (const char order : {'l', 'B'}) {
    const auto call = received<Call>(name, order);
    EXPECT_STREQ(call.getPath(), PATH);
    EXPECT_STREQ(call.getInterface(), INTERFACE);
    EXPECT_STREQ(call.getMember(), member);
    expectRest(call.begin(), call.end(), values...);
  }
  Call ours = callOf(PATH, INTERFACE, member);
  Iterator append = ours.begin();
  (append.append(values), ...);
  expectSame(name, ours, {.path = {}, .destination = {}, .sender = name == "getnodes" ? ":1.7" : ""});
}

/// One array of a list, written by us, and what its nodes must be.
struct List {
  std::string signature;
  std::vector<std::function<void(Iterator&)>> append;
  std::vector<std::function<void(const Node&)>> expect;
};

template <class Kind>
List listOf(const Pair<Kind>& kind, const std::vector<Expected<Kind>>& nodes) {
  List list{kind.signature, {}, {}};
  for (const Expected<Kind>& node : nodes) {
    list.append.push_back([node](Iterator& array) { appendNode(array, node); });
    list.expect.push_back([node](const Node& read) { expectNode(read, node); });
  }
  return list;
}

void expectNodes(const char* name, const std::vector<List>& lists) {
  SCOPED_TRACE(name);
  for (const char order : {'l', 'B'}) {
    const auto nodes = Proxy::Node::Manager::parseBusReply(SendReturn(received<Return>(name, order)));
    std::size_t next = 0;
    for (const List& list : lists) {
      for (const auto& expect : list.expect) {
        ASSERT_LT(next, nodes.size());
        expect(*nodes[next++]);
      }
    }
    EXPECT_EQ(next, nodes.size());
  }
}

TEST(GoldenNodes, HoldEveryFieldOfEveryKindInTheirOrderBothWays) {
  const std::pair<const char*, std::vector<List>> rows[] = {
      {"nodes-nothing", {}},
      {"nodes-none", {listOf(STACKS, {})}},
      {"nodes-mixed",
       {listOf(CONTROLLERS, {CONTROLLERS.full, CONTROLLERS.high}), listOf(ACTUATORS, {ACTUATORS.full}),
        listOf(STACKS, {STACKS.full, STACKS.high}), listOf(SENSORS, {}), listOf(SENSORS, {SENSORS.high, SENSORS.full}),
        listOf(CONTROLLERS, {CONTROLLERS.full}),
        listOf(ACTUATORS, {ACTUATORS.full, ACTUATORS.high, ACTUATORS.full, ACTUATORS.high})}}};
  const auto asked = received<Call>("getnodes", NATIVE);
  for (const auto& [name, lists] : rows) {
    expectNodes(name, lists);
    Return ours(asked);
    Iterator append = ours.begin();
    for (const List& list : lists) {
      Iterator array = append.begin(ARRAY, list.signature.c_str());
      for (const auto& write : list.append) write(array);
      append.end(array);
    }
    expectSame(name, ours);
  }
}

TEST(GoldenNodes, AreReadFromBlocksTooLongAndTooShort) {
  Expected<StackNode> odd{full(2), {block<16>(0x30), block<16>(0x40), block<3>(0x50), {0x60}, ""}};
  std::get<5>(odd.head) = {0x20, 0x21, 0x22};
  auto& oldKey = std::get<1>(odd.members);  // it has ten bytes of its own, and then the key's
  for (std::size_t i = 10; i < oldKey.size(); ++i) oldKey[i] = static_cast<std::uint8_t>(0x30 + i);
  expectNodes("nodes-odd-blocks", {listOf(STACKS, {odd})});
}

TEST(GoldenBlocks, AreReadAndWrittenExactly) {
  Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, 14> wrapper14;
  Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, 16> wrapper16;
  Bus::Type::SequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::vector, std::allocator<unsigned char>>
      vectorWrapper;
  unsigned char short14[14], long16[16];
  Bytes none, all;
  const auto twice = block<512>(0);
  for (const char order : {'l', 'B'}) {
    std::fill_n(short14, 14, 0);
    std::fill_n(long16, 16, 0);
    none = all = {0xEE};
    const auto message = received<Signal>("blocks", order);
    ConstIterator read = message.begin();
    wrapper14.deserialize(read, short14);
    wrapper16.deserialize(++read, long16);
    vectorWrapper.deserialize(++read, none);
    vectorWrapper.deserialize(++read, all);
    EXPECT_EQ(++read, message.end());
    EXPECT_EQ(std::to_array(short14), block<14>(0x10));
    EXPECT_EQ(std::to_array(long16), block<16>(0x20));
    EXPECT_EQ(none, Bytes{0xEE});
    EXPECT_EQ(all.size(), 513u);
    EXPECT_TRUE(std::equal(twice.begin(), twice.end(), all.begin() + 1, all.end()));
  }
  Signal ours("/golden", "golden.Values", "Blocks");
  Iterator append = ours.begin();
  wrapper14.serialize(append, short14);
  wrapper16.serialize(append, long16);
  vectorWrapper.serialize(append, Bytes());
  vectorWrapper.serialize(append, Bytes(twice.begin(), twice.end()));
  expectSame("blocks", ours);
}

TEST(GoldenNodeCalls, HoldTheirArgumentsBothWays) {
  expectCall("getnodes", "getnodes");
  expectCall("getnodes", "getnodes-class", std::uint8_t{255});
  expectCall("getnodes", "getnodes-type", std::uint8_t{1}, std::uint16_t{65535});
  expectCall("removeChildrenNodes", "removeChildrenNodes", std::uint32_t{4294967295});
  expectCall("getNodeLink", "getNodeLink", std::uint32_t{0x01020304}, std::uint32_t{4294967295});

  for (const char order : {'l', 'B'}) {
    const auto call = received<Call>("changekey", order);
    EXPECT_STREQ(call.getSignature(), "uay");
    ConstIterator read = call.begin();
    std::uint32_t address = 0;
    read.read(address);
    EXPECT_EQ(address, 0x01020304u);
    const auto key = block<16>(0x70);
    const auto found = read.getBytes();
    EXPECT_TRUE(std::equal(found.begin(), found.end(), key.begin(), key.end()));
  }
  Call ours = callOf(PATH, INTERFACE, "changekey");
  Iterator append = ours.begin();
  append.append(std::uint32_t{0x01020304});
  append.appendBytes(block<16>(0x70).data(), 16);
  expectSame("changekey", ours);
}

TEST(GoldenModify, HoldsTheNodeOrTheLinkBothWays) {
  forEachKind([]<class Kind>(const Pair<Kind>& kind) {
    const std::string name = std::string("modify-") + kind.name;
    SCOPED_TRACE(name);
    for (const char order : {'l', 'B'}) {
      const auto call = received<Call>(name, order);
      EXPECT_EQ(call.getSignature(), kind.signature + std::string("i"));
      ConstIterator read = call.begin();
      Kind node;
      Bus::Type::StructWrapper<Kind>().deserialize(read, node);
      expectNode(node, kind.full);
      expectRest(++read, call.end(), std::int32_t{-2});
    }
    Call ours = callOf(PATH, INTERFACE, "modify");
    Iterator append = ours.begin();
    appendNode(append, kind.full);
    append.append(std::int32_t{-2});
    expectSame(name, ours);
  });

  for (const char order : {'l', 'B'}) {
    const auto call = received<Call>("modifyLink", order);
    EXPECT_STREQ(call.getSignature(), "(uusi)i");
    ConstIterator read = call.begin();
    NodeLink link;
    Bus::Type::StructWrapper<NodeLink>().deserialize(read, link);
    EXPECT_EQ(fieldsOf(link), FULL_LINK);
    expectRest(++read, call.end(), std::int32_t{2147483647});
  }
  Call ours = callOf(PATH, INTERFACE, "modifyLink");
  Iterator append = ours.begin();
  appendLink(append, FULL_LINK);
  append.append(std::int32_t{2147483647});
  expectSame("modifyLink", ours);
}

/// Hands signals to the manager as the bus does, and its notifications to functions.
class Watcher : public Proxy::Node::Manager {
 public:
  Watcher() : Manager(false) {}
  ~Watcher() override { stop(); }
  using Manager::signal;
  void modified(const Node& node, NodeAction action) override { onNode(node, action); }
  void linkModified(const Node& node, const NodeLink& link, NodeAction action) override { onLink(node, link, action); }

  std::function<void(const Node&, NodeAction)> onNode;
  std::function<void(const Node&, const NodeLink&, NodeAction)> onLink;
};

TEST(GoldenNodeSignals, HoldTheNodeTheLinkAndTheActionBothWays) {
  forEachKind([]<class Kind>(const Pair<Kind>& kind) {
    const std::string modified = std::string("modified-") + kind.name;
    const std::string linkModified = std::string("linkModified-") + kind.name;
    int notifications = 0;
    Watcher watcher;
    watcher.onNode = [&](const Node& node, NodeAction action) {
      SCOPED_TRACE(modified);
      expectNode(node, kind.high);
      EXPECT_EQ(action, NodeAction{255});
      ++notifications;
    };
    watcher.onLink = [&](const Node& node, const NodeLink& link, NodeAction action) {
      SCOPED_TRACE(linkModified);
      expectNode(node, kind.full);
      EXPECT_EQ(fieldsOf(link), LEAST_LINK);
      EXPECT_EQ(action, NodeAction::REMOVED);
      notifications += 10;
    };
    for (const char order : {'l', 'B'}) {
      watcher.signal(received<Signal>(modified, order));
      watcher.signal(received<Signal>(linkModified, order));
    }
    EXPECT_EQ(notifications, 22) << kind.name;

    Signal node(PATH, INTERFACE, "modified"), link(PATH, INTERFACE, "linkModified");
    Iterator toNode = node.begin(), toLink = link.begin();
    appendNode(toNode, kind.high);
    toNode.append(std::uint8_t{255});
    expectSame(modified, node);
    appendNode(toLink, kind.full);
    appendLink(toLink, LEAST_LINK);
    toLink.append(std::uint8_t{2});
    expectSame(linkModified, link);
  });
}

}  // namespace
}  // namespace Quarnix::Bus::Message
