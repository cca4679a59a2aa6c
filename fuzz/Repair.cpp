// Walks a message and its signature side by side, and corrects lengths, names, signatures and padding.
#include <fuzz/Repair.h>

#include <algorithm>
#include <cstring>

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Fuzz {

using namespace Bus::Message;

namespace {

constexpr int DEEPEST = MAXIMUM_DEPTH + 2;  // includes depths that are just too large
constexpr char BASIC[] = "ybnqiuxtdsog";

std::string_view textAt(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

std::string randomType(Random& random, int depth) {
  const auto choice = random() % 16;
  const auto basic = [&random] { return std::string(1, BASIC[random() % (sizeof BASIC - 1)]); };
  if (depth > 6 || choice < 8) return basic();
  if (choice < 10) return "v";
  if (choice < 12) return 'a' + randomType(random, depth + 1);
  if (choice < 13) return "a{" + basic() + randomType(random, depth + 1) + '}';
  std::string members;
  do members += randomType(random, depth + 1);
  while (random() % 3);
  return '(' + members + ')';
}

Repair::Repair(std::uint8_t* bytes, std::size_t size, std::size_t room, Random& random)
    : bytes_(bytes), size_(size), room_(room), random_(random) {
  std::memset(bytes + size, 0, room - size);
}

std::size_t Repair::message() try {
  take(FIXED_HEADER_SIZE);
  if (bytes_[0] != 'l' && bytes_[0] != 'B') bytes_[0] = 'l';
  isBig_ = bytes_[0] == 'B';
  bytes_[3] = 1;
  if (word(8) == 0) setWord(8, 1);
  const std::size_t end = fields();
  setWord(12, static_cast<std::uint32_t>(end - FIXED_HEADER_SIZE));
  align(8);
  const std::size_t begin = at_;
  values(types_, 0);
  setWord(4, static_cast<std::uint32_t>(at_ - begin));
  return at_;
} catch (const Full&) {
  return 0;
}

std::size_t Repair::body(std::string_view types, bool isBig) try {
  isBig_ = isBig;
  values(types, 0);
  return at_;
} catch (const Full&) {
  return 0;
}

std::size_t Repair::fields() {
  const std::size_t end = at_ + clamp(word(12));
  unsigned present = 0;
  std::size_t last = at_;
  while (at_ < end) {
    align(8);
    const std::size_t begin = at_;
    take(1);
    variant(2);
    field(begin, present);
    last = at_;
  }
  const auto has = [present](Field field) { return (present >> static_cast<unsigned>(field)) & 1; };
  const bool call = has(Field::PATH) && has(Field::MEMBER), reply = has(Field::REPLY_SERIAL);
  const bool fits[] = {false, call, reply, reply && has(Field::ERROR_NAME), call && has(Field::INTERFACE)};
  std::uint8_t& type = bytes_[1];
  if (type < std::size(fits) && !fits[type]) type = call ? 1 : reply ? 2 : 5;
  return last;
}

/// An invalid or repeated field gets an unknown code, which readers ignore.
void Repair::field(std::size_t begin, unsigned& present) {
  static constexpr char TYPES[] = " osssussguo";
  std::uint8_t& code = bytes_[begin];
  const bool isKnown = code < sizeof TYPES - 1;
  if (!isKnown) return;
  if (code == 0 || bytes_[begin + 1] != 1 || bytes_[begin + 2] != static_cast<std::uint8_t>(TYPES[code]) ||
      ((present >> code) & 1)) {
    code = static_cast<std::uint8_t>(code + 200);
    return;
  }
  const auto field = static_cast<Field>(code);
  std::string_view text;
  if (field == Field::SIGNATURE) {
    text = textAt(bytes_ + begin + 5, bytes_[begin + 4]);
    types_ = text;
  } else if (TYPES[code] != 'u') {
    text = textAt(bytes_ + begin + 8, word(begin + 4));
  }
  bool valid = true;
  if (field == Field::PATH) valid = !checkMessagePath(text);
  if (field == Field::INTERFACE) valid = !checkInterface(text);
  if (field == Field::MEMBER) valid = !checkMember(text);
  if (field == Field::ERROR_NAME) valid = !checkErrorName(text);
  if (field == Field::DESTINATION || field == Field::SENDER) valid = !checkBusName(text);
  if (field == Field::REPLY_SERIAL) valid = word(begin + 4) != 0;
  if (field == Field::UNIX_FDS) valid = word(begin + 4) == 0;
  if (valid) {
    present |= 1u << code;
  } else {
    code = static_cast<std::uint8_t>(code + 200);
  }
}

void Repair::values(std::string_view types, int levels) {
  for (const char* type = types.data(); type != types.data() + types.size();) type = value(type, levels);
}

const char* Repair::value(const char* type, int levels) {
  const char* const next = skipType(type);
  if (const std::size_t size = fixedSizeOf(*type)) {
    align(size);
    take(size);
    if (*type == 'b') setWord(at_ - 4, word(at_ - 4) & 1);
    return next;
  }
  switch (*type) {
    case 's':
    case 'o':
      text(*type == 'o');
      break;
    case 'g': {
      take(1);
      std::size_t length = clamp(bytes_[at_ - 1]);
      if (checkSignature(textAt(bytes_ + at_, length))) length = 0;
      bytes_[at_ - 1] = static_cast<std::uint8_t>(length);
      take(length + 1);
      bytes_[at_ - 1] = 0;
      break;
    }
    case 'v':
      variant(levels);
      break;
    case 'a':
      array(type + 1, levels);
      break;
    default:
      align(8);
      values({type + 1, static_cast<std::size_t>(next - type - 2)}, levels + 1);
  }
  return next;
}

void Repair::array(const char* element, int levels) {
  align(4);
  take(4);
  const std::size_t lengthAt = at_ - 4;
  align(alignmentOf(*element));
  const std::size_t first = at_;
  const std::size_t end = at_ + (levels > DEEPEST ? 0 : clamp(word(lengthAt)));
  while (at_ < end) value(element, levels + 1);
  setWord(lengthAt, static_cast<std::uint32_t>(at_ - first));
}

void Repair::variant(int levels) {
  take(1);
  const std::size_t lengthAt = at_ - 1;
  std::string types(textAt(bytes_ + at_, clamp(bytes_[lengthAt])));
  if (levels > DEEPEST) types = "y";
  if (checkSingleType(types)) types = randomType(random_);
  bytes_[lengthAt] = static_cast<std::uint8_t>(types.size());
  take(types.size() + 1);
  std::memcpy(bytes_ + lengthAt + 1, types.c_str(), types.size() + 1);
  values(types, levels + 1);
}

void Repair::text(bool isPath) {
  align(4);
  take(4);
  const std::size_t lengthAt = at_ - 4;
  std::size_t length = clamp(word(lengthAt));
  if (isPath) length = std::max<std::size_t>(length, 1);
  setWord(lengthAt, static_cast<std::uint32_t>(length));
  take(length + 1);
  std::uint8_t* const begin = bytes_ + lengthAt + 4;
  begin[length] = 0;
  const std::string_view written = textAt(begin, length);
  if (!(isPath ? checkPath(written) : checkText(written))) return;
  for (std::size_t i = 0; i < length; ++i) begin[i] = static_cast<std::uint8_t>(isPath ? 'a' : begin[i] % 127 + 1);
  if (isPath) begin[0] = '/';
}

void Repair::align(std::size_t alignment) {
  while (at_ % alignment) {
    take(1);
    bytes_[at_ - 1] = 0;
  }
}

void Repair::take(std::size_t count) {
  if (count > room_ - at_) throw Full();
  at_ += count;
}

std::uint32_t Repair::word(std::size_t at) const {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(bytes_[at + i]) << (8 * (isBig_ ? 3 - i : i));
  return value;
}

void Repair::setWord(std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) bytes_[at + i] = static_cast<std::uint8_t>(value >> (8 * (isBig_ ? 3 - i : i)));
}

}  // namespace Quarnix::Fuzz
