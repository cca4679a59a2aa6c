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

constexpr std::size_t ANYWHERE = 0;
/// The places of each list of members, and where they begin if no gap may be between them.
auto& lists() {
  static std::vector<std::pair<std::vector<std::size_t>, std::size_t>> made;
  return made;
}

/// Virtual operations from the slot `First` on, because a destructor before them has taken two; or fields.
template <std::size_t First, auto... Members>
struct Shape {
  static inline const bool KEPT = (lists().emplace_back(std::vector{placeOf(Members)...}, First), true);
};

template struct Shape<2, &M::progress, &M::add, static_cast<void (M::*)()>(&M::cancel),
                      static_cast<void (M::*)(const std::string&)>(&M::cancel),
                      static_cast<void (M::*)(const HomeAutomation::Command::Priority&)>(&M::cancel), &M::start,
                      &M::stop, &M::exception, &M::receive, &M::signal>;
template struct Shape<2, &M::Timer::enable, &M::Timer::disable, &M::Timer::entry, &M::Timer::save, &M::Timer::restore,
                      &M::Timer::expired>;
template struct Shape<2, &H::serialize, &H::deserialize, &H::signature, &H::setValue, &H::value>;
template struct Shape<2, &C::get, &C::next, &C::reset>;
template struct Shape<2, &DaughterBoard::Manager::hardReset>;
template struct Shape<6, static_cast<bool (I::*)(const NodeLink&, NodeAction)>(&I::modify), &I::modified,
                      &I::linkModified, &I::changeStackNodeKey, &I::deleteNodes, &I::getNodeLinkId>;
template struct Shape<ANYWHERE, &M::interfaceName, &M::originator, &M::timers, &M::expiredKeys>;
template struct Shape<ANYWHERE, &M::Timer::manager, &M::Timer::key, &M::Timer::originator>;
template struct Shape<ANYWHERE, &C::elements_, &C::cursor_, &C::started_>;

TEST(Shapes, KeepTheOrderOfVirtualOperationsAndOfFields) {
  ASSERT_EQ(lists().size(), 9u);
  for (const auto& [places, first] : lists()) {
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
    if (first == ANYWHERE) continue;
    EXPECT_EQ(std::pair(places.front(), places.back()), std::pair(first, first + places.size() - 1));
  }
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
