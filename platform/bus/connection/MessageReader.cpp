// Stores, checks and discards what the bus sends.
#include <platform/bus/connection/MessageReader.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Internal {

namespace {

/// Checks a whole message and appends it. Returns the rule that it breaks, or null.
const char* accept(Message::Checker& checker, Message::Storage storage, std::size_t size,
                   std::vector<Received>& messages) {
  Received& received = messages.emplace_back();
  const char* const rule = checker.check(storage.data(), size, received.header);
  received.frame = {std::move(storage), 0, static_cast<std::uint32_t>(size)};
  if (rule) messages.pop_back();
  return rule;
}

}  // namespace

MessageReader::MessageReader(Admission& admission) : admission_(admission), buffer_(new std::uint8_t[BUFFER_SIZE]) {}

MessageReader::Room MessageReader::room() noexcept {
  if (large_) return {large_.data() + largeFilled_, largeSize_ - largeFilled_};
  return {buffer_.get() + end_, BUFFER_SIZE - end_};
}

bool MessageReader::take(std::size_t count, std::vector<Received>& messages, std::string& reason) {
  const char* rule = nullptr;
  if (large_) {
    largeFilled_ += count;
    if (largeFilled_ == largeSize_) rule = accept(checker_, std::exchange(large_, {}), largeSize_, messages);
  } else {
    end_ += count;
    while (!rule) {
      const std::size_t skipped = std::min(discarding_, end_ - begin_);
      discarding_ -= skipped;
      begin_ += skipped;
      const std::size_t available = end_ - begin_;
      if (available < Message::FIXED_HEADER_SIZE) break;
      const Message::DeclaredSize declared = Message::declaredSize(buffer_.get() + begin_);
      rule = declared.rule;
      if (rule) break;
      // A small message must be there as a whole, a large one only with its header, unless the header is large too.
      const std::size_t needed = declared.size <= Admission::ALWAYS ? declared.size : declared.headerSize;
      if (available < needed && needed <= Admission::ALWAYS) break;
      const std::size_t here = std::min(available, declared.size);
      const bool isTooLarge = !isAdmitted(declared);
      if (isTooLarge || !store(here, declared.size, messages, rule)) {
        rule = discard(declared, isTooLarge, messages);
        discarding_ = declared.size - here;
      }
      begin_ += here;
    }
    if (begin_ > 0) std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= std::exchange(begin_, 0);
  }
  if (rule) reason = std::string("the bus sent an invalid message: ") + rule;
  return !rule;
}

bool MessageReader::isAdmitted(const Message::DeclaredSize& declared) {
  if (declared.size <= Admission::ALWAYS) return true;
  // A large header is not looked at: its message counts as a call. `discard` reports a header that breaks a rule.
  Message::Header header;
  if (declared.headerSize <= Admission::ALWAYS && Message::checkHeader(buffer_.get() + begin_, declared, header))
    return false;
  return declared.size <= admission_.largest(header);
}

bool MessageReader::store(std::size_t available, std::size_t size, std::vector<Received>& messages,
                          const char*& rule) noexcept {
  try {
    Message::Storage storage(size);
    std::memcpy(storage.data(), buffer_.get() + begin_, available);
    if (available == size) {
      rule = accept(checker_, std::move(storage), size, messages);
    } else {
      large_ = std::move(storage);
      largeSize_ = size;
      largeFilled_ = available;
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

const char* MessageReader::discard(const Message::DeclaredSize& declared, bool isTooLarge,
                                   std::vector<Received>& messages) {
  if (declared.headerSize > Admission::ALWAYS) {
    admission_.countDropped();
    return nullptr;
  }
  const std::uint8_t* const at = buffer_.get() + begin_;
  Received head;
  if (const char* rule = Message::checkHeader(at, declared, head.header)) return rule;
  Message::Storage storage(declared.headerSize);
  std::memcpy(storage.data(), at, declared.headerSize);
  head.frame = {std::move(storage), 0, static_cast<std::uint32_t>(declared.headerSize)};
  if (!isTooLarge && head.text(Message::Field::SENDER) == DRIVER_NAME) throw std::bad_alloc();
  // Nobody may look for the body.
  head.header.bodyLength = 0;
  head.header.text(Message::Field::SIGNATURE) = {};
  head.discarded = declared.size;
  messages.push_back(std::move(head));
  return nullptr;
}

}  // namespace Quarnix::Bus::Internal
