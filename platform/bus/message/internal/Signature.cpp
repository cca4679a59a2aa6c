// Scans signatures in one pass, with a small stack of open brackets.
#include <platform/bus/message/internal/Signature.h>

#include <array>

#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Rules.h>

namespace Quarnix::Bus::Message {

namespace {

constexpr std::array<bool, 256> makeBasic() {
  std::array<bool, 256> basic{};
  for (const char code : std::string_view("ybnqiuxtdhsog")) basic[static_cast<unsigned char>(code)] = true;
  return basic;
}

constexpr std::array<bool, 256> IS_BASIC = makeBasic();

constexpr bool isBasic(char code) noexcept { return IS_BASIC[static_cast<unsigned char>(code)]; }

class Scanner {
 public:
  const char* scan(std::string_view signature) noexcept {
    if (signature.size() > MAXIMUM_SIGNATURE_LENGTH) return Rules::SIGNATURE_LENGTH;
    for (const char code : signature) {
      if (isBasic(code) && bracket_ != '{') {
        complete();
      } else if (const char* rule = step(code)) {
        return rule;
      }
    }
    if (arrays_) return Rules::ARRAY_ELEMENT;
    return bracket_ ? Rules::BRACKETS : nullptr;
  }

  int types() const noexcept { return types_; }

 private:
  struct Outer {
    char bracket;
    int types;
    int arrays;
  };

  const char* step(char code) noexcept {
    if (code == ')' || code == '}') return close(code);
    if (bracket_ == '{' && types_ == 2) return Rules::ENTRY_FIELDS;
    if (isBasic(code)) {
      complete();
      return nullptr;
    }
    if (code != 'a' && code != 'v' && code != '(' && code != '{') return Rules::TYPE_CODE;
    if (bracket_ == '{' && types_ == 0) return Rules::ENTRY_KEY;
    if (code == '{' && !arrays_) return Rules::ENTRY_PLACE;
    if (code == 'v') {
      complete();
      return nullptr;
    }
    if (code == 'a' && ++arrayDepth_ > MAXIMUM_ARRAY_DEPTH) return Rules::ARRAY_DEPTH;
    if (code == '(' && ++structureDepth_ > MAXIMUM_STRUCTURE_DEPTH) return Rules::STRUCTURE_DEPTH;
    if (code == 'a') {
      ++arrays_;
      return nullptr;
    }
    outers_[static_cast<std::size_t>(open_++)] = {bracket_, types_, arrays_};
    bracket_ = code;
    types_ = 0;
    arrays_ = 0;
    return nullptr;
  }

  const char* close(char code) noexcept {
    if (bracket_ != (code == ')' ? '(' : '{')) return Rules::BRACKETS;
    if (arrays_) return Rules::ARRAY_ELEMENT;
    if (code == ')' && types_ == 0) return Rules::EMPTY_STRUCTURE;
    if (code == '}' && types_ != 2) return Rules::ENTRY_FIELDS;
    if (code == ')') --structureDepth_;
    const Outer& outer = outers_[static_cast<std::size_t>(--open_)];
    bracket_ = outer.bracket;
    types_ = outer.types;
    arrays_ = outer.arrays;
    complete();
    return nullptr;
  }

  // A type is complete, and with it the arrays of which it is the element.
  void complete() noexcept {
    arrayDepth_ -= arrays_;
    arrays_ = 0;
    ++types_;
  }

  int arrayDepth_ = 0;
  int structureDepth_ = 0;
  char bracket_ = 0;  // the innermost open one
  int types_ = 0;     // complete ones in it
  int arrays_ = 0;    // the 'a's directly before this place
  int open_ = 0;
  std::array<Outer, MAXIMUM_ARRAY_DEPTH + MAXIMUM_STRUCTURE_DEPTH> outers_;  // an entry stands in an array each
};

}  // namespace

const char* checkSignature(std::string_view signature) noexcept { return Scanner().scan(signature); }

const char* checkSingleType(std::string_view signature) noexcept {
  Scanner scanner;
  if (const char* rule = scanner.scan(signature)) return rule;
  return scanner.types() == 1 ? nullptr : Rules::SINGLE_TYPE;
}

const char* skipBrackets(const char* signature) noexcept {
  int open = 0;
  do {
    const char code = *signature++;
    if (code == '(' || code == '{') ++open;
    if (code == ')' || code == '}') --open;
  } while (open);
  return signature;
}

}  // namespace Quarnix::Bus::Message
