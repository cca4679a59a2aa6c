// The shapes that are part of the surface: bases, the order of virtual operations and the order of fields. What the
// language does not let a program ask of a class (private members, slots) is found by explicit instantiation, to which
// access rules do not apply, and by looking into pointers to members.
#include <algorithm>
#include <cstring>
#include <list>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <bus/NodeLinkWrapper.h>
#include <bus/NodeWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/SequenceContainerWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using Originated = Interface::Command::Originator;

template <class Base, class Derived>
constexpr bool IS_PUBLIC_BASE = std::is_convertible_v<Derived*, Base*>;
template <class Base, class Derived>
constexpr bool IS_PRIVATE_BASE = std::is_base_of_v<Base, Derived> && !IS_PUBLIC_BASE<Base, Derived>;
template <class Base, class Derived, class = Derived*>
constexpr bool CASTS_DOWN = false;
template <class Base, class Derived>
constexpr bool CASTS_DOWN<Base, Derived, decltype(static_cast<Derived*>(std::declval<Base*>()))> = true;
template <class Base, class Derived>
constexpr bool IS_VIRTUAL_BASE = IS_PUBLIC_BASE<Base, Derived> && !CASTS_DOWN<Base, Derived>;

static_assert(IS_VIRTUAL_BASE<Bus::Object::Proxy, Command::Manager>);
static_assert(IS_VIRTUAL_BASE<Interface::Command::Manager, Command::Manager>);
static_assert(IS_PRIVATE_BASE<Originated, Command::Manager>);
static_assert(IS_PRIVATE_BASE<Event, Command::Manager>);
static_assert(IS_VIRTUAL_BASE<Bus::Object::Server, Command::Originator>);
static_assert(IS_VIRTUAL_BASE<Bus::Object::Proxy, DaughterBoard::Manager>);
static_assert(IS_VIRTUAL_BASE<Interface::DaughterBoard::Manager, DaughterBoard::Manager>);
static_assert(IS_VIRTUAL_BASE<Bus::Type::VariantHandler, Bus::Type::HvTypeVariantHandler>);
static_assert(!std::is_default_constructible_v<Command::Manager>);

using N = Node::Manager;
using I = Interface::Node::Manager;
using Block = unsigned char[16];
using F = Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, 16>;
using Bytes = std::vector<unsigned char>;
using V = Bus::Type::SequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::vector, Bytes::allocator_type>;
template <class Base, class Derived>
constexpr bool IS_PLAIN_BASE = IS_PUBLIC_BASE<Base, Derived> && !IS_VIRTUAL_BASE<Base, Derived>;
static_assert(IS_PLAIN_BASE<Bus::Object::Proxy, N> && IS_PLAIN_BASE<I, N> && !std::is_abstract_v<N>);
static_assert(IS_PLAIN_BASE<ApplicationException, N::UnknownNodeClass>);
static_assert(IS_PLAIN_BASE<Bus::Type::Wrapper<unsigned char>, F> && IS_PLAIN_BASE<Bus::Type::Wrapper<Bytes>, V>);

/// Where a member is: the first word of a pointer to it holds a field's offset in the object, and a virtual operation's
/// in the table of slots.
template <class Pointer>
std::size_t placeOf(Pointer pointer) {
  std::size_t word = 0;
  std::memcpy(&word, &pointer, sizeof word);
  return std::is_member_function_pointer_v<Pointer> ? word / sizeof(void*) : word;
}

using Lists = std::vector<std::vector<std::size_t>>;
Lists& slots() {
  static Lists lists;
  return lists;
}
Lists& fields() {
  static Lists lists;
  return lists;
}

/// Virtual operations that take slots from `First` on, one behind the other; a destructor before them has taken two.
template <std::size_t First, auto... Operations>
struct Slots {
  static inline const bool KEPT = (slots().push_back({First, placeOf(Operations)...}), true);
};
/// Fields that lie one behind the other.
template <auto... Members>
struct Fields {
  static inline const bool KEPT = (fields().push_back({placeOf(Members)...}), true);
};

template <auto Pointer, class T>
struct HasType {
  template <class Class, class Field>
  static Field fieldOf(Field Class::*);
  static_assert(std::is_same_v<decltype(fieldOf(Pointer)), T>);
};

