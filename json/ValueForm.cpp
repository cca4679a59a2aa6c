// Knows the JSON of each type of value.
#include <json/ValueForm.h>

#include <span>
#include <type_traits>
#include <utility>

#include <bus/HvTypeVariantHandler.h>
#include <bus/internal/TypedValue.h>
#include <json/Hexadecimal.h>
#include <json/Malformed.h>
#include <json/ObjectReader.h>

namespace Quarnix::Hevra::Json {

namespace {

constexpr const char* KEY = "value";

std::vector<std::uint8_t> readBytes(const ObjectReader& reader) {
  constexpr const char* EXPECTED = "an even number of lower-case hexadecimal digits";
  if (!reader.at(KEY).is_string()) reader.refuse(KEY, EXPECTED);
  const auto& digits = reader.at(KEY).get_ref<const std::string&>();
  const auto bytes = bytesOf(digits);
  if (!bytes || digits.find_first_of("ABCDEF") != digits.npos) reader.refuse(KEY, EXPECTED);
  return *bytes;
}

using Value = Shared::Pointer<HvType>;

template <class Hv, class T>
Value readInteger(const ObjectReader& reader) {
  return Shared::make<Hv>(reader.integer<T>(KEY));
}

Value readNull(const ObjectReader& reader) {
  if (!reader.at(KEY).is_null()) reader.refuse(KEY, "null");
  return Shared::make<HvNull>();
}

constexpr struct {
  const char* type;
  Value (*read)(const ObjectReader& reader);
} TYPES[] = {
    {"ay", [](const ObjectReader& reader) -> Value { return Shared::make<HvBlob>(readBytes(reader)); }},
    {"y", readInteger<HvByte, std::uint8_t>},
    {"q", readInteger<HvUInt16, std::uint16_t>},
    {"n", readInteger<HvInt16, std::int16_t>},
    {"u", readInteger<HvUInt32, std::uint32_t>},
    {"i", readInteger<HvInt32, std::int32_t>},
    {"t", readInteger<HvUInt64, std::uint64_t>},
    {"x", readInteger<HvInt64, std::int64_t>},
    {"s", [](const ObjectReader& reader) -> Value { return Shared::make<HvString>(reader.text(KEY)); }},
    {"d", [](const ObjectReader& reader) -> Value { return Shared::make<HvDouble>(reader.number(KEY)); }},
    {"b", [](const ObjectReader& reader) -> Value { return Shared::make<HvBool>(reader.boolean(KEY)); }},
    {"null", readNull},
};

}  // namespace

Value readValue(const nlohmann::json& form, const std::string& where) {
  if (form.is_null()) return {};
  const ObjectReader reader(form, where, {"type", KEY});
  std::string expected = "one of";
  for (const auto& row : TYPES) {
    if (reader.at("type") == row.type) return row.read(reader);
    expected += std::string(" ") + row.type;
  }
  reader.refuse("type", expected);
}

nlohmann::ordered_json writeValue(const Value& value) {
  using Bus::Type::HvTypeVariantHandler;
  namespace TypedValue = Bus::Type::TypedValue;
  if (!value) return nullptr;
  nlohmann::ordered_json form = {{"type", "null"}, {KEY, nullptr}};
  if (TypedValue::recognise(value.get()) == TypedValue::Kind::NOTHING) return form;
  TypedValue::visit<HvTypeVariantHandler::UnknownTypeForSignature>(value.get(), [&](const auto& content) {
    using Content = std::decay_t<decltype(content)>;
    if constexpr (std::is_same_v<Content, std::span<const std::uint8_t>>) {
      form["type"] = "ay";
      form[KEY] = digitsOf(content);
    } else {
      form["type"] = std::string(1, Bus::Message::codeOf<Content>());
      form[KEY] = content;
    }
  });
  return form;
}

}  // namespace Quarnix::Hevra::Json
