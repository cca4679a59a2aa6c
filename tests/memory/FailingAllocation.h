// Running out of memory, at a chosen allocation. Replaces operator new for the whole program, and malloc where the
// library calls it; the C++ library's own exceptions are not affected.
#pragma once

#include <cstddef>

namespace Quarnix::Test {

/// For its life, the `number`th allocation from now on fails, and if it is `lasting` each one after it too: on this
/// thread or, where `elsewhere`, on all others.
class FailingAllocation {
 public:
  enum class Where { HERE, ELSEWHERE };

  FailingAllocation(unsigned number, bool lasting, Where where = Where::HERE) noexcept;
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// Whether there were so many.
  bool happened() const noexcept;

  /// How many blocks the process has now.
  static std::size_t blocks() noexcept;
};

}  // namespace Quarnix::Test
