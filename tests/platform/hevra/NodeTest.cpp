// Nodes as values, and the error of an empty key.
#include <gtest/gtest.h>

#include <platform/hevra/EmptyKeySet.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>

namespace Quarnix::Hevra {
namespace {

static_assert(!std::is_copy_constructible_v<Node>, "a copy would be cut to its head");
static_assert(std::is_copy_constructible_v<StackNode> && std::is_copy_assignable_v<RemoteSensorNode>);

TEST(Node, HasTheClassOfItsKindFirst) {
  EXPECT_EQ(RemoteActuatorNode().getNodeClass(), NodeClass::ACTUATOR);
  EXPECT_EQ(RemoteSensorNode().getNodeClass(), NodeClass::SENSOR);
  EXPECT_EQ(StackNode().getNodeClass(), NodeClass::STACK);
  EXPECT_EQ(RemoteControllerNode().getNodeClass(), NodeClass::CONTROLLER);
}

TEST(StackNode, HasItsKeyAsThirdIdentity) {
  StackNode node;
  StackNode::Key key{};
  EXPECT_TRUE(StackNode::isKeyEmpty(key.data()));
  for (std::size_t i = 0; i < key.size(); ++i) {
    key[i] = 0x80;
    EXPECT_FALSE(StackNode::isKeyEmpty(key.data())) << i;
    node.setKey(key.data());
    EXPECT_EQ(node.getThirdIdentity(), key);
    key[i] = 0;
  }
  node.setThirdIdentity(key.data());
  EXPECT_EQ(node.getKey(), key);
}

TEST(EmptyKeySet, NamesItselfAndItsStackNode) {
  const auto node = Shared::make<StackNode>();
  const EmptyKeySet error(node);
  EXPECT_STREQ(error.what(), "com.quarnix.Trellium.Application.Hevra.Node.EmptyKeySet");
  EXPECT_EQ(error.getStackNode(), node);
}

}  // namespace
}  // namespace Quarnix::Hevra
