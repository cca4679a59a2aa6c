// Reads a message's header, and seals a message for sending. docs/wire-format.md shows the bytes.
#include <platform/bus/message/Base.h>

#include <algorithm>
#include <bit>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Message {

Base::Base(Type type) noexcept : received_(false) { header_.type = static_cast<std::uint8_t>(type); }

Base::Base(Frame frame, const Header& header) noexcept : header_(header), received_(true), frameBegin_(frame.begin) {
  body_.begin = frame.begin + header.bodyOffset;
  body_.size = header.bodyLength;
  body_.storage = std::move(frame.storage);
}

Base::Base(const Base&) = default;
Base::Base(Base&&) noexcept = default;
Base& Base::operator=(const Base&) = default;
Base& Base::operator=(Base&&) noexcept = default;
Base::~Base() = default;

Iterator Base::begin() {
  if (received_) throw UnusableMessage("Appended to a message that was received");
  // Copies share their bytes, so a writer first makes its own copy.
  if (body_.storage.isShared()) body_.storage.grow(body_.storage.capacity(), body_.begin + body_.size);
  return Iterator(body_);
}

ConstIterator Base::begin() const noexcept {
  const std::uint8_t* at = body_.storage.data() + (body_.storage ? body_.begin : 0);
  return ConstIterator(at, at + body_.size, getSignature(), header_.swapped);
}

ConstIterator Base::end() const noexcept {
  const std::uint8_t* at = body_.storage.data() + (body_.storage ? body_.begin + body_.size : 0);
  return ConstIterator(at, at, "", header_.swapped);
}

const char* Base::getSignature() const noexcept { return received_ ? text(Field::SIGNATURE) : body_.signature.c_str(); }

const char* Base::text(Field field) const noexcept {
  const Header::Text& place = header_.text(field);
  if (place.length == 0) return "";
  return received_ ? reinterpret_cast<const char*>(body_.storage.data() + frameBegin_ + place.offset)
                   : texts_.data() + place.offset;
}

std::string_view Base::view(Field field) const noexcept { return {text(field), header_.text(field).length}; }

void Base::setText(Field field, std::string_view value) {
  if (received_) throw UnusableMessage("Changed a message that was received");
  header_.text(field) = {texts_.append(value), static_cast<std::uint32_t>(value.size())};
}

namespace {

constexpr std::size_t alignTo8(std::size_t size) noexcept { return (size + 7) & ~std::size_t{7}; }

}  // namespace

/// Counts the size of a header's fields, and writes them when `fields` is set; both go through the same list.
struct Base::FieldWriter {
  std::size_t size = 0;  // of the fields so far, which begin at a multiple of 8
  std::uint8_t* fields = nullptr;

  std::uint8_t* open(Field code, char type, std::size_t valueSize) {
    const std::size_t begin = alignTo8(size);
    std::uint8_t* at = nullptr;
    if (fields) {
      std::memset(fields + size, 0, begin - size);
      at = fields + begin;
      at[0] = static_cast<std::uint8_t>(code);
      at[1] = 1;
      at[2] = static_cast<std::uint8_t>(type);
      at[3] = 0;
      at += 4;
    }
    size = begin + 4 + valueSize;
    return at;
  }
  void text(Field code, char type, std::string_view value) {
    if (value.empty()) return;
    std::uint8_t* at = open(code, type, 4 + value.size() + 1);
    if (!at) return;
    const auto length = static_cast<std::uint32_t>(value.size());
    std::memcpy(at, &length, 4);
    std::memcpy(at + 4, value.data(), value.size());
    at[4 + value.size()] = 0;
  }
  void signature(std::string_view value) {
    if (value.empty()) return;
    std::uint8_t* at = open(Field::SIGNATURE, 'g', 1 + value.size() + 1);
    if (!at) return;
    *at++ = static_cast<std::uint8_t>(value.size());
    std::memcpy(at, value.data(), value.size());
    at[value.size()] = 0;
  }
  void number(Field code, std::uint32_t value) {
    if (value == 0) return;
    if (std::uint8_t* at = open(code, 'u', 4)) std::memcpy(at, &value, 4);
  }
};

