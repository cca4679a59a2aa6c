// The shapes that are part of the surface: bases, the order of virtual operations and the order of fields. What the
// language does not let a program ask of a class (private members, slots) is found by explicit instantiation, to which
// access rules do not apply, and by looking into pointers to members.
#include <algorithm>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <bus/HvTypeVariantHandler.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using M = Command::Manager;
using N = Node::Manager;
using I = Interface::Node::Manager;
using C = CommandContainerList;
using H = Bus::Type::HvTypeVariantHandler;

template <class Base, class Derived, class = Derived*>
constexpr bool CASTS_DOWN = false;
template <class Base, class Derived>
constexpr bool CASTS_DOWN<Base, Derived, decltype(static_cast<Derived*>(std::declval<Base*>()))> = true;
/// Of a public base.
template <class Base, class Derived>
constexpr bool IS_VIRTUAL = std::is_convertible_v<Derived*, Base*> && !CASTS_DOWN<Base, Derived>;

static_assert(IS_VIRTUAL<Bus::Object::Proxy, M> && IS_VIRTUAL<Interface::Command::Manager, M>);
static_assert(std::is_base_of_v<Event, M> && !std::is_convertible_v<M*, Event*>);
static_assert(IS_VIRTUAL<Bus::Object::Server, Command::Originator> && IS_VIRTUAL<Bus::Type::VariantHandler, H>);
static_assert(IS_VIRTUAL<Bus::Object::Proxy, DaughterBoard::Manager>);
static_assert(CASTS_DOWN<Bus::Object::Proxy, N> && CASTS_DOWN<I, N> && !std::is_abstract_v<N>);

/// Where a member is: the first word of a pointer to it holds a field's offset in the object, and a virtual operation's
/// in the table of slots.
template <class Pointer>
std::size_t placeOf(Pointer pointer) {
  std::size_t word = 0;
  std::memcpy(&word, &pointer, sizeof word);
  return std::is_member_function_pointer_v<Pointer> ? word / sizeof(void*) : word;
}

std::vector<std::vector<std::size_t>>& placesOf(bool fields) {
  static std::vector<std::vector<std::size_t>> places[2];
  return places[fields];
}

/// Virtual operations that take slots from `First` on, one behind the other; a destructor before them has taken two.
template <std::size_t First, auto... Operations>
struct Slots {
  static inline const bool KEPT = (placesOf(false).push_back({First, placeOf(Operations)...}), true);
};
/// Fields that lie one behind the other.
template <auto... Members>
struct Fields {
  static inline const bool KEPT = (placesOf(true).push_back({placeOf(Members)...}), true);
};

template struct Slots<2, &M::progress, &M::add, static_cast<void (M::*)()>(&M::cancel),
                      static_cast<void (M::*)(const std::string&)>(&M::cancel),
                      static_cast<void (M::*)(const HomeAutomation::Command::Priority&)>(&M::cancel), &M::start,
                      &M::stop, &M::exception, &M::receive, &M::signal>;
template struct Slots<2, &M::Timer::enable, &M::Timer::disable, &M::Timer::entry, &M::Timer::save, &M::Timer::restore,
                      &M::Timer::expired>;
template struct Slots<2, &H::serialize, &H::deserialize, &H::signature, &H::setValue, &H::value>;
template struct Slots<2, &C::get, &C::next, &C::reset>;
template struct Slots<2, &DaughterBoard::Manager::hardReset>;
template struct Slots<6, static_cast<bool (I::*)(const NodeLink&, NodeAction)>(&I::modify), &I::modified,
                      &I::linkModified, &I::changeStackNodeKey, &I::deleteNodes, &I::getNodeLinkId>;
template struct Fields<&M::interfaceName, &M::originator, &M::timers, &M::expiredKeys>;
template struct Fields<&M::Timer::manager, &M::Timer::key, &M::Timer::originator>;
template struct Fields<&C::elements_, &C::cursor_, &C::started_>;

TEST(Shapes, KeepTheOrderOfVirtualOperationsAndOfFields) {
  ASSERT_EQ(placesOf(false).size(), 6u);
  for (const auto& list : placesOf(false))
    for (std::size_t i = 1; i < list.size(); ++i) EXPECT_EQ(list[i], list[0] + i - 1) << "from slot " << list[0];
  ASSERT_EQ(placesOf(true).size(), 3u);
  for (const auto& list : placesOf(true)) EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
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
