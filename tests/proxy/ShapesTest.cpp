// The shapes that are part of the surface: bases, the order of virtual operations and the order of fields. What the
// language does not let a program ask of a class (private members, slots) is found by explicit instantiation, to which
// access rules do not apply, and by looking into pointers to members.
#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using Originated = Interface::Command::Originator;

template <class Base, class Derived>
constexpr bool IS_PUBLIC_BASE = std::is_convertible_v<Derived*, Base*>;
template <class Base, class Derived>
constexpr bool IS_PRIVATE_BASE = std::is_base_of_v<Base, Derived> && !IS_PUBLIC_BASE<Base, Derived>;
template <class Base, class Derived>
constexpr bool IS_VIRTUAL_BASE = IS_PUBLIC_BASE<Base, Derived> && !requires(Base * base) {
  static_cast<Derived*>(base);
};

static_assert(IS_VIRTUAL_BASE<Bus::Object::Proxy, Command::Manager>);
static_assert(IS_VIRTUAL_BASE<Interface::Command::Manager, Command::Manager>);
static_assert(IS_PRIVATE_BASE<Originated, Command::Manager>);
static_assert(IS_PRIVATE_BASE<Event, Command::Manager>);
static_assert(IS_VIRTUAL_BASE<Bus::Object::Server, Command::Originator>);
static_assert(IS_VIRTUAL_BASE<Bus::Object::Proxy, DaughterBoard::Manager>);
static_assert(IS_VIRTUAL_BASE<Interface::DaughterBoard::Manager, DaughterBoard::Manager>);
static_assert(IS_VIRTUAL_BASE<Bus::Type::VariantHandler, Bus::Type::HvTypeVariantHandler>);
static_assert(!std::is_default_constructible_v<Command::Manager>);

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

template struct Slots<2, &M::Timer::enable, &M::Timer::disable, &M::Timer::entry, &M::Timer::save, &M::Timer::restore,
                      &M::Timer::expired>;
template struct Fields<&M::Timer::manager, &M::Timer::key, &M::Timer::originator>;
template struct HasType<&M::Timer::originator, Shared::Pointer<Originated>>;

using H = Bus::Type::HvTypeVariantHandler;
template struct Slots<2, &H::serialize, &H::deserialize, &H::signature, &H::setValue, &H::value>;
using R = Bus::Type::Wrapper<Hevra::Command>;
template struct Slots<0, &R::serialize, &R::deserialize, &R::signature>;
using L = Bus::Type::Wrapper<const HomeAutomation::Container<Hevra::Command>>;
template struct Slots<0, &L::serialize, &L::deserialize, &L::signature>;
using C = CommandContainerList;
template struct Slots<2, &C::get, &C::next, &C::reset>;
template struct Fields<&C::elements_, &C::cursor_, &C::started_>;
template struct Slots<2, &DaughterBoard::Manager::hardReset>;

TEST(Shapes, KeepTheOrderOfVirtualOperations) {
  ASSERT_EQ(slots().size(), 7u);
  for (const auto& list : slots())
    for (std::size_t i = 1; i < list.size(); ++i) EXPECT_EQ(list[i], list[0] + i - 1) << "from slot " << list[0];
}

TEST(Shapes, KeepTheOrderOfFields) {
  ASSERT_EQ(fields().size(), 3u);
  for (const auto& list : fields()) EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
