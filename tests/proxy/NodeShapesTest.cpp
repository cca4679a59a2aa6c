// The shapes of the node side that are part of the surface: bases, and the order of virtual operations.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/NodeLinkWrapper.h>
#include <bus/NodeWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/SequenceContainerWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using M = Proxy::Node::Manager;
using I = Interface::Node::Manager;

template <class Base, class Derived>
constexpr bool IS_PLAIN_PUBLIC_BASE = std::is_convertible_v<Derived*, Base*>&& requires(Base* base) {
  static_cast<Derived*>(base);
};
static_assert(IS_PLAIN_PUBLIC_BASE<Bus::Object::Proxy, M>);
static_assert(IS_PLAIN_PUBLIC_BASE<I, M>);
static_assert(!std::is_abstract_v<M>);
static_assert(IS_PLAIN_PUBLIC_BASE<ApplicationException, M::UnknownNodeClass>);

using Block = unsigned char[16];
using F = Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, 16>;
using Bytes = std::vector<unsigned char>;
using V = Bus::Type::SequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::vector, Bytes::allocator_type>;
static_assert(IS_PLAIN_PUBLIC_BASE<Bus::Type::Wrapper<unsigned char>, F>);
static_assert(IS_PLAIN_PUBLIC_BASE<Bus::Type::Wrapper<Bytes>, V>);

/// The slot of a virtual operation: the first word of a pointer to it is its offset in the table of slots.
template <class Pointer>
std::size_t slotOf(Pointer pointer) {
  std::size_t word = 0;
  std::memcpy(&word, &pointer, sizeof word);
  return word / sizeof(void*);
}

/// Whether the operations follow each other from slot `first` on; a destructor before them has taken two.
template <class... Pointers>
void expectSlots(std::size_t first, Pointers... operations) {
  for (const std::size_t slot : {slotOf(operations)...}) EXPECT_EQ(slot, first++);
}

template <class W>
void expectWrapperFrom(std::size_t first) {
  expectSlots(first, &W::serialize, &W::deserialize, &W::signature);
}

TEST(NodeShapes, KeepTheOrderOfVirtualOperations) {
  expectWrapperFrom<Bus::Type::Wrapper<Hevra::Node>>(0);
  expectWrapperFrom<Bus::Type::StructWrapper<RemoteActuatorNode>>(2);
  expectWrapperFrom<Bus::Type::StructWrapper<RemoteControllerNode>>(2);
  expectWrapperFrom<Bus::Type::StructWrapper<RemoteSensorNode>>(2);
  expectWrapperFrom<Bus::Type::StructWrapper<StackNode>>(2);
  expectWrapperFrom<Bus::Type::StructWrapper<NodeLink>>(2);
  expectWrapperFrom<V>(2);
  expectSlots(5, static_cast<void (F::*)(Bus::Message::Iterator&, const Block&) const>(&F::serialize),
              static_cast<void (F::*)(Bus::Message::ConstIterator&, Block&) const>(&F::deserialize));
  expectSlots(3, &M::UnknownNodeClass::getId, &M::UnknownNodeClass::serialize);

  using modify = bool (I::*)(const NodeLink&, NodeAction);
  const auto modifyLink = static_cast<modify>(&I::modify);
  expectSlots(slotOf(modifyLink), modifyLink, &I::modified, &I::linkModified, &I::changeStackNodeKey);
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
