// Reads JSON strictly: every fault is named with the place where it is.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

namespace Quarnix::Hevra::Stack::Forms {

/// Takes a JSON object apart, key by key. Every operation raises Malformed for a value that is not what is asked for.
///
/// The object must outlive the reader.
class ObjectReader {
 public:
  /// Refuses what is no object and keys other than these. `where` is the object's place, such as "commands.json: [2]".
  ObjectReader(const nlohmann::json& value, std::string where, const std::vector<const char*>& keys);

  bool has(const char* key) const { return object_.contains(key); }
  /// The value, null when the key is missing; a place for the errors about it.
  const nlohmann::json& at(const char* key) const;
  std::string placeOf(const char* key) const { return where_ + "." + key; }

  /// An integer of T's range, the number itself, whatever its size: 1.0 and 1e3 are refused.
  template <class T>
  T integer(const char* key) const {
    static_assert(std::is_integral_v<T>);
    const nlohmann::json& value = at(key);
    constexpr T LEAST = std::numeric_limits<T>::min();
    constexpr T MOST = std::numeric_limits<T>::max();
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
    refuse(key, "an integer from " + std::to_string(LEAST) + " to " + std::to_string(MOST));
  }
  /// The same, zero when the key is missing.
  template <class T>
  T integerOrZero(const char* key) const {
    return has(key) ? integer<T>(key) : T{0};
  }
  bool boolean(const char* key) const;
  double number(const char* key) const;
  /// A text that the bus carries: without NUL.
  std::string text(const char* key) const;

  [[noreturn]] void refuse(const char* key, const std::string& expected) const;

 private:
  const nlohmann::json& object_;
  const std::string where_;
};

/// The JSON text of a value, cut when it is long: for errors.
std::string excerptOf(const nlohmann::json& value);

}  // namespace Quarnix::Hevra::Stack::Forms
