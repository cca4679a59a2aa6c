// The node records, links, blocks and vectors: every field against what somebody else wrote, and the deliberate
// oddities.
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
using Test::headOf;
using Test::sensorText;
using Test::signalOf;
using Test::stackText;
using Test::textOf;
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

template <class W, class T>
std::string written(const T& value) {
  Message::Signal message = signalOf("");
  Message::Iterator iterator = message.begin();
  W().serialize(iterator, value);
  EXPECT_EQ(message.getSignature(), W().signature());
  return textOf(std::as_const(message).begin());
}

template <class Kind>
Kind readNode(const std::string& text) {
  Kind node;
  read<StructWrapper<Kind>>(text, node);
  return node;
}

template <std::size_t N>
std::string hex(const std::array<std::uint8_t, N>& block) {
  Message::Signal message = signalOf("");
  message.begin().appendBytes(block.data(), N);
  return textOf(std::as_const(message).begin()).substr(2);
}

void expectHead(const Node& node, unsigned nodeClass) {
  EXPECT_EQ(node.getAddress(), 1u);
  EXPECT_EQ(node.getNodeClass(), static_cast<NodeClass>(nodeClass));
  EXPECT_EQ(node.getNodeType(), 4037);
  EXPECT_EQ(node.getManufacturerId(), 4);
  EXPECT_EQ(hex(node.getFirstIdentity()), "101112131415161718191a1b1c1d");
  EXPECT_EQ(hex(node.getSecondIdentity()), "202122232425262728292a2b2c2d2e2f");
  EXPECT_EQ(hex(node.getThirdIdentity()), "303132333435363738393a3b3c3d3e3f");
  EXPECT_EQ(node.getStamp(), 34359738368u);
  EXPECT_EQ(node.getState(), 9u);
  EXPECT_EQ(node.getExtra(), 10u);
  EXPECT_EQ(node.getBackboneAddress(), 11u);
}

TEST(NodeRecord, KeepsEveryFieldOfAnActuator) {
  const auto node = readNode<RemoteActuatorNode>(actuatorText());
  expectHead(node, 5);
  EXPECT_EQ(node.getInfo().getNodeType(), 4037);
  EXPECT_EQ(node.getInfo().getManufacturerId(), 4);
  EXPECT_EQ(node.getInfo().getBackboneAddress(), 11u);
  EXPECT_EQ(node.getInfo().getMultiInformationByte(), 12);
  EXPECT_EQ(node.getInfo().getTimeStamp(), 1300);
  EXPECT_EQ(written<StructWrapper<RemoteActuatorNode>>(node), actuatorText());
  EXPECT_EQ(StructWrapper<RemoteActuatorNode>().signature(), "(uyqyayayaytyuuyq)");
}

TEST(NodeRecord, KeepsEveryFieldOfAController) {
  const auto node = readNode<RemoteControllerNode>(controllerText());
  expectHead(node, 6);
  EXPECT_EQ(written<StructWrapper<RemoteControllerNode>>(node), controllerText());
  EXPECT_EQ(StructWrapper<RemoteControllerNode>().signature(), "(uyqyayayaytyuu)");
}

TEST(NodeRecord, KeepsEveryFieldOfASensor) {
  const auto node = readNode<RemoteSensorNode>(sensorText());
  const SensorInformation& info = node.getInfo();
  expectHead(node, 1);
  EXPECT_EQ(info.getManufacturerId(), 4);
  EXPECT_EQ(info.getBackboneAddress(), 11u);
  EXPECT_EQ(info.getMeasuredValueParameterType(), 12);
  EXPECT_EQ(info.getMinimalSensedValue(), 1300);
  EXPECT_EQ(info.getMaximalSensedValue(), 1400);
  EXPECT_EQ(info.getScaleFactor(), 15);
  EXPECT_EQ(info.getResolutionValue(), 16);
  EXPECT_EQ(info.getResolutionScaleFactor(), 17);
  EXPECT_EQ(info.getOperatingMode(), 18);
  EXPECT_EQ(info.getMaxNumberOfEventHandled(), 19);
  EXPECT_EQ(info.getMinRefreshTimePeriod(), 2000);
  EXPECT_TRUE(node.isListening());
  EXPECT_EQ(written<StructWrapper<RemoteSensorNode>>(node), sensorText());
  EXPECT_EQ(StructWrapper<RemoteSensorNode>().signature(), "(uyqyayayaytyuuyqqyyyyyqb)");
}