using M = Command::Manager;
template struct Slots<2, &M::progress, &M::add, static_cast<void (M::*)()>(&M::cancel),
                      static_cast<void (M::*)(const std::string&)>(&M::cancel),
                      static_cast<void (M::*)(const HomeAutomation::Command::Priority&)>(&M::cancel), &M::start,
                      &M::stop, &M::exception, &M::receive, &M::signal>;
template struct Fields<&M::interfaceName, &M::originator, &M::timers, &M::expiredKeys>;
template struct HasType<&M::interfaceName, std::string>;
template struct HasType<&M::originator, Command::Originator>;
template struct HasType<&M::timers, std::map<std::string, M::Timer>>;
template struct HasType<&M::expiredKeys, std::list<std::string>>;
template <auto... Handlers>
struct Handle {
  static_assert((std::is_same_v<decltype(Handlers), void (N::*)(const Bus::Message::Signal&)> && ...));
};
template struct Handle<&N::modifiedHandler, &N::linkModifiedHandler>;

template struct Slots<2, &M::Timer::enable, &M::Timer::disable, &M::Timer::entry, &M::Timer::save, &M::Timer::restore,
                      &M::Timer::expired>;
template struct Fields<&M::Timer::manager, &M::Timer::key, &M::Timer::originator>;
template struct HasType<&M::Timer::originator, Shared::Pointer<Originated>>;

using H = Bus::Type::HvTypeVariantHandler;
template struct Slots<2, &H::serialize, &H::deserialize, &H::signature, &H::setValue, &H::value>;
using C = CommandContainerList;
template struct Slots<2, &C::get, &C::next, &C::reset>;
template struct Fields<&C::elements_, &C::cursor_, &C::started_>;
template struct Slots<2, &DaughterBoard::Manager::hardReset>;

template <class... Pointers>
void expectSlots(std::size_t first, Pointers... operations) {
  for (const std::size_t slot : {placeOf(operations)...}) EXPECT_EQ(slot, first++);
}
template <std::size_t FIRST, class... Wrappers>
void expectWrappers() {
  (expectSlots(FIRST, &Wrappers::serialize, &Wrappers::deserialize, &Wrappers::signature), ...);
}

TEST(Shapes, KeepTheOrderOfVirtualOperations) {
  ASSERT_EQ(slots().size(), 5u);
  for (const auto& list : slots())
    for (std::size_t i = 1; i < list.size(); ++i) EXPECT_EQ(list[i], list[0] + i - 1) << "from slot " << list[0];

  using namespace Bus::Type;
  expectWrappers<0, Wrapper<Hevra::Command>, Wrapper<const HomeAutomation::Container<Hevra::Command>>,
                 Wrapper<Hevra::Node>>();
  expectWrappers<2, StructWrapper<RemoteActuatorNode>, StructWrapper<RemoteControllerNode>,
                 StructWrapper<RemoteSensorNode>, StructWrapper<StackNode>, StructWrapper<NodeLink>, V>();
  expectSlots(5, static_cast<void (F::*)(Bus::Message::Iterator&, const Block&) const>(&F::serialize),
              static_cast<void (F::*)(Bus::Message::ConstIterator&, Block&) const>(&F::deserialize));
  expectSlots(3, &N::UnknownNodeClass::getId, &N::UnknownNodeClass::serialize);
  const auto modifyLink = static_cast<bool (I::*)(const NodeLink&, NodeAction)>(&I::modify);
  expectSlots(placeOf(modifyLink), modifyLink, &I::modified, &I::linkModified, &I::changeStackNodeKey);
}

TEST(Shapes, KeepTheOrderOfFields) {
  ASSERT_EQ(fields().size(), 3u);
  for (const auto& list : fields()) EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
}

TEST(Shapes, KeepTheNamesOfErrors) {
  const auto expectName = [](const Exception& error, const std::string& name) {
    EXPECT_EQ(error.getId(), "com.quarnix.Trellium.Application.Hevra." + name);
    EXPECT_EQ(error.what(), "com.quarnix.Trellium.Application.Hevra." + name);
  };
  expectName(H::UnknownTypeForSignature(), "HvType.UnknownTypeForSignature");
  expectName(H::UnknownTypeForSerialization(), "HvType.UnknownTypeForSerialization");
  expectName(C::BadUse(), "Proxy.Command.Container.BadUse");
  expectName(BadSignatureOnBus(), "Manager.State.Error.BadSignatureOnBus");
  // An application may override it as it is declared, without `noexcept`.
  static_assert(!noexcept(std::declval<Exception>().getId())&& noexcept(std::declval<Exception>().what()));
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
