// Checks names and texts. This happens to every header received and every text sent, so each check goes through the
// characters once and allocates nothing.
#include <platform/bus/message/internal/Names.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Rules.h>
#include <platform/core/internal/Hexadecimal.h>
#include <platform/core/internal/Utf8.h>

namespace Quarnix::Bus::Message {

namespace {

// The classes of characters. Each is a bit, so that several characters are checked together.
constexpr std::uint8_t LETTER = 1;          // or '_'
constexpr std::uint8_t LETTER_OR_DASH = 2;  // the same, or '-'
constexpr std::uint8_t WORD = 4;            // or a digit
constexpr std::uint8_t WORD_OR_DASH = 8;

constexpr std::array<std::uint8_t, 256> makeClasses() {
  std::array<std::uint8_t, 256> classes{};
  constexpr std::uint8_t EACH = LETTER | LETTER_OR_DASH | WORD | WORD_OR_DASH;
  for (unsigned c = 'a'; c <= 'z'; ++c) classes[c] = classes[c - 'a' + 'A'] = EACH;
  for (unsigned c = '0'; c <= '9'; ++c) classes[c] = WORD | WORD_OR_DASH;
  classes['_'] = EACH;
  classes['-'] = LETTER_OR_DASH | WORD_OR_DASH;
  return classes;
}

constexpr std::array<std::uint8_t, 256> CLASSES = makeClasses();

constexpr unsigned classOf(char character) noexcept { return CLASSES[static_cast<unsigned char>(character)]; }

// How many elements `text` has, which `separator` joins and none of which is empty; 0 if it is not of that form.
std::size_t countElements(std::string_view text, char separator, unsigned first, unsigned others) noexcept {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t elements = 1;; ++elements) {
    if (at == end || !(classOf(*at) & first)) return 0;
    ++at;
    while (end - at >= 4 && (classOf(at[0]) & classOf(at[1]) & classOf(at[2]) & classOf(at[3]) & others)) at += 4;
    while (at != end && (classOf(*at) & others)) ++at;
    if (at == end) return elements;
    if (*at++ != separator) return 0;
  }
}

bool isDotted(std::string_view text, unsigned first, unsigned others) noexcept {
  return text.size() <= MAXIMUM_NAME_LENGTH && countElements(text, '.', first, others) >= 2;
}

// Whether the 8 bytes at `at` are ASCII without NUL. A byte of 0x80 or more has its high bit set, and the subtraction
// sets that of a NUL.
bool isPlain(const unsigned char* at) noexcept {
  std::uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return (((word - 0x0101010101010101U) | word) & 0x8080808080808080U) == 0;
}

// The value as an error message shows it: on one line, printable and not endless.
std::string printable(std::string_view value) {
  constexpr std::size_t LONGEST = 300;
  std::string shown;
  for (const char character : value.substr(0, LONGEST)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte < 0x7f) {
      shown += character;
    } else {
      shown += "\\x";
      appendHexadecimal(shown, {&byte, 1});
    }
  }
  if (value.size() > LONGEST) shown += "... (" + std::to_string(value.size()) + " bytes)";
  return shown;
}

}  // namespace

const char* checkPath(std::string_view text) noexcept {
  if (text.empty() || text[0] != '/') return Rules::PATH;
  if (text.size() == 1) return nullptr;
  constexpr unsigned ALLOWED = WORD;
  return countElements(text.substr(1), '/', ALLOWED, ALLOWED) ? nullptr : Rules::PATH;
}

const char* checkMessagePath(std::string_view text) noexcept {
  return text.starts_with(RESERVED_PATH) ? Rules::RESERVED_PATH : checkPath(text);
}

const char* checkInterface(std::string_view text) noexcept {
  if (text.starts_with(RESERVED_INTERFACE)) return Rules::RESERVED_INTERFACE;
  return isDotted(text, LETTER, WORD) ? nullptr : Rules::INTERFACE;
}

const char* checkMember(std::string_view text) noexcept {
  const bool valid = text.size() <= MAXIMUM_NAME_LENGTH && countElements(text, '.', LETTER, WORD) == 1;
  return valid ? nullptr : Rules::MEMBER;
}

const char* checkErrorName(std::string_view text) noexcept {
  return isDotted(text, LETTER, WORD) ? nullptr : Rules::ERROR_NAME;
}

const char* checkBusName(std::string_view text) noexcept {
  if (text.size() > MAXIMUM_NAME_LENGTH) return Rules::BUS_NAME;
  constexpr unsigned ALLOWED = WORD_OR_DASH;
  if (!text.starts_with(':')) return isDotted(text, LETTER_OR_DASH, ALLOWED) ? nullptr : Rules::BUS_NAME;
  // A bus may make any unique names. libdbus checks no more than this, and lets the first element be empty.
  text.remove_prefix(1);
  if (text.empty()) return nullptr;
  if (text[0] == '.') text.remove_prefix(1);
  return countElements(text, '.', ALLOWED, ALLOWED) ? nullptr : Rules::BUS_NAME;
}

const char* checkText(std::string_view text) noexcept {
  const auto* at = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = at + text.size();
  for (;;) {
    while (end - at >= 8 && isPlain(at)) at += 8;
    // A rest of less than 8 bytes is checked together with the bytes before it.
    if (end - at < 8 && text.size() >= 8 && isPlain(end - 8)) return nullptr;
    if (at == end) return nullptr;
    if (*at == 0) return Rules::TEXT_NUL;
    const std::size_t length =
        Utf8::lengthOfFirst({reinterpret_cast<const char*>(at), static_cast<std::size_t>(end - at)});
    if (length == 0) return Rules::TEXT_UTF8;
    at += length;
  }
}

void require(const char* rule, const char* what, std::string_view value) {
  if (!rule) return;
  throw InvalidArgument(std::string(what) + " '" + printable(value) + "': expected " + rule);
}

}  // namespace Quarnix::Bus::Message
