// Checks received messages in one pass over the bytes, without recursion or allocation. There is a version for each
// byte order. ConstIterator reads the values. It is one piece of 500 lines, because the pass is fast only if the
// compiler sees all of it: header, values and body.
#include <platform/bus/message/internal/Check.h>

#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/Rules.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Bus::Message {

namespace {

constexpr bool IS_LITTLE = std::endian::native == std::endian::little;

// What the main loop needs to know about a type code. It is aligned, so that one load fetches it.
struct alignas(4) Facts {
  std::uint8_t alignMask = 0;
  std::uint8_t size = 0;  // of a value of fixed size; for any other, of the length before it
  bool isWhole = false;   // every such value is valid and ends behind `size`
};

// Closing brackets keep the zeros, because they take no bytes.
constexpr std::array<Facts, 128> makeFacts() {
  std::array<Facts, 128> facts{};
  for (const char code : std::string_view("ybnqiuxtdhsoga({v")) {
    const std::size_t fixed = fixedSizeOf(code);
    const bool isBracket = code == '(' || code == '{';
    const std::size_t length = code == 'g' || code == 'v' ? 1 : 4;
    Facts& entry = facts[static_cast<unsigned char>(code)];
    entry.alignMask = static_cast<std::uint8_t>(alignmentOf(code) - 1);
    entry.size = static_cast<std::uint8_t>(fixed ? fixed : isBracket ? 0 : length);
    entry.isWhole = fixed && code != 'b' && code != 'h';
  }
  return facts;
}

constexpr std::array<Facts, 128> FACTS = makeFacts();

template <bool Swapped>
std::uint32_t load(const std::uint8_t* from) noexcept {
  std::uint32_t value;
  std::memcpy(&value, from, sizeof value);
  return Swapped ? __builtin_bswap32(value) : value;
}

constexpr std::size_t alignUp(std::size_t position, std::size_t mask) noexcept { return (position + mask) & ~mask; }

// Whether the padding from `from` up to `to`, at most 7 bytes, is zero. It is the end of the 8 bytes before `to`, which
// are always there because the fixed header comes first.
bool isZero(const std::uint8_t* message, std::size_t from, std::size_t to) noexcept {
  if (from == to) return true;
  std::uint64_t word;
  std::memcpy(&word, message + to - sizeof word, sizeof word);
  const std::size_t others = 8 * (sizeof word - (to - from));
  return (IS_LITTLE ? word >> others : word << others) == 0;
}

std::string_view textAt(const std::uint8_t* message, std::size_t position, std::size_t length) noexcept {
  return {reinterpret_cast<const char*>(message + position), length};
}

template <bool Swapped>
bool areBooleans(const std::uint8_t* from, std::size_t size) noexcept {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < size; i += sizeof bits) bits |= load<Swapped>(from + i);
  return bits <= 1;
}

// Walks the values together with their signature, which is well formed. Arrays and variants go on a stack, because the
// signature does not tell where they end. Each function returns null or the rule that is broken.
template <bool Swapped>
class Walk {
 public:
  // The values are inside `levels` containers and end by `limit`; a value that does not breaks the rule `outside`.
  Walk(const std::uint8_t* message, std::size_t begin, std::size_t limit, int levels, const char* outside) noexcept
      : message_(message), at_(begin), limit_(limit), levels_(levels), outside_(outside) {}

  // Checks that values of `types` stand here, and steps over them.
  const char* check(std::string_view types) noexcept {
    signature_ = types.data();
    stop_ = signature_ + types.size();
    for (;;) {
      if (signature_ == stop_) {
        if (open_ == 0) return nullptr;
        endContents();
        continue;
      }
      const char code = *signature_++;
      const Facts facts = FACTS[static_cast<unsigned char>(code)];
      const std::size_t begin = alignUp(at_, facts.alignMask);
      const std::size_t end = begin + facts.size;
      if (end > limit_) return arrays_ ? Rules::ARRAY_END : outside_;
      if (!isZero(message_, at_, begin)) return Rules::PADDING;
      at_ = end;
      if (facts.isWhole) continue;
      if (const char* rule = checkRest(code, begin)) return rule;
    }
  }

  std::size_t position() const noexcept { return at_; }

 private:
  struct Container {
    const char* element;    // an array's element type; null for a variant
    const char* next;       // where the signature goes on behind the container
    const char* outerStop;  // the outer container's
    std::size_t outerLimit;
  };