TEST(NodeRecord, KeepsEveryFieldOfTheStackNode) {
  const auto node = readNode<StackNode>(stackText());
  expectHead(node, 2);
  EXPECT_EQ(hex(node.getOldKey()), "404142434445464748494a4b4c4d4e4f");
  EXPECT_EQ(hex(node.getShortBlock()), "505152");
  EXPECT_EQ(hex(node.getLongBlock()), "60616263");
  EXPECT_EQ(node.getLabel(), "hall");
  EXPECT_EQ(written<StructWrapper<StackNode>>(node), stackText());
  EXPECT_EQ(StructWrapper<StackNode>().signature(), "(uyqyayayaytyuuayayayays)");
}

TEST(NodeHead, IsWrittenFlatAndLeftOnItsLastField) {
  const Message::Signal message = signalOf(headOf("y6"));
  Message::ConstIterator iterator = message.begin();
  RemoteControllerNode node;
  Wrapper<Node>().deserialize(iterator, node);
  EXPECT_EQ((++iterator).type(), 0);
  expectHead(node, 6);
  EXPECT_EQ(written<Wrapper<Node>>(node), headOf("y6"));
  EXPECT_EQ(Wrapper<Node>().signature(), "uyqyayayaytyuu");
}

TEST(NodeHead, CarriesTheLowBytesOfClassAndState) {
  RemoteControllerNode node;
  node.setNodeClass(static_cast<NodeClass>(300));
  node.setState(0xFFFFFF01);
  const std::string text = written<StructWrapper<RemoteControllerNode>>(node);
  const auto back = readNode<RemoteControllerNode>(text);
  EXPECT_EQ(back.getNodeClass(), static_cast<NodeClass>(44));
  EXPECT_EQ(back.getState(), 1u);
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

TEST(StackNodeRecord, CarriesTheKeyTwiceAndReadsBothKeysThroughOneBuffer) {
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
  StackNode node;
  node.setKey(Bytes(16, 0x77).data());
  const std::string key = " ay77777777777777777777777777777777", text = written<StructWrapper<StackNode>>(node);
  EXPECT_NE(text.find(key), text.rfind(key));
}

TEST(SensorRecord, DerivesTheSensorTypeFromBits6To13) {
  const std::pair<unsigned, unsigned> rows[] = {
      {0x0FC5, 0x3F}, {0xFFFF, 0xFF}, {0xC03F, 0}, {0x0040, 1}, {0x2000, 0x80}};
  for (const auto& [nodeType, sensorType] : rows) {
    const auto node = readNode<RemoteSensorNode>("(u1 y1 q" + std::to_string(nodeType) +
                                                 " y4 ay ay ay t8 y9 u10 u11 y0 q0 q0 y0 y0 y0 y0 y0 q0 b0)");
    EXPECT_EQ(node.getInfo().getSensorType(), sensorType) << nodeType;
    EXPECT_FALSE(node.isListening());
  }
}

TEST(NodeLinkRecord, KeepsEveryField) {
  NodeLink link;
  read<StructWrapper<NodeLink>>("(u4294967295 u2 s'link' i-1)", link);
  EXPECT_EQ(link.getNodeAddress(), 4294967295u);
  EXPECT_EQ(link.getStackAddress(), 2u);
  EXPECT_EQ(link.getLinkId(), "link");
  EXPECT_EQ(link.getLinkType(), NodeLinkType::UNKNOWN);
  EXPECT_EQ(written<StructWrapper<NodeLink>>(link), "(u4294967295 u2 s'link' i-1)");
  EXPECT_EQ(StructWrapper<NodeLink>().signature(), "(uusi)");
}

template <class W, class T>
void expectRefused(const T& value, const std::string& field) {
  Message::Signal message = signalOf("");
  Message::Iterator iterator = message.begin();
  try {
    W().serialize(iterator, value);
    ADD_FAILURE() << field;
  } catch (const InvalidArgument& error) {
    EXPECT_NE(std::string(error.what()).find(field), std::string::npos) << error.what();
  }
  EXPECT_STREQ(message.getSignature(), "");
}

TEST(NodeTexts, AreRefusedByNameWhenTheyAreNotUtf8) {
  NodeLink link;
  link.setLinkId("\xff");
  expectRefused<StructWrapper<NodeLink>>(link, "link identifier");
  StackNode node;
  node.setLabel("\xff");
  expectRefused<StructWrapper<StackNode>>(node, "label of the stack node");
}

TEST(ByteBlock, SkipsSurplusBytesAndLeavesMissingOnes) {
  const struct {
    const char *text, *block;
  } rows[] = {{"ay", "ay000102030405060708090a0b0c0d0e0f"},
              {"ayf0f1f2", "ayf0f1f2030405060708090a0b0c0d0e0f"},
              {"ayf0f1f2f3f4f5f6f7f8f9fafbfcfdfeffeeee", "ayf0f1f2f3f4f5f6f7f8f9fafbfcfdfeff"}};
  for (const auto& row : rows) {
    unsigned char block[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    read<KeyWrapper>(row.text, block);
    EXPECT_EQ(written<KeyWrapper>(block), row.block);
  }
}

TEST(ByteVector, IsAddedTo) {
  Bytes bytes{1, 2};
  read<BytesWrapper>("ay", bytes);
  read<BytesWrapper>("ay030405", bytes);
  EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4, 5}));
  EXPECT_EQ(written<BytesWrapper>(bytes), "ay0102030405");
  EXPECT_EQ(written<BytesWrapper>(Bytes()), "ay");
  read<Wrapper<Bytes>>("ay06", bytes);
  EXPECT_EQ(bytes, Bytes{6}) << "the plain one replaces";
}

