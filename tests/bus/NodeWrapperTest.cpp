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
#include <tests/bus/Arguments.h>

namespace Quarnix::Bus::Type {
namespace {

using namespace Hevra;
using Test::expectRaisesWhatIsHandled;
using Test::HEAD;
using Test::headOf;
using Test::signalOf;
using Test::written;
using Bytes = std::vector<unsigned char>;
using KeyWrapper = FixedSequenceContainerWrapper<unsigned char, Wrapper, 16>;
using BytesWrapper = SequenceContainerWrapper<unsigned char, Wrapper, std::vector, std::allocator<unsigned char>>;

template <class W, class T>
void read(const std::string& signature, const std::string& arguments, T& value) {
  const Message::Signal message = signalOf(signature, '[' + arguments + ']');
  Message::ConstIterator iterator = message.begin();
  W().deserialize(iterator, value);
  EXPECT_EQ(iterator, message.begin()) << "stepped over " << arguments;
}

template <class Kind>
Kind readNode(const std::string& fields, const std::string& values) {
  Kind node;
  read<StructWrapper<Kind>>('(' + fields + ')', '[' + values + ']', node);
  return node;
}

template <std::size_t N>
std::string hex(const std::array<std::uint8_t, N>& block) {
  return written<BytesWrapper>(Bytes(block.begin(), block.end())).substr(2, 2 * N);
}

TEST(NodeHead, CarriesTheLowBytesOfClassAndState) {
  RemoteControllerNode node;
  node.setNodeClass(static_cast<NodeClass>(300));
  node.setState(0xFFFFFF01);
  RemoteControllerNode back;
  const std::string arguments = written<StructWrapper<RemoteControllerNode>>(node);
  read<StructWrapper<RemoteControllerNode>>('(' + HEAD + ')', arguments.substr(1, arguments.size() - 2), back);
  EXPECT_EQ(back.getNodeClass(), static_cast<NodeClass>(44));
  EXPECT_EQ(back.getState(), 1u);
}

TEST(NodeHead, IsInTheInformationToo) {
  const auto actuator = readNode<RemoteActuatorNode>(HEAD + "yq", headOf(5) + ",12,1300").getInfo();
  EXPECT_EQ(std::tuple(actuator.getNodeType(), actuator.getManufacturerId(), actuator.getBackboneAddress()),
            std::tuple(53189, 4, 11u));
  const auto sensor =
      readNode<RemoteSensorNode>(HEAD + "yqqyyyyyqb", headOf(1) + ",12,1300,1400,15,16,17,18,19,2000,true").getInfo();
  EXPECT_EQ(std::tuple(sensor.getSensorType(), sensor.getManufacturerId(), sensor.getBackboneAddress()),
            std::tuple(63, 4, 11u));
}

TEST(NodeHead, SkipsSurplusBytesAndLeavesMissingOnes) {
  RemoteControllerNode node;
  const Bytes old(16, 0xEE);
  node.setFirstIdentity(old.data());
  node.setSecondIdentity(old.data());
  read<StructWrapper<RemoteControllerNode>>('(' + HEAD + ')',
                                            R"([1,6,3,4,"101112131415161718191a1b1c1d1e","2021","",8,9,10,11])", node);
  EXPECT_EQ(hex(node.getFirstIdentity()), "101112131415161718191a1b1c1d");
  EXPECT_EQ(hex(node.getSecondIdentity()), "2021eeeeeeeeeeeeeeeeeeeeeeeeeeee");
  EXPECT_EQ(node.getBackboneAddress(), 11u);
}

TEST(StackNodeRecord, ReadsBothKeysThroughOneBufferOfZeros) {
  // The head's third identity is another key: the record's own counts.
  const auto node =
      readNode<StackNode>(HEAD + "ayayayays", R"(1,2,3,4,"","","ffffffffffffffffffffffffffffffff",8,9,10,11,)"
                                              R"("30313233343536373839","4041","50","","")");
  EXPECT_EQ(hex(node.getKey()), "30313233343536373839000000000000");
  EXPECT_EQ(hex(node.getThirdIdentity()), hex(node.getKey()));
  EXPECT_EQ(hex(node.getOldKey()), "40413233343536373839000000000000");
}

TEST(ByteVector, ComesBehindWhatWasThere) {
  Bytes bytes{0xEE};
  read<BytesWrapper>("ay", R"("0102")", bytes);
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

TEST(StackNodeRecord, HidesItsKeysInTraces) {
  StructWrapper<StackNode>::hideKeysInTraces();
  const auto shown = [](const char* member, const char* signature, const char* arguments) {
    Message::Signal message("/test", "test.Test", member);
    Json::appendBody(message, signature, nlohmann::json::parse(arguments), "arguments");
    const Message::Frame frame = message.seal(1, {});
    return Trace::describe(Trace::Direction::OUT, Message::Any({frame.data(), frame.size()}));
  };
  const std::string before = "-> signal #1 /test test.Test.";
  EXPECT_EQ(shown("modified", "(uyqyayayaytyuuayayayays)y",
                  R"([[1,2,3,4,"10","20","30",8,9,10,11,"30","40","50","60","it"],1])"),
            before + "modified((1, 2, 3, 4, 0x10, 0x20, ****, 8, 9, 10, 11, ****, ****, 0x50, 0x60, \"it\"), 1)");
  EXPECT_EQ(shown("modified", "(uyqyayayaytyuu)y", R"([[1,2,3,4,"10","20","30",8,9,10,11],1])"),
            before + "modified((1, 2, 3, 4, 0x10, 0x20, 0x30, 8, 9, 10, 11), 1)");
  EXPECT_EQ(shown("changekey", "uay", R"([1,"30"])"), before + "changekey(1, ****)");
}

// In these tests the message's signature was not compared first.
template <class Record>
void expectNoRecord(const char* signature, const char* arguments) {
  SCOPED_TRACE(signature);
  Record record;
  expectRaisesWhatIsHandled([&] { read<StructWrapper<Record>>(signature, arguments, record); });
}

TEST(NodeRecordDeathTest, RaisesWhatIsBeingHandledWhereNoRecordStands) {
  expectNoRecord<RemoteActuatorNode>("u", "1");
  expectNoRecord<RemoteControllerNode>("u", "1");
  expectNoRecord<RemoteSensorNode>("ay", R"("00")");
  expectNoRecord<StackNode>("s", R"("")");
  expectNoRecord<NodeLink>("u", "1");
  expectNoRecord<RemoteControllerNode>("(uyqyu)", "[1,6,3,4,5]");
  unsigned char block[16];
  expectRaisesWhatIsHandled([&] { read<KeyWrapper>("u", "1", block); });
  Bytes bytes;
  expectRaisesWhatIsHandled([&] { read<BytesWrapper>("u", "1", bytes); });
}

TEST(NodeRecord, LeavesMistypedScalarsToTheBus) {
  EXPECT_THROW(readNode<RemoteControllerNode>("q", "1"), TypeMismatch);
  EXPECT_THROW(readNode<RemoteActuatorNode>(HEAD, headOf(6)), EndOfContainer);
  NodeLink link;
  EXPECT_THROW(read<StructWrapper<NodeLink>>("(uusu)", R"([1,2,"",4])", link), TypeMismatch);
}

}  // namespace
}  // namespace Quarnix::Bus::Type
