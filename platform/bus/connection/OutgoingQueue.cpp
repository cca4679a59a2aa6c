// Writes what is queued.
#include <platform/bus/connection/OutgoingQueue.h>

#include <algorithm>
#include <utility>

#include <platform/bus/connection/ReaderRole.h>

namespace Quarnix::Bus::Internal {

using State = Transaction::State;

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
  Result result = Result::EMPTY;
  while (result == Result::EMPTY && link && !messages_.empty()) {
    // These references are the writer's own: a loss of the link may empty the queue while the mutex is free.
    std::shared_ptr<Transport> transport = link;
    const bool isPushed = transport->descriptor() < 0;
    Message::Frame frames[BATCH];
    std::shared_ptr<Transaction> transactions[BATCH];
    const std::size_t count = std::min(BATCH, messages_.size());
    for (std::size_t i = 0; i < count; ++i) {
      frames[i] = messages_[i].frame;
      transactions[i] = messages_[i].transaction;
      if (!transactions[i]) continue;
      if (transactions[i]->state == State::QUEUED) transactions[i]->state = State::LEAVING;
      if (isPushed) transactions[i]->settledAt = transport->routed() + i + 1;
    }
    const std::size_t offset = written_;
    const std::uint64_t losses = losses_;
    std::ptrdiff_t taken = 0;
    {
      MutexUnlock unlock(mutex);
      taken = transport->write(frames, count, offset);
    }

    const bool isLost = losses_ != losses;
    bytesSent_ += taken > 0 ? static_cast<std::uint64_t>(taken) : 0;
    std::size_t left = offset + (taken > 0 ? static_cast<std::size_t>(taken) : 0);
    std::size_t whole = 0;
    if (!isLost) written_ = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const bool isWhole = left >= frames[i].size();
      if (transactions[i]) {
        settle(transactions[i], left > 0, isWhole, isLost);
        // The read under way and the one after it may still bring what was in the socket before.
        if (isWhole && !isPushed) transactions[i]->settledAt = reader.reads() + 2;
      }
      const std::size_t size = frames[i].size();
      if (isWhole) ++whole;
      if (!isLost && isWhole) {
        if (!transactions[i]) unsentAnswers_ -= size;
        messages_.pop_front();
      } else if (!isLost && left > 0) {
        written_ = left;
      }
      left -= std::min(left, size);
    }
    if (isLost) {
      // What is queued now is for the next link. Dropping the last reference to a link of the in-process bus locks the
      // bus's mutex, which comes before this one.
      MutexUnlock unlock(mutex);
      transport.reset();
      continue;
    }
    dropGivenUp(count - whole);
    if (taken < 0) {
      result = Result::BROKEN;
    } else if (whole < count) {
      result = Result::BLOCKED;
    }
  }
  isWriting_ = false;
  return result;
}

/// Drops those of the first `count` messages, which the writer had in hand, that were given up meanwhile and of which
/// nothing has left.
void OutgoingQueue::dropGivenUp(std::size_t count) noexcept {
  const std::size_t begun = written_ > 0 ? 1 : 0;
  for (std::size_t i = count; i-- > begun;) {
    const std::shared_ptr<Transaction>& transaction = messages_[i].transaction;
    if (transaction && transaction->state == State::GIVEN_UP)
      messages_.erase(messages_.begin() + static_cast<std::ptrdiff_t>(i));
  }
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

void OutgoingQueue::giveUp(const Transaction& transaction) noexcept {
  if (transaction.state != State::QUEUED) return;
  const auto found = std::find_if(messages_.begin(), messages_.end(),
                                  [&](const Entry& entry) { return entry.transaction.get() == &transaction; });
  if (found != messages_.end()) messages_.erase(found);
}

void OutgoingQueue::loseAll() noexcept {
  for (const Entry& entry : messages_) {
    if (!entry.transaction) continue;
    if (entry.transaction->state == State::QUEUED) calls_.end(entry.transaction, State::UNSENT);
    if (entry.transaction->state == State::LEAVING && !isWriting_) calls_.end(entry.transaction, State::LOST);
  }
  messages_.clear();
  written_ = 0;
  unsentAnswers_ = 0;
  ++losses_;
}

}  // namespace Quarnix::Bus::Internal
