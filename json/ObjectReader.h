// Reads the members of a JSON object strictly and names the place of every fault.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include <json/Names.h>
#include <json/Number.h>

namespace Quarnix::Hevra::Json {

/// Every operation raises Malformed for a value of another type than the one that is asked for. The object must outlive
/// the reader.
class ObjectReader {
 public:
  /// Raises Malformed when `value` is no object or has a key that is not in `keys`. `where` is the object's place, such
  /// as "commands.json: [2]".
  ObjectReader(const nlohmann::json& value, std::string where, const std::vector<const char*>& keys);

  bool has(const char* key) const { return object_.contains(key); }
  /// Returns null when the key is missing.
  const nlohmann::json& at(const char* key) const;
  /// Returns the object's place, and the place of the key's value, for errors.
  const std::string& place() const noexcept { return where_; }
  std::string placeOf(const char* key) const { return where_ + "." + key; }

  /// Returns an integer in the range of T, exactly. It may be a text that `numberOf` reads, such as "0x1001". A number
  /// written as a fraction, such as 1.0 or 1e3, is refused.
  template <class T>
  T integer(const char* key) const {
    if (const auto number = find<T>(at(key))) return *number;
    refuse(key, "an integer from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
                    std::to_string(std::numeric_limits<T>::max()));
  }
  /// Returns an integer, or the one whose name is given. Refuses a number without a name unless `isAnyKept`.
  template <class T>
  T named(const char* key, Names names, bool isAnyKept) const {
    if (at(key).is_string())
      if (const auto number = findNumber(names, at(key).get_ref<const std::string&>())) return static_cast<T>(*number);
    if (isAnyKept) return integer<T>(key);
    const auto number = find<T>(at(key));
    if (!number || !hasName(names, static_cast<std::int64_t>(*number))) refuse(key, listOf(names));
    return *number;
  }
  /// The same, but returns zero when the key is missing.
  template <class T>
  T integerOrZero(const char* key) const {
    return has(key) ? integer<T>(key) : T{0};
  }
  bool boolean(const char* key) const;
  double number(const char* key) const;
  /// Returns a text that the bus can carry: one without a NUL character.
  std::string text(const char* key) const;

  [[noreturn]] void refuse(const char* key, const std::string& expected) const;

 private:
  template <class T>
  static std::optional<T> find(const nlohmann::json& value) {
    static_assert(std::is_integral_v<T>);
    constexpr T LEAST = std::numeric_limits<T>::min();
    constexpr T MOST = std::numeric_limits<T>::max();
    if (value.is_string()) return numberOf<T>(value.get_ref<const std::string&>());
    if (value.is_number_unsigned()) {
      const auto number = value.get<std::uint64_t>();
      if (number <= static_cast<std::uint64_t>(MOST)) return static_cast<T>(number);
    } else if (value.is_number_integer()) {
      const auto number = value.get<std::int64_t>();
      if (std::is_signed_v<T> && number >= static_cast<std::int64_t>(LEAST) &&
          (sizeof(T) == sizeof number || number <= static_cast<std::int64_t>(MOST))) {
        return static_cast<T>(number);
      }
    }
    return std::nullopt;
  }

  const nlohmann::json& object_;
  const std::string where_;
};

/// Returns the JSON text of a value for an error; a long text is cut.
std::string excerptOf(const nlohmann::json& value);

}  // namespace Quarnix::Hevra::Json
