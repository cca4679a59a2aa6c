// The names of the protocol's numbers, for people.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Quarnix::Hevra::Json {

struct Name {
  std::int32_t number;
  const char* name;
  const char* order = nullptr;  // the word for the same as an order, where that is another one
};
using Names = std::span<const Name>;

inline constexpr Name NODE_CLASSES[] = {
    {0, "actuator"},           {1, "sensor"},    {2, "stack"}, {3, "beacon"}, {4, "actuator-with-sensor"},
    {5, "repeating-actuator"}, {6, "controller"}};
inline constexpr Name NODE_ACTIONS[] = {{0, "added", "add"}, {1, "modified", "modify"}, {2, "removed", "remove"}};
inline constexpr Name LINK_TYPES[] = {{-1, "unknown"}, {0, "control"}, {1, "sense"}, {2, "relay"}};
inline constexpr Name STATUSES[] = {{0, "INITIALIZED"}, {1, "TRANSMITTED"}, {2, "IN_PROGRESS"},
                                    {3, "COMPLETED"},   {4, "FAILED"},      {5, "CANCELLED"},
                                    {6, "DELAYED"},     {7, "TIMED_OUT"},   {8, "REJECTED"}};

/// Returns the number with this name. Case does not count, and '_' is the same as '-'.
std::optional<std::int32_t> findNumber(Names names, std::string_view name) noexcept;
/// Returns the name of a number, or its digits where it has none.
std::string nameOf(Names names, std::int64_t number);
bool hasName(Names names, std::int64_t number) noexcept;
/// Returns the names with their numbers, such as "control (0) or sense (1)", for errors.
std::string listOf(Names names);

}  // namespace Quarnix::Hevra::Json
