// The check of received messages: one pass over the bytes, without recursion or allocation, in a version for each byte
// order. Nothing here builds values; reading them is ConstIterator's.
#include <platform/bus/message/Codec.h>

#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include <platform/bus/message/Limits.h>
#include <platform/bus/message/Names.h>
#include <platform/bus/message/Rules.h>
#include <platform/bus/message/Signature.h>

namespace Quarnix::Bus::Message {

namespace {

constexpr bool IS_LITTLE = std::endian::native == std::endian::little;

// What the main loop needs to know of a type code without branching on it; aligned so that one load fetches it.
struct alignas(4) Facts {
  std::uint8_t alignMask = 0;
  std::uint8_t size = 0;  // of a fixed-size value, or of the length in front of any other
  bool isWhole = false;   // every such value is valid and ends behind `size`
};

// Closing brackets keep the zeros: they take no bytes.
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

// Whether the padding from `from` up to `to`, at most 7 bytes, is zero. It is looked at as the end of the 8 bytes
// before `to`, which are always there: the fixed header stands in front.
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

// A container whose end is not written in the signature: an array or a variant.
struct Frame {
  const char* element;    // an array's element type; null for a variant
  const char* next;       // where the signature goes on behind the container
  const char* outerStop;  // the outer container's
  std::size_t outerLimit;
};

// Walks values in step with their signature, which is well formed. Null when values of `types` stand from `position` on
// and end by `limit`; `position` is then behind them. `levels` is how many containers they stand in, `outside` the rule
// for a value that does not end by `limit`.
template <bool Swapped>
const char* checkValues(const std::uint8_t* const message, std::size_t& position, std::size_t limit,
                        std::string_view types, int levels, const char* outside) noexcept {
  // Every frame is a level.
  std::array<Frame, MAXIMUM_DEPTH> frames;
  std::size_t open = 0;
  std::size_t at = position;
  const char* signature = types.data();
  const char* stop = signature + types.size();
  int arrays = 0;

  for (;;) {
    if (signature == stop) {
      if (open == 0) break;
      const Frame& frame = frames[open - 1];
      if (frame.element && at < limit) {
        signature = frame.element;
        continue;
      }
      // No value passes the limit, so an array that does not go on has ended exactly there.
      if (frame.element) --arrays;
      --levels;
      signature = frame.next;
      stop = frame.outerStop;
      limit = frame.outerLimit;
      --open;
      continue;
    }

    const char code = *signature++;
    const Facts facts = FACTS[static_cast<unsigned char>(code)];
    const std::size_t begin = alignUp(at, facts.alignMask);
    const std::size_t end = begin + facts.size;
    if (end > limit) return arrays ? Rules::ARRAY_END : outside;
    if (!isZero(message, at, begin)) return Rules::PADDING;
    at = end;
    if (facts.isWhole) continue;

    switch (code) {
      case 'b':
        if (load<Swapped>(message + begin) > 1) return Rules::BOOLEAN;
        break;
      case 's':
      case 'o': {
        const std::size_t length = load<Swapped>(message + begin);
        if (length >= limit - at) return Rules::TEXT_INSIDE;
        if (message[at + length] != 0) return Rules::TEXT_END;
        const std::string_view text = textAt(message, at, length);
        if (const char* rule = code == 's' ? checkText(text) : checkPath(text)) return rule;
        at += length + 1;
        break;
      }
      case 'g':
      case 'v': {
        const std::size_t length = message[begin];
        if (length >= limit - at) return Rules::SIGNATURE_INSIDE;
        if (message[at + length] != 0) return Rules::SIGNATURE_NUL;
        const std::string_view text = textAt(message, at, length);
        at += length + 1;
        if (code == 'g') {
          if (const char* rule = checkSignature(text)) return rule;
          break;
        }
        if (++levels > MAXIMUM_DEPTH) return Rules::DEPTH;
        if (const char* rule = checkSingleType(text)) return rule;
        frames[open++] = {nullptr, signature, stop, limit};
        signature = text.data();
        stop = signature + length;
        break;
      }
      case 'a': {
        const std::size_t length = load<Swapped>(message + begin);
        const char element = *signature;
        const Facts elementFacts = FACTS[static_cast<unsigned char>(element)];
        const std::size_t first = alignUp(at, elementFacts.alignMask);
        if (length > MAXIMUM_ARRAY_SIZE) return Rules::ARRAY_LENGTH;
        if (first + length > limit) return Rules::ARRAY_INSIDE;
        if (!isZero(message, at, first)) return Rules::PADDING;
        at = first;
        if (fixedSizeOf(element)) {
          if (length & (elementFacts.size - 1U)) return Rules::ARRAY_MULTIPLE;
          if (element == 'b' && !areBooleans<Swapped>(message + at, length)) return Rules::BOOLEAN;
          if (element == 'h' && length) return Rules::FILE_DESCRIPTORS;
          at += length;
          ++signature;
          break;
        }
        const char* const next = skipType(signature);
        if (length == 0) {
          signature = next;
          break;
        }
        if (++levels > MAXIMUM_DEPTH) return Rules::DEPTH;
        ++arrays;
        frames[open++] = {signature, next, stop, limit};
        limit = at + length;
        stop = next;
        break;
      }
      case '(':
      case '{':
        if (++levels > MAXIMUM_DEPTH) return Rules::DEPTH;
        break;
      case ')':
      case '}':
        --levels;
        break;
      default:
        return Rules::FILE_DESCRIPTORS;
    }
  }
  position = at;
  return nullptr;
}

constexpr unsigned bitOf(Field field) noexcept { return 1U << static_cast<unsigned>(field); }

// The type of each known header field, by its code. The last is what libdbus knows beyond ours, the sender's container.
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

// Takes the checked value of a known field, which ends at `end` and begins at its alignment behind `from`.
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
  // What holds a field's value: the array of the fields, the field's structure and its variant.
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
  header = Header{};
  header.type = message[1];
  header.flags = message[2];
  header.swapped = Swapped;
  header.bodyLength = load<Swapped>(message + 4);
  header.serial = load<Swapped>(message + 8);
}

template <bool Swapped>
const char* checkMessage(const std::uint8_t* message, std::size_t size, Header& header) noexcept {
  readFixedHeader<Swapped>(message, header);
  header.bodyOffset = static_cast<std::uint32_t>(size - header.bodyLength);
  const std::size_t fieldsEnd = FIXED_HEADER_SIZE + load<Swapped>(message + 12);
  if (const char* rule = checkFields<Swapped>(message, fieldsEnd, header)) return rule;
  if (!isZero(message, fieldsEnd, header.bodyOffset)) return Rules::HEADER_PADDING;

  const Header::Text signature = header.text(Field::SIGNATURE);
  if (signature.offset == 0) return header.bodyLength ? Rules::BODY_SIGNATURE : nullptr;
  std::size_t at = header.bodyOffset;
  const std::string_view types = textAt(message, signature.offset, signature.length);
  if (const char* rule = checkValues<Swapped>(message, at, size, types, 0, Rules::BODY_LENGTH)) return rule;
  return at == size ? nullptr : Rules::BODY_LENGTH;
}

bool isSwapped(const std::uint8_t* message) noexcept { return message[0] != (IS_LITTLE ? 'l' : 'B'); }

}  // namespace

