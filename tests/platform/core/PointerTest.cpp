// The shared pointer: who owns, what an empty one does, that counting is atomic.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <platform/core/shared/Pointer.h>

namespace Quarnix::Shared {
namespace {

struct Base {
  explicit Base(int* alive = nullptr) : alive_(alive) { count(1); }
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  virtual ~Base() { count(-1); }
  void count(int change) {
    if (alive_) *alive_ += change;
  }
  int* alive_;
};
struct Other {
  virtual ~Other() = default;
  int other = 7;
};
struct Derived : Other, Base {
  using Base::Base;
  static void* operator new(std::size_t size) {
    ++news;
    return ::operator new(size);
  }
  static void operator delete(void* memory) { ::operator delete(memory); }
  static inline int news = 0;
};

TEST(SharedPointer, DestroysWithTheLastReference) {
  int alive = 0;
  Pointer<Base> base = make<Derived>(&alive);
  Pointer<Base> copy = base;
  EXPECT_EQ(base.useCount(), 2U);
  Pointer<const Base> moved = std::move(base);
  EXPECT_FALSE(base);
  copy = copy.get() ? copy : Pointer<Base>();
  copy.reset();
  EXPECT_EQ(alive, 1);
  moved = nullptr;
  EXPECT_EQ(alive, 0);
}

TEST(SharedPointer, MakesObjectAndCountInOneAllocation) {
  // The object's own operator new is used only when the object has an allocation of its own.
  Derived::news = 0;
  const auto together = make<Derived>();
  EXPECT_EQ(Derived::news, 0);
  const Pointer<Derived> apart(new Derived);
  EXPECT_EQ(Derived::news, 1);
}

TEST(SharedPointer, FindsTheDerivedObject) {
  const Pointer<Base> base = make<Derived>();
  const auto derived = base.as<Derived>();
  ASSERT_TRUE(derived);
  EXPECT_EQ(derived->other, 7);
  EXPECT_EQ(base.useCount(), 2U);
  EXPECT_TRUE(base == derived);
  EXPECT_EQ(base.as<Other>()->other, 7);
  EXPECT_FALSE(Pointer<Base>(make<Base>()).as<Derived>());
  EXPECT_FALSE(Pointer<Base>().as<Derived>());
}

TEST(SharedPointer, RaisesNilWhenEmpty) {
  const Pointer<Derived> empty(nullptr);
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
  Pointer<Base> shared = make<Base>(&alive);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([mine = shared] {
      for (int round = 0; round < 10'000; ++round) Pointer<Base> copy = mine;
    });
  }
  shared.reset();
  for (auto& thread : threads) thread.join();
  threads.clear();
  EXPECT_EQ(alive, 0);
}

}  // namespace
}  // namespace Quarnix::Shared