  // Checks the rest of a value, whose size or length stands at `begin`, and steps over the value or into it.
  const char* checkRest(char code, std::size_t begin) noexcept {
    switch (code) {
      case 'b':
        return load<Swapped>(message_ + begin) > 1 ? Rules::BOOLEAN : nullptr;
      case 's':
        return checkText(begin, Message::checkText);
      case 'o':
        return checkText(begin, checkPath);
      case 'g':
        return checkSignature(begin);
      case 'v':
        return enterVariant(begin);
      case 'a':
        return enterArray(begin);
      case '(':
      case '{':
        return ++levels_ > MAXIMUM_DEPTH ? Rules::DEPTH : nullptr;
      case ')':
      case '}':
        --levels_;
        return nullptr;
      default:
        return Rules::FILE_DESCRIPTORS;
    }
  }

  template <class Check>
  const char* checkText(std::size_t begin, const Check& checkCharacters) noexcept {
    const std::size_t length = load<Swapped>(message_ + begin);
    if (length >= limit_ - at_) return Rules::TEXT_INSIDE;
    if (message_[at_ + length] != 0) return Rules::TEXT_END;
    if (const char* rule = checkCharacters(textAt(message_, at_, length))) return rule;
    at_ += length + 1;
    return nullptr;
  }

  // Steps over the signature whose length stands at `begin`.
  const char* takeSignature(std::size_t begin, std::string_view& signature) noexcept {
    const std::size_t length = message_[begin];
    if (length >= limit_ - at_) return Rules::SIGNATURE_INSIDE;
    if (message_[at_ + length] != 0) return Rules::SIGNATURE_NUL;
    signature = textAt(message_, at_, length);
    at_ += length + 1;
    return nullptr;
  }

  const char* checkSignature(std::size_t begin) noexcept {
    std::string_view signature;
    if (const char* rule = takeSignature(begin, signature)) return rule;
    return Message::checkSignature(signature);
  }

  const char* enterVariant(std::size_t begin) noexcept {
    std::string_view contents;
    if (const char* rule = takeSignature(begin, contents)) return rule;
    if (++levels_ > MAXIMUM_DEPTH) return Rules::DEPTH;
    if (const char* rule = checkSingleType(contents)) return rule;
    open(nullptr, contents.data(), contents.data() + contents.size(), signature_, limit_);
    return nullptr;
  }

  const char* enterArray(std::size_t begin) noexcept {
    const std::size_t length = load<Swapped>(message_ + begin);
    const char element = *signature_;
    const Facts facts = FACTS[static_cast<unsigned char>(element)];
    const std::size_t first = alignUp(at_, facts.alignMask);
    if (length > MAXIMUM_ARRAY_SIZE) return Rules::ARRAY_LENGTH;
    if (first + length > limit_) return Rules::ARRAY_INSIDE;
    if (!isZero(message_, at_, first)) return Rules::PADDING;
    at_ = first;
    if (fixedSizeOf(element)) return checkNumbers(element, facts.size, length);
    const char* const next = skipType(signature_);
    if (length == 0) {
      signature_ = next;
      return nullptr;
    }
    if (++levels_ > MAXIMUM_DEPTH) return Rules::DEPTH;
    ++arrays_;
    open(signature_, signature_, next, next, at_ + length);
    return nullptr;
  }

  // The elements of an array of a fixed-size type are checked together.
  const char* checkNumbers(char element, std::size_t size, std::size_t length) noexcept {
    if (length & (size - 1U)) return Rules::ARRAY_MULTIPLE;
    if (element == 'b' && !areBooleans<Swapped>(message_ + at_, length)) return Rules::BOOLEAN;
    if (element == 'h' && length) return Rules::FILE_DESCRIPTORS;
    at_ += length;
    ++signature_;
    return nullptr;
  }

  // Enters a container. The signature of its contents is from `signature` to `stop`, and they end by `limit`.
  void open(const char* element, const char* signature, const char* stop, const char* next,
            std::size_t limit) noexcept {
    containers_[open_++] = {element, next, stop_, limit_};
    signature_ = signature;
    stop_ = stop;
    limit_ = limit;
  }

  // Goes to the array's next element, or out of the container.
  void endContents() noexcept {
    const Container& container = containers_[open_ - 1];
    if (container.element && at_ < limit_) {
      signature_ = container.element;
      return;
    }
    // No value passes the limit, so an array that does not go on ends exactly there.
    if (container.element) --arrays_;
    --levels_;
    signature_ = container.next;
    stop_ = container.outerStop;
    limit_ = container.outerLimit;
    --open_;
  }

