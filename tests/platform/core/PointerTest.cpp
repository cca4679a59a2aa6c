// The shared pointer: who owns, what an empty one does, that counting is atomic.
#include <thread>

#include <gtest/gtest.h>

#include <platform/core/shared/Pointer.h>

namespace Quarnix::Shared {
namespace {

struct Base {
  virtual ~Base() = default;
};
struct Other {
  virtual ~Other() = default;
  int other = 7;
};
struct Derived : Other, Base {
  explicit Derived(bool& gone) : isGone(gone) {}
  ~Derived() override { isGone = true; }
  bool& isGone;
};

TEST(SharedPointer, DestroysWithTheLastReferenceAndRaisesNilWhenEmpty) {
  bool isGone = false;
  Pointer<Base> base = make<Derived>(isGone);
  const auto copying = [&base] {
    for (int round = 0; round < 10'000; ++round) Pointer<Base> copy = base;
  };
  std::thread one(copying), two(copying);
  one.join();
  two.join();
  Pointer<const Base> moved = std::move(base);
  EXPECT_FALSE(base);
  EXPECT_EQ(moved.useCount(), 1U);
  EXPECT_EQ(moved.as<const Other>()->other, 7);
  EXPECT_FALSE(make<Base>().as<Derived>());
  EXPECT_FALSE(isGone);
  moved = nullptr;
  EXPECT_TRUE(isGone);
  EXPECT_FALSE(base.as<Derived>());
  EXPECT_THROW((void)*base, Exception::Nil);
  EXPECT_THROW((void)base.operator->(), Exception::Nil);
  EXPECT_STREQ(Exception::Nil().what(), "com.quarnix.Framework.Core.Shared.Nil");
}

}  // namespace
}  // namespace Quarnix::Shared
