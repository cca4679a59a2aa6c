// The messages of the node manager that another implementation made hold what they should, and ours are the same
// bytes: the four records, links, byte blocks and vectors, in lists, calls and signals.
#include <algorithm>
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

/// The arrays of a reply: the signature of each, and its nodes.
using Lists = std::vector<std::pair<const char*, std::vector<const Record*>>>;

void expectNodes(const char* name, const Lists& lists) {
  SCOPED_TRACE(name);
  for (const char order : {'l', 'B'}) {
    const auto nodes = Proxy::Node::Manager::parseBusReply(SendReturn(received<Return>(name, order)));
    std::size_t next = 0;
    for (const auto& [signature, records] : lists) {
      for (const Record* record : records) {
        ASSERT_LT(next, nodes.size());
        record->expectIs(*nodes[next++]);
      }
    }
    EXPECT_EQ(next, nodes.size());
  }
}

TEST(GoldenNodes, HoldEveryFieldOfEveryKindInTheirOrderBothWays) {
  const auto& a = ACTUATORS;
  const auto& c = CONTROLLERS;
  const auto& x = SENSORS;
  const auto& k = STACKS;
  const std::pair<const char*, Lists> rows[] = {{"nodes-nothing", {}},
                                                {"nodes-none", {{k.signature, {}}}},
                                                {"nodes-mixed",
                                                 {{c.signature, {&c.full, &c.high}},
                                                  {a.signature, {&a.full}},
                                                  {k.signature, {&k.full, &k.high}},
                                                  {x.signature, {}},
                                                  {x.signature, {&x.high, &x.full}},
                                                  {c.signature, {&c.full}},
                                                  {a.signature, {&a.full, &a.high, &a.full, &a.high}}}}};
  const auto asked = received<Call>("getnodes", NATIVE);
  for (const auto& [name, lists] : rows) {
    expectNodes(name, lists);
    Return ours(asked);
    Iterator append = ours.begin();
    for (const auto& [signature, records] : lists) {
      Iterator array = append.begin(ARRAY, signature);
      for (const Record* record : records) record->write(array);
      append.end(array);
    }
    expectSame(name, ours);
  }
}

TEST(GoldenNodes, AreReadFromBlocksTooLongAndTooShort) {
  auto oldKey = block<16>(0x40);  // it has ten bytes of its own, and then the key's
  for (std::size_t i = 10; i < oldKey.size(); ++i) oldKey[i] = static_cast<std::uint8_t>(0x30 + i);
  RecordOf odd(stack(headed<StackNode>(2, false), block<16>(0x30), oldKey, block<3>(0x50), {0x60}, ""));
  odd.node.setSecondIdentity(Block<16>{0x20, 0x21, 0x22}.data());
  expectNodes("nodes-odd-blocks", {{STACKS.signature, {&odd}}});
}

using VectorWrapper =
    Bus::Type::SequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::vector, std::allocator<unsigned char>>;
template <std::size_t N>
using FixedBlock =
    Wrapped<Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, N>, unsigned char[N]>;

template <std::size_t N>
FixedBlock<N> fixed(unsigned first) {
  FixedBlock<N> argument;
  std::copy_n(block<N>(first).begin(), N, argument.content);
  return argument;
}

TEST(GoldenBlocks, AreReadAndWrittenExactly) {
  const auto twice = block<512>(0);
  expectBothWays("blocks", Signal("/golden", "golden.Values", "Blocks"), fixed<14>(0x10), fixed<16>(0x20),
                 Wrapped<VectorWrapper, Bytes>{{}}, Wrapped<VectorWrapper, Bytes>{{twice.begin(), twice.end()}});
  Bytes bytes{0xEE};
  const auto message = received<Signal>("blocks", NATIVE);
  ConstIterator read = message.begin();
  VectorWrapper().deserialize(read, bytes);
  EXPECT_EQ(bytes.size(), 15u) << "what is read comes behind what was there";
  EXPECT_EQ(bytes[0], 0xEE);
}

TEST(GoldenNodeCalls, HoldTheirArgumentsBothWays) {
  const auto expectCall = [](const std::string& name, const char* member, const auto&... arguments) {
    expectBothWays(name, callOf(PATH, INTERFACE, member), arguments...);
  };
  expectCall("getnodes", "getnodes");
  expectCall("getnodes-class", "getnodes", std::uint8_t{255});
  expectCall("getnodes-type", "getnodes", std::uint8_t{1}, std::uint16_t{65535});
  expectCall("removeChildrenNodes", "removeChildrenNodes", std::uint32_t{4294967295});
  expectCall("getNodeLink", "getNodeLink", std::uint32_t{0x01020304}, std::uint32_t{4294967295});
  expectCall("changekey", "changekey", std::uint32_t{0x01020304}, fixed<16>(0x70));
  expectCall("modify-actuator", "modify", ACTUATORS.full, std::int32_t{-2});
  expectCall("modify-controller", "modify", CONTROLLERS.full, std::int32_t{-2});
  expectCall("modify-sensor", "modify", SENSORS.full, std::int32_t{-2});
  expectCall("modify-stack", "modify", STACKS.full, std::int32_t{-2});
  expectCall("modifyLink", "modifyLink", FULL_LINK, std::int32_t{2147483647});
}

template <class Kind>
void expectSignals(const Pair<Kind>& kind) {
  expectBothWays(std::string("modified-") + kind.name, Signal(PATH, INTERFACE, "modified"), kind.high,
                 std::uint8_t{255});
  expectBothWays(std::string("linkModified-") + kind.name, Signal(PATH, INTERFACE, "linkModified"), kind.full,
                 LEAST_LINK, std::uint8_t{2});
}

TEST(GoldenNodeSignals, HoldTheNodeTheLinkAndTheActionBothWays) {
  expectSignals(ACTUATORS);
  expectSignals(CONTROLLERS);
  expectSignals(SENSORS);
  expectSignals(STACKS);
}

}  // namespace
}  // namespace Quarnix::Bus::Message