Frame Base::seal(std::uint32_t serial, const Route& route) {
  if (received_) throw UnusableMessage("Sent a message that was received");
  if (body_.unusable) throw UnusableMessage("Sent a message that an earlier error left half written");
  if (body_.open) throw UnusableMessage("Sent a message in which a container is open");

  const bool call = header_.type == static_cast<std::uint8_t>(Type::METHOD_CALL);
  const bool signal = header_.type == static_cast<std::uint8_t>(Type::SIGNAL);
  const std::string_view path = header_.text(Field::PATH).length ? view(Field::PATH) : route.path;
  const std::string_view destination =
      header_.text(Field::DESTINATION).length ? view(Field::DESTINATION) : route.destination;
  if ((call || signal) && path.empty()) throw InvalidArgument("Message without an object path: expected one");
  if ((call || signal) && !header_.text(Field::MEMBER).length)
    throw InvalidArgument("Message without a member: expected one");

  const std::string_view interface = view(Field::INTERFACE), member = view(Field::MEMBER);
  const std::string_view errorName = view(Field::ERROR_NAME);
  const auto writeFields = [&](auto& writer) __attribute__((always_inline)) {
    if (call || signal) writer.text(Field::PATH, 'o', path);
    writer.text(Field::INTERFACE, 's', interface);
    writer.text(Field::MEMBER, 's', member);
    writer.text(Field::ERROR_NAME, 's', errorName);
    writer.number(Field::REPLY_SERIAL, header_.replySerial);
    writer.text(Field::DESTINATION, 's', destination);
    writer.text(Field::SENDER, 's', route.sender);
    writer.signature(body_.signature);
  };
  FieldWriter counter;
  writeFields(counter);
  const std::size_t headerSize = alignTo8(FIXED_HEADER_SIZE + counter.size);
  if (headerSize + body_.size > MAXIMUM_MESSAGE_SIZE)
    throw InvalidArgument("Message of " + std::to_string(headerSize + body_.size) + " bytes: expected at most " +
                          std::to_string(MAXIMUM_MESSAGE_SIZE));

  if (headerSize > body_.begin) {
    Storage larger(headerSize + body_.size);
    if (body_.size) std::memcpy(larger.data() + headerSize, body_.storage.data() + body_.begin, body_.size);
    body_.storage = std::move(larger);
    body_.begin = static_cast<std::uint32_t>(headerSize);
  } else if (body_.storage.isShared() || !body_.storage) {
    // The same message may have been sent before and still be leaving from these bytes.
    const std::uint32_t used = body_.storage ? body_.begin + body_.size : 0;
    body_.storage.grow(std::max<std::size_t>(body_.storage.capacity(), body_.begin + body_.size), used);
  }

  header_.serial = serial;
  const auto headerBegin = static_cast<std::uint32_t>(body_.begin - headerSize);
  std::uint8_t* at = body_.storage.data() + headerBegin;
  at[0] = std::endian::native == std::endian::little ? 'l' : 'B';
  at[1] = header_.type;
  at[2] = header_.flags;
  at[3] = 1;
  const auto fieldsSize = static_cast<std::uint32_t>(counter.size);
  std::memcpy(at + 4, &body_.size, 4);
  std::memcpy(at + 8, &serial, 4);
  std::memcpy(at + 12, &fieldsSize, 4);
  FieldWriter writer;
  writer.fields = at + FIXED_HEADER_SIZE;
  writeFields(writer);
  std::memset(writer.fields + writer.size, 0, headerSize - FIXED_HEADER_SIZE - writer.size);
  return {body_.storage, headerBegin, body_.begin + body_.size};
}

}  // namespace Quarnix::Bus::Message
