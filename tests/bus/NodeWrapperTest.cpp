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
#include <platform/bus/Trace.h>
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
  node.setThirdIdentity(old.data());
  read<StructWrapper<RemoteControllerNode>>("(u1 y6 q3 y4 ay101112131415161718191a1b1c1d1e ay2021 ay t8 y9 u10 u11)",
                                            node);
  EXPECT_EQ(hex(node.getFirstIdentity()), "101112131415161718191a1b1c1d");
  EXPECT_EQ(hex(node.getSecondIdentity()), "2021eeeeeeeeeeeeeeeeeeeeeeeeeeee");
  EXPECT_EQ(hex(node.getThirdIdentity()), "eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee");
  EXPECT_EQ(node.getBackboneAddress(), 11u);
}

TEST(StackNodeRecord, ReadsBothKeysThroughOneBuffer) {
  const struct {
    const char *key, *oldKey, *keyRead, *oldKeyRead;
  } rows[] = {
      {"303132333435363738393a3b3c3d3e3f40414243", "", "303132333435363738393a3b3c3d3e3f",
       "303132333435363738393a3b3c3d3e3f"},
      {"303132333435363738393a3b3c3d3e3f", "40414243444546474849", "303132333435363738393a3b3c3d3e3f",
       "404142434445464748493a3b3c3d3e3f"},
      {"30313233343536373839", "4041", "30313233343536373839000000000000", "40413233343536373839000000000000"},
  };
  for (const auto& row : rows) {
    StackNode node;
    node.setShortBlock(Bytes{1, 2, 3}.data());
    node.setLongBlock(Bytes{1, 2, 3, 4}.data());
    // The head's third identity is another key: the record's own counts.
    read<StructWrapper<StackNode>>("(u1 y2 q3 y4 ay ay ayffffffffffffffffffffffffffffffff t8 y9 u10 u11 ay" +
                                       std::string(row.key) + " ay" + row.oldKey + " ay50 ay6061626364 s'')",
                                   node);
    EXPECT_EQ(hex(node.getKey()), row.keyRead);
    EXPECT_EQ(hex(node.getThirdIdentity()), row.keyRead);
    EXPECT_EQ(hex(node.getOldKey()), row.oldKeyRead);
    EXPECT_EQ(hex(node.getShortBlock()), "500203");
    EXPECT_EQ(hex(node.getLongBlock()), "60616263");
  }
}

TEST(ByteBlock, LeavesMissingBytes) {
  unsigned char block[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  read<KeyWrapper>("ayf0f1f2", block);
  EXPECT_EQ(written<KeyWrapper>(block), "ayf0f1f2030405060708090a0b0c0d0e0f");
}

TEST(ByteVector, ComesBehindWhatWasThere) {
  Bytes bytes{0xEE};
  read<BytesWrapper>("ay0102", bytes);
  EXPECT_EQ(bytes, (Bytes{0xEE, 1, 2}));
}

template <class Record>
void expectRefused(const Record& record, const std::string& field) {
  try {
    written<StructWrapper<Record>>(record);
    ADD_FAILURE() << field;
  } catch (const InvalidArgument& error) {
    EXPECT_NE(std::string(error.what()).find(field), std::string::npos) << error.what();
  }
}

TEST(NodeTexts, AreRefusedByNameWhenTheyAreNotUtf8) {
  NodeLink link;
  link.setLinkId("\xff");
  expectRefused(link, "link identifier");
  StackNode node;
  node.setLabel("\xff");
  expectRefused(node, "label of the stack node");
}

template <class Kind>
std::pair<const char*, void (*)(const std::string&)> row(const char* text) {
  return {text, [](const std::string& given) { readNode<Kind>(given); }};
}

// In these tests the message's signature was not compared first.
TEST(StackNodeRecord, HidesItsKeysInTraces) {
  StructWrapper<StackNode>::hideKeysInTraces();
  const auto shown = [](const char* member, const std::string& arguments) {
    auto message = Quarnix::Test::filled(Message::Signal("/test", "test.Test", member), arguments);
    const Message::Frame frame = message.seal(1, {});
    return Trace::describe(Trace::Direction::OUT, Message::Any({frame.data(), frame.size()}));
  };
  const std::string before = "-> signal #1 /test test.Test.";
  EXPECT_EQ(shown("modified", "(u1 y2 q3 y4 ay10 ay20 ay30 t8 y9 u10 u11 ay30 ay40 ay50 ay60 s'it') y1"),
            before + "modified((1, 2, 3, 4, 0x10, 0x20, ****, 8, 9, 10, 11, ****, ****, 0x50, 0x60, \"it\"), 1)");
  EXPECT_EQ(shown("modified", "(u1 y2 q3 y4 ay10 ay20 ay30 t8 y9 u10 u11) y1"),
            before + "modified((1, 2, 3, 4, 0x10, 0x20, 0x30, 8, 9, 10, 11), 1)");
  EXPECT_EQ(shown("changekey", "u1 ay30"), before + "changekey(1, ****)");
}

TEST(NodeRecordDeathTest, RaisesWhatIsBeingHandledWhereNoRecordStands) {
  const std::pair<const char*, void (*)(const std::string&)> rows[] = {
      row<RemoteActuatorNode>("u1"),
      row<RemoteControllerNode>("u1"),
      row<RemoteSensorNode>("ay00"),
      row<StackNode>("s''"),
      row<NodeLink>("u1"),
      row<RemoteControllerNode>("(u1 y6 q3 y4 u5)"),
      row<StackNode>("(u1 y2 q3 y4 ay ay ay t8 y9 u10 u11 ay ay ay y15)"),
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
