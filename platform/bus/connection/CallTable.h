// The calls in flight, by serial.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <platform/bus/connection/Transaction.h>

namespace Quarnix::Bus::Internal {

/// A hash table whose links are in the transactions, so that a call in flight needs no memory of its own. Serials
/// follow each other, so the rows are filled evenly.
///
/// Threads: the connection's mutex guards it, and every caller holds it.
class CallTable {
 public:
  CallTable() : rows_(FIRST_ROWS) {}

  bool isEmpty() const noexcept { return size_ == 0; }
  std::size_t size() const noexcept { return size_; }

  /// Raises std::bad_alloc.
  void add(std::shared_ptr<Transaction> call) {
    if (size_ == rows_.size()) grow();
    insert(rows_, std::move(call));
    ++size_;
  }
  /// Null if there is none.
  std::shared_ptr<Transaction> find(std::uint32_t serial) const noexcept {
    const std::shared_ptr<Transaction>* at = &rows_[serial & (rows_.size() - 1)];
    while (*at && (*at)->serial != serial) at = &(*at)->nextInTable;
    return *at;
  }
  bool contains(std::uint32_t serial) const noexcept { return find(serial) != nullptr; }
  /// Returns false if it is not there.
  bool remove(const Transaction& call) noexcept {
    std::shared_ptr<Transaction>* at = &rows_[call.serial & (rows_.size() - 1)];
    while (*at && at->get() != &call) at = &(*at)->nextInTable;
    if (!*at) return false;
    take(*at);
    return true;
  }

  /// `visit` must not change the table.
  template <class Visit>
  void forEach(const Visit& visit) const {
    for (const std::shared_ptr<Transaction>& row : rows_)
      for (Transaction* call = row.get(); call; call = call->nextInTable.get()) visit(*call);
  }
  /// Takes out a call that satisfies the condition; null if there is none. `row` says where to look first, and is
  /// advanced.
  template <class Condition>
  std::shared_ptr<Transaction> takeNext(std::size_t& row, const Condition& condition) noexcept {
    for (; row < rows_.size(); ++row)
      for (std::shared_ptr<Transaction>* at = &rows_[row]; *at; at = &(*at)->nextInTable)
        if (condition(**at)) return take(*at);
    return nullptr;
  }

 private:
  using Rows = std::vector<std::shared_ptr<Transaction>>;
  static constexpr std::size_t FIRST_ROWS = 16;  // always a power of two

  static void insert(Rows& rows, std::shared_ptr<Transaction> call) noexcept {
    std::shared_ptr<Transaction>& row = rows[call->serial & (rows.size() - 1)];
    call->nextInTable = std::move(row);
    row = std::move(call);
  }
  std::shared_ptr<Transaction> take(std::shared_ptr<Transaction>& at) noexcept {
    --size_;
    std::shared_ptr<Transaction> next = std::move(at->nextInTable);
    return std::exchange(at, std::move(next));
  }
  void grow() {
    Rows larger(2 * rows_.size());
    for (std::shared_ptr<Transaction>& row : rows_)
      while (row) insert(larger, std::exchange(row, std::move(row->nextInTable)));
    rows_.swap(larger);
  }

  Rows rows_;
  std::size_t size_ = 0;
};

}  // namespace Quarnix::Bus::Internal
