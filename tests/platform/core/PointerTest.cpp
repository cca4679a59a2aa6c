// The shared pointer: who owns, what an empty one does, that counting is atomic.
#include <thread>

#include <gtest/gtest.h>

#include <platform/core/shared/Pointer.h>

namespace Quarnix::Shared {
namespace {

struct Base {
  explicit Base(int& alive) : alive_(alive) { ++alive_; }
  virtual ~Base() { --alive_; }
  int& alive_;
};
struct Other {
  virtual ~Other() = default;
  int other = 7;
};
struct Derived : Other, Base {
  using Base::Base;
};

TEST(SharedPointer, DestroysWithTheLastReferenceAndFindsTheDerivedObject) {
  int alive = 0;
  Pointer<Base> base = make<Derived>(alive);
  Pointer<Base> copy = base;
  Pointer<const Base> moved = std::move(base);
  EXPECT_FALSE(base);
  EXPECT_EQ(moved.useCount(), 2U);
  EXPECT_EQ(moved.as<const Other>()->other, 7);
  EXPECT_FALSE(Pointer<Base>(make<Base>(alive)).as<Derived>());
  copy.reset();
  EXPECT_EQ(alive, 1);
  moved = nullptr;
  EXPECT_EQ(alive, 0);
}

TEST(SharedPointer, RaisesNilWhenEmpty) {
  const Pointer<Derived> empty(nullptr);
  EXPECT_FALSE(empty.as<Base>());
  EXPECT_THROW((void)empty->other, Exception::Nil);
  try {
    (void)*empty;
    FAIL() << "an empty pointer was dereferenced";
  } catch (const Quarnix::Exception& error) {
    EXPECT_STREQ(error.getId(), "com.quarnix.Framework.Core.Shared.Nil");
    EXPECT_STREQ(error.what(), error.getId());
  }
}

TEST(SharedPointer, CountsFromManyThreads) {
  int alive = 0;
  Pointer<Base> shared = make<Base>(alive);
  const auto copying = [mine = shared] {
    for (int round = 0; round < 10'000; ++round) Pointer<Base> copy = mine;
  };
  std::thread one(copying), two(copying);
  one.join();
  two.join();
  EXPECT_EQ(shared.useCount(), 2U);
}

}  // namespace
}  // namespace Quarnix::Shared
