// Storing, checking and discarding what the bus sends.
#include <platform/bus/connection/MessageReader.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Internal {

namespace {

std::string_view senderOf(const std::uint8_t* message, const Message::Header& header) noexcept {
  const Message::Header::Text& place = header.text(Message::Field::SENDER);
  return {reinterpret_cast<const char*>(message + place.offset), place.length};
}

const char* accept(Message::Storage storage, std::size_t size, std::vector<Received>& messages) {
  Received received;
  if (const char* rule = Message::check(storage.data(), size, received.header)) return rule;
  received.frame = {std::move(storage), 0, static_cast<std::uint32_t>(size)};
  messages.push_back(std::move(received));
  return nullptr;
}

bool isIntact(const char* rule, std::string& reason) {
  if (rule) reason = std::string("the bus sent an invalid message: ") + rule;
  return !rule;
}

}  // namespace

MessageReader::MessageReader(Admission& admission) : admission_(admission), buffer_(new std::uint8_t[BUFFER_SIZE]) {}

MessageReader::Room MessageReader::room() noexcept {
  if (large_) return {large_.data() + largeFilled_, largeSize_ - largeFilled_};
  return {buffer_.get() + end_, BUFFER_SIZE - end_};
}

bool MessageReader::take(std::size_t count, std::vector<Received>& messages, std::string& reason) {
  if (!large_) {
    end_ += count;
    return parse(messages, reason);
  }
  largeFilled_ += count;
  if (largeFilled_ < largeSize_) return true;
  return isIntact(accept(std::exchange(large_, {}), largeSize_, messages), reason);
}

bool MessageReader::parse(std::vector<Received>& messages, std::string& reason) {
  for (;;) {
    const std::size_t discarded = std::min(discarding_, end_ - begin_);
    discarding_ -= discarded;
    begin_ += discarded;
    const std::size_t available = end_ - begin_;
    if (available < Message::FIXED_HEADER_SIZE) break;
    const std::uint8_t* const at = buffer_.get() + begin_;
    const Message::DeclaredSize declared = Message::declaredSize(at);
    if (declared.rule) return isIntact(declared.rule, reason);

    bool isTooLarge = false;
    const char* rule = nullptr;
    if (declared.size <= Admission::ALWAYS) {
      if (available < declared.size) break;
    } else {
      // A header that is larger tells nothing, and its message is judged as a call.
      Message::Header header;
      if (declared.headerSize <= Admission::ALWAYS) {
        if (available < declared.headerSize) break;
        rule = Message::checkHeader(at, declared, header);
        if (rule) return isIntact(rule, reason);
      }
      isTooLarge = declared.size > admission_.largest(header);
    }
    const std::size_t here = std::min(available, declared.size);
    if (isTooLarge || !store(here, declared.size, messages, rule)) {
      discard(declared, isTooLarge, messages, rule);
      discarding_ = declared.size - here;
    }
    if (rule) return isIntact(rule, reason);
    begin_ += here;
  }
  if (begin_ > 0) std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= std::exchange(begin_, 0);
  return true;
}

/// False without memory.
bool MessageReader::store(std::size_t available, std::size_t size, std::vector<Received>& messages,
                          const char*& rule) noexcept {
  try {
    Message::Storage storage(size);
    std::memcpy(storage.data(), buffer_.get() + begin_, available);
    if (available == size) {
      rule = accept(std::move(storage), size, messages);
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

void MessageReader::discard(const Message::DeclaredSize& declared, bool isTooLarge, std::vector<Received>& messages,
                            const char*& rule) {
  if (declared.headerSize > Admission::ALWAYS) return admission_.countDropped();
  const std::uint8_t* const at = buffer_.get() + begin_;
  Received head;
  rule = Message::checkHeader(at, declared, head.header);
  if (rule) return;
  if (!isTooLarge && senderOf(at, head.header) == DRIVER_NAME) throw std::bad_alloc();
  Message::Storage storage(declared.headerSize);
  std::memcpy(storage.data(), at, declared.headerSize);
  head.frame = {std::move(storage), 0, static_cast<std::uint32_t>(declared.headerSize)};
  // Nobody is to look for the body.
  head.header.bodyLength = 0;
  head.header.text(Message::Field::SIGNATURE) = {};
  head.discarded = declared.size;
  messages.push_back(std::move(head));
}

}  // namespace Quarnix::Bus::Internal
