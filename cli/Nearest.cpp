// Counts the letters that are to be inserted, deleted or replaced.
#include <cli/Nearest.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace Quarnix::Hevra::Cli {

namespace {

std::size_t distance(std::string_view one, std::string_view other) {
  // A row has the distances between a beginning of `one` and each beginning of `other`.
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& known) {
  constexpr std::size_t MOST = 3;
  const std::size_t farthest = word.size() < 4 ? 1 : 2;
  std::vector<std::pair<std::size_t, std::string>> found;
  for (const std::string& each : known) {
    const bool begins = word.size() > 1 && std::string_view(each).starts_with(word);
    const std::size_t differences = begins ? 0 : distance(word, each);
    if (differences <= farthest) found.emplace_back(differences, each);
  }
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> words;
  for (std::size_t i = 0; i < found.size() && i < MOST; ++i) words.push_back(std::move(found[i].second));
  return words;
}

}  // namespace Quarnix::Hevra::Cli