  const std::uint8_t* const message_;
  std::size_t at_;
  std::size_t limit_;  // of the innermost container
  const char* signature_ = nullptr;
  const char* stop_ = nullptr;
  int levels_;
  int arrays_ = 0;
  const char* const outside_;
  std::size_t open_ = 0;
  std::array<Container, MAXIMUM_DEPTH> containers_;  // each is a level
};

// Null if values of `types` stand from `position` on and end by `limit`. `position` is then behind them.
template <bool Swapped>
const char* checkValues(const std::uint8_t* message, std::size_t& position, std::size_t limit, std::string_view types,
                        int levels, const char* outside) noexcept {
  Walk<Swapped> walk(message, position, limit, levels, outside);
  const char* const rule = walk.check(types);
  position = walk.position();
  return rule;
}

constexpr unsigned bitOf(Field field) noexcept { return 1U << static_cast<unsigned>(field); }

// The type of each known header field, by its code. Only libdbus uses the last one, the sender's container.
constexpr std::array<char, 11> FIELD_TYPES = {0, 'o', 's', 's', 's', 'u', 's', 's', 'g', 'u', 'o'};

const char* checkRequiredFields(std::uint8_t type, unsigned present) noexcept {
  constexpr unsigned PATH = bitOf(Field::PATH);
  constexpr unsigned INTERFACE = bitOf(Field::INTERFACE);
  constexpr unsigned MEMBER = bitOf(Field::MEMBER);
  constexpr unsigned ERROR_NAME = bitOf(Field::ERROR_NAME);
  constexpr unsigned REPLY_SERIAL = bitOf(Field::REPLY_SERIAL);
  const auto lacks = [present](unsigned fields) { return (present & fields) != fields; };
  switch (static_cast<Type>(type)) {
    case Type::METHOD_CALL:
      return lacks(PATH | MEMBER) ? Rules::CALL_FIELDS : nullptr;
    case Type::METHOD_RETURN:
      return lacks(REPLY_SERIAL) ? Rules::RETURN_FIELDS : nullptr;
    case Type::ERROR:
      return lacks(ERROR_NAME | REPLY_SERIAL) ? Rules::ERROR_FIELDS : nullptr;
    case Type::SIGNAL:
      return lacks(PATH | INTERFACE | MEMBER) ? Rules::SIGNAL_FIELDS : nullptr;
    default:
      return nullptr;
  }
}

const char* checkFieldText(Field field, std::string_view text) noexcept {
  switch (field) {
    case Field::PATH:
      return text.starts_with(RESERVED_PATH) ? Rules::RESERVED_PATH : nullptr;
    case Field::INTERFACE:
      return checkInterface(text);
    case Field::MEMBER:
      return checkMember(text);
    case Field::ERROR_NAME:
      return checkErrorName(text);
    case Field::DESTINATION:
    case Field::SENDER:
      return checkBusName(text);
    default:
      return nullptr;
  }
}

// Takes the checked value of a known field. It ends at `end` and begins behind `from`, at its alignment.
template <bool Swapped>
const char* takeField(const std::uint8_t* message, std::size_t code, std::size_t from, std::size_t end,
                      Header& header) noexcept {
  const auto field = static_cast<Field>(code);
  const Facts facts = FACTS[static_cast<unsigned char>(FIELD_TYPES[code])];
  const std::size_t begin = alignUp(from, facts.alignMask);
  if (facts.isWhole) {
    const std::uint32_t value = load<Swapped>(message + begin);
    if (field == Field::UNIX_FDS) return value ? Rules::FILE_DESCRIPTORS : nullptr;
    header.replySerial = value;
    header.text(field).offset = static_cast<std::uint32_t>(begin);
    return value ? nullptr : Rules::REPLY_SERIAL;
  }
  if (code >= header.texts.size()) return nullptr;
  const std::size_t offset = begin + facts.size;
  const std::size_t length = end - 1 - offset;
  header.text(field) = {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(length)};
  return checkFieldText(field, textAt(message, offset, length));
}