DeclaredSize declaredSize(const std::uint8_t* fixedHeader) noexcept {
  if (fixedHeader[0] != 'l' && fixedHeader[0] != 'B') return {0, Rules::ENDIANNESS};
  if (fixedHeader[1] == 0) return {0, Rules::TYPE};
  if (fixedHeader[3] != 1) return {0, Rules::VERSION};
  const auto word = isSwapped(fixedHeader) ? load<true> : load<false>;
  if (word(fixedHeader + 8) == 0) return {0, Rules::SERIAL};
  const std::uint64_t fields = word(fixedHeader + 12);
  if (fields > MAXIMUM_ARRAY_SIZE) return {0, Rules::FIELDS_SIZE};
  const std::uint64_t size = ((FIXED_HEADER_SIZE + fields + 7) & ~std::uint64_t{7}) + word(fixedHeader + 4);
  if (size > MAXIMUM_MESSAGE_SIZE) return {0, Rules::MESSAGE_SIZE};
  return {static_cast<std::size_t>(size), nullptr};
}

const char* check(const std::uint8_t* message, std::size_t size, Header& header) noexcept {
  if (size < FIXED_HEADER_SIZE) return Rules::DECLARED_SIZE;
  const DeclaredSize declared = declaredSize(message);
  if (declared.rule) return declared.rule;
  if (declared.size != size) return Rules::DECLARED_SIZE;
  return isSwapped(message) ? checkMessage<true>(message, size, header) : checkMessage<false>(message, size, header);
}

void readTrustedHeader(const std::uint8_t* message, std::size_t size, Header& header) noexcept {
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
