// Goes through the signature and the values side by side.
#include <json/BodyForm.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include <json/Hexadecimal.h>
#include <json/Malformed.h>
#include <json/ObjectReader.h>

namespace Quarnix::Hevra::Json {

using Bus::Message::ARRAY;
using Bus::Message::ConstIterator;
using Bus::Message::DICTIONARY_ENTRY;
using Bus::Message::Iterator;
using Bus::Message::STRUCTURE;
using Bus::Message::VARIANT;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

/// Calls `use` with a zero of the integer type, or of bool, that has this type code. Returns false when none has it.
template <class Use>
bool useScalar(int code, const Use& use) {
  const auto is = [&]<class T>(T zero) { return code == Bus::Message::codeOf<T>() && (use(zero), true); };
  return is(std::uint8_t{}) || is(std::int16_t{}) || is(std::uint16_t{}) || is(std::int32_t{}) || is(std::uint32_t{}) ||
         is(std::int64_t{}) || is(std::uint64_t{}) || is(false);
}

ordered_json write(const ConstIterator& value);

ordered_json writeAll(ConstIterator value) {
  ordered_json all = ordered_json::array();
  for (; value.type() != 0; ++value) all.push_back(write(value));
  return all;
}

ordered_json write(const ConstIterator& value) {
  ordered_json form;
  const int code = value.type();
  if (useScalar(code, [&](auto number) {
        value.get(number);
        form = number;
      })) {
    return form;
  }
  switch (code) {
    case 'd': {
      double number = 0;
      value.get(number);
      if (std::isfinite(number)) return number;
      char digits[17] = {};
      std::to_chars(digits, digits + 16, std::bit_cast<std::uint64_t>(number), 16);
      return digits;
    }
    case VARIANT:
      return {{"type", value.begin().signature()}, {"value", write(value.begin())}};
    case ARRAY:
      if (value.signatureView() == "ay") return digitsOf(value.getBytes());
      [[fallthrough]];
    case STRUCTURE:
    case DICTIONARY_ENTRY:
      return writeAll(value.begin());
    default:
      return std::string(value.getText());
  }
}

/// Returns the length of the complete type at the beginning; the whole length when there is no complete type.
std::size_t lengthOfType(std::string_view signature) {
  std::size_t length = 0;
  while (length < signature.size() && signature[length] == 'a') ++length;
  int depth = 0;
  for (; length < signature.size(); ++length) {
    const char code = signature[length];
    depth += (code == '(' || code == '{') - (code == ')' || code == '}');
    if (depth <= 0) return length + 1;
  }
  return length;
}

class Appender {
 public:
  explicit Appender(const std::string& where) : where_(where) {}

  void appendAll(Iterator& to, std::string_view signature, const json& values) const {
    if (!values.is_array()) refuse(values, "an array of values of the types " + std::string(signature));
    for (const json& value : values) {
      const std::string_view type = signature.substr(0, lengthOfType(signature));
      if (type.empty()) refuse(value, "nothing more");
      append(to, type, value);
      signature.remove_prefix(type.size());
    }
    if (!signature.empty()) refuse(values, "values of the types " + std::string(signature) + " behind these");
  }

 private:
  void append(Iterator& to, std::string_view type, const json& value) const {
    if (useScalar(type[0], [&]<class T>(T) { to.append(scalar<T>(value)); })) return;
    const std::string_view contents = type.substr(1);
    switch (type[0]) {
      case 's':
        return to.append(text(value));
      case 'o':
        return to.appendPath(text(value));
      case 'g':
        return to.appendSignature(text(value));
      case 'd':
        return to.append(real(value));
      case 'a':
        return type == "ay" ? appendBytes(to, value) : appendArray(to, std::string(contents), value);
      case '(':
      case '{':
        return appendInside(to, to.begin(type[0] == '(' ? STRUCTURE : DICTIONARY_ENTRY),
                            contents.substr(0, contents.size() - 1), value);
      case 'v': {
        const ObjectReader variant(value, where_, {"type", "value"});
        const std::string inner = variant.text("type");
        return appendInside(to, to.begin(VARIANT, inner.c_str()), inner, json::array({variant.at("value")}));
      }
      default:
        refuse(std::string(type), "a type of the bus");
    }
  }
  void appendBytes(Iterator& to, const json& value) const {
    const auto bytes = bytesOf(text(value));
    if (!bytes) refuse(value, "hexadecimal digits");
    to.appendBytes(bytes->data(), bytes->size());
  }
  void appendArray(Iterator& to, const std::string& type, const json& values) const {
    if (!values.is_array()) refuse(values, "an array");
    Iterator elements = to.begin(ARRAY, type.c_str());
    for (const json& value : values) append(elements, type, value);
    to.end(elements);
  }
  void appendInside(Iterator& to, Iterator&& container, std::string_view signature, const json& values) const {
    appendAll(container, signature, values);
    to.end(container);
  }

  template <class T>
  T scalar(const json& value) const {
    if constexpr (std::is_same_v<T, bool>) {
      if (!value.is_boolean()) refuse(value, "true or false");
      return value.get<bool>();
    } else {
      const json wrapped = {{"value", value}};
      return ObjectReader(wrapped, where_, {"value"}).integer<T>("value");
    }
  }
  double real(const json& value) const {
    if (value.is_number()) return value.get<double>();
    const std::string digits = text(value);
    std::uint64_t bits = 0;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
    if (error != std::errc() || stop != digits.data() + digits.size()) refuse(value, "a number");
    return std::bit_cast<double>(bits);
  }
  std::string text(const json& value) const {
    if (!value.is_string()) refuse(value, "a string");
    return value.get<std::string>();
  }
  [[noreturn]] void refuse(const json& value, const std::string& expected) const {
    throw Malformed(where_ + ".body", excerptOf(value), expected);
  }

  const std::string& where_;
};

}  // namespace

ordered_json writeBody(const Bus::Message::Base& message) { return writeAll(message.begin()); }

void appendBody(Bus::Message::Base& message, const std::string& signature, const json& body, const std::string& where) {
  Iterator arguments = message.begin();
  Appender(where).appendAll(arguments, signature, body);
}

}  // namespace Quarnix::Hevra::Json
