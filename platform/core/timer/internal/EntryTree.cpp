// Inserting splits a subtree, removing merges two; both walk down once.
#include <platform/core/timer/internal/EntryTree.h>

#include <utility>

namespace Quarnix::Timer {

void EntryTree::insert(QueueEntry& entry) noexcept {
  entry.rank_ = nextRank();
  entry.state_ = QueueEntry::State::QUEUED;

  QueueEntry** link = &root_;
  QueueEntry* parent = nullptr;
  while (*link && (*link)->rank_ >= entry.rank_) {
    parent = *link;
    link = entry.deadline_ < parent->deadline_ ? &parent->left_ : &parent->right_;
  }
  QueueEntry* rest = std::exchange(*link, &entry);
  entry.parent_ = parent;

  // What stood here is split: entries up to this deadline go to the left, later ones to the right.
  QueueEntry** left = &entry.left_;
  QueueEntry** right = &entry.right_;
  QueueEntry* leftParent = &entry;
  QueueEntry* rightParent = &entry;
  while (rest) {
    if (entry.deadline_ < rest->deadline_) {
      *right = rest;
      rest->parent_ = std::exchange(rightParent, rest);
      right = &rest->left_;
      rest = *right;
    } else {
      *left = rest;
      rest->parent_ = std::exchange(leftParent, rest);
      left = &rest->right_;
      rest = *left;
    }
  }
  *left = *right = nullptr;
}

void EntryTree::remove(QueueEntry& entry) noexcept {
  QueueEntry* parent = entry.parent_;
  QueueEntry** link = !parent ? &root_ : parent->left_ == &entry ? &parent->left_ : &parent->right_;
  QueueEntry* left = entry.left_;
  QueueEntry* right = entry.right_;
  while (left && right) {
    QueueEntry*& higher = left->rank_ >= right->rank_ ? left : right;
    *link = higher;
    higher->parent_ = std::exchange(parent, higher);
    link = &higher == &left ? &parent->right_ : &parent->left_;
    higher = *link;
  }
  *link = left ? left : right;
  if (*link) (*link)->parent_ = parent;
  entry.state_ = QueueEntry::State::IDLE;
}

void EntryTree::clear() noexcept {
  for (QueueEntry* entry = std::exchange(root_, nullptr); entry;) {
    if (QueueEntry* const left = std::exchange(entry->left_, nullptr)) {
      entry = left;
    } else if (QueueEntry* const right = std::exchange(entry->right_, nullptr)) {
      entry = right;
    } else {
      entry->state_ = QueueEntry::State::IDLE;
      entry = entry->parent_;
    }
  }
}

QueueEntry* EntryTree::earliest() const noexcept {
  QueueEntry* entry = root_;
  while (entry && entry->left_) entry = entry->left_;
  return entry;
}

/// Marsaglia's xorshift.
std::uint32_t EntryTree::nextRank() noexcept {
  seed_ ^= seed_ << 13;
  seed_ ^= seed_ >> 17;
  seed_ ^= seed_ << 5;
  return seed_;
}

}  // namespace Quarnix::Timer