template <bool Swapped>
const char* checkFields(const std::uint8_t* message, std::size_t end, Header& header) noexcept {
  // A field's value is in the array of the fields, the field's structure and its variant.
  constexpr int LEVELS = 3;
  unsigned present = 0;
  std::size_t at = FIXED_HEADER_SIZE;
  while (at < end) {
    const std::size_t begin = alignUp(at, 7);
    // The field's code and its signature's length.
    if (begin + 2 > end) return Rules::FIELDS_END;
    if (!isZero(message, at, begin)) return Rules::PADDING;
    const std::size_t code = message[begin];
    if (code == 0) return Rules::FIELD_CODE;
    const std::size_t length = message[begin + 1];
    at = begin + 2;
    if (length >= end - at) return Rules::SIGNATURE_INSIDE;
    if (message[at + length] != 0) return Rules::SIGNATURE_NUL;
    const std::string_view signature = textAt(message, at, length);
    at += length + 1;
    const bool isKnown = code < FIELD_TYPES.size();
    if (isKnown) {
      if (length != 1 || signature[0] != FIELD_TYPES[code]) return Rules::FIELD_TYPE;
      if (present & (1U << code)) return Rules::FIELD_TWICE;
      present |= 1U << code;
    } else if (const char* rule = checkSingleType(signature)) {
      return rule;
    }
    const std::size_t value = at;
    if (const char* rule = checkValues<Swapped>(message, at, end, signature, LEVELS, Rules::FIELDS_END)) return rule;
    if (isKnown) {
      if (const char* rule = takeField<Swapped>(message, code, value, at, header)) return rule;
    }
  }
  return checkRequiredFields(header.type, present);
}

template <bool Swapped>
void readFixedHeader(const std::uint8_t* message, Header& header) noexcept {
  header.type = message[1];
  header.flags = message[2];
  header.swapped = Swapped;
  header.bodyLength = load<Swapped>(message + 4);
  header.serial = load<Swapped>(message + 8);
}

const char* checkBodyPresence(const Header& header) noexcept {
  const bool hasSignature = header.text(Field::SIGNATURE).offset != 0;
  return header.bodyLength && !hasSignature ? Rules::BODY_SIGNATURE : nullptr;
}

/// Reads what may differ between two headers with the same fields.
template <bool Swapped>
const char* readRepeated(const std::uint8_t* message, Header& header) noexcept {
  readFixedHeader<Swapped>(message, header);
  if (const std::uint32_t place = header.text(Field::REPLY_SERIAL).offset) {
    header.replySerial = load<Swapped>(message + place);
    if (header.replySerial == 0) return Rules::REPLY_SERIAL;
  }
  return checkBodyPresence(header);
}

template <bool Swapped>
const char* checkWholeHeader(const std::uint8_t* message, std::size_t headerSize, Header& header) noexcept {
  header = Header{};
  readFixedHeader<Swapped>(message, header);
  header.bodyOffset = static_cast<std::uint32_t>(headerSize);
  const std::size_t fieldsEnd = FIXED_HEADER_SIZE + load<Swapped>(message + 12);
  if (const char* rule = checkFields<Swapped>(message, fieldsEnd, header)) return rule;
  if (!isZero(message, fieldsEnd, header.bodyOffset)) return Rules::HEADER_PADDING;
  return checkBodyPresence(header);
}

/// Checks the values of the body. The header has passed its check.
template <bool Swapped>
const char* checkBody(const std::uint8_t* message, std::size_t size, const Header& header) noexcept {
  const Header::Text signature = header.text(Field::SIGNATURE);
  if (signature.offset == 0) return nullptr;
  std::size_t at = header.bodyOffset;
  const std::string_view types = textAt(message, signature.offset, signature.length);
  if (const char* rule = checkValues<Swapped>(message, at, size, types, 0, Rules::BODY_LENGTH)) return rule;
  return at == size ? nullptr : Rules::BODY_LENGTH;
}

const char* checkBody(const std::uint8_t* message, std::size_t size, const Header& header) noexcept {
  return header.swapped ? checkBody<true>(message, size, header) : checkBody<false>(message, size, header);
}

/// Reads the declared size of a message of `size` bytes, and checks that it is that.
DeclaredSize checkSize(const std::uint8_t* message, std::size_t size) noexcept {
  if (size < FIXED_HEADER_SIZE) return {0, 0, Rules::DECLARED_SIZE};
  DeclaredSize declared = declaredSize(message);
  if (!declared.rule && declared.size != size) declared.rule = Rules::DECLARED_SIZE;
  return declared;
}

bool isSwapped(const std::uint8_t* message) noexcept { return message[0] != (IS_LITTLE ? 'l' : 'B'); }

}  // namespace

