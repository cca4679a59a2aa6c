// Messages written by hand for the tests of the checks, in either byte order and as wrong as a test wants them. It
// shares no code with the library's writing of messages.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Quarnix::Bus::Message {

/// Bytes that are written by a script of words:
///
///     y1 q1 u1 t1   a number of 1, 2, 4, 8 bytes at its alignment; 0x prefix allowed
///     s:text        a string or path; g:au a signature, also that of a variant
///     |8            zeros up to a multiple of 8
///     [8 ... ]      an array of elements aligned to 8, its length filled in at the ']'
///     f2:s          the beginning of header field 2 of type s, its value comes next
class MessageBytes {
 public:
  /// A message with right lengths around these header fields and this body.
  MessageBytes(bool isBig, unsigned type, std::string_view fields, std::string_view body) : isBig_(isBig) {
    write(isBig ? "y66" : "y108").number(type, 1).write("y0 y1 u0 u7 u0").write(fields);
    set(12, static_cast<std::uint32_t>(size() - 16));
    const std::size_t begin = align(8).size();
    write(body).set(4, static_cast<std::uint32_t>(size() - begin));
  }

  MessageBytes& write(std::string_view script) {
    while (!script.empty()) {
      const std::size_t end = std::min(script.find(' '), script.size());
      writeWord(script[0], script.substr(1, end - 1));
      script.remove_prefix(std::min(end + 1, script.size()));
    }
    return *this;
  }
  MessageBytes& set(std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes_[at + (isBig_ ? 3 - i : i)] = static_cast<std::uint8_t>(value >> (8 * i));
    return *this;
  }
  std::uint8_t& operator[](std::size_t at) { return bytes_[at]; }
  const std::uint8_t* data() const { return bytes_.data(); }
  std::size_t size() const { return bytes_.size(); }

 private:
  static std::uint64_t parse(std::string_view digits) { return std::stoull(std::string(digits), nullptr, 0); }

  void writeWord(char kind, std::string_view rest) {
    if (const std::size_t power = std::string_view("yqut").find(kind); power < 4) {
      number(parse(rest), std::size_t{1} << power);
    } else if (kind == 's' || kind == 'g') {
      number(rest.size() - 1, kind == 's' ? 4 : 1).text(rest.substr(1));
    } else if (kind == 'f') {
      const std::size_t colon = rest.find(':');
      align(8).number(parse(rest.substr(0, colon)), 1);
      number(rest.size() - colon - 1, 1).text(rest.substr(colon + 1));
    } else if (kind == '|') {
      align(parse(rest));
    } else if (kind == '[') {
      const std::size_t length = number(0, 4).size() - 4;
      arrays_.emplace_back(length, align(parse(rest)).size());
    } else {
      set(arrays_.back().first, static_cast<std::uint32_t>(size() - arrays_.back().second));
      arrays_.pop_back();
    }
  }
  MessageBytes& align(std::uint64_t alignment) {
    while (size() % alignment) bytes_.push_back(0);
    return *this;
  }
  MessageBytes& number(std::uint64_t value, std::size_t bytes) {
    align(bytes);
    for (std::size_t i = 0; i < bytes; ++i)
      bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * (isBig_ ? bytes - 1 - i : i))));
    return *this;
  }
  void text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
    bytes_.push_back(0);
  }

  bool isBig_;
  std::vector<std::uint8_t> bytes_;
  std::vector<std::pair<std::size_t, std::size_t>> arrays_;  // where the length stands, and the first element
};

}  // namespace Quarnix::Bus::Message
