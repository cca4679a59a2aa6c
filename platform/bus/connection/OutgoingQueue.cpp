// Writes what is queued.
#include <platform/bus/connection/OutgoingQueue.h>

#include <algorithm>
#include <utility>

#include <platform/bus/connection/ReaderRole.h>

namespace Quarnix::Bus::Internal {

using State = Transaction::State;

OutgoingQueue::OutgoingQueue(Calls& calls) : calls_(calls) {
  frames_.reserve(BATCH);
  transactions_.reserve(BATCH);
}

void OutgoingQueue::push(Message::Frame frame, std::shared_ptr<Transaction> transaction) {
  messages_.push_back({std::move(frame), std::move(transaction)});
}

bool OutgoingQueue::pushAnswer(Message::Frame frame) {
  if (unsentAnswers_ > MAXIMUM_UNSENT_ANSWERS) return false;
  const std::size_t size = frame.size();
  push(std::move(frame), nullptr);
  unsentAnswers_ += size;
  return true;
}

OutgoingQueue::Result OutgoingQueue::write(Mutex& mutex, const std::shared_ptr<Transport>& link,
                                           const ReaderRole& reader) {
  isWriting_ = true;
  isBlocked_ = false;
  Result result = Result::EMPTY;
  while (result == Result::EMPTY && link && !messages_.empty()) {
    std::shared_ptr<Transport> transport = link;  // of its own: the link may be lost while the mutex is free
    takeInHand(*transport);
    const std::size_t count = frames_.size();
    const std::size_t offset = written_;
    const std::uint64_t losses = losses_;
    std::ptrdiff_t taken = 0;
    {
      MutexUnlock unlock(mutex);
      taken = transport->write(frames_.data(), count, offset);
    }

    bytesSent_ += taken > 0 ? static_cast<std::uint64_t>(taken) : 0;
    const std::size_t left = offset + (taken > 0 ? static_cast<std::size_t>(taken) : 0);
    if (losses_ != losses) {
      // What is queued now is for the next link. Dropping the last reference to a link of the in-process bus locks the
      // bus's mutex, which comes before this one.
      endInHand(left);
      MutexUnlock unlock(mutex);
      transport.reset();
      continue;
    }
    const std::size_t whole = putBack(left, transport->descriptor() < 0 ? 0 : reader.reads() + 2);
    if (taken < 0) {
      result = Result::BROKEN;
    } else if (whole < count) {
      result = Result::BLOCKED;
      isBlocked_ = true;
    }
  }
  isWriting_ = false;
  return result;
}

void OutgoingQueue::takeInHand(const Transport& link) noexcept {
  const bool isPushed = link.descriptor() < 0;
  for (std::size_t i = 0; i < std::min(BATCH, messages_.size()); ++i) {
    Transaction* const transaction = messages_[i].transaction.get();
    if (transaction && transaction->state == State::QUEUED) transaction->state = State::LEAVING;
    if (transaction && isPushed) transaction->settledAt = link.routed() + i + 1;
    frames_.push_back(std::move(messages_[i].frame));
    transactions_.push_back(std::move(messages_[i].transaction));
  }
}

/// Takes out of the queue what has left, `left` bytes in all, and puts the rest back, but for what was given up
/// meanwhile and has not begun to leave. Returns how many messages have left. `settledAt` is for their transactions,
/// unless it is 0.
std::size_t OutgoingQueue::putBack(std::size_t left, std::uint64_t settledAt) noexcept {
  std::size_t whole = 0, kept = 0;
  written_ = 0;
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    const std::size_t size = frames_[i].size();
    const bool begun = left > 0, isWhole = left >= size;
    if (transactions_[i]) settle(transactions_[i], begun, isWhole, false);
    if (isWhole) {
      // The read under way and the one after it may still bring what was in the socket before.
      if (transactions_[i] && settledAt) transactions_[i]->settledAt = settledAt;
      if (!transactions_[i]) unsentAnswers_ -= size;
      messages_.pop_front();
      ++whole;
    } else if (!begun && transactions_[i] && transactions_[i]->state == State::GIVEN_UP) {
      messages_.erase(messages_.begin() + static_cast<std::ptrdiff_t>(kept));
    } else {
      if (begun) written_ = left;
      messages_[kept++] = {std::move(frames_[i]), std::move(transactions_[i])};
    }
    left -= std::min(left, size);
  }
  frames_.clear();
  transactions_.clear();
  return whole;
}

/// Ends what was in hand when the link was lost. The queue has been emptied of it.
void OutgoingQueue::endInHand(std::size_t left) noexcept {
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    const std::size_t size = frames_[i].size();
    if (transactions_[i]) settle(transactions_[i], left > 0, left >= size, true);
    left -= std::min(left, size);
  }
  frames_.clear();
  transactions_.clear();
}

/// Notes what became of a message that the transport had.
void OutgoingQueue::settle(const std::shared_ptr<Transaction>& transaction, bool begun, bool whole,
                           bool isLost) noexcept {
  if (transaction->state != State::LEAVING) return;  // its reply or its deadline has come first
  if (isLost) {
    calls_.end(transaction, begun ? State::LOST : State::UNSENT);
  } else if (!begun) {
    transaction->state = State::QUEUED;
  } else if (whole && transaction->replyExpected) {
    transaction->state = State::SENT;
  } else if (whole) {
    calls_.end(transaction, State::SENT);
  }
}

std::string OutgoingQueue::takeFlight(std::size_t most) {
  std::string bytes;
  bytes.reserve(most);
  while (!messages_.empty() && frames_.size() < BATCH && bytes.size() + messages_.front().frame.size() <= most) {
    Entry& next = messages_.front();
    bytes.append(reinterpret_cast<const char*>(next.frame.data()), next.frame.size());
    next.transaction->state = State::LEAVING;
    frames_.push_back(std::move(next.frame));
    transactions_.push_back(std::move(next.transaction));
    messages_.pop_front();
  }
  isFlying_ = !frames_.empty();
  return bytes;
}

void OutgoingQueue::land(std::uint64_t settledAt) noexcept {
  if (!std::exchange(isFlying_, false)) return;
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    bytesSent_ += frames_[i].size();
    transactions_[i]->settledAt = settledAt;
    settle(transactions_[i], true, true, false);
  }
  frames_.clear();
  transactions_.clear();
}

void OutgoingQueue::giveUp(const Transaction& transaction) noexcept {
  if (transaction.state != State::QUEUED) return;
  const auto found = std::find_if(messages_.begin(), messages_.end(),
                                  [&](const Entry& entry) { return entry.transaction.get() == &transaction; });
  if (found != messages_.end()) messages_.erase(found);
}

void OutgoingQueue::loseAll() noexcept {
  if (std::exchange(isFlying_, false)) endInHand(0);
  for (const Entry& entry : messages_) {
    if (!entry.transaction) continue;
    if (entry.transaction->state == State::QUEUED) calls_.end(entry.transaction, State::UNSENT);
    if (entry.transaction->state == State::LEAVING) calls_.end(entry.transaction, State::LOST);
  }
  messages_.clear();
  isBlocked_ = false;
  written_ = 0;
  unsentAnswers_ = 0;
  ++losses_;
}

}  // namespace Quarnix::Bus::Internal
