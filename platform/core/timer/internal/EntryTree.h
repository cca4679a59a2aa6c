// Keeps a timer queue's entries in order. It knows neither threads nor clocks.
#pragma once

#include <cstdint>

#include <platform/core/timer/QueueEntry.h>

namespace Quarnix::Timer {

/// A treap: a search tree by deadline in which no entry has a higher rank than its parent. Ranks are random, so that
/// each operation is expected to take O(log n) steps whatever the deadlines are. Entries with one deadline stand in the
/// order in which they were inserted. The tree consists of the entries' own links and needs no memory.
///
/// Threads: one at a time.
class EntryTree {
 public:
  /// Inserts an entry that is not in the tree, by its deadline.
  void insert(QueueEntry& entry) noexcept;
  /// Removes an entry that is in the tree.
  void remove(QueueEntry& entry) noexcept;
  /// Removes all, in O(n).
  void clear() noexcept;
  /// The entry with the earliest deadline; null when there is none.
  QueueEntry* earliest() const noexcept;

 private:
  std::uint32_t nextRank() noexcept;

  QueueEntry* root_ = nullptr;
  std::uint32_t seed_ = 1;
};

}  // namespace Quarnix::Timer
