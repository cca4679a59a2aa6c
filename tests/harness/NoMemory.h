// Running out of memory at a chosen point.
#pragma once

namespace Quarnix::Harness {

/// From its making on, this thread's `nth` allocation with `new` (counting from 0) fails; the others succeed. A program
/// that uses it has its own `operator new`.
class NoMemory {
 public:
  explicit NoMemory(int nth) noexcept;
  ~NoMemory();
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
  /// Whether that allocation has come.
  bool hasFailed() const noexcept;
};

}  // namespace Quarnix::Harness
