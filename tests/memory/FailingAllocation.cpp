// Counting allocations down.
#include <tests/memory/FailingAllocation.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace Quarnix::Test {

namespace {

std::atomic<unsigned> left{0};
std::atomic<bool> isLasting{false}, hasFailed{false}, isElsewhere{false};
thread_local bool isHere = false;  // on the thread that has the object
std::atomic<std::size_t> count{0};

bool fails() noexcept {
  if (isHere == isElsewhere) return false;
  if (hasFailed) return isLasting;
  return left > 0 && left.fetch_sub(1) == 1 && (hasFailed = true);
}

}  // namespace

FailingAllocation::FailingAllocation(unsigned number, bool lasting, Where where) noexcept {
  hasFailed = false;
  isLasting = lasting;
  left = number;
  isHere = true;
  isElsewhere = where == Where::ELSEWHERE;
}

FailingAllocation::~FailingAllocation() {
  left = 0;
  isLasting = false;
  isElsewhere = false;
  isHere = false;
}

bool FailingAllocation::happened() const noexcept { return hasFailed; }
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
