// Compares names as people write them.
#include <json/Names.h>

#include <algorithm>

namespace Quarnix::Hevra::Json {

namespace {

char plain(char letter) noexcept {
  if (letter == '_') return '-';
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isSame(std::string_view one, std::string_view other) noexcept {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return plain(a) == plain(b); });
}

const Name* find(Names names, std::int64_t number) noexcept {
  const auto found = std::find_if(names.begin(), names.end(), [=](const Name& row) { return row.number == number; });
  return found == names.end() ? nullptr : &*found;
}

}  // namespace

std::optional<std::int32_t> findNumber(Names names, std::string_view name) noexcept {
  for (const Name& row : names)
    if (isSame(row.name, name) || (row.order && isSame(row.order, name))) return row.number;
  return std::nullopt;
}

std::string nameOf(Names names, std::int64_t number) {
  const Name* const row = find(names, number);
  return row ? row->name : std::to_string(number);
}

bool hasName(Names names, std::int64_t number) noexcept { return find(names, number) != nullptr; }

std::string listOf(Names names) {
  std::string list;
  for (const Name& row : names) {
    if (!list.empty()) list += &row == &names.back() ? " or " : ", ";
    list += (row.order ? row.order : row.name) + (" (" + std::to_string(row.number)) + ")";
  }
  return list;
}

}  // namespace Quarnix::Hevra::Json
