// The deliberate oddities of the node records, links, blocks and vectors, and what they refuse.
#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/NodeLinkWrapper.h>
#include <bus/NodeWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/SequenceContainerWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <platform/bus/Error.h>
#include <tests/bus/NodeTexts.h>

namespace Quarnix::Bus::Type {
namespace {

using namespace Hevra;
using Test::actuatorText;
using Test::controllerText;
using Test::expectRaisesWhatIsHandled;
using Test::sensorText;
using Test::signalOf;
using Test::written;
using Bytes = std::vector<unsigned char>;
using KeyWrapper = FixedSequenceContainerWrapper<unsigned char, Wrapper, 16>;
using BytesWrapper = SequenceContainerWrapper<unsigned char, Wrapper, std::vector, std::allocator<unsigned char>>;

template <class W, class T>
void read(const std::string& text, T& value) {
  const Message::Signal message = signalOf(text);
  Message::ConstIterator iterator = message.begin();
  W().deserialize(iterator, value);
  EXPECT_EQ(iterator, message.begin()) << "stepped over " << text;
}

template <class Kind>
Kind readNode(const std::string& text) {
  Kind node;
  read<StructWrapper<Kind>>(text, node);
  return node;
}

template <std::size_t N>
std::string hex(const std::array<std::uint8_t, N>& block) {
  return written<BytesWrapper>(Bytes(block.begin(), block.end())).substr(2);
}

TEST(NodeHead, CarriesTheLowBytesOfClassAndState) {
  RemoteControllerNode node;
  node.setNodeClass(static_cast<NodeClass>(300));
  node.setState(0xFFFFFF01);
  const auto back = readNode<RemoteControllerNode>(written<StructWrapper<RemoteControllerNode>>(node));
  EXPECT_EQ(back.getNodeClass(), static_cast<NodeClass>(44));
  EXPECT_EQ(back.getState(), 1u);
}

TEST(NodeHead, IsInTheInformationToo) {
  const auto actuator = readNode<RemoteActuatorNode>(actuatorText()).getInfo();
  EXPECT_EQ(std::tuple(actuator.getNodeType(), actuator.getManufacturerId(), actuator.getBackboneAddress()),
            std::tuple(53189, 4, 11u));
  const auto sensor = readNode<RemoteSensorNode>(sensorText()).getInfo();
  EXPECT_EQ(std::tuple(sensor.getSensorType(), sensor.getManufacturerId(), sensor.getBackboneAddress()),
            std::tuple(63, 4, 11u));
}

TEST(NodeHead, SkipsSurplusBytesAndLeavesMissingOnes) {
  RemoteControllerNode node;
  const Bytes old(16, 0xEE);
  node.setFirstIdentity(old.data());
  node.setSecondIdentity(old.data());
  read<StructWrapper<RemoteControllerNode>>("(u1 y6 q3 y4 ay101112131415161718191a1b1c1d1e ay2021 ay t8 y9 u10 u11)",
                                            node);
  EXPECT_EQ(hex(node.getFirstIdentity()), "101112131415161718191a1b1c1d");
  EXPECT_EQ(hex(node.getSecondIdentity()), "2021eeeeeeeeeeeeeeeeeeeeeeeeeeee");
  EXPECT_EQ(node.getBackboneAddress(), 11u);
}

TEST(StackNodeRecord, ReadsBothKeysThroughOneBufferOfZeros) {
  // The head's third identity is another key: the record's own counts.
  const auto node = readNode<StackNode>(
      "(u1 y2 q3 y4 ay ay ayffffffffffffffffffffffffffffffff t8 y9 u10 u11 ay30313233343536373839 ay4041 ay50 ay s'')");
  EXPECT_EQ(hex(node.getKey()), "30313233343536373839000000000000");
  EXPECT_EQ(hex(node.getThirdIdentity()), hex(node.getKey()));
  EXPECT_EQ(hex(node.getOldKey()), "40413233343536373839000000000000");
}

TEST(ByteVector, ComesBehindWhatWasThere) {
  Bytes bytes{0xEE};
  read<BytesWrapper>("ay0102", bytes);
  EXPECT_EQ(bytes, (Bytes{0xEE, 1, 2}));
}

TEST(NodeTexts, AreRefusedByNameWhenTheyAreNotUtf8) {
  const auto refusalOf = [](const auto& record) -> std::string {
    try {
      return written<StructWrapper<std::decay_t<decltype(record)>>>(record);
    } catch (const InvalidArgument& error) {
      return error.what();
    }
  };
  NodeLink link;
  link.setLinkId("\xff");
  EXPECT_NE(refusalOf(link).find("link identifier"), std::string::npos);
  StackNode node;
  node.setLabel("\xff");
  EXPECT_NE(refusalOf(node).find("label of the stack node"), std::string::npos);
}

template <class Kind>
std::pair<const char*, void (*)(const std::string&)> row(const char* text) {
  return {text, [](const std::string& given) { readNode<Kind>(given); }};
}

// In these tests the message's signature was not compared first.
TEST(NodeRecordDeathTest, RaisesWhatIsBeingHandledWhereNoRecordStands) {
  const std::pair<const char*, void (*)(const std::string&)> rows[] = {
      row<RemoteActuatorNode>("u1"), row<RemoteControllerNode>("u1"),
      row<RemoteSensorNode>("ay00"), row<StackNode>("s''"),
      row<NodeLink>("u1"),           row<RemoteControllerNode>("(u1 y6 q3 y4 u5)"),
  };
  for (const auto& [text, reads] : rows) {
    SCOPED_TRACE(text);
    expectRaisesWhatIsHandled([read = reads, given = text] { read(given); });
  }
  unsigned char block[16];
  expectRaisesWhatIsHandled([&] { read<KeyWrapper>("u1", block); });
  Bytes bytes;
  expectRaisesWhatIsHandled([&] { read<BytesWrapper>("u1", bytes); });
}

TEST(NodeRecord, LeavesMistypedScalarsToTheBus) {
  EXPECT_THROW(readNode<RemoteControllerNode>("(q1)"), TypeMismatch);
  EXPECT_THROW(readNode<RemoteActuatorNode>(controllerText()), EndOfContainer);
  NodeLink link;
  EXPECT_THROW(read<StructWrapper<NodeLink>>("(u1 u2 s'' u4)", link), TypeMismatch);
}

}  // namespace
}  // namespace Quarnix::Bus::Type
