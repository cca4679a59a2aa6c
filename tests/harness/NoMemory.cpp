// The allocation that fails.
#include <tests/harness/NoMemory.h>

#include <cstdlib>
#include <new>

namespace {

constexpr int NONE = -1;
thread_local int untilFailure = NONE;

}  // namespace

namespace Quarnix::Harness {

NoMemory::NoMemory(int nth) noexcept { untilFailure = nth; }
NoMemory::~NoMemory() { untilFailure = NONE; }
bool NoMemory::hasFailed() const noexcept { return untilFailure == NONE; }

}  // namespace Quarnix::Harness

// The sanitizers have operators of their own, all of which would have to be replaced: nothing fails there.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__
#endif
#endif
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
void* operator new(std::size_t size) {
  void* memory = untilFailure != NONE && untilFailure-- == 0 ? nullptr : std::malloc(size);
  return memory ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#endif