DeclaredSize declaredSize(const std::uint8_t* fixedHeader) noexcept {
  if (fixedHeader[0] != 'l' && fixedHeader[0] != 'B') return {0, 0, Rules::ENDIANNESS};
  if (fixedHeader[1] == 0) return {0, 0, Rules::TYPE};
  if (fixedHeader[3] != 1) return {0, 0, Rules::VERSION};
  const auto word = isSwapped(fixedHeader) ? load<true> : load<false>;
  if (word(fixedHeader + 8) == 0) return {0, 0, Rules::SERIAL};
  const std::uint64_t fields = word(fixedHeader + 12);
  if (fields > MAXIMUM_ARRAY_SIZE) return {0, 0, Rules::FIELDS_SIZE};
  const std::uint64_t headerSize = (FIXED_HEADER_SIZE + fields + 7) & ~std::uint64_t{7};
  const std::uint64_t size = headerSize + word(fixedHeader + 4);
  if (size > MAXIMUM_MESSAGE_SIZE) return {0, 0, Rules::MESSAGE_SIZE};
  return {static_cast<std::size_t>(size), static_cast<std::size_t>(headerSize), nullptr};
}

const char* check(const std::uint8_t* message, std::size_t size, Header& header) noexcept {
  const DeclaredSize declared = checkSize(message, size);
  if (declared.rule) return declared.rule;
  if (const char* rule = checkHeader(message, declared, header)) return rule;
  return checkBody(message, size, header);
}

bool Checker::Remembered::isRepeated(const std::uint8_t* message, std::size_t headerSize) const noexcept {
  if (size != headerSize || message[0] != bytes[0] || message[1] != bytes[1]) return false;
  const auto isSame = [&](std::size_t from, std::size_t to) {
    return std::memcmp(message + from, bytes.data() + from, to - from) == 0;
  };
  constexpr std::size_t FIELDS = FIXED_HEADER_SIZE - sizeof(std::uint32_t);  // their length, and then they themselves
  const std::size_t replySerial = header.text(Field::REPLY_SERIAL).offset;
  if (replySerial == 0) return isSame(FIELDS, size);
  return isSame(FIELDS, replySerial) && isSame(replySerial + sizeof(std::uint32_t), size);
}

const char* Checker::check(const std::uint8_t* message, std::size_t size, Header& header) noexcept {
  const DeclaredSize declared = checkSize(message, size);
  if (declared.rule) return declared.rule;
  const auto type = static_cast<Type>(message[1]);
  Remembered& last = type == Type::METHOD_RETURN || type == Type::ERROR ? reply_ : other_;
  if (last.isRepeated(message, declared.headerSize)) {
    header = last.header;
    if (const char* rule = header.swapped ? readRepeated<true>(message, header) : readRepeated<false>(message, header))
      return rule;
  } else {
    if (const char* rule = checkHeader(message, declared, header)) return rule;
    if (declared.headerSize <= last.bytes.size()) {
      last.size = declared.headerSize;
      last.header = header;
      std::memcpy(last.bytes.data(), message, last.size);
    }
  }
  return checkBody(message, size, header);
}

const char* checkHeader(const std::uint8_t* message, const DeclaredSize& declared, Header& header) noexcept {
  return isSwapped(message) ? checkWholeHeader<true>(message, declared.headerSize, header)
                            : checkWholeHeader<false>(message, declared.headerSize, header);
}

void readTrustedHeader(const std::uint8_t* message, std::size_t size, Header& header) noexcept {
  header = Header{};
  readFixedHeader<false>(message, header);
  header.bodyOffset = static_cast<std::uint32_t>(size - header.bodyLength);
  const std::size_t end = FIXED_HEADER_SIZE + load<false>(message + 12);
  for (std::size_t at = FIXED_HEADER_SIZE; at < end;) {
    // Code, length of the signature, one type code, NUL, and the value, which is therefore aligned to 4.
    const std::size_t begin = alignUp(at, 7);
    const auto field = static_cast<Field>(message[begin]);
    at = begin + 4;
    if (field == Field::REPLY_SERIAL) {
      header.replySerial = load<false>(message + at);
      header.text(field).offset = static_cast<std::uint32_t>(at);
      at += 4;
      continue;
    }
    const bool isSignature = field == Field::SIGNATURE;
    const std::uint32_t length = isSignature ? message[at] : load<false>(message + at);
    at += isSignature ? 1 : 4;
    header.text(field) = {static_cast<std::uint32_t>(at), length};
    at += length + 1;
  }
}

}  // namespace Quarnix::Bus::Message