template <class Kind>
std::pair<const char*, void (*)(const std::string&)> row(const char* text) {
  return {text, [](const std::string& given) { readNode<Kind>(given); }};
}

// In these tests the message's signature was not compared first.
TEST(NodeRecordDeathTest, RaisesWhatIsBeingHandledWhereNoRecordStands) {
  struct InHand {};
  const std::pair<const char*, void (*)(const std::string&)> rows[] = {
      row<RemoteActuatorNode>("u1"),
      row<RemoteControllerNode>("u1"),
      row<RemoteSensorNode>("ay00"),
      row<StackNode>("s''"),
      row<NodeLink>("u1"),
      row<RemoteControllerNode>("(u1 y6 q3 y4 u5)"),
      row<RemoteControllerNode>("(u1 y6 q3 y4 ay ay s'')"),
      row<StackNode>("(u1 y2 q3 y4 ay ay ay t8 y9 u10 u11 y12)"),
      row<StackNode>("(u1 y2 q3 y4 ay ay ay t8 y9 u10 u11 ay ay ay y15)"),
      {"u1",
       [](const std::string& given) {
         unsigned char block[16];
         read<KeyWrapper>(given, block);
       }},
      {"u1",
       [](const std::string& given) {
         Bytes bytes;
         read<BytesWrapper>(given, bytes);
       }},
  };
  for (const auto& [text, reads] : rows) {
    SCOPED_TRACE(text);
    try {
      throw InHand();
    } catch (const InHand&) {
      EXPECT_THROW(reads(text), InHand);
    }
    EXPECT_DEATH(reads(text), "terminate called without an active exception");
  }
}

TEST(NodeRecord, LeavesMistypedScalarsToTheBus) {
  EXPECT_THROW(readNode<RemoteControllerNode>("(q1)"), TypeMismatch);
  EXPECT_THROW(readNode<RemoteActuatorNode>(controllerText()), EndOfContainer);
  NodeLink link;
  EXPECT_THROW(read<StructWrapper<NodeLink>>("(u1 u2 s'' u4)", link), TypeMismatch);
}

}  // namespace
}  // namespace Quarnix::Bus::Type
