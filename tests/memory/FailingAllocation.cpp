// Counting allocations down.
#include <tests/memory/FailingAllocation.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace Quarnix::Test {

namespace {

struct Countdown {
  std::atomic<unsigned> left{0};  // 0: off
  std::atomic<bool> lasting{false}, failed{false};

  bool fails() noexcept {
    if (failed && lasting) return true;
    if (left == 0 || left.fetch_sub(1) != 1) return false;
    return failed = true;
  }
};

thread_local Countdown* here = nullptr;  // of the thread that has one
Countdown own;
std::atomic<bool> elsewhere{false};
std::atomic<std::size_t> count{0};

bool fails() noexcept {
  if (here) return here->fails();
  return elsewhere && own.fails();
}

}  // namespace

FailingAllocation::FailingAllocation(unsigned number, bool lasting, Where where) noexcept {
  static Countdown none;
  own.failed = false;
  own.lasting = lasting;
  own.left = number;
  here = where == Where::HERE ? &own : &none;
  elsewhere = where == Where::ELSEWHERE;
}

FailingAllocation::~FailingAllocation() {
  elsewhere = false;
  here = nullptr;
  own.left = 0;
}

bool FailingAllocation::happened() const noexcept { return own.failed; }
std::size_t FailingAllocation::blocks() noexcept { return count; }

}  // namespace Quarnix::Test

// What the linker puts in the place of the library's calls of malloc and realloc.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size) { return Quarnix::Test::fails() ? nullptr : __real_malloc(size); }
void* __wrap_realloc(void* block, std::size_t size) {
  return Quarnix::Test::fails() ? nullptr : __real_realloc(block, size);
}
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* const block = Quarnix::Test::fails() ? nullptr : __real_malloc(size ? size : 1);
  if (block) ++Quarnix::Test::count;
  return block;
}
void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  if (block) --Quarnix::Test::count;
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }
